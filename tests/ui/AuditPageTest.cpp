// The Audit page: the thresholds of its colours and message, its texts, the gold a user opens and
// marks, and an audit of the fake Resolve's cut through the real QML.
#include "DoneAuditSupport.h"

#include "media/TranscriptCache.h"
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

    rig.services.answerWith("/v1/messages", [](const RecordedRequest& request) {
        return modelAnswer(
            request,
            R"({"coveragePercent":48.0,"usedSegments":[{"startTime":2,"endTime":9,"text":"hola"}],)"
            R"("buriedGold":[{"startTime":12,"endTime":20,"text":"nací en el mar","reason":"roots",)"
            R"("emotionalWeight":4},{"startTime":30,"endTime":35.5,"text":"el barco","reason":"detail",)"
            R"("emotionalWeight":2}],"redundancies":[],"alternates":[{"existingStart":2,"existingEnd":9,)"
            R"("alternateStart":22,"alternateEnd":28,"alternateText":"hola otra vez","reason":"warmer"}],)"
            R"("themeGaps":["the sea"],"confidenceScore":55,"summary":"A short cut."})");
    });
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

// Without Resolve: the editor's cut comes as a timeline file whose media moved. "Locate folder…"
// finds them by name, a file that stays missing leaves its clip out, and the audit maps the clip's
// source stretch onto the transcript of its file, transcribed first as a Full Mine would. The moments
// chosen go back as files for the editor, and a second audit of the same cut transcribes nothing.
TEST(AuditPage, ACutReadFromATimelineFileIsAuditedWithoutResolve) {
    WizardRig rig;
    const QString cut = rig.home.path() + "/cuts/Interview Cut.fcpxml";
    writeFile(cut, QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE fcpxml>
<fcpxml version="1.11">
  <resources>
    <format id="r1" frameDuration="1/25s" width="1920" height="1080"/>
    <asset id="r2" name="interview" start="0s" duration="40s" hasAudio="1" audioSources="1" audioChannels="1" audioRate="48000">
      <media-rep kind="original-media" src="file://%1/moved/interview.wav"/>
    </asset>
    <asset id="r3" name="B-roll" start="0s" duration="10s" hasAudio="1" audioSources="1" audioChannels="1" audioRate="48000">
      <media-rep kind="original-media" src="file://%1/lost/B-roll.wav"/>
    </asset>
  </resources>
  <library><event name="Cuts"><project name="Interview Cut">
    <sequence format="r1" tcStart="0s" tcFormat="NDF">
      <spine>
        <asset-clip ref="r2" name="interview" offset="0s" start="2s" duration="7s"/>
        <asset-clip ref="r3" name="B-roll" offset="7s" start="0s" duration="5s"/>
      </spine>
    </sequence>
  </project></event></library>
</fcpxml>
)")
                       .arg(rig.home.path())
                       .toUtf8());
    rig.services.answerWith("/v1/messages", [](const RecordedRequest& request) {
        return modelAnswer(
            request, R"({"coveragePercent":17.5,"usedSegments":[{"startTime":2,"endTime":9,"text":"hola"}],)"
                     R"("buriedGold":[{"startTime":12,"endTime":20,"text":"nací en el mar","reason":"roots",)"
                     R"("emotionalWeight":4}],"redundancies":[],"alternates":[],"themeGaps":[],)"
                     R"("confidenceScore":62,"summary":"The sea is missing."})");
    });

    MineView* wizard = rig.openWizard();
    rig.window.resize(1100, 1200);
    qobject_cast<QQuickItem*>(rig.screen.get())->setSize(rig.window.size());
    wizard->setSelectedModeValue(int(MiningMode::audit));
    rig.click("source_timelineFile");
    ASSERT_TRUE(rig.find("timelineFileCard"));
    TimelineFileModel* file = wizard->timelineFile();
    file->openUrl(QUrl::fromLocalFile(cut)); // as the file dialog hands it over
    ASSERT_TRUE(waitFor([&] { return !file->isReading(); }, 30000));
    EXPECT_EQ(rig.text("timelineFileSummary"), "FCPXML 1.11 · 25 fps · 2 clips from 2 files · 2 left out");
    EXPECT_TRUE(rig.text("missingMediaText").contains("interview.wav, B-roll.wav") ||
                rig.text("missingMediaText").contains("B-roll.wav and interview.wav") ||
                rig.text("missingMediaText").contains("interview.wav and B-roll.wav"))
        << rig.text("missingMediaText").toStdString();
    EXPECT_TRUE(rig.text("missingMediaText").endsWith("Locate their folder to go on."));
    EXPECT_FALSE(rig.find("setupNext") && rig.find("setupNext")->isEnabled()) << "nothing to audit yet";

    file->locateFolder(QUrl::fromLocalFile(rig.home.path() + "/media")); // "Locate folder…"
    ASSERT_TRUE(waitFor([&] { return !file->isReading(); }, 30000));
    EXPECT_EQ(rig.text("timelineFileSummary"), "FCPXML 1.11 · 25 fps · 2 clips from 2 files · 1 left out");
    EXPECT_TRUE(rig.text("missingMediaText").endsWith("Their clips are left out unless you locate them."));
    EXPECT_EQ(wizard->selectedTimelineText(), "Interview Cut");
    ASSERT_TRUE(waitFor([&] { return rig.find("setupNext") && rig.find("setupNext")->isEnabled(); }));
    rig.click("setupNext");

    ASSERT_TRUE(waitFor([&] { return wizard->page() == "audit"; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    ASSERT_EQ(rig.services.requestsTo("/v1/audio/transcriptions").size(), 1);
    const QList<RecordedRequest> asked = rig.services.requestsTo("/v1/messages");
    ASSERT_EQ(asked.size(), 1);
    const QString prompt = QString::fromUtf8(asked[0].body);
    // The clip's source stretch, 2–9 s of its file, holds the first line whole; the rest was left.
    EXPECT_TRUE(prompt.contains("[USED] [2.0s → 9.0s] hola a todos")) << prompt.toStdString();
    EXPECT_TRUE(prompt.contains("[UNUSED] [12.0s → 20.0s] nací en el mar"));
    EXPECT_TRUE(prompt.contains("cut together 1 clips"));
    for (const PipelineLog& line : wizard->pipeline()->logs())
        EXPECT_FALSE(line.text.contains("Resolve")) << line.text.toStdString();
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_EQ(rig.text("usedText"), "1 clips");

    revealAndClick(rig, "goldSelect0");
    ASSERT_TRUE(waitFor([&] { return rig.find("addMoments") != nullptr; }));
    EXPECT_EQ(rig.text("addMoments"), "Save 1 moments for your editor");
    revealAndClick(rig, "addMoments");
    ASSERT_TRUE(waitFor([&] { return rig.find("addStatus") != nullptr; }, 30000));
    EXPECT_TRUE(rig.text("addStatus").startsWith("✓ Story saved for your editor: story_edit.fcpxml"))
        << rig.text("addStatus").toStdString();
    EXPECT_GT(
        QFileInfo(rig.home.paths().exportDirFor("Interview Cut · buried gold") + "/story_edit.edl").size(),
        0);

    // The transcript was kept with the cut's name; the next audit of it reads it from there.
    revealAndClick(rig, "auditAnother");
    ASSERT_EQ(wizard->currentStep(), MineStep::setup);
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_EQ(rig.text("timelineFileSummary"), "FCPXML 1.11 · 25 fps · 2 clips from 2 files · 1 left out");
    revealAndClick(rig, "setupNext");
    ASSERT_TRUE(waitFor([&] { return rig.services.requestsTo("/v1/messages").size() == 2; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    ASSERT_TRUE(waitFor([&] { return wizard->page() == "audit"; }, 60000));
    EXPECT_EQ(rig.services.requestsTo("/v1/audio/transcriptions").size(), 1);

    // The same file mines a story too, saved as a mine of that timeline file.
    rig.services.answerWith("/v1/messages", [](const RecordedRequest& request) {
        return modelAnswer(request, QString::fromUtf8(WizardRig::kStory));
    });
    ASSERT_TRUE(waitForSettledPages(rig));
    revealAndClick(rig, "auditAnother");
    wizard->setSelectedModeValue(int(MiningMode::fullMine));
    ASSERT_TRUE(waitForSettledPages(rig));
    revealAndClick(rig, "setupNext");
    ASSERT_EQ(wizard->currentStep(), MineStep::style);
    ASSERT_TRUE(waitForSettledPages(rig));
    revealAndClick(rig, "startMining");
    ASSERT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    const QList<PipelineLog> logs = wizard->pipeline()->logs();
    EXPECT_TRUE(std::any_of(logs.begin(), logs.end(), [](const PipelineLog& line) {
        return line.text.startsWith("✓ Found cached transcript");
    }));
    const std::optional<SavedProject> saved = loadSavedProject(rig.home.paths(), "Interview Cut");
    ASSERT_TRUE(saved && saved->source && saved->results);
    EXPECT_EQ(saved->source->kind, "timelineFile");
    EXPECT_EQ(saved->source->path, cut);
    EXPECT_EQ(saved->mediaPaths, QStringList{rig.media});
}
