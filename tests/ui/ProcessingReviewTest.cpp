// The Processing and Review pages: their rules as plain tests (dots, credits;
// clock texts, chapter colours, live reorder, preview playback, removal, sending), then the pages
// through their real QML against the wizard's fakes.
#include "FakeAudioPlayer.h"
#include "UiTestSupport.h"
#include "ui/ClockText.h"

#include "DoneAuditSupport.h"
#include "core/WorkQueue.h"
#include "media/TranscriptCache.h"
#include "ui/ProcessingModel.h"
#include "ui/ReviewModel.h"
#include "ui/Theme.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QRegularExpression>

#include <QCoroTask>

using namespace ondrel;
using namespace ondrel::test;

namespace {

StorySegment segment(qint64 id, double start, double end, std::optional<QString> chapter = std::nullopt) {
    return {id,        start,  end, QStringLiteral("A001.wav"), QStringLiteral("words %1").arg(id),
            QString(), chapter};
}

QList<qint64> ids(const QList<StorySegment>& segments) {
    QList<qint64> out;
    for (const StorySegment& s : segments)
        out << s.id();
    return out;
}

// A review of four moments over two files of known lengths with a fake player, its model checked
// on every change.
class Review : public ::testing::Test {
protected:
    std::shared_ptr<PlayerCalls> players = std::make_shared<PlayerCalls>();
    ReviewModel model;
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};

    void SetUp() override {
        AppServices::install({.makeAudioPlayer = fakePlayers(players)});
        model.load({segment(1, 10, 15, "Roots"), segment(2, 20, 32.5, "Roots"), segment(3, 40, 40, "Sea"),
                    segment(4, 50, 61)},
                   {"/m/B.wav", "/m/A.wav"}, {{"/m/A.wav", 45}, {"/m/B.wav", 60}});
    }
    void TearDown() override { AppServices::install({}); }

    bool playing(int row) const { return model.data(model.index(row), ReviewModel::PlayingRole).toBool(); }
    QString note(int row) const {
        return model.data(model.index(row), ReviewModel::PreviewNoteRole).toString();
    }
};

} // namespace

// ---- processing ------------------------------------------------------------------------------

TEST(ProcessingRules, TheDotsCycleAndNeverGoEmpty) {
    QString dots;
    QStringList seen;
    for (int i = 0; i < 7; ++i)
        seen << (dots = nextDots(dots));
    EXPECT_EQ(seen, QStringList({".", "..", "...", ".", "..", "...", "."}));

    ProcessingModel vm;
    EXPECT_EQ(vm.title(), "Mining in progress");
    vm.tickDots();
    EXPECT_EQ(vm.title(), "Mining in progress.");
}

TEST(ProcessingRules, TheCreditsLineRoundsToATenth) {
    EXPECT_EQ(creditsUsedText(0), "0.0 credits used");
    EXPECT_EQ(creditsUsedText(0.37), "0.4 credits used");
    EXPECT_EQ(creditsUsedText(1.0), "1.0 credits used");
}

// ---- review rules ----------------------------------------------------------------------------

TEST(ReviewRules, ClockAndTotals) {
    EXPECT_EQ(clockText(0), "0:00");
    EXPECT_EQ(clockText(59.99), "0:59");
    EXPECT_EQ(clockText(61), "1:01");
    EXPECT_EQ(clockText(3599.9), "59:59");
    EXPECT_EQ(clockText(3600), "1:00:00");
    EXPECT_EQ(clockText(3725.5), "1:02:05");
    EXPECT_EQ(clockText(144000 + 61), "40:01:01");
    EXPECT_EQ(reviewTotalsText({}), "0 segments · 0:00");
    // The sum is cut once, not each segment: 12.6 + 12.6 reads 0:25.
    EXPECT_EQ(reviewTotalsText({segment(1, 0, 12.6), segment(2, 20, 32.6)}), "2 segments · 0:25");
}

TEST(ReviewRules, ChapterColoursFollowThePresentOrderAndWrapAfterTen) {
    QList<StorySegment> story;
    for (int i = 0; i < 11; ++i)
        story << segment(i, 0, 1, QStringLiteral("C%1").arg(i));
    story << segment(20, 0, 1, QString()) << segment(21, 0, 1);
    const QHash<QString, QColor> colors = chapterColors(story);
    EXPECT_EQ(colors.size(), 11); // no entry for an empty or missing chapter
    EXPECT_EQ(colors["C0"], colorFromHex("e8440a"));
    EXPECT_EQ(colors["C1"], colorFromHex("0A84FF"));
    EXPECT_EQ(colors["C9"], colorFromHex("5E5CE6"));
    EXPECT_EQ(colors["C10"], colorFromHex("e8440a"));

    // A reorder recolours.
    std::swap(story[0], story[1]);
    EXPECT_EQ(chapterColors(story)["C1"], colorFromHex("e8440a"));
}

// ---- review model ----------------------------------------------------------------------------

TEST_F(Review, ACardMovesLiveWhereThePointerEntersAnother) {
    const struct {
        qint64 dragged, entered;
        QList<qint64> after;
    } cases[] = {
        {1, 3, {2, 3, 1, 4}},                                             // down: past the entered card
        {4, 2, {1, 4, 2, 3}},                                             // up: before it
        {2, 3, {1, 3, 2, 4}}, {3, 2, {1, 3, 2, 4}}, {2, 2, {1, 2, 3, 4}}, // onto itself
        {2, 9, {1, 2, 3, 4}},                                             // onto no card of the list
    };
    const QList<StorySegment> original = model.segments();
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.dragged << " onto " << c.entered);
        model.load(original, {});
        model.startDrag(c.dragged);
        model.dragEntered(c.entered);
        EXPECT_EQ(ids(model.segments()), c.after);
        model.endDrag();
    }
    // Nothing is dragged: an enter changes nothing.
    model.load(original, {});
    model.dragEntered(1);
    EXPECT_EQ(ids(model.segments()), QList<qint64>({1, 2, 3, 4}));
    // The numbers and the chapters' colours follow the new order.
    model.startDrag(4);
    model.dragEntered(1);
    EXPECT_EQ(model.data(model.index(0), ReviewModel::NumberRole), 1);
    EXPECT_EQ(model.data(model.index(0), ReviewModel::SegmentIdRole), 4);
    EXPECT_EQ(model.data(model.index(0), ReviewModel::ChapterColorRole).value<QColor>(),
              colorFromHex("8E8E93"));
    EXPECT_EQ(model.data(model.index(1), ReviewModel::TimeRangeRole), "[0:10 → 0:15]");
    EXPECT_EQ(model.data(model.index(2), ReviewModel::DurationRole), "12s");
}

TEST_F(Review, OnePreviewAtATimeFromItsOwnFile) {
    model.togglePlay(0);
    EXPECT_TRUE(playing(0));
    EXPECT_EQ(players->calls, QStringList({"open /m/A.wav", "seek 10", "play"}));

    // Another card's preview ends the first; past A's 45 s the clock runs on in B.
    players->calls.clear();
    model.togglePlay(3);
    EXPECT_EQ(players->calls, QStringList({"stop", "open /m/B.wav", "seek 5", "play"}));
    EXPECT_FALSE(playing(0));
    EXPECT_TRUE(playing(3));
    players->calls.clear();
    model.togglePlay(1);
    EXPECT_EQ(players->calls, QStringList({"stop", "open /m/A.wav", "seek 20", "play"}));
    EXPECT_FALSE(playing(3));
    EXPECT_TRUE(playing(1));

    // A second press stops it.
    model.togglePlay(1);
    EXPECT_FALSE(model.playingSegment());
    EXPECT_EQ(players->calls.last(), "stop");
}

TEST_F(Review, APreviewEndsWithItsSegmentOrWhenItsFileFails) {
    // A zero-length segment ends at once.
    model.togglePlay(2);
    EXPECT_TRUE(waitFor([&] { return !model.playingSegment(); }, 2000));
    EXPECT_EQ(players->calls.last(), "stop");

    // A player that can't open the file never plays, and the card says why.
    players->refusal = "no audio output device";
    model.togglePlay(0);
    EXPECT_FALSE(model.playingSegment());
    EXPECT_EQ(note(0), "Preview unavailable: no audio output device");
    players->refusal.clear();

    // One that breaks down later ends its preview with its reason; the next press clears it.
    model.togglePlay(3);
    ASSERT_TRUE(playing(3));
    EXPECT_EQ(note(0), "");
    static_cast<FakePlayer*>(players->made.last().data())->breakDown("the sound of B.wav can't be decoded");
    EXPECT_TRUE(waitFor([&] { return !model.playingSegment(); }, 2000));
    EXPECT_EQ(note(3), "Preview unavailable: the sound of B.wav can't be decoded");
}

TEST_F(Review, WithoutMediaThePreviewStaysOnUntilStop) {
    model.load(model.segments(), {});
    model.togglePlay(2); // zero length, and still it stays on: there is no timer without a file
    QTest::qWait(30);
    EXPECT_TRUE(playing(2));
    EXPECT_TRUE(players->made.isEmpty());
    model.togglePlay(2);
    EXPECT_FALSE(model.playingSegment());
}

TEST_F(Review, RemovingThePlayingCardStopsTheSound) {
    model.toggleExpanded(2);
    model.togglePlay(1);
    model.remove(1);
    EXPECT_EQ(players->calls.last(), "stop");
    EXPECT_FALSE(model.playingSegment());
    EXPECT_EQ(ids(model.segments()), QList<qint64>({1, 3, 4}));
    EXPECT_EQ(model.expandedSegment(), 2); // kept; it simply matches nothing now
    EXPECT_EQ(model.totalsText(), "3 segments · 0:16");

    // Another card's removal leaves a preview alone.
    model.togglePlay(0);
    model.remove(2);
    EXPECT_TRUE(playing(0));
}

// An empty list would overwrite the story and build an empty timeline: with every card removed
// there is nothing to send, and the story and the segments file stay as they were.
TEST(ReviewSend, RemovingEveryCardLeavesNothingToSend) {
    WizardRig rig;
    MineView wizard;
    MiningResults results;
    results.segments = {segment(1, 2, 9, "Opening"), segment(2, 12, 20)};
    results.estimatedDuration = 15;
    wizard.pipeline()->setResults(results);
    wizard.advanceTo(int(MineStep::review));
    ReviewModel vm;
    vm.setWizard(&wizard);
    ASSERT_EQ(vm.count(), 2);
    vm.remove(0);
    vm.remove(0);
    EXPECT_EQ(vm.totalsText(), "0 segments · 0:00");
    vm.sendToResolve();

    EXPECT_EQ(wizard.currentStep(), MineStep::review);
    EXPECT_EQ(wizard.pipeline()->results(), results);
    EXPECT_FALSE(WorkQueue::shared().isBusy());
    EXPECT_FALSE(QFileInfo::exists(rig.home.paths().cacheDir + "/segments.json"));
}

// ---- the pages through their QML -------------------------------------------------------------

namespace {

WorkQueue::Turn holdTheTurn() {
    return QCoro::waitFor(
        []() -> QCoro::Task<WorkQueue::Turn> { co_return co_await WorkQueue::shared().take(); }());
}

QPoint centreOf(QQuickItem* item) {
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

// Presses on one card, moves the pointer in steps onto another, lets go.
void dragCard(QuickRig& rig, const QString& from, const QString& to) {
    QQuickItem* a = rig.find(from);
    QQuickItem* b = rig.find(to);
    ASSERT_TRUE(a && b) << from.toStdString() << " " << to.toStdString();
    const QPoint start = centreOf(a);
    const QPoint end = from == to ? start + QPoint(0, 15) : centreOf(b);
    QTest::mousePress(&rig.window, Qt::LeftButton, {}, start);
    for (int i = 1; i <= 12; ++i) {
        QTest::mouseMove(&rig.window, start + (end - start) * i / 12);
        QTest::qWait(25);
    }
    QTest::mouseRelease(&rig.window, Qt::LeftButton, {}, end);
    QTest::qWait(300);
}

} // namespace

TEST(ProcessingPage, AWaitingRunShowsItsTurnAndKeepMiningLeavesItGoing) {
    WizardRig rig;
    MineView* wizard = rig.openWizard();
    wizard->setSelectedTimelineText(WizardRig::kTimeline);
    wizard->advanceTo(int(MineStep::style));
    wizard->advanceTo(int(MineStep::mining));

    // Another run of the application holds the turn: this one waits and says so.
    WorkQueue::Turn other = holdTheTurn();
    wizard->startMining();
    ASSERT_TRUE(waitFor([&] { return rig.find("waitingForTurn") != nullptr; }));
    QTest::qWait(400); // the page's entrance
    EXPECT_EQ(rig.text("creditsUsed"), "0.0 credits used");

    rig.click("cancelMining");
    ASSERT_TRUE(waitFor([&] { return rig.find("dialogCancel") != nullptr; }));
    EXPECT_EQ(rig.text("dialogCancel"), "Keep Mining");
    rig.click("dialogCancel");
    EXPECT_TRUE(waitFor([&] { return rig.find("dialogCancel") == nullptr; }));
    EXPECT_EQ(wizard->currentStep(), MineStep::mining);

    // The run goes on once its turn comes; its log lines reach the console, which follows them.
    other.release();
    ASSERT_TRUE(waitFor([&] { return wizard->pipeline()->logs().size() > 3; }, 30000));
    EXPECT_FALSE(rig.find("waitingForTurn"));
    for (int i = 0; i < 60; ++i)
        wizard->pipeline()->log(QStringLiteral("line %1").arg(i), "dim");
    QQuickItem* console = rig.find("console");
    ASSERT_TRUE(console);
    EXPECT_TRUE(waitFor([&] { return console->property("atYEnd").toBool(); }));
    ASSERT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
}

TEST(ProcessingPage, TheConsoleEndsOnItsCursorWhenLinesWrap) {
    // Lines as long as the build's "SRT saved to …" wrap in the console, and their wrapped height
    // comes after the line itself: the last line and the cursor must still end in sight, whether
    // the lines come while the page shows or were there when it opened (a finished run's page).
    const QString longLine =
        QStringLiteral("  SRT saved to /tmp/ondrel-demo/.cache/OndrelManager/subs_1795600937.srt "
                       "(import disabled, use File > Import > Subtitle) ")
            .repeated(3);
    const struct {
        const char* name;
        bool linesBeforePage;
    } cases[] = {{"lines arrive while the page shows", false}, {"the page opens on a finished log", true}};
    for (const auto& c : cases) {
        WizardRig rig;
        MineView* wizard = rig.openWizard();
        wizard->setSelectedTimelineText(WizardRig::kTimeline);
        const auto logLines = [&] {
            for (int i = 0; i < 40; ++i)
                wizard->pipeline()->log(QStringLiteral("%1 %2").arg(i).arg(longLine), "dim");
        };
        if (c.linesBeforePage)
            logLines();
        wizard->advanceTo(int(MineStep::mining));
        ASSERT_TRUE(waitFor([&] { return rig.find("console") != nullptr; })) << c.name;
        if (!c.linesBeforePage)
            logLines();
        QQuickItem* console = rig.find("console");
        QQuickItem* cursor = rig.find("cursor");
        ASSERT_TRUE(console && cursor) << c.name;
        const auto cursorInSight = [&] {
            const QPointF bottom = cursor->mapToItem(console, QPointF(0, cursor->height()));
            return bottom.y() >= cursor->height() && bottom.y() <= console->height() + 0.5;
        };
        EXPECT_TRUE(waitFor(cursorInSight, 3000)) << c.name;
    }
}

TEST(ReviewPage, ACardDraggedAndOneRemovedAreBuiltInTheirNewOrder) {
    WizardRig rig;
    const QByteArray story =
        R"({"segments":[{"index":1,"startTime":2,"endTime":9,"sourceClip":"source","transcript":"hola a todos",)"
        R"("translation":"hello everyone","chapter":"Opening"},{"index":2,"startTime":12,"endTime":20,)"
        R"("sourceClip":"source","transcript":"nací en el mar","translation":"I was born by the sea",)"
        R"("chapter":"Roots"},{"index":3,"startTime":24,"endTime":32,"sourceClip":"source","transcript":"vuelvo",)"
        R"("translation":"I come back","chapter":"Return"}],"structure":{"acts":[{"name":"Opening","segments":[1]}]},)"
        R"("subtitles":[],"estimatedDuration":23})";
    rig.services.answerAlways(
        "/v1/messages", {200,
                         QByteArray::fromStdString(
                             Json{{"content", {{{"type", "text"}, {"text", story.toStdString()}}}}}.dump()),
                         "application/json"});
    auto players = std::make_shared<PlayerCalls>();
    AppServices::install(
        {.makePipeline = [&rig] { return makePipeline(rig.env); }, .makeAudioPlayer = fakePlayers(players)});

    MineView* wizard = rig.mineToReview();
    ASSERT_EQ(wizard->currentStep(), MineStep::review);
    ASSERT_TRUE(waitFor([&] { return rig.find("segmentCard3") != nullptr; }));
    QTest::qWait(400); // the page's entrance
    auto* vm = rig.screen->findChild<ReviewModel*>();
    ASSERT_TRUE(vm);
    ASSERT_EQ(ids(vm->segments()), QList<qint64>({1, 2, 3}));

    dragCard(rig, "segmentCard3", "segmentCard1");
    EXPECT_EQ(ids(vm->segments()), QList<qint64>({3, 1, 2}));
    dragCard(rig, "segmentCard2", "segmentCard2");
    EXPECT_EQ(ids(vm->segments()), QList<qint64>({3, 1, 2}));
    EXPECT_FALSE(vm->expandedSegment()) << "a drag is no tap";

    // Open the first moment, hear it, remove it; the Delete key does nothing, hint or not.
    rig.click("segmentCard1");
    ASSERT_EQ(vm->expandedSegment(), 1);
    QTest::qWait(300); // the card opens
    rig.click("previewSegment");
    EXPECT_EQ(players->calls, QStringList({"open " + rig.media, "seek 2", "play"}));
    rig.click("removeSegment");
    EXPECT_EQ(players->calls.last(), "stop");
    QTest::keyClick(&rig.window, Qt::Key_Delete);
    EXPECT_EQ(ids(vm->segments()), QList<qint64>({3, 2}));
    EXPECT_EQ(rig.text("reviewTotals"), "2 segments · 0:16");

    const QString before = wizard->pipeline()->buildResultText();
    rig.click("sendToResolve");
    EXPECT_EQ(wizard->currentStep(), MineStep::done);
    EXPECT_EQ(ids(wizard->pipeline()->results()->segments), QList<qint64>({3, 2}));
    EXPECT_EQ(wizard->pipeline()->results()->estimatedDuration, 16);
    ASSERT_TRUE(waitFor([&] { return !WorkQueue::shared().isBusy(); }, 60000));

    const Json written = Json::parse(readFile(rig.home.paths().cacheDir + "/segments.json").toStdString());
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[0]["index"], 3);
    EXPECT_EQ(written[1]["index"], 2);
    // The newest timeline in the fake Resolve holds moment 3 (from 24 s) before moment 2 (from 12 s).
    const Json state = Json::parse(readFile(rig.home.resolveStateFile()).toStdString());
    const Json& timelines = state["projects"]["Interviews"]["timelines"];
    ASSERT_GE(timelines.size(), 3u) << "the source, the run's build and the edited build";
    const Json& items = timelines.back()["tracks"]["audio"][0];
    ASSERT_EQ(items.size(), 2u) << timelines.back().dump();
    EXPECT_GT(items[0]["sourceStart"].get<double>(), items[1]["sourceStart"].get<double>());
    EXPECT_NE(wizard->pipeline()->buildResultText(), before);

    // The Done page hands the edited story to every editor: each file holds moment 3 (24–32 s of
    // the 48 kHz interview) before moment 2 (12–20 s), and nothing of the removed moment 1.
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_EQ(rig.text("statSegments"), "2");
    revealAndClick(rig, "openInEditor");
    ASSERT_TRUE(waitFor([&] { return rig.find("handOffCard") != nullptr; }, 30000));
    EXPECT_EQ(rig.text("savedNoteText"), "Saved story_edit.fcpxml, .xml, .otio, .edl");
    const QString dir = wizard->pipeline()->lastExportDirText();
    // Source times in each file's own words, read in the order the file lists its clips.
    const auto inOrder = [](const QByteArray& text, const QRegularExpression& pattern, int group) {
        QStringList found;
        for (auto m = pattern.globalMatch(QString::fromUtf8(text)); m.hasNext();)
            found << m.next().captured(group);
        return found;
    };
    EXPECT_EQ(inOrder(readFile(dir + "/story_edit.edl"),
                      QRegularExpression(R"re(\n\d{3}  \S+ +\S+ +C +(\S+) )re"), 1),
              (QStringList{"00:00:24:00", "00:00:12:00"}));
    EXPECT_EQ(inOrder(readFile(dir + "/story_edit.fcpxml"),
                      QRegularExpression(R"re(<asset-clip [^>]*start="([^"]+)")re"), 1),
              (QStringList{"24s", "12s"}));
    EXPECT_EQ(inOrder(readFile(dir + "/story_edit.xml"),
                      QRegularExpression(R"re(<clipitem id="[^"]*">.*?<in>(\d+)</in>)re",
                                         QRegularExpression::DotMatchesEverythingOption),
                      1),
              (QStringList{"576", "288"}));
    const Json otio = Json::parse(readFile(dir + "/story_edit.otio").toStdString());
    QList<double> otioStarts;
    for (const Json& track : otio["tracks"]["children"])
        for (const Json& clip : track["children"])
            otioStarts << clip["source_range"]["start_time"]["value"].get<double>() /
                              clip["source_range"]["start_time"]["rate"].get<double>();
    EXPECT_EQ(otioStarts, (QList<double>{24, 12}));
    const QString srt = QString::fromUtf8(readFile(dir + "/subtitles.srt"));
    // Timed to the edit: moment 3 from 0, moment 2 from its 8 s on.
    EXPECT_TRUE(srt.startsWith("1\n00:00:00,300 --> 00:00:08,000\nI come back\n")) << srt.toStdString();
    EXPECT_TRUE(srt.contains("00:00:08,300 --> ") && srt.contains("I was born")) << srt.toStdString();
    EXPECT_FALSE(srt.contains("hello everyone")) << "the removed moment's words";
}

// An editor's first hour through the real screens: Cancel stops the run where it waits and nothing
// of it follows; a run that ends behind the cancel question leaves the page where it is and says so;
// a finished page can be stepped back to and on from; Setup lists the new mine; and a re-mine from
// the Done page sends the mine's transcript again, never an empty one, without transcribing anew.
TEST(ProcessingPage, CancelEndingsAndTheWayOnThroughTheScreens) {
    WizardRig rig;
    MineView* wizard = rig.openWizard();
    wizard->setSelectedTimelineText(WizardRig::kTimeline);
    const QByteArray story = QByteArray::fromStdString(
        Json{{"content", {{{"type", "text"}, {"text", WizardRig::kStory}}}}}.dump());
    const auto startFromStyle = [&] {
        wizard->advanceTo(int(MineStep::style));
        ASSERT_TRUE(waitForSettledPages(rig));
        revealAndClick(rig, "startMining");
    };

    // 1. Cancel while the model is asked: the request is dropped, the wizard shows the Style page
    //    and stays there, and the run writes and logs nothing more.
    rig.services.answerAlways("/v1/messages", {200, story, "application/json", 600000});
    startFromStyle();
    ASSERT_TRUE(waitFor([&] { return rig.services.requestsTo("/v1/messages").size() == 1; }, 60000));
    ASSERT_TRUE(waitForSettledPages(rig));
    rig.click("cancelMining");
    ASSERT_TRUE(waitFor([&] { return rig.find("dialogConfirm") != nullptr; }));
    rig.click("dialogConfirm");
    EXPECT_EQ(wizard->currentStep(), MineStep::style);
    EXPECT_TRUE(waitFor([&] { return rig.services.abandoned().size() == 1; }));
    EXPECT_TRUE(waitFor([&] { return !WorkQueue::shared().isBusy(); }));
    QTest::qWait(300);
    EXPECT_EQ(wizard->currentStep(), MineStep::style);
    EXPECT_TRUE(wizard->pipeline()->logs().isEmpty());
    // Only the transcript, kept before the model was asked; no story file of the cancelled run.
    EXPECT_EQ(QDir(rig.home.paths().exportDirFor(WizardRig::kTimeline)).entryList(QDir::Files),
              QStringList{"project.json"});

    // 2. A run that ends while the cancel question is up: the question goes, the page stays and
    //    says how the run ended, and its button leads on.
    rig.services.answerAlways("/v1/messages", {200, story, "application/json", 1500});
    startFromStyle();
    ASSERT_TRUE(waitFor([&] { return rig.services.requestsTo("/v1/messages").size() == 2; }, 60000));
    ASSERT_TRUE(waitForSettledPages(rig));
    rig.click("cancelMining");
    ASSERT_TRUE(waitFor([&] { return rig.find("dialogConfirm") != nullptr; }));
    ASSERT_TRUE(waitFor([&] { return rig.find("miningNext") != nullptr; }, 60000));
    EXPECT_FALSE(rig.find("dialogConfirm"));
    EXPECT_FALSE(rig.find("cancelMining"));
    EXPECT_EQ(rig.text("miningTitle"), "Mining complete");
    EXPECT_EQ(rig.text("miningNext"), "Review the story →");
    QTest::qWait(300);
    EXPECT_EQ(wizard->currentStep(), MineStep::mining);
    rig.click("miningNext");
    EXPECT_EQ(wizard->currentStep(), MineStep::review);

    // 3. Back to the finished Mining page and on again from the step indicator.
    ASSERT_TRUE(waitForSettledPages(rig));
    rig.click("stepMining");
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_EQ(rig.text("miningTitle"), "Mining complete");
    rig.click("stepReview");
    EXPECT_EQ(wizard->currentStep(), MineStep::review);

    // 4. The Done page's re-mine starts from the mine's own transcript.
    ASSERT_TRUE(waitForSettledPages(rig));
    revealAndClick(rig, "skipToExports");
    ASSERT_TRUE(waitForSettledPages(rig));
    const qsizetype transcriptions = rig.services.requestsTo("/v1/audio/transcriptions").size();
    revealAndClick(rig, "remine");
    EXPECT_EQ(wizard->currentStep(), MineStep::style);
    EXPECT_TRUE(wizard->hasLoadedProject());
    rig.services.answerAlways("/v1/messages", {200, story});
    ASSERT_TRUE(waitForSettledPages(rig));
    revealAndClick(rig, "startMining");
    ASSERT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    const QList<RecordedRequest> asked = rig.services.requestsTo("/v1/messages");
    EXPECT_TRUE(asked.last().body.contains("nac\\u00ed en el mar") ||
                asked.last().body.contains("nací en el mar"))
        << "the re-mine sends the mine's transcript";
    EXPECT_TRUE(
        std::any_of(wizard->pipeline()->logs().begin(), wizard->pipeline()->logs().end(),
                    [](const PipelineLog& l) { return l.text.startsWith("$ ondrel mine --reload"); }));
    const QList<RecordedRequest> speech = rig.services.requestsTo("/v1/audio/transcriptions");
    ASSERT_GT(speech.size(), transcriptions);
    for (qsizetype i = transcriptions; i < speech.size(); ++i)
        EXPECT_TRUE(speech[i].body.contains("\r\n\r\nword\r\n")) << "only the new story's word timing";
    const std::optional<SavedProject> saved = loadSavedProject(rig.home.paths(), WizardRig::kTimeline);
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->transcript.size(), 2);

    // 5. Setup lists the mine as soon as it shows.
    wizard->tapStep(int(MineStep::setup));
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_TRUE(rig.find("recentMine0"));
}
