// A run over a fake Resolve timeline of three generated files and a fake speech-to-text service,
// through the media steps up to the analysis, and again from the cache.
#include "MediaFixtures.h"
#include "media/MediaSteps.h"
#include "support/FakeHttpServer.h"

#include <QDir>
#include <QFileInfo>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QByteArray kPath = "/v1/audio/transcriptions";

struct AnalysisSeen {
    bool called = false;
    PipelineStep step = PipelineStep::idle;
    double progress = -1;
    TranscriptResult transcript;
};

// The analysis is another subsystem's; here it only notes where the run stands when it is asked.
void stubAnalysis(LocalPipeline& pipeline, AnalysisSeen& seen) {
    pipeline.steps().analyzeStory = [&seen](LocalPipeline& p, TranscriptResult t, double, QString,
                                            QString) -> QCoro::Task<std::optional<MiningResults>> {
        seen = {true, p.step(), p.progress(), t};
        co_return std::nullopt;
    };
}

QCoro::Task<> mine(LocalPipeline& p, QString timeline) {
    co_await p.run(timeline, MiningMode::fullMine, 10, QStringLiteral("es"), StyleSliders{}, std::nullopt,
                   QString(), false);
}

class EndToEnd : public ::testing::Test {
protected:
    TestHome home;
    FakeHttpServer whisper;
    QString media = home.path() + "/Footage";

    void SetUp() override { QDir().mkpath(media); }
    std::unique_ptr<LocalPipeline> pipeline() { return mediaPipeline(home, whisper.baseUrl(), "sk-e2e"); }
};

TEST_F(EndToEnd, TimelineToTranscriptThenTheCacheSparesTheSecondRun) {
    const QString a = media + "/A001.wav", b = media + "/A002.wav", c = media + "/C0001.mov";
    ASSERT_TRUE(makeBroadcastWav(a, 150, 300, 172800000, 1));
    ASSERT_TRUE(makeBroadcastWav(b, 100, 500, 180000000, 1));
    ASSERT_TRUE(makeCameraMov(c, 60, 1000, "01:00:00;12", "30000/1001"));
    writeTimelineState(home, "Interview Cut", {c, b, a});
    whisper.respondJson(kPath, 200,
                        R"({"text":"hola a todos","language":"spanish",
                            "segments":[{"start":0,"end":2,"text":"hola a todos"}]})");
    whisper.respondJson(kPath, 200,
                        R"({"text":"y la cámara","language":"spanish",
                            "segments":[{"start":1,"end":3,"text":"y la cámara"}]})");

    auto first = pipeline();
    AnalysisSeen seen;
    stubAnalysis(*first, seen);
    QCoro::waitFor(mine(*first, "Interview Cut"));

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
    ASSERT_TRUE(seen.called);
    EXPECT_EQ(seen.step, PipelineStep::analyzing);
    EXPECT_EQ(seen.progress, 0.45);
    // The second chunk's answer lies after the first chunk's 300 measured seconds.
    EXPECT_EQ(seen.transcript,
              (TranscriptResult{{{0, 2, "hola a todos", "spanish"}, {301, 303, "y la cámara", "spanish"}},
                                "spanish"}));
    EXPECT_EQ(first->lastMediaPaths(), (QStringList{a, b, c}));
    EXPECT_EQ(first->probeResults().size(), 3);
    EXPECT_TRUE(QFile::exists(home.paths().cacheDir + "/probe_results.json"));

    const double sources = mediaDuration(a) + mediaDuration(b) + mediaDuration(c);
    EXPECT_NEAR(mediaDuration(home.paths().cacheDir + "/extracted_audio.wav"), sources, 0.1);

    // Again in the same launch: the cache answers, nothing is extracted or sent.
    QFile::remove(home.paths().cacheDir + "/extracted_audio.wav");
    const qsizetype sent = whisper.requests().size();
    auto second = pipeline();
    AnalysisSeen again;
    stubAnalysis(*second, again);
    QList<PipelineStep> steps;
    QObject::connect(second.get(), &LocalPipeline::stepChanged, [&] { steps << second->step(); });
    QCoro::waitFor(mine(*second, "Interview Cut"));

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
    EXPECT_FALSE(QFile::exists(home.paths().cacheDir + "/extracted_audio.wav"));
}

TEST_F(EndToEnd, EachMediaFailureEndsTheRunWithItsOwnMessage) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 2.0, 440));
    const struct {
        const char* name;
        QString timeline;
        QStringList files;
        int whisperStatus;
        QList<LogLine> tail;
        double progress;
    } cases[] = {
        {"no such timeline",
         "Missing",
         {media + "/a.wav"},
         200,
         {{"Connecting to DaVinci Resolve...", "muted"},
          {"✗ Could not find source media for timeline 'Missing'", "accent"}},
         0.02},
        {"every chunk refused",
         "Cut",
         {media + "/a.wav"},
         401,
         {{R"(  Whisper error: {"error":"bad key"})", "accent"},
          {"  ⚠ Chunk 1 failed, skipping", "accent"},
          {"✗ Transcription failed", "accent"}},
         0.15},
        {"the only file is gone",
         "Cut",
         {media + "/gone.wav"},
         200,
         {{"  ⚠ Failed to probe gone.wav", "accent"},
          {"Extracting audio from timeline...", "muted"},
          {"✗ Audio extraction failed", "accent"}},
         0.05},
    };
    for (const auto& c : cases) {
        TestHome fresh;
        FakeHttpServer service;
        service.respondJson(kPath, c.whisperStatus, R"({"error":"bad key"})");
        writeTimelineState(fresh, "Cut", c.files);
        auto p = mediaPipeline(fresh, service.baseUrl(), "sk-x");
        QCoro::waitFor(mine(*p, c.timeline));
        const QList<LogLine> lines = logLines(*p);
        ASSERT_GE(lines.size(), c.tail.size()) << c.name;
        EXPECT_EQ(lines.mid(lines.size() - c.tail.size()), c.tail) << c.name;
        EXPECT_EQ(p->step(), PipelineStep::error) << c.name;
        EXPECT_EQ(p->progress(), c.progress) << c.name;
    }
}

} // namespace
