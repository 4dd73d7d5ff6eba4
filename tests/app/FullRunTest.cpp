// One whole mining run with every step wired: fake Resolve, fake services, real ffmpeg.
#include "app/PipelineWiring.h"
#include "media/TranscriptCache.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QCoroTask>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QSet>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::FakeHttpServer;
using ondrel::test::readFile;
using ondrel::test::TestHome;

namespace {

bool run(const QString& program, const QStringList& args) {
    QProcess p;
    p.start(program, args);
    return p.waitForFinished(120000) && p.exitCode() == 0;
}

const char* kStory = R"({"segments":[{"index":1,"startTime":2,"endTime":9,"sourceClip":"source",
  "transcript":"hola a todos","translation":"hello everyone","chapter":"Opening"}],
  "structure":{"acts":[{"name":"Opening","segments":[1]}],"totalDuration":7},
  "subtitles":[{"startTime":0,"endTime":7,"text":"hello everyone"}],"estimatedDuration":7})";

// A 40 s interview under the timeline "Day 1" of the fake Resolve; false when it could not be made.
bool makeOneClipTimeline(const TestHome& home) {
    const QString wav = home.path() + "/media/interview.wav";
    QDir().mkpath(home.path() + "/media");
    const QString state = R"PY(
import sys
sys.path.insert(0, sys.argv[1])
import fake_resolve_state as f
c = f.clip(sys.argv[3])
f.write(sys.argv[2], f.state(clips=[c], timelines=[f.timeline("Day 1", audio=[[f.item(c, 86400, 86400 + 960)]])]))
)PY";
    return run("/usr/bin/ffmpeg",
               {"-v", "quiet", "-f", "lavfi", "-i", "sine=frequency=300:duration=40", "-ar", "48000", wav}) &&
           run("/usr/bin/python3", {"-c", state, test::fakeResolveModuleDir(), home.resolveStateFile(), wav});
}

} // namespace

TEST(FullRun, TimelineToBuiltStoryAndExports) {
    TestHome home;
    ASSERT_TRUE(makeOneClipTimeline(home));

    FakeHttpServer server;
    server.respondJson(
        "/v1/audio/transcriptions", 200,
        R"({"text":"hola a todos","language":"spanish","segments":[{"start":2,"end":9,"text":"hola a todos"}]})");
    server.respondJson(
        "/v1/audio/transcriptions", 200,
        R"({"text":"hola a todos","words":[{"word":"hola","start":0.1,"end":0.5},{"word":"a","start":0.6,"end":0.7},{"word":"todos","start":0.8,"end":1.4}]})");
    server.respondJson(
        "/v1/messages", 200,
        QByteArray::fromStdString(Json{{"content", {{{"type", "text"}, {"text", kStory}}}}}.dump()));

    PipelineEnvironment env = home.pipelineEnvironment();
    env.endpoints.openaiHost = server.baseUrl();
    env.endpoints.anthropicHost = server.baseUrl();
    env.env.insert("OPENAI_API_KEY", "sk-test");
    env.env.insert("ANTHROPIC_API_KEY", "ak-test");
    auto pipeline = makePipeline(env);
    QCoro::waitFor(pipeline->run("Day 1", MiningMode::fullMine, 5, "auto", {}, std::nullopt, "", false));

    QStringList log;
    for (const auto& l : pipeline->logs())
        log << l.text;
    ASSERT_EQ(pipeline->step(), PipelineStep::complete) << log.join('\n').toStdString();
    EXPECT_EQ(pipeline->progress(), 1.0);
    EXPECT_EQ(pipeline->results()->segments.value(0).sourceClip, "interview.wav");
    EXPECT_TRUE(log.contains("✓ 3 words transcribed across 1 segments"));
    EXPECT_EQ(pipeline->buildResult(), QStringLiteral("✓ 1/1 clips appended"));

    // The story reached Resolve, and the export folder holds every file.
    const Json resolve = Json::parse(readFile(home.resolveStateFile()).toStdString());
    const Json& timelines = resolve["projects"]["Interviews"]["timelines"];
    ASSERT_EQ(timelines.size(), 2u);
    EXPECT_EQ(timelines[1]["tracks"]["audio"][0].size(), 1u);
    EXPECT_EQ(timelines[1]["markers"].size(), 1u);
    const QString exports = *pipeline->lastExportDir();
    for (const char* file :
         {"subtitles.srt", "transcript.txt", "story_brief.md", "mining_results.json", "project.json"})
        EXPECT_FALSE(readFile(exports + "/" + file).isEmpty()) << file;
    EXPECT_EQ(server.requestsTo("/v1/messages").size(), 1);
    EXPECT_EQ(server.requestsTo("/v1/audio/transcriptions").size(), 2);
}

// The wizard's Cancel (cancel and reset in one turn) while the run waits on a service: the request is
// aborted at once, nothing of the run is logged, written or built afterwards, and the next run
// starts as soon as this one has stopped.
TEST(FullRun, CancelStopsWhereItWaitsAndLeavesNothingBehind) {
    const QByteArray segments =
        R"({"text":"hola a todos","language":"spanish","segments":[{"start":2,"end":9,"text":"hola a todos"}]})";
    const QByteArray words = R"({"text":"hola","words":[{"word":"hola","start":0.1,"end":0.5}]})";
    const QByteArray story =
        QByteArray::fromStdString(Json{{"content", {{{"type", "text"}, {"text", kStory}}}}}.dump());
    constexpr int kNever = 600000; // an answer that would come long after any test

    struct Case {
        const char* name;
        QList<test::ScriptedResponse> speech;
        test::ScriptedResponse model;
        QByteArray waitedOn; // the path whose request is under way at the cancel
        bool transcribed;    // the transcript was kept as the timeline's project before the cancel
    } cases[] = {
        {"transcribing",
         {{200, segments, "application/json", kNever}},
         {200, story},
         "/v1/audio/transcriptions",
         false},
        {"analysing", {{200, segments}}, {200, story, "application/json", kNever}, "/v1/messages", true},
        {"word timing",
         {{200, segments}, {200, words, "application/json", kNever}},
         {200, story},
         "/v1/audio/transcriptions",
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestHome home;
        ASSERT_TRUE(makeOneClipTimeline(home));
        const auto timelinesInResolve = [&] {
            return Json::parse(
                       readFile(home.resolveStateFile()).toStdString())["projects"]["Interviews"]["timelines"]
                .size();
        };
        FakeHttpServer server;
        for (const auto& answer : c.speech)
            server.enqueue("/v1/audio/transcriptions", answer);
        server.enqueue("/v1/messages", c.model);
        PipelineEnvironment env = home.pipelineEnvironment();
        env.endpoints.openaiHost = server.baseUrl();
        env.endpoints.anthropicHost = server.baseUrl();
        auto pipeline = makePipeline(env);

        const qsizetype sent = c.speech.size() > 1 ? 2 : 1;
        QCoro::Task<> mining =
            pipeline->run("Day 1", MiningMode::fullMine, 5, "auto", {}, std::nullopt, "", false);
        ASSERT_TRUE(test::waitFor([&] { return server.requestsTo(c.waitedOn).size() == sent; }, 60000));
        pipeline->cancel();
        pipeline->reset();
        QCoro::waitFor(std::move(mining));

        EXPECT_TRUE(pipeline->logs().isEmpty());
        EXPECT_EQ(pipeline->step(), PipelineStep::idle);
        EXPECT_FALSE(pipeline->results().has_value());
        EXPECT_TRUE(test::waitFor([&] { return server.abandoned().size() == 1; }))
            << "the request was aborted";
        const QDir exports(home.paths().exportDirFor("Day 1"));
        EXPECT_EQ(exports.entryList(QDir::Files),
                  c.transcribed ? QStringList{"project.json"} : QStringList());
        if (c.transcribed) {
            const auto project = decodeJson<SavedProject>(readFile(exports.filePath("project.json")));
            ASSERT_TRUE(project);
            EXPECT_FALSE(project->results) << "no story of the cancelled run";
            EXPECT_EQ(project->transcript.size(), 1);
        }
        EXPECT_FALSE(QFileInfo::exists(home.paths().cacheDir + "/segments.json"));
        EXPECT_EQ(timelinesInResolve(), 1u) << "nothing built";
        EXPECT_FALSE(WorkQueue::shared().isBusy());
    }
}

// Timeline names come from Resolve and may be anything. Each one re-mined and built must write only
// inside its own folder of the exports (or the cache), one folder a name, the same folder for the
// same name, and a plain name keeps its folder name.
TEST(FullRun, AnyTimelineNameStaysInsideItsOwnFolder) {
    TestHome home;
    const QString state = R"PY(
import sys
sys.path.insert(0, sys.argv[1])
import fake_resolve_state as f
f.write(sys.argv[2], f.state(clips=[], timelines=[]))
)PY";
    ASSERT_TRUE(
        run("/usr/bin/python3", {"-c", state, test::fakeResolveModuleDir(), home.resolveStateFile()}));
    FakeHttpServer server;
    server.respondJson(
        "/v1/messages", 200,
        QByteArray::fromStdString(Json{{"content", {{{"type", "text"}, {"text", kStory}}}}}.dump()));
    PipelineEnvironment env = home.pipelineEnvironment();
    env.endpoints.anthropicHost = server.baseUrl();

    const QStringList names = {"Cut 1",
                               "He said \"cut\" 'twice'",
                               "back\\slash",
                               "line\nbreak",
                               "..",
                               ".",
                               "",
                               "../../../etc/passwd",
                               "a/b",
                               QString::fromUtf8("nul\0inside", 10),
                               QString("é").repeated(150) + "x", // 301 bytes
                               QString("é").repeated(150) + "y",
                               "日本語のインタビュー 💎",
                               "%2F",
                               "$(touch pwned)"};
    QStringList before;
    for (QDirIterator it(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
         it.hasNext();)
        before << it.next();

    for (const QString& name : names + QStringList{"Cut 1"}) { // once more: the same folder again
        auto pipeline = makePipeline(env);
        SavedProject project{name, 1700000000, "es", {home.path() + "/media/a.wav"}, {{2, 9, "hola a todos"}},
                             {},   {},         5, {}};
        QCoro::waitFor(pipeline->runFromProject(project, 5, {}, std::nullopt, "", false));
        ASSERT_EQ(pipeline->step(), PipelineStep::complete) << name.toStdString();
        const QString dir = *pipeline->lastExportDir();
        EXPECT_EQ(QFileInfo(dir).absolutePath(), home.paths().exportsDir) << name.toStdString();
        EXPECT_TRUE(QFileInfo::exists(dir + "/project.json")) << name.toStdString();
    }
    EXPECT_TRUE(QFileInfo::exists(home.paths().exportsDir + "/Cut 1/subtitles.srt"));

    const QString exports = home.paths().exportsDir + "/";
    const QString cache = home.paths().cacheDir + "/";
    QSet<QString> folders;
    for (QDirIterator it(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
         it.hasNext();) {
        const QString file = it.next();
        if (before.contains(file) || file == home.resolveStateFile())
            continue;
        if (file.startsWith(exports)) {
            const QString rest = file.mid(exports.size());
            EXPECT_EQ(rest.count('/'), 1) << file.toStdString();
            folders << rest.section('/', 0, 0);
        } else {
            EXPECT_TRUE(file.startsWith(cache)) << file.toStdString();
        }
    }
    EXPECT_EQ(folders.size(), names.size());
    QStringList listed;
    for (const SavedProject& p : listProjects(home.paths()))
        listed << p.timeline;
    listed.sort();
    QStringList expected = names;
    expected.sort();
    EXPECT_EQ(listed, expected) << "each project keeps its real name";
}
