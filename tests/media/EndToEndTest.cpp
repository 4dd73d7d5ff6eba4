// A run over a fake Resolve timeline of three generated files and a fake speech-to-text service,
// through the media steps up to the analysis, and again from the cache.
#include "MediaFixtures.h"
#include "support/FakeHttpServer.h"

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QByteArray kPath = "/v1/audio/transcriptions";

struct Seen {
    PipelineStep step = PipelineStep::idle;
    double progress = -1;
    TranscriptResult transcript;
};

// A full mine; the analysis is another subsystem's, here it only notes where the run stands.
Seen mine(LocalPipeline& pipeline, const QString& timeline) {
    Seen seen;
    pipeline.steps().analyzeStory = [&seen](LocalPipeline& p, TranscriptResult t, double, QString,
                                            QString) -> QCoro::Task<std::optional<MiningResults>> {
        seen = {p.step(), p.progress(), t};
        co_return std::nullopt;
    };
    QCoro::waitFor(pipeline.run(timeline, MiningMode::fullMine, 10, "es", {}, std::nullopt, {}, false));
    return seen;
}

class EndToEnd : public MediaTest {
protected:
    FakeHttpServer whisper;
    std::shared_ptr<LocalPipeline> run() { return mediaPipeline(home, whisper.baseUrl()); }
};

TEST_F(EndToEnd, TimelineToTranscriptThenTheCacheSparesTheSecondRun) {
    const QString a = media + "/A001.wav", b = media + "/A002.wav", c = media + "/C0001.mov";
    ASSERT_TRUE(makeBroadcastWav(a, 150, 300, 172800000, 1));
    ASSERT_TRUE(makeBroadcastWav(b, 100, 500, 180000000, 1));
    ASSERT_TRUE(makeCameraMov(c, 60, 1000, "01:00:00;12", "30000/1001"));
    writeTimelineState(home, "Interview Cut", {c, b, a});
    whisper.answerByFileName(kPath, {{"chunk_000.wav", {200, R"({"text":"hola a todos","language":"spanish",
                                      "segments":[{"start":0,"end":2,"text":"hola a todos"}]})"}},
                                     {"chunk_001.wav", {200, R"({"text":"y la cámara","language":"spanish",
                                      "segments":[{"start":1,"end":3,"text":"y la cámara"}]})"}}});

    auto first = run();
    const Seen seen = mine(*first, "Interview Cut");

    const QList<LogLine> expected{
        {"$ ondrel mine --mode full-mine", "dim"},
        {"Connecting to DaVinci Resolve...", "muted"},
        {"✓ Connected — found 3 source clips", "green"},
        {"  → A001.wav", "dim"},
        {"  → A002.wav", "dim"},
        {"  → C0001.mov", "dim"},
        {"📋 Probing 3 source files...", "muted"},
        {"  A001.wav: 2:30, TC: 01:00:00:00, 48000Hz", "dim"},
        {"  A002.wav: 1:40, TC: 01:02:30:00, 48000Hz", "dim"},
        {"  C0001.mov: 1:00, TC: 01:00:00;12, 48000Hz", "dim"},
        {"✓ Probed 3 files", "green"},
        {"Extracting audio from timeline...", "muted"},
        {"Audio extracted — 9.9 MB", "muted"},
        {"Preparing audio chunks...", "muted"},
        {"Split into 2 chunks for Whisper", "muted"},
        {"⛏ Transcribing with Whisper...", "accent"},
        {"  Transcribing chunk 1/2...", "dim"},
        {"  Transcribing chunk 2/2...", "dim"},
        {"2 segments · 6 words", "muted"},
        {"⛏ Claude analyzing story structure...", "accent"},
        {"✗ Story analysis failed", "accent"},
    };
    EXPECT_EQ(logLines(*first), expected);
    EXPECT_EQ(std::pair(seen.step, seen.progress), std::pair(PipelineStep::analyzing, 0.45));
    // The second chunk's answer lies after the first chunk's 300 measured seconds.
    EXPECT_EQ(seen.transcript,
              (TranscriptResult{{{0, 2, "hola a todos", "spanish"}, {301, 303, "y la cámara", "spanish"}},
                                "spanish"}));
    EXPECT_EQ(first->lastMediaPaths(), (QStringList{a, b, c}));
    EXPECT_NEAR(mediaDuration(cache("extracted_audio.wav")),
                mediaDuration(a) + mediaDuration(b) + mediaDuration(c), 0.1);
    // The failed analysis cost nothing of the transcript: its project is saved, with no story, for
    // a re-mine in any later launch.
    const QList<SavedProject> projects = listProjects(home.paths());
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects[0].timeline, "Interview Cut");
    EXPECT_EQ(projects[0].mediaPaths, (QStringList{a, b, c}));
    EXPECT_FALSE(projects[0].results);
    EXPECT_EQ(LocalPipeline::loadProject(projects[0]), seen.transcript);

    // Again in the same launch: the cache answers, nothing is extracted or sent.
    QFile::remove(cache("extracted_audio.wav"));
    const qsizetype sent = whisper.requests().size();
    auto second = run();
    QList<PipelineStep> steps;
    QObject::connect(second.get(), &LocalPipeline::stepChanged, [&] { steps << second->step(); });
    const Seen again = mine(*second, "Interview Cut");

    QList<LogLine> cached = expected.mid(0, 11);
    cached << LogLine{"✓ Found cached transcript — 2 segments · 6 words", "green"}
           << LogLine{"  Skipping audio extraction + Whisper (saved ~$1)", "dim"}
           << LogLine{"⛏ Claude analyzing story structure...", "accent"}
           << LogLine{"✗ Story analysis failed", "accent"};
    EXPECT_EQ(logLines(*second), cached);
    EXPECT_EQ(steps,
              (QList<PipelineStep>{PipelineStep::connecting, PipelineStep::analyzing, PipelineStep::error}));
    EXPECT_EQ(again.progress, 0.45);
    EXPECT_EQ(again.transcript, seen.transcript);
    EXPECT_EQ(whisper.requests().size(), sent);
    EXPECT_FALSE(QFile::exists(cache("extracted_audio.wav")));
}

TEST_F(EndToEnd, EveryChunkRefusedFailsTheRun) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 2.0, 440));
    writeTimelineState(home, "Cut", {media + "/a.wav"});
    whisper.respondJson(kPath, 401, R"({"error":"bad key"})");
    auto p = run();
    mine(*p, "Cut");
    EXPECT_EQ(logLines(*p).mid(logLines(*p).size() - 3),
              (QList<LogLine>{
                  {R"(  Whisper error: {"error":"bad key"})", "accent"},
                  {"  ⚠ Chunk 1 failed, skipping", "accent"},
                  {"✗ Transcription failed", "accent"},
              }));
    EXPECT_EQ(std::pair(p->step(), p->progress()), std::pair(PipelineStep::error, 0.15));
}

} // namespace

// A track that Resolve cannot list (None) ends the lookup with an error: no media, rather than the
// files of the other tracks only.
TEST_F(EndToEnd, ATrackResolveCannotListFindsNoMedia) {
    const QString module = home.path() + "/stub";
    writeFile(module + "/DaVinciResolveScript.py", R"PY(
class Clip:
    def GetClipProperty(self): return {"File Path": "/m/a.wav"}
class Item:
    def GetMediaPoolItem(self): return Clip()
class Timeline:
    def GetName(self): return "T"
    def GetTrackCount(self, kind): return 2 if kind == "audio" else 0
    def GetItemListInTrack(self, kind, index): return [Item()] if index == 1 else None
class Project:
    def GetTimelineCount(self): return 1
    def GetTimelineByIndex(self, i): return Timeline()
    def SetCurrentTimeline(self, tl): return True
class Manager:
    def GetCurrentProject(self): return Project()
class Resolve:
    def GetProjectManager(self): return Manager()
def scriptapp(name): return Resolve()
)PY");
    PipelineEnvironment env = home.pipelineEnvironment();
    env.paths.resolveScriptLib = module;
    const auto pipeline = LocalPipeline::create(env);
    EXPECT_EQ(QCoro::waitFor(getTimelineMedia(*pipeline, "T")), std::nullopt);
}
