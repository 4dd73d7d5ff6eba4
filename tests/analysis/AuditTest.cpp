// The audit of a finished cut on the fake Resolve, with a cached transcript and a fake model.
#include "AnalysisTestSupport.h"

#include "analysis/TimelineAudit.h"

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QString kTimeline = R"(Cut "1" \ 'final')";

Json clip(const std::string& path) {
    Json c = Json::object();
    c["id"] = "clip:" + path;
    c["name"] = path.substr(path.rfind('/') + 1);
    c["properties"] = {{"File Path", path}};
    return c;
}

Json item(const std::string& path, qint64 start, qint64 end) {
    Json i = Json::object();
    i["name"] = path.substr(path.rfind('/') + 1);
    i["clipId"] = path.empty() ? Json(nullptr) : Json("clip:" + path);
    i["start"] = start;
    i["end"] = end;
    i["sourceStart"] = 0;
    i["sourceEnd"] = end - start;
    return i;
}

QByteArray resolveState(const Json& audioTracks, const Json& videoTracks, bool running = true) {
    Json timeline = Json::object();
    timeline["name"] = kTimeline.toStdString();
    timeline["fps"] = 24;
    timeline["startFrame"] = 0;
    timeline["tracks"] = {{"video", videoTracks}, {"audio", audioTracks}, {"subtitle", Json::array()}};
    Json clips = Json::array({clip("/footage/a.wav"), clip("/footage/b.wav"), clip("/footage/c.mov")});
    Json noFile = clip("/footage/title");
    noFile["properties"] = {{"File Path", ""}};
    clips.push_back(noFile);
    Json project = Json::object();
    project["timelines"] = Json::array({Json::object({{"name", "Other"}}), timeline});
    project["timelines"][0]["tracks"] = {{"video", Json::array()}, {"audio", Json::array()}};
    project["mediaPool"] = {{"root", {{"name", "Master"}, {"clips", clips}, {"subfolders", Json::array()}}}};
    Json state = Json::object();
    state["running"] = running;
    state["currentProject"] = "Interviews";
    state["projects"] = {{"Interviews", project}};
    return QByteArray::fromStdString(state.dump());
}

QByteArray goldenState() {
    Json audio =
        Json::array({Json::array({item("/footage/a.wav", 0, 240), item("/footage/b.wav", 240, 480)})});
    Json video = Json::array(
        {Json::array({item("/footage/c.mov", 0, 48), item("", 48, 96), item("/footage/title", 96, 120)})});
    return resolveState(audio, video);
}

TranscriptResult goldenTranscript() {
    return {{{0.0, 4.0, "Hola.", "es"},
             {4.0, 10.0 + 1.0 / 24.0, "Me llamo Ana.", "es"}, // a frame past the used range
             {305.0, 315.0, "Crecí junto al mar.", "es"},
             {311.0, 319.5, "Mi abuela cocinaba.", "es"},
             {390.0, 400.0, "Gracias.", "es"}},
            "es"};
}

const char* reportJson = R"({"coveragePercent": 5, "usedSegments": [],
  "buriedGold": [{"startTime": 305, "endTime": 315, "text": "Crecí", "reason": "place", "emotionalWeight": 4},
                 {"startTime": 390, "endTime": 400, "text": "Gracias", "reason": "end", "emotionalWeight": 2}],
  "redundancies": [{"firstStart": 0, "firstEnd": 4, "secondStart": 311, "secondEnd": 319.5, "topic": "family"}],
  "alternates": [], "themeGaps": ["the sea"], "confidenceScore": 61.9, "summary": "Thin."})";

struct AuditRig : AnalysisRig {
    std::optional<QStringList> media = QStringList{"/footage/b.wav", "/footage/a.wav"};
    std::optional<TranscriptResult> transcript = goldenTranscript();
    ScriptedResponse answer{200, claudeBody(reportJson)};
    bool cancelWhileLoading = false;
    QStringList mediaAskedFor;

    AuditRig() {
        home.setResolveState(goldenState());
        p().steps().getTimelineMedia = [this](LocalPipeline&,
                                              QString timeline) -> QCoro::Task<std::optional<QStringList>> {
            mediaAskedFor << timeline;
            co_return std::optional<QStringList>(media);
        };
        p().steps().loadCachedTranscript = [this](LocalPipeline& pl, const QStringList&) {
            if (cancelWhileLoading)
                pl.cancel();
            return transcript;
        };
    }

    void audit() {
        server.enqueue("/v1/messages", answer);
        QCoro::waitFor(p().auditTimeline(kTimeline));
    }
};

} // namespace

TEST(Audit, FullRunOnTheFakeResolve) {
    AuditRig rig;
    rig.p().log("left over from before");
    rig.audit();

    EXPECT_EQ(rig.sentPrompt(), goldenText("audit_prompt.txt"));
    EXPECT_EQ(rig.mediaAskedFor, QStringList({kTimeline}));
    const QList<Line> expected{
        {"$ ondrel audit --timeline " + kTimeline, "dim"},
        {"Reading existing timeline from Resolve...", "muted"},
        {"✓ Found 3 clips using 3 source files", "green"},
        {"✓ Found 2 total source files in media pool", "green"},
        {"⛏ Loading cached transcripts...", "accent"},
        {"✓ Loaded transcript — 5 segments · 12 words", "green"},
        {"Mapping used clips to transcript...", "muted"},
        {"  Used: 20.0s / 400s (5%)", "dim"},
        {"⛏ Claude analyzing for buried gold...", "accent"},
        {"💎 Found 2 gold moments · 1 redundancies", "accent"},
        {"  Confidence score: 61/100", "green"},
        {"✓ Audit complete!", "muted"},
    };
    EXPECT_EQ(rig.lines(), expected);
    EXPECT_EQ(rig.p().step(), PipelineStep::complete);
    EXPECT_EQ(rig.p().progress(), 1.0);
    ASSERT_TRUE(rig.p().auditReport());
    EXPECT_EQ(rig.p().auditReport()->themeGaps, QStringList({"the sea"}));
    EXPECT_EQ(rig.p().auditReport()->coveragePercent, 5.0) << "the model's figure, not ours";
    EXPECT_TRUE(rig.p().auditReport()->usedSegments.isEmpty()) << "used ranges are not merged in";
}

TEST(Audit, ClipsOnTwoTracksCountTwiceSoCoverageCanPass100) {
    AuditRig rig;
    Json audio = Json::array(
        {Json::array({item("/footage/a.wav", 0, 7200)}), Json::array({item("/footage/a.wav", 0, 7200)})});
    rig.home.setResolveState(resolveState(audio, Json::array({Json::array()})));
    rig.transcript = TranscriptResult{{{0, 300, "todo", "es"}}, "es"};
    rig.audit();
    const QStringList log = rig.texts();
    EXPECT_TRUE(log.contains("✓ Found 2 clips using 1 source files"));
    EXPECT_TRUE(log.contains("  Used: 600.0s / 300s (200%)"));
    EXPECT_TRUE(rig.sentPrompt().contains("- They used 200% of the total footage (600.0s out of 300.0s)\n"));
    EXPECT_TRUE(rig.sentPrompt().contains("\"coveragePercent\": 200.0,\n"));
    EXPECT_TRUE(rig.sentPrompt().contains("FULL TRANSCRIPT:\n[USED] [0.0s → 300.0s] todo\n\n\nRULES:"));
}

TEST(Audit, EmptyTimelineAndEmptyTranscriptGoOn) {
    AuditRig rig;
    rig.home.setResolveState(resolveState(Json::array(), Json::array()));
    rig.transcript = TranscriptResult{{}, "es"};
    rig.audit();
    const QStringList log = rig.texts();
    EXPECT_TRUE(log.contains("✓ Found 0 clips using 0 source files"));
    EXPECT_TRUE(log.contains("  Used: 0.0s / 1s (0%)"));
    EXPECT_TRUE(rig.sentPrompt().contains("FULL TRANSCRIPT:\n\n\nRULES:"));
    EXPECT_TRUE(rig.sentPrompt().contains("(0.0s out of 1.0s)"));
    EXPECT_EQ(rig.p().step(), PipelineStep::complete);
}

TEST(Audit, FailuresEndWithTheirTexts) {
    const QString noTranscript =
        "No cached transcripts found. Run Full Mine or Story Mine first to generate transcripts.";
    struct Case {
        const char* name;
        std::function<void(AuditRig&)> arrange;
        QList<Line> tail; // the last lines of the log
        QString error;
        double progress;
    } cases[] = {
        {"Resolve not running",
         [](AuditRig& r) { r.home.setResolveState(resolveState(Json::array(), Json::array(), false)); },
         {{"  ✗ Resolve not connected", "accent"},
          {"✗ Could not read timeline clips from Resolve", "accent"}},
         "Could not read timeline clips from Resolve",
         0.05},
        {"timeline not found",
         [](AuditRig& r) {
             QByteArray state = goldenState();
             state.replace(QByteArray::fromStdString(Json(kTimeline.toStdString()).dump()), "\"Renamed\"");
             r.home.setResolveState(state);
         },
         {{"  ✗ Timeline not found", "accent"}, {"✗ Could not read timeline clips from Resolve", "accent"}},
         "Could not read timeline clips from Resolve",
         0.05},
        {"an exception in the program",
         [](AuditRig& r) {
             QByteArray state = goldenState();
             state.replace("\"currentProject\":\"Interviews\"", "\"currentProject\":null");
             r.home.setResolveState(state);
         },
         {{"  ✗ 'NoneType' object has no attribute 'GetTimelineCount'", "accent"},
          {"✗ Could not read timeline clips from Resolve", "accent"}},
         "Could not read timeline clips from Resolve",
         0.05},
        {"no media",
         [](AuditRig& r) { r.media.reset(); },
         {{"✓ Found 3 clips using 3 source files", "green"}, {"✗ Could not access source media", "accent"}},
         "Could not access source media",
         0.15},
        {"no cached transcript",
         [](AuditRig& r) { r.transcript.reset(); },
         {{"⛏ Loading cached transcripts...", "accent"}, {"✗ " + noTranscript, "accent"}},
         noTranscript,
         0.25},
        {"answer without confidenceScore",
         [](AuditRig& r) {
             r.answer = {200, claudeBody(R"({"coveragePercent":1,"usedSegments":[],"buriedGold":[],
                                 "redundancies":[],"alternates":[],"themeGaps":[],"summary":"s"})")};
         },
         {{"  JSON decode error: No value at \"confidenceScore\".", "accent"},
          {R"(  Response preview: {"coveragePercent":1,"usedSegments":[],"buriedGold":[],
                                 "redundancies":[],"alternates":[],"themeGaps":[],"summary":"s"}...)",
           "dim"},
          {"✗ Claude analysis failed", "accent"}},
         "Claude analysis failed",
         0.6},
        {"model service down",
         [](AuditRig& r) {
             r.answer = {500, "overloaded"};
         },
         {{"  Claude HTTP error: overloaded", "accent"}, {"✗ Claude analysis failed", "accent"}},
         "Claude analysis failed",
         0.6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AuditRig rig;
        c.arrange(rig);
        rig.audit();
        const QList<Line> log = rig.lines();
        ASSERT_GE(log.size(), c.tail.size());
        EXPECT_EQ(log.mid(log.size() - c.tail.size()), c.tail);
        EXPECT_EQ(rig.p().step(), PipelineStep::error);
        EXPECT_EQ(rig.p().errorMessage(), c.error);
        EXPECT_EQ(rig.p().progress(), c.progress);
        EXPECT_FALSE(rig.p().auditReport());
    }
}

TEST(Audit, PythonThatCannotStart) {
    AnalysisRig base;
    PipelineEnvironment env = base.home.pipelineEnvironment(&base.clock);
    env.tools.python3 = base.home.path() + "/no-python3";
    LocalPipeline pipeline(env);
    installAnalysisSteps(pipeline.steps());
    QCoro::waitFor(pipeline.auditTimeline("Cut"));
    ASSERT_GE(pipeline.logs().size(), 2);
    EXPECT_EQ(pipeline.logs()[pipeline.logs().size() - 2].text, "  Python script failed");
    EXPECT_EQ(pipeline.errorMessage(), "Could not read timeline clips from Resolve");
}

TEST(Audit, CancelledWhileAnalysingStopsWithoutAWord) {
    AuditRig rig;
    rig.cancelWhileLoading = true;
    rig.audit();
    EXPECT_EQ(rig.texts().last(), "⛏ Claude analyzing for buried gold...");
    EXPECT_EQ(rig.p().step(), PipelineStep::analyzing);
    EXPECT_FALSE(rig.p().auditReport());
}

TEST(Audit, ReadingTheProgramOutput) {
    struct Case {
        const char* name;
        QString output;
        std::optional<QList<TimelineClip>> clips;
        QList<QPair<QString, QString>> log;
    } cases[] = {
        {"clips after other lines",
         "LOG:hello\nSUCCESS:[{\"sourceFile\":\"/"
         "a.wav\",\"startFrame\":86400,\"endFrame\":86424,\"duration\":1.0}]\n",
         QList<TimelineClip>{{"/a.wav", 86400, 86424, 1.0}},
         {}},
        {"objects of the wrong shape are skipped",
         "SUCCESS:[{\"sourceFile\":\"/a.wav\",\"startFrame\":0,\"endFrame\":24,\"duration\":1},"
         "{\"sourceFile\":\"/b.wav\",\"startFrame\":0.5,\"endFrame\":24,\"duration\":1},"
         "{\"sourceFile\":3,\"startFrame\":0,\"endFrame\":24,\"duration\":1},"
         "{\"sourceFile\":\"/c.wav\",\"startFrame\":0,\"endFrame\":24},"
         "{\"sourceFile\":\"/d.wav\",\"startFrame\":48.0,\"endFrame\":72,\"duration\":\"1\"},"
         "{\"sourceFile\":\"/e.wav\",\"startFrame\":48.0,\"endFrame\":72,\"duration\":3}]",
         QList<TimelineClip>{{"/a.wav", 0, 24, 1.0}, {"/e.wav", 48, 72, 3.0}},
         {}},
        {"the first SUCCESS line counts",
         "SUCCESS:[]\nSUCCESS:[{\"sourceFile\":\"/a\",\"startFrame\":0,\"endFrame\":1,\"duration\":0}]",
         QList<TimelineClip>{},
         {}},
        {"not JSON", "SUCCESS:[{", std::nullopt, {{"  Failed to parse clip JSON", "accent"}}},
        {"not a list of objects", "SUCCESS:[1]", std::nullopt, {{"  Failed to parse clip JSON", "accent"}}},
        {"error lines, traceback ignored",
         "ERROR:boom ERROR: again\nTraceback (most recent call last):\n  ERROR:second  \n",
         std::nullopt,
         {{"  ✗ boom  again", "accent"}, {"  ✗ second", "accent"}}},
        {"nothing at all", "", std::nullopt, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ClipReading r = readTimelineClipsOutput(c.output);
        EXPECT_EQ(r.clips, c.clips);
        EXPECT_EQ(r.logLines, c.log);
    }
}

TEST(Audit, ClipsOnTheTranscriptClock) {
    const QStringList paths{"/m/c.wav", "/m/a.wav", "/m/b.wav"};
    struct Case {
        const char* name;
        TimelineClip clip;
        std::optional<UsedSegment> used;
    } cases[] = {
        {"first file in string order", {"/m/a.wav", 0, 240, 10}, UsedSegment{0, 10, ""}},
        {"third file starts at 600", {"/m/c.wav", 24, 48, 1}, UsedSegment{601, 602, ""}},
        {"always 24 fps, start frame kept", {"/m/b.wav", 86400, 86412, 0.2}, UsedSegment{3900, 3900.5, ""}},
        {"a file outside the media paths adds nothing", {"/elsewhere/a.wav", 0, 24, 1}, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QList<UsedSegment> used = mapTimelineClipsToTranscript({c.clip}, paths);
        EXPECT_EQ(used, c.used ? QList<UsedSegment>{*c.used} : QList<UsedSegment>{});
    }
}

TEST(Audit, OnlyWholeContainmentMarksUsed) {
    const QList<UsedSegment> used{{10, 20, ""}, {30, 40, ""}};
    struct Case {
        double start, end;
        bool isUsed;
    } cases[] = {
        {10, 20, true},  {12, 18, true}, {9.99, 15, false}, {15, 20.01, false},
        {18, 32, false}, {30, 40, true}, {0, 50, false},    {45, 46, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.start);
        const QString line = markedTranscript({{c.start, c.end, "x", "es"}}, used);
        EXPECT_EQ(line.startsWith("[USED] "), c.isUsed) << line.toStdString();
        EXPECT_EQ(line.startsWith("[UNUSED] "), !c.isUsed) << line.toStdString();
    }
    EXPECT_EQ(markedTranscript({}, used), "");
}
