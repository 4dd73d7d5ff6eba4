// The Processing and Review pages with sample state: a run under way, one that waits for another's
// turn, one that failed, the cancel question; the review of a sample story with a card open and
// one being heard, and the review once every card is gone.
#include "SampleWizard.h"

#include "app/PipelineWiring.h"
#include "core/WorkQueue.h"
#include "ui/ProcessingModel.h"
#include "ui/ReviewModel.h"

#include <QCoroTask>

using namespace ondrel;
using namespace ondrel::screens;

namespace {

// Plays nothing: the renderer has no sound.
class SilentPlayer : public AudioPlayer {
public:
    QString open(const QString&) override { return {}; }
    void seek(double) override {}
    void play() override {}
    void stop() override {}
};

void installSilentPlayer(SampleWizard& sample) {
    AppServices::install({.auth = sample.auth.get(),
                          .makePipeline = [&sample] { return makePipeline(sample.env); },
                          .makeAudioPlayer = [] { return std::make_unique<SilentPlayer>(); }});
}

// The log of a Full Mine up to the transcription of its third chunk.
void logSampleRun(LocalPipeline& p) {
    p.log("$ ondrel mine --mode full-mine", "dim");
    p.log("Connecting to DaVinci Resolve...");
    p.log("✓ Connected — found 2 source clips", "green");
    p.log("  → A001_interview.wav", "dim");
    p.log("  → A002_interview.wav", "dim");
    p.log("📋 Probing 2 source files...", "muted");
    p.log("  A001_interview.wav: 48000 Hz, TC: 01:00:00:00, 00:24:10:00", "dim");
    p.log("✓ Probed 2 files", "green");
    p.log("Extracting audio from timeline...");
    p.log("Audio extracted — 46.4 MB");
    p.log("Preparing audio chunks...");
    p.log("Split into 5 chunks for Whisper");
    p.log("⛏ Transcribing with Whisper...", "accent");
    p.log("  Transcribing chunk 1/5...", "dim");
    p.log("  Transcribing chunk 2/5...", "dim");
    p.log("  ⚠ Chunk 2 failed, skipping", "accent");
    p.log("  Transcribing chunk 3/5...", "dim");
}

MineView* miningWizard(QObject* root) {
    MineView* wizard = SampleWizard::wizardIn(root);
    if (!wizard)
        return nullptr;
    wizard->setSelectedTimelineText(SampleWizard::kTimeline);
    wizard->advanceTo(int(MineStep::style));
    wizard->advanceTo(int(MineStep::mining));
    settle(500);
    return wizard;
}

MineView* reviewWizard(QObject* root) {
    MineView* wizard = SampleWizard::wizardIn(root);
    if (!wizard)
        return nullptr;
    wizard->setSelectedTimelineText(SampleWizard::kTimeline);
    wizard->pipeline()->setResults(SampleWizard::results());
    const QString media = QStringLiteral("/media/A001_interview.wav");
    wizard->pipeline()->setLastMediaPaths(QStringList{media});
    // As its probing left it: the preview finds the sample moments in this file of 30 minutes.
    wizard->pipeline()->rememberProbeOutput(media, Json{{"format", {{"duration", "1800.000000"}}}});
    wizard->advanceTo(int(MineStep::review));
    settle(500);
    return wizard;
}

} // namespace

ONDREL_SCREENS(processingPage) {
    SampleWizard sample(context);
    const QUrl content = qmlFileUrl("Shell/ContentView.qml");

    renderScreen(context, "mine-processing", content, QSize(1100, 750), [](QObject* root) {
        if (MineView* wizard = miningWizard(root)) {
            LocalPipeline& p = *wizard->pipeline();
            p.setStep(PipelineStep::transcribing);
            p.setProgress(0.42);
            logSampleRun(p);
            if (auto* vm = root->findChild<ProcessingModel*>())
                for (int i = 0; i < 3; ++i)
                    vm->tickFact();
        }
    });

    renderScreen(context, "mine-processing-error", content, QSize(1100, 750), [](QObject* root) {
        if (MineView* wizard = miningWizard(root)) {
            LocalPipeline& p = *wizard->pipeline();
            p.setStep(PipelineStep::analyzing);
            p.setProgress(0.55);
            logSampleRun(p);
            p.log("⛏ Claude analyzing story structure...", "accent");
            p.log("  Claude HTTP error: 529 overloaded_error", "accent");
            p.fail("Story analysis failed: the model is overloaded. Try again in a minute.");
        }
    });

    renderScreen(context, "mine-processing-cancel", content, QSize(1100, 750), [](QObject* root) {
        if (MineView* wizard = miningWizard(root)) {
            wizard->pipeline()->setStep(PipelineStep::analyzing);
            wizard->pipeline()->setProgress(0.6);
            logSampleRun(*wizard->pipeline());
            if (auto* vm = root->findChild<ProcessingModel*>())
                vm->askCancel();
        }
    });

    // Another run of the application holds the turn: this one waits before its first step.
    WorkQueue::Turn held = QCoro::waitFor(
        []() -> QCoro::Task<WorkQueue::Turn> { co_return co_await WorkQueue::shared().take(); }());
    std::shared_ptr<LocalPipeline> waiting;
    renderScreen(context, "mine-processing-waiting", content, QSize(1100, 750), [&waiting](QObject* root) {
        if (MineView* wizard = miningWizard(root)) {
            wizard->startMining();
            waiting = wizard->sharedPipeline();
        }
    });
    // Let the waiting run go and stop it at its first step, before the next screens.
    held.release();
    for (int i = 0; waiting && i < 1500 && (waiting->waitingForTurn() || WorkQueue::shared().isBusy()); ++i) {
        waiting->cancel();
        settle(20);
    }
}

ONDREL_SCREENS(reviewPage) {
    SampleWizard sample(context);
    installSilentPlayer(sample);
    const QUrl content = qmlFileUrl("Shell/ContentView.qml");

    renderScreen(context, "mine-review", content, QSize(1100, 750), [](QObject* root) {
        reviewWizard(root);
        if (auto* vm = root->findChild<ReviewModel*>()) {
            vm->toggleExpanded(vm->segments().at(1).id());
            vm->togglePlay(3);
        }
    });

    renderScreen(context, "mine-review-empty", content, QSize(1100, 750), [](QObject* root) {
        reviewWizard(root);
        if (auto* vm = root->findChild<ReviewModel*>())
            while (vm->count() > 0)
                vm->remove(0);
    });
}
