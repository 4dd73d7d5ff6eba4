// The run order: every log line, colour, step and progress value a run publishes.
#include "core/LocalPipeline.h"
#include "support/TestEnv.h"

#include <QDir>

#include <QCoroTask>

#include <gtest/gtest.h>

#include <functional>

using namespace ondrel;
using ondrel::test::TestHome;

namespace {

struct Line {
    QString text;
    QString color;
    bool operator==(const Line&) const = default;
};

void PrintTo(const Line& l, std::ostream* os) {
    *os << l.color.toStdString() << ": " << l.text.toStdString();
}

TranscriptResult twoSegments() {
    return {{{0, 2, "hola que tal", "es"}, {2, 5, "muy  bien", "es"}}, "es"};
}

MiningResults story() {
    MiningResults r;
    r.segments = {{1, 0, 2, "a.wav", "hola", "hello", QStringLiteral("Opening")},
                  {2, 2, 5, "a.wav", "bien", "fine", {}}};
    r.structure.acts = {{"Opening", {1, 2}}};
    r.estimatedDuration = 5;
    return r;
}

// Scripted step operations; each hook may act on the pipeline mid-step (cancel, reset).
struct Script {
    std::optional<QStringList> media = QStringList{"/m/a.wav", "/m/b.mov"};
    std::optional<TranscriptResult> cached;
    std::optional<QString> audio = QStringLiteral("/nonexistent/extracted_audio.wav");
    QStringList chunks{"c0", "c1"};
    std::optional<TranscriptResult> transcript = twoSegments();
    std::optional<MiningResults> analysis = story();
    QList<WordSegment> words{{0, {{"hola", 0, 0.5}, {"que", 0.5, 1}}}, {1, {{"bien", 0, 1}}}};
    std::function<void(LocalPipeline&)> during; // runs inside the step named by `duringStep`
    QString duringStep;
    QStringList calls;

    void hook(LocalPipeline& p, const QString& name) {
        calls << name;
        if (during && name == duringStep)
            during(p);
    }

    void install(StepOperations& s) {
        s.getTimelineMedia = [this](LocalPipeline& p, QString) -> QCoro::Task<std::optional<QStringList>> {
            hook(p, "media");
            co_return std::optional<QStringList>(media); // a copy: GCC 12 moves from a co_returned member
        };
        s.probeAllMedia = [this](LocalPipeline& p, QStringList) -> QCoro::Task<void> {
            hook(p, "probe");
            p.setProgress(0.035);
            co_return;
        };
        s.loadCachedTranscript = [this](LocalPipeline& p, const QStringList&) {
            hook(p, "cache");
            return cached;
        };
        s.extractAudio = [this](LocalPipeline& p, QStringList,
                                QString) -> QCoro::Task<std::optional<QString>> {
            hook(p, "extract");
            co_return std::optional<QString>(audio); // a copy: GCC 12 moves from a co_returned member
        };
        s.chunkAudio = [this](LocalPipeline& p, QString) -> QCoro::Task<QStringList> {
            hook(p, "chunk");
            co_return QStringList(chunks); // a copy: GCC 12 moves from a co_returned member
        };
        s.transcribe = [this](LocalPipeline& p, QStringList,
                              QString) -> QCoro::Task<std::optional<TranscriptResult>> {
            hook(p, "transcribe");
            co_return std::optional<TranscriptResult>(
                transcript); // a copy: GCC 12 moves from a co_returned member
        };
        s.saveTranscriptCache = [this](LocalPipeline& p, const TranscriptResult&, const QStringList&) {
            hook(p, "saveCache");
        };
        s.buildStylePrompt = [](const StyleSliders&, const std::optional<QString>&, bool) {
            return QString("style");
        };
        s.analyzeStory = [this](LocalPipeline& p, TranscriptResult, double, QString,
                                QString) -> QCoro::Task<std::optional<MiningResults>> {
            hook(p, "analyze");
            co_return std::optional<MiningResults>(
                analysis); // a copy: GCC 12 moves from a co_returned member
        };
        s.wordLevelTranscribe = [this](LocalPipeline& p, MiningResults, QStringList,
                                       QString) -> QCoro::Task<QList<WordSegment>> {
            hook(p, "words");
            co_return QList<WordSegment>(words); // a copy: GCC 12 moves from a co_returned member
        };
        s.saveExports = [this](LocalPipeline& p, const QString&, const MiningResults&,
                               const TranscriptResult&, const QList<WordSegment>&) {
            hook(p, "exports");
            return QString("/exports/tl");
        };
        s.saveProject = [this](LocalPipeline& p, const QString&, const TranscriptResult&, const QStringList&,
                               const std::optional<MiningResults>& results, const std::optional<QString>&,
                               double) { hook(p, results ? "project" : "transcribed project"); };
        s.writeSegmentsJson = [this](LocalPipeline& p, const MiningResults&) { hook(p, "segments"); };
        s.saveForEditors = [this](LocalPipeline& p, QString, QList<StorySegment>,
                                  HandOffFiles) -> QCoro::Task<HandOffOutcome> {
            hook(p, "handOff");
            co_return HandOffOutcome{
                {}, {"story_edit.fcpxml", "story_edit.xml", "story_edit.otio", "story_edit.edl"}, {}, {}};
        };
        s.buildTimelineFromSegmentsFile = [this](LocalPipeline& p) -> QCoro::Task<void> {
            hook(p, "build");
            p.log("Building timeline in Resolve...");
            p.setBuildResult(QStringLiteral("✗ No response from Resolve"));
            co_return;
        };
    }
};

class PipelineRun : public ::testing::Test {
protected:
    TestHome home;
    FixedClock clock{QDateTime(QDate(2026, 3, 4), QTime(10, 42, 7))};
    std::shared_ptr<LocalPipeline> owner = LocalPipeline::create(home.pipelineEnvironment(&clock));
    LocalPipeline& pipeline = *owner;
    Script script;
    QList<double> progress;
    QList<PipelineStep> steps;

    void SetUp() override {
        script.install(pipeline.steps());
        QObject::connect(&pipeline, &LocalPipeline::progressChanged,
                         [this] { progress << pipeline.progress(); });
        QObject::connect(&pipeline, &LocalPipeline::stepChanged, [this] {
            if (steps.isEmpty() || steps.last() != pipeline.step())
                steps << pipeline.step();
        });
    }

    void run(MiningMode mode = MiningMode::fullMine, QString timeline = "Interview Day 1") {
        QCoro::waitFor(pipeline.run(timeline, mode, 10, "auto", {}, std::nullopt, "https://ref", false));
    }

    QList<Line> lines() const {
        QList<Line> out;
        for (const auto& l : pipeline.logs())
            out.push_back({l.text, l.color});
        return out;
    }
};

const QList<Line> kFullRunTail = {
    {"✓ Connected — found 2 source clips", "green"},
    {"  → a.wav", "dim"},
    {"  → b.mov", "dim"},
    {"Extracting audio from timeline...", "muted"},
    {"Audio extracted — 0.0 MB", "muted"},
    {"Preparing audio chunks...", "muted"},
    {"Split into 2 chunks for Whisper", "muted"},
    {"⛏ Transcribing with Whisper...", "accent"},
    {"2 segments · 5 words", "muted"},
    {"⛏ Claude analyzing story structure...", "accent"},
    {"💎 Found 1 acts · 2 moments", "accent"},
    {"⛏ Re-transcribing selected moments at word level...", "accent"},
    {"✓ 3 words transcribed across 2 segments", "green"},
    {"✓ Exported SRT, transcript, and story brief", "green"},
    {"Building timeline in Resolve...", "muted"},
    {"Building timeline in Resolve...", "muted"},
    {"✓ Complete — we found gems!", "green"},
};

} // namespace

TEST_F(PipelineRun, ModesRunTheSameStepsButForTheFirstLine) {
    struct Case {
        MiningMode mode;
        const char* first;
    } cases[] = {{MiningMode::fullMine, "$ ondrel mine --mode full-mine"},
                 {MiningMode::storyMine, "$ ondrel mine --mode story-mine"},
                 {MiningMode::structure, "$ ondrel mine --mode structure"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        pipeline.reset();
        progress.clear();
        steps.clear();
        run(c.mode);
        QList<Line> expected{{c.first, "dim"}, {"Connecting to DaVinci Resolve...", "muted"}};
        expected += kFullRunTail;
        EXPECT_EQ(lines(), expected);
        EXPECT_EQ(progress, (QList<double>{0.02, 0.035, 0.05, 0.05, 0.1, 0.15, 0.45, 0.7, 0.85, 1}));
        EXPECT_EQ(steps, (QList<PipelineStep>{PipelineStep::connecting, PipelineStep::extracting,
                                              PipelineStep::chunking, PipelineStep::transcribing,
                                              PipelineStep::analyzing, PipelineStep::translating,
                                              PipelineStep::building, PipelineStep::complete}));
        EXPECT_EQ(pipeline.results(), story());
        EXPECT_EQ(pipeline.lastExportDir(), QStringLiteral("/exports/tl"));
        EXPECT_EQ(pipeline.lastMediaPaths(), (QStringList{"/m/a.wav", "/m/b.mov"}));
        EXPECT_EQ(pipeline.buildResult(),
                  QStringLiteral("✗ No response from Resolve")); // a failed build still completes
        EXPECT_EQ(pipeline.logs().first().timestamp, "42:07");
    }
}

TEST_F(PipelineRun, EachFailureEndsInErrorWhereItsStepFails) {
    struct Case {
        const char* name;
        std::function<void(Script&)> breakIt;
        const char* message;
        double progressAtFail;
        const char* lastCall;
    } cases[] = {
        {"no media", [](Script& s) { s.media.reset(); },
         "Could not find source media for timeline 'Say \"hi\" \\ o'", 0.02, "media"},
        {"no audio", [](Script& s) { s.audio.reset(); }, "Audio extraction failed", 0.05, "extract"},
        {"every chunk failed", [](Script& s) { s.transcript.reset(); }, "Transcription failed", 0.15,
         "transcribe"},
        {"no story", [](Script& s) { s.analysis.reset(); }, "Story analysis failed", 0.45, "analyze"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        pipeline.reset();
        script = Script{};
        script.install(pipeline.steps());
        c.breakIt(script);
        run(MiningMode::fullMine, "Say \"hi\" \\ o");
        EXPECT_EQ(pipeline.step(), PipelineStep::error);
        EXPECT_EQ(pipeline.errorMessage(), QString::fromUtf8(c.message));
        EXPECT_EQ(lines().last(), (Line{QStringLiteral("✗ ") + QString::fromUtf8(c.message), "accent"}));
        EXPECT_DOUBLE_EQ(pipeline.progress(), c.progressAtFail);
        EXPECT_EQ(script.calls.last(), c.lastCall);
    }
}

// The transcript is saved as the timeline's project as soon as it exists, without a story, so a
// failed or cancelled analysis never costs the transcription again; the finished story replaces it.
TEST_F(PipelineRun, TheTranscriptIsSavedAsAProjectBeforeAnyAnalysis) {
    const QStringList written{"saveCache", "transcribed project", "analyze"};
    const struct {
        const char* name;
        std::function<void(Script&)> change;
        QStringList from; // the calls from the transcription on
    } cases[] = {
        {"a story", [](Script&) {},
         QStringList{"transcribe"} + written +
             QStringList{"words", "exports", "project", "segments", "build"}},
        {"no story", [](Script& s) { s.analysis.reset(); }, QStringList{"transcribe"} + written},
        {"cancelled analysis",
         [](Script& s) {
             s.duringStep = "analyze";
             s.during = [](LocalPipeline& p) { p.cancel(); };
         },
         QStringList{"transcribe"} + written},
        {"nothing transcribed",
         [](Script& s) {
             s.transcript = TranscriptResult{{}, "es"};
         },
         {"transcribe"}},
        {"cached",
         [](Script& s) { s.cached = twoSegments(); },
         {"cache", "analyze", "words", "exports", "project", "segments", "build"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        pipeline.reset();
        script = Script{};
        c.change(script);
        script.install(pipeline.steps());
        run();
        EXPECT_EQ(script.calls.mid(script.calls.indexOf(c.from.first())), c.from);
    }
}

TEST_F(PipelineRun, CachedTranscriptSkipsMediaWork) {
    script.cached = twoSegments();
    run();
    const QList<Line> got = lines();
    EXPECT_EQ(got.mid(5, 3), (QList<Line>{{"✓ Found cached transcript — 2 segments · 5 words", "green"},
                                          {"  Skipping audio extraction + Whisper (saved ~$1)", "dim"},
                                          {"⛏ Claude analyzing story structure...", "accent"}}));
    EXPECT_FALSE(script.calls.contains("extract"));
    EXPECT_FALSE(script.calls.contains("saveCache"));
    EXPECT_EQ(steps.mid(0, 3), (QList<PipelineStep>{PipelineStep::connecting, PipelineStep::analyzing,
                                                    PipelineStep::translating}));
    EXPECT_EQ(progress.mid(0, 4), (QList<double>{0.02, 0.035, 0.05, 0.45}));
    EXPECT_EQ(pipeline.step(), PipelineStep::complete);
}

// A cancel stops the run where it is, with or without the wizard's reset in the same turn: no line,
// field or file of it after the cancel, and nothing built.
TEST_F(PipelineRun, CancelStopsTheRunAndNothingOfItFollows) {
    struct Case {
        const char* step;
        bool fromProject;
    } cases[] = {
        {"media", false},   {"probe", false}, {"extract", false}, {"chunk", false}, {"transcribe", false},
        {"analyze", false}, {"words", false}, {"analyze", true},  {"words", true},
    };
    for (const bool withReset : {false, true}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(c.step) + (c.fromProject ? " re-mine" : "") +
                         (withReset ? " reset" : ""));
            pipeline.reset();
            script = Script{};
            script.install(pipeline.steps());
            script.duringStep = c.step;
            qsizetype linesAtCancel = -1;
            PipelineStep stepAtCancel{};
            double progressAtCancel = -1;
            script.during = [&](LocalPipeline& p) {
                p.cancel();
                if (withReset)
                    p.reset();
                linesAtCancel = p.logs().size();
                stepAtCancel = p.step();
                progressAtCancel = p.progress();
            };
            if (c.fromProject)
                QCoro::waitFor(pipeline.runFromProject({"Cut", 1, "en", {}, {{0, 1, "x"}}, {}, {}, 1, {}}, 3,
                                                       {}, std::nullopt, "", false));
            else
                run();
            EXPECT_EQ(script.calls.last(), c.step); // no write, no build after it
            EXPECT_EQ(pipeline.logs().size(), linesAtCancel);
            EXPECT_EQ(pipeline.step(), stepAtCancel);
            EXPECT_EQ(pipeline.progress(), progressAtCancel);
            EXPECT_FALSE(pipeline.errorMessage().has_value());
            EXPECT_FALSE(pipeline.results().has_value());
            EXPECT_FALSE(pipeline.lastProject().has_value());
        }
    }
}

// The Cancel of a run that waits for its turn behind other work: it never starts.
TEST_F(PipelineRun, CancelledWhileWaitingNeverStarts) {
    WorkQueue::Turn other = QCoro::waitFor(
        []() -> QCoro::Task<WorkQueue::Turn> { co_return co_await WorkQueue::shared().take(); }());
    QCoro::Task<> waiting =
        pipeline.run("Interview", MiningMode::fullMine, 5, "auto", {}, std::nullopt, "", false);
    EXPECT_TRUE(pipeline.waitingForTurn());
    pipeline.cancel();
    pipeline.reset();
    other.release();
    QCoro::waitFor(std::move(waiting));
    EXPECT_TRUE(script.calls.isEmpty());
    EXPECT_TRUE(pipeline.logs().isEmpty());
    EXPECT_EQ(pipeline.step(), PipelineStep::idle);

    // The cancel held for that run only: the next one runs whole.
    run();
    EXPECT_EQ(pipeline.step(), PipelineStep::complete);
}

// Nothing empty is sent to the model, and an empty story never replaces a story nor is built.
TEST_F(PipelineRun, EmptyTranscriptsAndEmptyStoriesEndBeforeTheyCostOrOverwrite) {
    const QString noTranscript = "No transcript to mine — run a Full Mine first";
    struct Case {
        const char* name;
        std::function<void(Script&)> change;
        bool fromEmptyProject;
        QString message;
        const char* lastCall;
    } cases[] = {
        {"nothing transcribed",
         [](Script& s) {
             s.transcript = TranscriptResult{{}, "es"};
         },
         false, noTranscript, "transcribe"},
        {"only silence cached",
         [](Script& s) {
             s.cached = TranscriptResult{{{0, 3, "  ", "es"}}, "es"};
         },
         false, noTranscript, "cache"},
        {"an emptied project", [](Script&) {}, true, noTranscript, ""},
        {"no moments chosen", [](Script& s) { s.analysis = MiningResults{}; }, false,
         "The model chose no moments", "analyze"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        pipeline.reset();
        script = Script{};
        script.install(pipeline.steps());
        c.change(script);
        if (c.fromEmptyProject)
            QCoro::waitFor(pipeline.runFromProject({"Cut", 1, "en", {"/m/a.wav"}, {}, story(), {}, 5, {}}, 3,
                                                   {}, std::nullopt, "", false));
        else
            run();
        EXPECT_EQ(pipeline.step(), PipelineStep::error);
        EXPECT_EQ(pipeline.errorMessage(), c.message);
        EXPECT_EQ(lines().last(), (Line{"✗ " + c.message, "accent"}));
        EXPECT_EQ(script.calls.isEmpty() ? QString() : script.calls.last(), c.lastCall);
        EXPECT_FALSE(pipeline.results().has_value());
    }
}

// What a re-mine starts from: the transcript the run finished with, its story and choices.
TEST_F(PipelineRun, TheFinishedRunKeepsItsProjectForARemine) {
    QCoro::waitFor(
        pipeline.run("Day 1", MiningMode::fullMine, 7, "auto", {}, QStringLiteral("campfire"), "", false));
    ASSERT_TRUE(pipeline.lastProject().has_value());
    const SavedProject& project = *pipeline.lastProject();
    EXPECT_EQ(project.timeline, "Day 1");
    EXPECT_EQ(project.language, "es");
    EXPECT_EQ(project.mediaPaths, (QStringList{"/m/a.wav", "/m/b.mov"}));
    EXPECT_EQ(project.transcript, (QList<CachedSegment>{{0, 2, "hola que tal"}, {2, 5, "muy  bien"}}));
    EXPECT_EQ(project.results, story());
    EXPECT_EQ(project.presetId, "campfire");
    EXPECT_EQ(project.targetMinutes, 7);
    pipeline.reset();
    EXPECT_FALSE(pipeline.lastProject().has_value());
}

TEST_F(PipelineRun, ResetKeepsMediaProbesAndBuildResult) {
    run();
    QMap<QString, ProbeResult> probes;
    ProbeResult probe;
    probe.filename = "a.wav";
    probes.insert("a.wav", probe);
    pipeline.setProbeResults(probes);
    pipeline.reset();
    EXPECT_EQ(pipeline.step(), PipelineStep::idle);
    EXPECT_EQ(pipeline.progress(), 0);
    EXPECT_TRUE(pipeline.logs().isEmpty());
    EXPECT_FALSE(pipeline.results() || pipeline.errorMessage() || pipeline.lastExportDir());
    EXPECT_TRUE(pipeline.lastMediaPaths().has_value());
    EXPECT_TRUE(pipeline.buildResult().has_value());
    EXPECT_EQ(pipeline.probeResults().size(), 1);
}

TEST_F(PipelineRun, RemineFromSavedProject) {
    SavedProject project{"Cut \"A\"", 1700000000, "es", {"/m/a.wav"}, {{0, 2, "hola"}, {2, 3, "bien"}}, {},
                         {},          4,          {}};
    script.words = {{0, {{"hola", 0, 1}}}};
    QCoro::waitFor(pipeline.runFromProject(project, 3, {}, QStringLiteral("warm"), "", false));
    EXPECT_EQ(lines(), (QList<Line>{
                           {"$ ondrel mine --reload Cut \"A\"", "dim"},
                           {"✓ Loaded saved project — 2 segments", "green"},
                           {"  Skipping transcription (cached)", "muted"},
                           {"⛏ Claude analyzing story structure...", "accent"},
                           {"💎 Found 1 acts · 2 moments", "accent"},
                           {"⛏ Re-transcribing selected moments at word level...", "accent"},
                           {"✓ 1 words across 1 segments", "green"},
                           {"✓ Exported SRT, transcript, and story brief", "green"},
                           {"Building timeline in Resolve...", "muted"},
                           {"Building timeline in Resolve...", "muted"},
                           {"✓ Complete — new style applied!", "green"},
                       }));
    EXPECT_EQ(progress, (QList<double>{0.5, 0.7, 0.85, 1}));
    EXPECT_FALSE(script.calls.contains("media"));
    EXPECT_FALSE(script.calls.contains("probe"));
    EXPECT_EQ(pipeline.lastMediaPaths(), QStringList{"/m/a.wav"});
}

// Media files instead of a Resolve timeline: the files are read (one gone), nothing speaks of
// Resolve, and the story ends saved for other editors instead of built.
TEST_F(PipelineRun, AFileSourceReadsItsFilesAndEndsSavedForEditors) {
    const QString a = home.path() + "/media/a.wav";
    const QString b = home.path() + "/media/b.mov";
    QDir().mkpath(home.path() + "/media");
    for (const QString& file : {a, b})
        test::writeFile(file, "x");
    const MineSource source{
        "media", ProjectSource{"files", home.path() + "/media"}, {a, home.path() + "/media/gone.wav", b}};
    QStringList captions;
    QObject::connect(&pipeline, &LocalPipeline::stepChanged, [&] { captions << pipeline.stepCaption(); });
    QCoro::waitFor(pipeline.runSource(source, MiningMode::fullMine, 10, "auto", {}, std::nullopt, "", false));

    const QList<Line> got = lines();
    EXPECT_EQ(got.mid(0, 6), (QList<Line>{{"$ ondrel mine --mode full-mine", "dim"},
                                          {"📂 Reading 3 media files...", "muted"},
                                          {"  ✗ gone.wav — not found", "accent"},
                                          {"✓ Read 2 of 3 media files", "green"},
                                          {"  → a.wav", "dim"},
                                          {"  → b.mov", "dim"}}));
    EXPECT_EQ(got.mid(got.size() - 3),
              (QList<Line>{{"Saving the story for your editor...", "muted"},
                           {"✓ Story saved for your editor: story_edit.fcpxml, .xml, .otio, .edl", "green"},
                           {"✓ Complete — we found gems!", "green"}}));
    for (const Line& line : got)
        EXPECT_FALSE(line.text.contains("Resolve")) << line.text.toStdString();
    EXPECT_TRUE(captions.contains("Reading media files...") &&
                captions.contains("Saving for your editor..."));
    EXPECT_FALSE(captions.contains("Connecting to Resolve..."));
    EXPECT_FALSE(script.calls.contains("media") || script.calls.contains("build"));
    EXPECT_EQ(pipeline.lastMediaPaths(), (QStringList{a, b}));
    EXPECT_EQ(pipeline.buildResult(), "✓ Story saved for your editor: story_edit.fcpxml, .xml, .otio, .edl");
    EXPECT_EQ(pipeline.step(), PipelineStep::complete);

    // None readable: the run ends where Resolve's would have found no media.
    pipeline.reset();
    QCoro::waitFor(pipeline.runSource({"media", ProjectSource{"files", {}}, {home.path() + "/none.wav"}},
                                      MiningMode::fullMine, 10, "auto", {}, std::nullopt, "", false));
    EXPECT_EQ(pipeline.errorMessage(), "Could not read the media files");
}
