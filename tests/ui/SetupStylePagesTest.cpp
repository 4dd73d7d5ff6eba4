// The setup and style pages: the style rules of their view-models in plain tests, and the pages
// driven through their real QML against the fake Resolve and services, from the setup page through
// the style page into a run, and the audit's shorter way.
#include "UiTestSupport.h"

#include "core/Json.h"
#include "media/TranscriptCache.h"
#include "ui/SetupPageModel.h"
#include "ui/StylePageModel.h"

#include <QAbstractItemModelTester>
#include <QJsonDocument>
#include <QJsonObject>

using namespace ondrel;
using namespace ondrel::test;

namespace {

// A wizard over an empty home; Resolve's fake finds no state there, which these rules don't need.
class StyleRules : public ::testing::Test {
protected:
    TestHome home;
    std::unique_ptr<MineView> wizard;
    StylePageModel page;

    void SetUp() override {
        AppServices::install(
            {.makePipeline = [this] { return LocalPipeline::create(home.pipelineEnvironment()); }});
        wizard = std::make_unique<MineView>();
        page.setWizard(wizard.get());
    }
    void TearDown() override {
        wizard.reset();
        AppServices::install({});
    }
    const StylePreset& preset(const QString& id) const {
        return *std::find_if(STYLE_PRESETS().begin(), STYLE_PRESETS().end(),
                             [&](const StylePreset& p) { return p.id == id; });
    }
    bool shownSelected(int row) {
        return page.presets()->data(page.presets()->index(row), StylePresetsModel::SelectedRole).toBool();
    }
};

} // namespace

TEST_F(StyleRules, APresetStaysChosenOnlyWhileTheSlidersStillEqualIt) {
    QAbstractItemModelTester presets(page.presets(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    QAbstractItemModelTester sliders(page.sliders(), QAbstractItemModelTester::FailureReportingMode::Fatal);

    page.selectPreset("corporate");
    EXPECT_EQ(wizard->selectedPresetId(), "corporate");
    EXPECT_EQ(wizard->styleSliders(), preset("corporate").sliders);
    EXPECT_TRUE(shownSelected(1));
    EXPECT_EQ(page.sliders()->data(page.sliders()->index(0), StyleSlidersModel::PercentTextRole), "70%");

    // Moving a slider lets the preset go; moving it back to the preset's value doesn't bring it back.
    page.setSlider("pace", 0.72);
    EXPECT_EQ(wizard->selectedPresetId(), std::nullopt);
    EXPECT_FALSE(shownSelected(1));
    page.setSlider("pace", 0.7);
    EXPECT_EQ(wizard->styleSliders(), preset("corporate").sliders);
    EXPECT_EQ(wizard->selectedPresetId(), std::nullopt);

    // Pressing the chosen preset again lets it go and leaves the sliders where they are.
    page.selectPreset("sizzle");
    page.setSlider("silence", 0.3);
    page.selectPreset("campfire");
    page.selectPreset("campfire");
    EXPECT_EQ(wizard->selectedPresetId(), std::nullopt);
    EXPECT_EQ(wizard->styleSliders(), preset("campfire").sliders);

    // An id that names no preset (a project saved by another version) survives a slider move.
    wizard->setSelectedPresetIdText("documentary-classic");
    page.setSlider("emotion", 0.1);
    EXPECT_EQ(wizard->selectedPresetId(), "documentary-classic");
}

TEST_F(StyleRules, SlidersAreClampedToTheirEndsAndShownAsWholePercents) {
    const struct {
        double given, stored;
        const char* shown;
    } cases[] = {{-0.4, 0.0, "0%"}, {1.7, 1.0, "100%"}, {0.333, 0.333, "33%"}, {0.666, 0.666, "67%"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.given);
        page.setSlider("boldness", c.given);
        EXPECT_DOUBLE_EQ(wizard->styleSliders().boldness, c.stored);
        EXPECT_EQ(page.sliders()->data(page.sliders()->index(4), StyleSlidersModel::PercentTextRole),
                  c.shown);
    }
}

TEST(StyleEstimate, SegmentsFollowThePaceAndNeverFallUnderThree) {
    const struct {
        double minutes, pace;
        int segments;
        const char* text;
    } cases[] = {
        {5, 0.5, 8, "~5 min · ~8 segments"},     {5, 1.0, 30, "~5 min · ~30 segments"},
        {1, 0.0, 3, "~1 min · ~3 segments"},     {2, 0.0, 3, "~2 min · ~3 segments"},
        {30, 0.0, 30, "~30 min · ~30 segments"}, {7.9, 0.5, 13, "~7 min · ~13 segments"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(estimatedSegments(c.minutes, c.pace), c.segments);
        EXPECT_EQ(estimatedOutputText(c.minutes, c.pace), c.text);
    }
}

namespace {

// Saved projects as a finished run leaves them, for "RECENT MINES".
void saveProjects(const TestHome& home, int count) {
    for (int i = 0; i < count; ++i) {
        SavedProject p;
        p.timeline = QStringLiteral("Day %1").arg(i + 1);
        p.createdAt = 1000 + i; // the last one is the newest
        p.language = "es";
        p.transcript = {{0, 4, "hola"}, {4, 9, "adiós"}};
        p.targetMinutes = 7.5;
        QDir().mkpath(home.paths().exportDirFor(p.timeline));
        writeFile(home.paths().exportDirFor(p.timeline) + "/project.json", *encodeJson(p));
    }
}

void setResolveRunning(const TestHome& home, bool running) {
    QJsonObject state = QJsonDocument::fromJson(readFile(home.resolveStateFile())).object();
    state["running"] = running;
    home.setResolveState(QJsonDocument(state).toJson());
}

// Waits for the page change to end, so that a click lands where the page comes to rest.
void settlePages(WizardRig& rig) {
    QQuickItem* pages = rig.find("wizardPages");
    ASSERT_TRUE(pages);
    ASSERT_TRUE(waitFor([&] { return !pages->property("busy").toBool(); }));
}

// Tall enough that the style page's sliders show without scrolling.
MineView* openTallWizard(WizardRig& rig) {
    MineView* wizard = rig.openWizard();
    rig.window.resize(1100, 1200);
    qobject_cast<QQuickItem*>(rig.screen.get())->setSize(rig.window.size());
    QTest::qWait(20);
    return wizard;
}

// Picks an entry of one of the setup page's drop-downs the way a user does.
void pick(WizardRig& rig, const QString& picker, int entry) {
    rig.click(picker);
    rig.click(picker + "Option" + QString::number(entry));
}

void dragAcross(WizardRig& rig, const QString& name, double fromFraction, double toX) {
    QQuickItem* track = rig.find(name);
    ASSERT_TRUE(track) << name.toStdString();
    const auto at = [&](double x) { return track->mapToScene(QPointF(x, track->height() / 2)).toPoint(); };
    QTest::mousePress(&rig.window, Qt::LeftButton, {}, at(fromFraction * track->width()));
    for (int step = 1; step <= 4; ++step)
        QTest::mouseMove(&rig.window, at(fromFraction * track->width() +
                                         (toX - fromFraction * track->width()) * step / 4));
    QTest::mouseRelease(&rig.window, Qt::LeftButton, {}, at(toX));
    QTest::qWait(20);
}

} // namespace

// A row tells a finished story from a transcript saved before its story (the analysis failed or was
// cancelled): that one is marked "transcribed", and reopening it mines it without new transcription.
TEST(SetupPage, RecentMineRowsTellAStoryFromATranscript) {
    MiningResults story;
    story.segments = {{1, 0, 4, "a.wav", "hola", "hello", {}}, {2, 4, 9, "a.wav", "adiós", "bye", {}}};
    const struct {
        std::optional<MiningResults> results;
        std::optional<QString> preset;
        double target;
        QString clips, detail;
    } cases[] = {
        {story, QString("campfire"), 7.5, "✓ 2 clips", "· 7m target · campfire"},
        {MiningResults{}, {}, 60, "✓ 0 clips", "· 60m target"},
        {{}, {}, 120, "", "transcribed · 2 segments · 120m target"},
        {{}, QString("sizzle"), 5, "", "transcribed · 2 segments · 5m target · sizzle"},
        {{}, {}, 0, "", "transcribed · 2 segments"}, // an audit's transcript
    };
    SavedProjectsModel model;
    QList<SavedProject> projects;
    for (const auto& c : cases)
        projects.push_back({"Day",
                            1,
                            "es",
                            {},
                            {{0, 4, "hola"}, {4, 9, "adiós"}},
                            c.results,
                            c.preset,
                            c.target,
                            std::nullopt});
    model.setProjects(projects);
    for (int row = 0; row < model.rowCount(); ++row) {
        EXPECT_EQ(model.data(model.index(row), SavedProjectsModel::ClipsTextRole), cases[row].clips);
        EXPECT_EQ(model.data(model.index(row), SavedProjectsModel::DetailTextRole), cases[row].detail);
    }
}

TEST(SetupPage, RecentMinesAndWithoutResolveOnlyTheConnectionCard) {
    WizardRig rig;
    saveProjects(rig.home, 5);
    MineView* wizard = rig.openWizard();
    SetupPageModel page;
    page.setWizard(wizard);
    QAbstractItemModelTester recent(page.recentMines(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);

    EXPECT_EQ(page.recentMines()->rowCount(), 3);
    ASSERT_TRUE(rig.find("recentMine2"));
    EXPECT_FALSE(rig.find("recentMine3"));
    EXPECT_TRUE(rig.find("setupForm"));
    EXPECT_EQ(rig.text("connectionStatus"), "Connected");

    // Resolve goes away: the header, the recent mines and the connection card stay, nothing else.
    setResolveRunning(rig.home, false);
    rig.click("refreshConnection");
    ASSERT_TRUE(waitFor([&] { return rig.text("connectionStatus") == "Not Connected"; }));
    EXPECT_EQ(rig.text("connectionDetail"), "DaVinci Resolve not detected");
    EXPECT_FALSE(rig.find("setupForm"));
    EXPECT_FALSE(rig.find("setupNext"));
    EXPECT_TRUE(rig.find("recentMines"));

    // A row opens its own project: the second newest, which has no results, on the style page.
    settlePages(rig);
    rig.click("recentMine1");
    EXPECT_EQ(wizard->selectedTimelineText(), "Day 4");
    EXPECT_DOUBLE_EQ(wizard->targetMinutes(), 7.5);
    EXPECT_EQ(wizard->currentStep(), MineStep::style);
}

TEST(SetupPage, FromTheSetupThroughTheStylePageIntoARun) {
    WizardRig rig;
    MineView* wizard = openTallWizard(rig);
    ASSERT_TRUE(waitFor([&] { return rig.find("timelinePicker") != nullptr; }));
    EXPECT_FALSE(rig.find("setupNext")->isEnabled());
    EXPECT_EQ(rig.text("creditEstimate"), "~1 credit");
    wizard->setTargetMinutes(11);
    EXPECT_EQ(rig.text("creditEstimate"), "~2 credits");
    EXPECT_EQ(rig.text("targetText"), "11 min");
    // The slider's far end asks for a two-hour story.
    QQuickItem* slider = rig.find("targetSlider");
    ASSERT_TRUE(slider);
    QTest::mouseClick(&rig.window, Qt::LeftButton, {},
                      slider->mapToScene(QPointF(slider->width() - 1, slider->height() / 2)).toPoint());
    EXPECT_EQ(wizard->targetMinutes(), 120);
    EXPECT_EQ(rig.text("targetText"), "120 min");
    EXPECT_EQ(rig.text("creditEstimate"), "~12 credits");
    wizard->setTargetMinutes(11);

    // Choosing a timeline and then "Select a timeline…" leaves none, and the way on closes again.
    pick(rig, "timelinePicker", 1);
    EXPECT_EQ(wizard->selectedTimelineText(), WizardRig::kTimeline);
    EXPECT_TRUE(rig.find("sourcePreview"));
    EXPECT_TRUE(rig.find("setupNext")->isEnabled());
    pick(rig, "timelinePicker", 0);
    EXPECT_EQ(wizard->selectedTimeline(), std::nullopt);
    EXPECT_FALSE(rig.find("setupNext")->isEnabled());
    EXPECT_FALSE(rig.find("sourcePreview"));
    pick(rig, "timelinePicker", 1);
    pick(rig, "languagePicker", 2);
    EXPECT_EQ(wizard->selectedLanguage(), "es");
    EXPECT_EQ(rig.text("setupNext"), "Choose Style");
    rig.click("setupNext");
    ASSERT_EQ(wizard->currentStep(), MineStep::style);
    settlePages(rig);

    // A preset, then the pace dragged past both ends of its track: the preset goes, the pace stops at
    // the ends.
    rig.click("preset_campfire");
    EXPECT_EQ(wizard->selectedPresetId(), "campfire");
    EXPECT_FALSE(rig.find("sliderTrack_pace")) << "the sliders start folded away";
    rig.click("fineTune");
    // The sliders fade in and the layout settles around them before the track has its width.
    ASSERT_TRUE(waitFor([&] {
        QQuickItem* sliders = rig.find("sliders");
        return sliders && sliders->opacity() == 1.0;
    }));
    QTest::qWait(20);
    const double width = rig.find("sliderTrack_pace")->width();
    dragAcross(rig, "sliderTrack_pace", 0.5, -60);
    EXPECT_EQ(wizard->styleSliders().pace, 0.0);
    EXPECT_EQ(rig.text("sliderPercent_pace"), "0%");
    EXPECT_EQ(wizard->selectedPresetId(), std::nullopt);
    dragAcross(rig, "sliderTrack_pace", 0.2, width + 60);
    EXPECT_EQ(wizard->styleSliders().pace, 1.0);
    EXPECT_EQ(rig.text("sliderPercent_pace"), "100%");
    EXPECT_EQ(rig.text("estimatedOutput"), "~11 min · ~66 segments");

    // Magic Mode hides the style guide without touching it.
    rig.click("magicMode");
    EXPECT_FALSE(rig.find("styleGuide"));
    EXPECT_EQ(rig.text("startMining"), "Start Magic Mine");
    rig.click("magicMode");
    EXPECT_EQ(rig.text("sliderPercent_pace"), "100%");

    rig.click("startMining");
    EXPECT_EQ(wizard->currentStep(), MineStep::mining);
    ASSERT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    // The run was told the style as the page left it: the campfire's values with the pace at full.
    const QList<RecordedRequest> asked = rig.services.requestsTo("/v1/messages");
    ASSERT_EQ(asked.size(), 1);
    const QByteArray prompt = asked[0].body;
    EXPECT_TRUE(prompt.contains("Fast-paced, energetic")) << prompt.toStdString();
    EXPECT_TRUE(prompt.contains("Let it breathe, embrace silence"));
    EXPECT_FALSE(prompt.contains("Base style"));
    // And the language chosen on the setup page.
    const QList<RecordedRequest> heard = rig.services.requestsTo("/v1/audio/transcriptions");
    ASSERT_FALSE(heard.isEmpty());
    EXPECT_TRUE(heard[0].body.contains("name=\"language\"\r\n\r\nes\r\n"));
}

TEST(SetupPage, AnAuditStartsStraightFromTheSetupPage) {
    WizardRig rig;
    MineView* wizard = rig.openWizard();
    ASSERT_TRUE(waitFor([&] { return rig.find("timelinePicker") != nullptr; }));
    pick(rig, "timelinePicker", 1);
    rig.click("mode3");
    EXPECT_TRUE(wizard->isAudit());
    EXPECT_EQ(rig.text("setupNext"), "Start Audit");
    rig.click("setupNext");

    EXPECT_EQ(wizard->currentStep(), MineStep::mining);
    ASSERT_TRUE(waitFor([&] { return wizard->pipeline()->step() == PipelineStep::error; }, 30000));
    ASSERT_FALSE(wizard->pipeline()->logs().isEmpty());
    EXPECT_EQ(wizard->pipeline()->logs().first().text, "$ ondrel audit --timeline Interview Selects");
    // Nothing is transcribed for an audit: it needs the transcript of an earlier mine.
    EXPECT_TRUE(rig.services.requestsTo("/v1/audio/transcriptions").isEmpty());
    EXPECT_TRUE(wizard->pipeline()->errorMessageText().startsWith("No cached transcripts found"));
}

TEST(SetupPage, ARecentMineOfAnotherProjectKeepsItsTimelineInThePicker) {
    WizardRig rig;
    saveProjects(rig.home, 1);
    MineView* wizard = rig.openWizard();
    SetupPageModel page;
    page.setWizard(wizard);
    ASSERT_TRUE(waitFor([&] { return rig.find("recentMine0") != nullptr; }));
    rig.click("recentMine0");
    ASSERT_EQ(wizard->currentStep(), MineStep::style);
    settlePages(rig);

    // Back on the setup page: "Day 1" is no timeline of this Resolve project, yet it is the choice.
    rig.click("styleBack");
    settlePages(rig);
    EXPECT_EQ(page.timelineIndex(), -1);
    EXPECT_EQ(rig.find("timelinePicker")->property("displayText").toString(), "Day 1");
    EXPECT_TRUE(rig.find("setupNext")->isEnabled());
    EXPECT_EQ(page.languageIndex(), 0) << "the project's language is not taken into the form";
}

// Without Resolve: a folder of media files mined through the real screens to the files every editor
// imports. A file that is no media is listed with its reason and left out; nothing on the way
// speaks of Resolve; the mine is named after its folder and can be re-mined from Recent Mines.
TEST(SetupPage, AFolderOfMediaFilesMinedToTheHandOffFiles) {
    WizardRig rig;
    writeFile(rig.home.path() + "/media/damaged.wav", "no sound in here");
    writeFile(rig.home.path() + "/media/notes.txt", "a folder's other files are not media");
    MineView* wizard = openTallWizard(rig);
    rig.click("source_files");
    ASSERT_TRUE(rig.find("filesCard"));
    EXPECT_FALSE(rig.find("connectionCard"));
    EXPECT_FALSE(rig.find("setupNext")) << "no way on before there are files";

    wizard->sourceFiles()->add({rig.home.path() + "/media"}); // as the folder dialog hands it over
    ASSERT_TRUE(waitFor([&] { return !wizard->sourceFiles()->isMeasuring(); }, 30000));
    EXPECT_EQ(rig.text("filesSummary"), "1 file · 0:40 · 1 left out");
    EXPECT_EQ(wizard->sourceFiles()->data(wizard->sourceFiles()->index(0), SourceFilesModel::DetailRole),
              "left out: can't be read as media");
    EXPECT_EQ(wizard->selectedTimelineText(), "media");
    ASSERT_TRUE(waitFor([&] { return rig.find("setupNext") != nullptr; }));

    // Loose files are no cut to audit.
    wizard->setSelectedModeValue(int(MiningMode::audit));
    EXPECT_FALSE(rig.find("setupNext")->isEnabled());
    EXPECT_TRUE(rig.find("setupBlocked"));
    wizard->setSelectedModeValue(int(MiningMode::fullMine));
    rig.click("setupNext");
    ASSERT_EQ(wizard->currentStep(), MineStep::style);
    settlePages(rig);
    rig.click("startMining");
    ASSERT_TRUE(waitFor(
        [&] {
            return rig.text("stepCaption") == "Reading media files..." ||
                   wizard->currentStep() == MineStep::review;
        },
        60000));
    ASSERT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    for (const PipelineLog& line : wizard->pipeline()->logs())
        EXPECT_FALSE(line.text.contains("Resolve")) << line.text.toStdString();
    EXPECT_TRUE(wizard->pipeline()->buildResultText().startsWith("✓ Story saved for your editor: "));
    const QString dir = rig.home.paths().exportDirFor("media");
    for (const char* file : {"story_edit.fcpxml", "story_edit.xml", "story_edit.otio", "story_edit.edl",
                             "subtitles.srt", "project.json"})
        EXPECT_TRUE(QFileInfo(dir + "/" + file).size() > 0) << file;

    // The review saves the edited story for the editor, and the Done page shows how to take it in.
    settlePages(rig);
    EXPECT_EQ(rig.text("sendToResolve"), "Save for your editor");
    rig.click("sendToResolve");
    ASSERT_EQ(wizard->currentStep(), MineStep::done);
    settlePages(rig);
    EXPECT_FALSE(rig.find("buildTimeline"));
    EXPECT_TRUE(rig.find("handOffCard"));
    const std::optional<SavedProject> saved = loadSavedProject(rig.home.paths(), "media");
    ASSERT_TRUE(saved && saved->source);
    EXPECT_EQ(saved->source->kind, "files");
    EXPECT_EQ(saved->mediaPaths, QStringList{rig.media});
}
