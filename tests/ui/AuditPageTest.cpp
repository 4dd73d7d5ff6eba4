// The Audit page: the thresholds of its colours and message, its texts, the gold a user opens and
// marks, and an audit of the fake Resolve's cut through the real QML.
#include "DoneAuditSupport.h"

#include "ui/AuditModel.h"
#include "ui/Theme.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

using namespace ondrel;
using namespace ondrel::test;

TEST(AuditModel, CoverageAndConfidenceDrawTheirLinesApart) {
    const QColor green = colorFromHex("30D158"), orange = colorFromHex("FF9F0A"),
                 red = colorFromHex("FF453A");
    struct Case {
        double value;
        QColor coverage;
        QColor confidence;
        const char* message;
    } cases[] = {
        {80, green, green, "Excellent coverage — only minor gems missing"},
        {79.9, orange, orange, "Good coverage — some significant moments unused"},
        {60, orange, orange, "Good coverage — some significant moments unused"},
        {59, orange, red, "Major gaps — review buried gold carefully"},
        {50, orange, red, "Major gaps — review buried gold carefully"},
        {49.9, red, red, "Major gaps — review buried gold carefully"},
    };
    AuditModel vm;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        AuditReport report;
        report.coveragePercent = c.value;
        report.confidenceScore = c.value;
        vm.setReport(report);
        EXPECT_EQ(vm.coverageColor(), c.coverage);
        EXPECT_EQ(vm.confidenceColor(), c.confidence);
        EXPECT_EQ(vm.confidenceMessage(), QString::fromUtf8(c.message));
        EXPECT_EQ(vm.confidenceGradient().last().value<QColor>(), c.confidence);
        EXPECT_NEAR(vm.confidenceGradient().first().value<QColor>().alphaF(), 0.7, 0.002);
    }
}

TEST(AuditModel, FiguresAsTheyRead) {
    AuditModel vm;
    AuditReport report;
    report.coveragePercent = 100;
    report.confidenceScore = 72.9;
    report.usedSegments = {{0, 10, {}}, {20, 30, {}}};
    vm.setReport(report);
    EXPECT_EQ(vm.coverageText(), "100.0%");
    EXPECT_EQ(vm.unusedText(), "0.0%");
    EXPECT_EQ(vm.usedText(), "2 clips");
    EXPECT_EQ(vm.confidenceText(), "72/100");

    // Not clamped: the bar runs past its end and the rest goes below zero. Halves round to even.
    report.coveragePercent = 112.25;
    vm.setReport(report);
    EXPECT_EQ(vm.coverageText(), "112.2%");
    EXPECT_EQ(vm.unusedText(), "-12.2%");
    EXPECT_DOUBLE_EQ(vm.coverageShare(), 1.1225);
}

TEST(AuditModel, RedundanciesAndAlternatesByTheirRoleNames) {
    AuditModel vm;
    QAbstractItemModelTester redundancyTester(vm.redundancies(),
                                              QAbstractItemModelTester::FailureReportingMode::Fatal);
    QAbstractItemModelTester alternateTester(vm.alternates(),
                                             QAbstractItemModelTester::FailureReportingMode::Fatal);
    AuditReport report;
    report.redundancies = {{44, 61, 150, 166.9, "Told twice"}};
    report.alternates = {{301, 326, 410, 432, "Said better", "Warmer"}};
    vm.setReport(report);

    // What the cards read, looked up by the names the page binds to.
    const auto byName = [](QAbstractItemModel* model, const QByteArray& name) {
        const int role = model->roleNames().key(name, -1);
        EXPECT_NE(role, -1) << name.constData();
        return model->data(model->index(0, 0), role).toString();
    };
    EXPECT_EQ(byName(vm.redundancies(), "topic"), "Told twice");
    EXPECT_EQ(byName(vm.redundancies(), "firstRange"), "[0:44 → 1:01]");
    EXPECT_EQ(byName(vm.redundancies(), "secondRange"), "[2:30 → 2:46]");
    EXPECT_EQ(byName(vm.alternates(), "alternateText"), "Said better");
    EXPECT_EQ(byName(vm.alternates(), "reason"), "Warmer");
    EXPECT_EQ(byName(vm.alternates(), "currentRange"), "[5:01 → 5:26]");
    EXPECT_EQ(byName(vm.alternates(), "betterRange"), "[6:50 → 7:12]");

    vm.setReport({});
    EXPECT_EQ(vm.redundancies()->rowCount(), 0);
    EXPECT_EQ(vm.alternateCount(), 0);
}

TEST(AuditModel, GoldOpensOneAtATimeAndItsMarksCountInTheButton) {
    AuditModel vm;
    AuditGoldModel& gold = *vm.gold();
    QAbstractItemModelTester tester(&gold, QAbstractItemModelTester::FailureReportingMode::Fatal);
    AuditReport report;
    report.buriedGold = {{65.9, 130.2, "The boat", "Concrete", 3},
                         {200, 212.5, "The sea", "Closing", 0},
                         {300, 301, "Late", "", -2}};
    vm.setReport(report);
    EXPECT_EQ(vm.goldCountText(), "3 moments");

    const auto role = [&](int row, int r) { return gold.data(gold.index(row), r); };
    EXPECT_EQ(role(0, AuditGoldModel::RangeTextRole).toString(), "[1:05 → 2:10]");
    EXPECT_EQ(role(0, AuditGoldModel::DurationTextRole).toString(), "64s");
    EXPECT_EQ(role(0, AuditGoldModel::StarsRole).toInt(), 3);
    EXPECT_EQ(role(1, AuditGoldModel::StarsRole).toInt(), 0);
    EXPECT_EQ(role(2, AuditGoldModel::StarsRole).toInt(), 0);

    gold.toggleExpanded(0);
    gold.toggleExpanded(1);
    EXPECT_FALSE(role(0, AuditGoldModel::ExpandedRole).toBool());
    EXPECT_TRUE(role(1, AuditGoldModel::ExpandedRole).toBool());
    gold.toggleExpanded(1);
    EXPECT_FALSE(gold.expandedGold());

    QSignalSpy changes(&vm, &AuditModel::selectionChanged);
    gold.toggleSelected(1);
    EXPECT_EQ(vm.addMomentsText(), "Add 1 moments to timeline");
    gold.toggleSelected(0);
    EXPECT_EQ(vm.addMomentsText(), "Add 2 moments to timeline");
    gold.toggleSelected(1);
    EXPECT_EQ(vm.selectedCount(), 1);
    EXPECT_TRUE(role(0, AuditGoldModel::SelectedRole).toBool());
    EXPECT_FALSE(gold.expandedGold()) << "marking doesn't open";
    EXPECT_EQ(changes.size(), 3);

    // A new report starts with nothing open or marked.
    gold.toggleExpanded(2);
    vm.setReport(report);
    EXPECT_EQ(vm.selectedCount(), 0);
    EXPECT_FALSE(gold.expandedGold());
}

TEST(AuditPage, AnAuditOfTheCutShowsWhatItMissedAndRebuilds) {
    WizardRig rig;
    // A first mining caches the footage's transcript, which the audit reads.
    MineView* wizard = rig.mineToReview();
    ASSERT_EQ(wizard->currentStep(), MineStep::review);
    wizard->resetFlow();

    rig.services.answerAlways(
        "/v1/messages",
        {200,
         QByteArray::fromStdString(Json{
             {"content",
              {{{"type", "text"},
                {"text",
                 R"({"coveragePercent":48.0,"usedSegments":[{"startTime":2,"endTime":9,"text":"hola"}],)"
                 R"("buriedGold":[{"startTime":12,"endTime":20,"text":"nací en el mar","reason":"roots",)"
                 R"("emotionalWeight":4},{"startTime":30,"endTime":35.5,"text":"el barco","reason":"detail",)"
                 R"("emotionalWeight":2}],"redundancies":[],"alternates":[{"existingStart":2,"existingEnd":9,)"
                 R"("alternateStart":22,"alternateEnd":28,"alternateText":"hola otra vez","reason":"warmer"}],)"
                 R"("themeGaps":["the sea"],"confidenceScore":55,"summary":"A short cut."})"}}}}}
                                       .dump())});
    wizard->setSelectedModeValue(int(MiningMode::audit));
    wizard->advanceTo(int(MineStep::mining));
    wizard->startMining();
    ASSERT_TRUE(waitFor([&] { return wizard->page() == "audit"; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    ASSERT_TRUE(waitForSettledPages(rig));

    EXPECT_EQ(rig.text("auditSummary"), "A short cut.");
    EXPECT_EQ(rig.text("coverageText"), "48.0%");
    EXPECT_EQ(rig.text("unusedText"), "52.0%");
    EXPECT_EQ(rig.text("usedText"), "1 clips");
    EXPECT_EQ(rig.text("confidenceText"), "55/100");
    EXPECT_EQ(rig.text("confidenceMessage"), "Major gaps — review buried gold carefully");
    EXPECT_TRUE(rig.find("buriedGold"));
    EXPECT_TRUE(rig.find("alternates"));
    EXPECT_TRUE(rig.find("themeGaps"));
    EXPECT_FALSE(rig.find("redundancies")) << "an empty section isn't shown";
    EXPECT_FALSE(rig.find("addMoments"));

    // Marking doesn't open a card; a tap on the card does.
    revealAndClick(rig, "goldSelect1");
    auto* vm = rig.find("auditPage")->findChild<AuditModel*>();
    ASSERT_TRUE(vm);
    EXPECT_FALSE(vm->gold()->expandedGold());
    ASSERT_TRUE(waitFor([&] { return rig.find("addMoments") != nullptr; }));
    EXPECT_EQ(rig.text("addMoments"), "Add 1 moments to timeline");
    revealAndClick(rig, "goldCard0");
    EXPECT_EQ(vm->gold()->expandedGold(), GoldMoment({12, 20, {}, {}, 0}).id());

    // The chosen moment alone becomes a timeline, placed in its own clip, and the page says so.
    const auto timelines = [&] {
        return Json::parse(
            readFile(rig.home.resolveStateFile()).toStdString())["projects"]["Interviews"]["timelines"];
    };
    const size_t before = timelines().size();
    revealAndClick(rig, "addMoments");
    EXPECT_EQ(rig.text("addMoments"), "Building in Resolve...");
    ASSERT_TRUE(waitFor([&] { return rig.find("addStatus") != nullptr; }, 30000));
    EXPECT_TRUE(rig.text("addStatus").startsWith("✓ 1/1 clips appended · "))
        << rig.text("addStatus").toStdString();
    const Json built = timelines();
    ASSERT_EQ(built.size(), before + 1);
    const Json& clips = built.back()["tracks"]["audio"][0];
    ASSERT_EQ(clips.size(), 1u);
    const Json segments = Json::parse(readFile(rig.home.paths().cacheDir + "/segments.json").toStdString());
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0]["startTime"], 30);
    EXPECT_EQ(segments[0]["sourceClip"], "interview.wav");

    revealAndClick(rig, "auditAnother");
    EXPECT_EQ(wizard->currentStep(), MineStep::setup);
}
