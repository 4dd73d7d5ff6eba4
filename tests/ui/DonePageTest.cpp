// The Done page: its structure bar, the media list the exporters get, the end of a build in
// Resolve, the export buttons, and a whole run built again from the page through its real QML.
#include "DoneAuditSupport.h"

#include "ui/DesktopUrlOpener.h"
#include "ui/DoneModel.h"
#include "ui/Theme.h"

#include <QDBusConnection>

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

using namespace ondrel;
using namespace ondrel::test;

namespace {

StorySegment segment(double start, double end, const QString& clip = QStringLiteral("A001.mov")) {
    StorySegment s;
    s.startTime = start;
    s.endTime = end;
    s.sourceClip = clip;
    return s;
}

// A wizard over a pipeline without steps: a build starts and does nothing, so the test assigns
// the outcome itself.
struct DoneFixture {
    TestHome home;
    RecordingOpener opener;
    std::unique_ptr<MineView> wizard;
    DoneModel vm;

    DoneFixture() {
        AppServices::install(
            {.makePipeline = [this] { return LocalPipeline::create(home.pipelineEnvironment()); }});
        UrlOpener::setDefault(&opener);
        wizard = std::make_unique<MineView>();
        MiningResults r;
        r.segments = {segment(0, 10), segment(20, 25)};
        r.estimatedDuration = 3700;
        wizard->pipeline()->setResults(r);
        vm.setWizard(wizard.get());
    }
    ~DoneFixture() {
        UrlOpener::setDefault(nullptr);
        AppServices::install({});
    }
};

} // namespace

TEST(DoneActs, DurationsTicksAndColoursOfTheActs) {
    MiningResults r;
    r.segments = {segment(0, 10), segment(10, 14), segment(14, 15)};
    QList<qint64> many;
    for (qint64 i = 0; i < 31; ++i)
        many << 2;
    r.structure.acts = {{"Open", {0, 1}}, {"Past the end", {3, 99, -1}},
                        {"Many", many},   {"Four", {}},
                        {"Five", {}},     {"Six", {1}}};
    DoneActsModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setResults(r);
    model.setAvailableWidth(400);

    struct Row {
        double duration;
        qint64 count;
        int ticks;
        QString overflow;
        QColor color;
    } expected[] = {{14, 2, 2, "", colorFromHex("e8440a")},     {0, 3, 3, "", colorFromHex("0A84FF")},
                    {31, 31, 30, "+1", colorFromHex("30D158")}, {0, 0, 0, "", colorFromHex("FFD60A")},
                    {0, 0, 0, "", colorFromHex("BF5AF2")},      {4, 1, 1, "", colorFromHex("e8440a")}};
    ASSERT_EQ(model.rowCount(), 6);
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        const QModelIndex index = model.index(i);
        EXPECT_DOUBLE_EQ(model.acts()[i].duration, expected[i].duration);
        EXPECT_EQ(model.data(index, DoneActsModel::CountRole).toLongLong(), expected[i].count);
        EXPECT_EQ(model.data(index, DoneActsModel::TicksRole).toInt(), expected[i].ticks);
        EXPECT_EQ(model.data(index, DoneActsModel::OverflowTextRole).toString(), expected[i].overflow);
        EXPECT_EQ(model.data(index, DoneActsModel::ColorRole).value<QColor>(), expected[i].color);
    }
    // 49 seconds share 400 pixels; the acts without a second keep the least width.
    EXPECT_DOUBLE_EQ(model.data(model.index(2), DoneActsModel::BlockWidthRole).toDouble(), 400.0 * 31 / 49);
    EXPECT_DOUBLE_EQ(model.data(model.index(1), DoneActsModel::BlockWidthRole).toDouble(),
                     DoneActsModel::kLeastWidth);
}

TEST(DoneActs, ActsWithoutDurationCountOneSecondInAllAndTakeTheLeastWidth) {
    const QList<DoneActsModel::Act> zero = {{"A", 1, 0, {}}, {"B", 2, 0, {}}};
    EXPECT_EQ(DoneActsModel::blockWidths(zero, 500),
              (QList<qreal>{DoneActsModel::kLeastWidth, DoneActsModel::kLeastWidth}));
    // Half a second in all still counts as one: the block fills only half the bar.
    const QList<DoneActsModel::Act> half = {{"A", 1, 0.5, {}}};
    EXPECT_EQ(DoneActsModel::blockWidths(half, 500), QList<qreal>{250});
}

// Every outcome ends the building, the same text as the last one included, and says when it came,
// so a rebuild that ends as the one before it can still be told from it.
TEST(DoneModel, EveryBuildOutcomeEndsTheBuildingAndSaysWhen) {
    DoneFixture f;
    LocalPipeline* p = f.wizard->pipeline();
    const QRegularExpression at(QStringLiteral(" · \\d\\d:\\d\\d:\\d\\d$"));
    p->setBuildResult(QStringLiteral("✓ 5/5 clips appended")); // the run's own build: shown as it arrives
    EXPECT_TRUE(f.vm.buildStatusText().startsWith("✓ 5/5 clips appended"));
    EXPECT_TRUE(f.vm.buildStatusText().contains(at)) << f.vm.buildStatusText().toStdString();
    EXPECT_EQ(f.vm.summaryText(), "2 story moments · 1:01:40");
    EXPECT_FALSE(f.vm.hasStructure());
    EXPECT_EQ(f.vm.actCount(), 0);

    for (int attempt = 0; attempt < 2; ++attempt) {
        SCOPED_TRACE(attempt);
        f.vm.build();
        EXPECT_TRUE(f.vm.isBuilding());
        EXPECT_FALSE(f.vm.hasBuildStatus());
        p->setBuildResult(QStringLiteral("✓ 5/5 clips appended"));
        EXPECT_FALSE(f.vm.isBuilding());
        EXPECT_TRUE(f.vm.buildStatusText().startsWith("✓ 5/5 clips appended · "));
        EXPECT_FALSE(f.vm.buildFailed());
    }
    f.vm.build();
    p->setBuildResult(QStringLiteral("✗ Timeline not found"));
    EXPECT_FALSE(f.vm.isBuilding());
    EXPECT_TRUE(f.vm.buildFailed());
}

// The hand-off and the on-demand files: nothing without a folder; otherwise written off the main
// thread from the story as it stands, with what was saved said and the file a click away.
TEST(DoneModel, SavesForEditorsSayWhatTheyWroteAndShowIt) {
    DoneFixture f;
    LocalPipeline* p = f.wizard->pipeline();
    DoneExportFilesModel& files = *f.vm.exportFiles();
    QAbstractItemModelTester tester(&files, QAbstractItemModelTester::FailureReportingMode::Fatal);

    // No folder: nothing is written, shown or opened.
    f.vm.showExportFile(0);
    f.vm.exportFcpxml();
    f.vm.openInEditor();
    f.vm.openExportFolder();
    EXPECT_TRUE(f.opener.shown.isEmpty());
    EXPECT_TRUE(f.opener.opened.isEmpty());
    EXPECT_FALSE(f.vm.hasExportDir());
    EXPECT_FALSE(f.vm.isSaving());

    const QString dir = f.home.path() + "/exports/Cut";
    QDir().mkpath(dir);
    writeFile(dir + "/subtitles.srt", "1\n");
    p->setLastExportDir(dir);
    EXPECT_TRUE(files.data(files.index(0), DoneExportFilesModel::ExistsRole).toBool());
    EXPECT_FALSE(files.data(files.index(1), DoneExportFilesModel::ExistsRole).toBool());
    f.vm.showExportFile(1); // transcript.txt isn't there
    EXPECT_TRUE(f.opener.shown.isEmpty());
    f.vm.showExportFile(0);

    const struct {
        const char* name;
        std::function<void()> press;
        QString note;
        QStringList written;
        bool handedOff;
    } cases[] = {
        {"EDL", [&] { f.vm.exportEdl(); }, "Saved story_edit.edl", {"story_edit.edl"}, false},
        {"FCPXML",
         [&] { f.vm.exportFcpxml(); },
         "Saved story_edit.fcpxml",
         {"story_edit.fcpxml", "story_edit_1.10.fcpxml"},
         false},
        {"every editor",
         [&] { f.vm.openInEditor(); },
         "Saved story_edit.fcpxml, .xml, .otio, .edl",
         {"story_edit.fcpxml", "story_edit_1.10.fcpxml", "story_edit.xml", "story_edit.otio",
          "story_edit.edl"},
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const QString& file : c.written)
            QFile::remove(dir + "/" + file);
        c.press();
        EXPECT_TRUE(f.vm.isSaving());
        ASSERT_TRUE(waitFor([&] { return !f.vm.isSaving(); }));
        EXPECT_EQ(f.vm.savedNote(), c.note);
        EXPECT_FALSE(f.vm.savedFailed());
        EXPECT_EQ(f.vm.handedOff(), c.handedOff);
        for (const QString& file : c.written)
            EXPECT_TRUE(QFileInfo::exists(dir + "/" + file)) << file.toStdString();
        f.vm.showSaved();
        EXPECT_EQ(f.opener.shown.last(), dir + "/" + c.written.first());
    }
    f.vm.openExportFolder();
    EXPECT_EQ(f.opener.opened, QList<QUrl>{QUrl::fromLocalFile(dir)});

    // A folder that can't be made is said, not hidden in the console.
    writeFile(f.home.path() + "/exports/blocked", "a file where the folder would be");
    p->setLastExportDir(f.home.path() + "/exports/blocked/Cut");
    f.vm.exportEdl();
    ASSERT_TRUE(waitFor([&] { return !f.vm.isSaving(); }));
    EXPECT_TRUE(f.vm.savedFailed());
    EXPECT_TRUE(f.vm.savedNote().startsWith("Could not save story_edit.edl — "))
        << f.vm.savedNote().toStdString();
    EXPECT_FALSE(f.vm.canShowSaved());
}

// Showing a file or opening the folder on a desktop with no file manager: the press must not end
// with nothing, and the editor must still learn where the files are, beside the button pressed.
TEST(DoneModel, WithoutAFileManagerThePageSaysWhereTheFilesAre) {
    DoneFixture f;
    const QString dir = f.home.path() + "/exports/Cut";
    QDir().mkpath(dir);
    writeFile(dir + "/subtitles.srt", "1\n");
    f.wizard->pipeline()->setLastExportDir(dir);
    f.vm.exportEdl();
    ASSERT_TRUE(waitFor([&] { return !f.vm.isSaving(); }));
    ASSERT_TRUE(f.vm.canShowSaved());
    const QString said = "Could not open a file manager — the files are in " + dir;

    const struct {
        const char* name;
        std::function<void()> press;
        bool fileManager;
        QString message;
        QString where;
    } cases[] = {
        {"an export tile", [&] { f.vm.showExportFile(0); }, false, said, "export"},
        {"Show in Files", [&] { f.vm.showSaved(); }, false, said, "export"},
        {"Open Export Folder", [&] { f.vm.openExportFolder(); }, false, said, "export"},
        {"an export tile, shown", [&] { f.vm.showExportFile(0); }, true, "", "export"},
        {"Show in Files, shown", [&] { f.vm.showSaved(); }, true, "", "export"},
        {"Open Export Folder, opened", [&] { f.vm.openExportFolder(); }, true, "", "export"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        f.opener.refuse = !c.fileManager;
        c.press();
        EXPECT_EQ(f.vm.folderMessage(), c.message);
        EXPECT_EQ(f.vm.folderMessageFor(), c.where);
    }

    // After the hand-off for every editor the message stands by its own button.
    f.vm.openInEditor();
    ASSERT_TRUE(waitFor([&] { return !f.vm.isSaving(); }));
    f.opener.refuse = true;
    f.vm.showSaved();
    EXPECT_EQ(f.vm.folderMessage(), said);
    EXPECT_EQ(f.vm.folderMessageFor(), "editor");
}

// The desktop's own opener on a machine with no session bus (a bare X server): "Show in Files"
// opens the folder through xdg-open, and says so when that fails too. Before, the file manager's
// call on the absent bus never ended, so the press did nothing at all.
TEST(DesktopOpener, WithoutASessionBusTheFolderOpensOrItsFailureIsSaid) {
    if (QDBusConnection::sessionBus().isConnected())
        GTEST_SKIP() << "a session bus is there: the file manager is asked instead";
    TestHome home;
    const QString bin = home.path() + "/bin";
    const QString calls = home.path() + "/xdg-open.calls";
    QDir().mkpath(bin);
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", bin.toUtf8() + ':' + oldPath);
    const QString file = home.path() + "/exports/Cut/story_edit.edl";
    QDir().mkpath(QFileInfo(file).absolutePath());
    writeFile(file, "TITLE: x\n");

    const struct {
        const char* name;
        int exitCode; // xdg-open's: 0 opened, 3 no method to open it
        bool said;
    } cases[] = {{"a folder opener", 0, false}, {"none", 3, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(calls);
        writeFile(
            bin + "/xdg-open",
            QStringLiteral("#!/bin/sh\necho \"$1\" >> '%1'\nexit %2\n").arg(calls).arg(c.exitCode).toUtf8());
        QFile(bin + "/xdg-open").setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        bool failed = false;
        DesktopUrlOpener().showInFileViewer(file, [&] { failed = true; });
        ASSERT_TRUE(waitFor([&] { return QFileInfo::exists(calls); }));
        EXPECT_EQ(readFile(calls).trimmed(), QUrl::fromLocalFile(QFileInfo(file).absolutePath()).toEncoded());
        if (c.said) {
            EXPECT_TRUE(waitFor([&] { return failed; }));
        }
    }
    qputenv("PATH", oldPath);
}

namespace {

int builtTimelines(const QString& stateFile) {
    const QJsonObject state = QJsonDocument::fromJson(readFile(stateFile)).object();
    int n = 0;
    for (const QJsonValue& project : state["projects"].toObject())
        for (const QJsonValue& t : project.toObject()["timelines"].toArray())
            n += t.toObject()["name"].toString().startsWith("Ondrel Build") ? 1 : 0;
    return n;
}

} // namespace

TEST(DonePage, AMinedStoryIsBuiltAgainExportedAndRatedFromThePage) {
    WizardRig rig;
    MineView* wizard = rig.mineToReview();
    ASSERT_EQ(wizard->currentStep(), MineStep::review);
    const int builtByTheRun = builtTimelines(rig.home.resolveStateFile());
    ASSERT_EQ(builtByTheRun, 1);

    wizard->advanceTo(int(MineStep::done));
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_EQ(rig.text("doneSummary"), "2 story moments · 0:15");
    EXPECT_FALSE(rig.find("buildStatus")) << "the run's outcome isn't the page's";
    EXPECT_FALSE(rig.find("magicModeCard"));
    EXPECT_EQ(rig.find("statActs")->property("text").toString(), "2");

    revealAndClick(rig, "buildTimeline");
    EXPECT_EQ(rig.text("buildTimeline"), "Building in Resolve...");
    ASSERT_TRUE(waitFor([&] { return rig.find("buildStatus") != nullptr; }, 30000));
    EXPECT_TRUE(rig.text("buildStatus").startsWith(wizard->pipeline()->buildResultText() + " · "));
    EXPECT_TRUE(rig.text("buildStatus").startsWith("✓")) << rig.text("buildStatus").toStdString();
    EXPECT_EQ(rig.text("buildTimeline"), "Build Timeline in Resolve");
    EXPECT_EQ(builtTimelines(rig.home.resolveStateFile()), builtByTheRun + 1);

    // The run wrote the bundle: its subtitles are shown; an EDL is written on demand and shown.
    const QString dir = wizard->pipeline()->lastExportDirText();
    revealAndClick(rig, "exportFile0");
    revealAndClick(rig, "exportEdl");
    ASSERT_TRUE(waitFor([&] { return rig.find("showSaved") != nullptr; }));
    EXPECT_EQ(rig.text("savedNoteText"), "Saved story_edit.edl");
    revealAndClick(rig, "showSaved");
    EXPECT_EQ(rig.opener.shown, (QStringList{dir + "/subtitles.srt", dir + "/story_edit.edl"}));
    EXPECT_TRUE(readFile(dir + "/story_edit.edl").contains("interview"));

    // A desktop with no file manager: the page says where the folder is, under its button.
    EXPECT_FALSE(rig.find("folderMessage"));
    rig.opener.refuse = true;
    revealAndClick(rig, "openExportFolder");
    ASSERT_TRUE(waitFor([&] { return rig.find("folderMessage") != nullptr; }));
    EXPECT_EQ(rig.text("folderMessage"), "Could not open a file manager — the files are in " + dir);
    rig.opener.refuse = false;

    revealAndClick(rig, "rateNeedsWork");
    revealAndClick(rig, "rateGood");
    EXPECT_EQ(wizard->rating(), 1);
    revealAndClick(rig, "reviewSegments");
    EXPECT_EQ(wizard->currentStep(), MineStep::review);
    EXPECT_EQ(wizard->rating(), 1) << "the verdict outlives the page";
}
