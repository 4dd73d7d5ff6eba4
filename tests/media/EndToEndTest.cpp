// A run over a fake Resolve timeline of three generated files and a fake speech-to-text service,
// through the media steps up to the analysis, and again from the cache.
#include "MediaFixtures.h"
#include "core/Files.h"
#include "media/TranscriptCache.h"
#include "support/FakeHttpServer.h"

#include <QSet>
#include <QTest>

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
    whisper.answerByFileName(kPath, {{"chunk_000.flac", {200, R"({"text":"hola a todos","language":"spanish",
                                      "segments":[{"start":0,"end":2,"text":"hola a todos"}]})"}},
                                     {"chunk_001.flac", {200, R"({"text":"y la cámara","language":"spanish",
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

    // A story an earlier mine saved outlives a re-mine whose analysis fails: the new transcript is
    // kept beside it.
    SavedProject earlier = projects[0];
    MiningResults story;
    story.segments.push_back({0, 0, 2, "A001.wav", "hola a todos", "hello everyone", {}});
    earlier.results = story;
    earlier.targetMinutes = 5;
    earlier.transcript.clear();
    ASSERT_TRUE(writeFileAtomically(home.paths().exportDirFor("Interview Cut") + "/project.json",
                                    encodeJson(earlier).value_or(QByteArray())));
    QDir(transcriptCacheDir(home.paths(), {a, b, c})).removeRecursively(); // transcribed anew
    mine(*run(), "Interview Cut");
    const QList<SavedProject> remined = listProjects(home.paths());
    ASSERT_EQ(remined.size(), 1);
    EXPECT_EQ(remined[0].results, earlier.results);
    EXPECT_EQ(remined[0].targetMinutes, 5);
    EXPECT_EQ(LocalPipeline::loadProject(remined[0]), seen.transcript);
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

// The first chunks' requests leave while the rest is still being extracted (and with eight open at
// most), yet the run's log, progress and transcript are those of one request at a time after
// chunking; every chunk goes once, as FLAC.
TEST_F(EndToEnd, ChunksGoUpWhileTheRestIsExtractedAndTheRunReadsTheSame) {
    const QString a = media + "/A.wav", b = media + "/B.wav";
    ASSERT_TRUE(makeToneWav(a, 360, 300));
    ASSERT_TRUE(makeToneWav(b, 360, 500));
    writeTimelineState(home, "Day", {a, b});
    // Extraction read at 300 times real time, so the first chunk exists a second before the last.
    const QString slowFfmpeg = home.path() + "/ffmpeg";
    writeFile(slowFfmpeg, "#!/bin/sh\ncase \"$*\" in *\"-f concat\"*) exec " +
                              ToolPaths::platformDefault().ffmpeg.toUtf8() +
                              " -readrate 300 \"$@\";; esac\nexec " +
                              ToolPaths::platformDefault().ffmpeg.toUtf8() + " \"$@\"\n");
    QFile::setPermissions(slowFfmpeg, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    struct Seen {
        QList<LogLine> log;
        QList<double> progress;
        TranscriptResult transcript;
        bool operator==(const Seen&) const = default;
    } seen[2];
    for (const int maxOpen : {1, 8}) {
        SCOPED_TRACE(maxOpen);
        QDir(home.paths().transcriptsDir()).removeRecursively(); // no cache of the run before
        FakeHttpServer speech;
        std::shared_ptr<LocalPipeline> p;
        QStringList lastLineAtRequest;
        speech.answerWith(kPath, [&](const RecordedRequest& r) -> ScriptedResponse {
            lastLineAtRequest << p->logs().last().text;
            EXPECT_TRUE(r.body.contains("Content-Type: audio/flac\r\n\r\nfLaC")) << r.fileName().data();
            const int index = r.fileName().mid(6, 3).toInt();
            return {200, QStringLiteral(R"({"text":"","language":"spanish","segments":[
                                            {"start":1,"end":2,"text":"parte %1"}]})")
                             .arg(index)
                             .toUtf8()};
        });
        PipelineEnvironment env = home.pipelineEnvironment();
        env.tools.ffmpeg = slowFfmpeg;
        env.endpoints.openaiHost = speech.baseUrl();
        env.env.insert(QStringLiteral("OPENAI_API_KEY"), kKey);
        env.maxOpenRequests = maxOpen;
        p = mediaPipeline(env);
        Seen& s = seen[maxOpen > 1];
        QObject::connect(p.get(), &LocalPipeline::progressChanged, [&] { s.progress << p->progress(); });
        s.transcript = mine(*p, "Day").transcript;
        s.log = logLines(*p);
        QSet<QByteArray> names;
        for (const RecordedRequest& r : speech.requests())
            names.insert(r.fileName());
        EXPECT_EQ(names, (QSet<QByteArray>{"chunk_000.flac", "chunk_001.flac", "chunk_002.flac"}));
        EXPECT_EQ(speech.requests().size(), 3) << "sent twice";
        EXPECT_EQ(lastLineAtRequest.value(0),
                  maxOpen == 1 ? "  Transcribing chunk 1/3..." : "Extracting audio from timeline...");
    }
    EXPECT_EQ(seen[1], seen[0]);
    EXPECT_EQ(seen[0].transcript.segments.size(), 3);
    EXPECT_EQ(seen[0].transcript.segments[2].start, 601);
}

// A cancel while chunks go up during the extraction: ffmpeg and the requests out are stopped,
// nothing more is cut or sent, and nothing of the run is logged after it.
TEST_F(EndToEnd, ACancelDuringTheExtractionStopsTheChunksGoingUp) {
    const QString a = media + "/A.wav";
    ASSERT_TRUE(makeToneWav(a, 900, 300));
    writeTimelineState(home, "Day", {a});
    const QString slowFfmpeg = home.path() + "/ffmpeg";
    writeFile(slowFfmpeg, "#!/bin/sh\ncase \"$*\" in *pcm_s16le*partial.wav*) exec " +
                              ToolPaths::platformDefault().ffmpeg.toUtf8() +
                              " -readrate 300 \"$@\";; esac\nexec " +
                              ToolPaths::platformDefault().ffmpeg.toUtf8() + " \"$@\"\n");
    QFile::setPermissions(slowFfmpeg, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    whisper.answerAlways(kPath, {200, "{}", "application/json", 600000});
    PipelineEnvironment env = home.pipelineEnvironment();
    env.tools.ffmpeg = slowFfmpeg;
    env.endpoints.openaiHost = whisper.baseUrl();
    auto p = mediaPipeline(env);
    QCoro::Task<> mining = p->run("Day", MiningMode::fullMine, 10, "es", {}, std::nullopt, {}, false);
    ASSERT_TRUE(waitFor([&] { return whisper.requests().size() == 1; }, 60000));
    const qsizetype lines = p->logs().size();
    p->cancel();
    QCoro::waitFor(std::move(mining));
    EXPECT_EQ(p->logs().size(), lines);
    EXPECT_EQ(p->logs().last().text, "Extracting audio from timeline...");
    EXPECT_TRUE(waitFor([&] { return whisper.abandoned().size() == 1; })) << "the request was aborted";
    QTest::qWait(600);
    EXPECT_EQ(whisper.requests().size(), 1);
    EXPECT_FALSE(QFile::exists(cache("extracted_audio.wav")));
    EXPECT_FALSE(WorkQueue::shared().isBusy());
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
