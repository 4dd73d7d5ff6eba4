#include "core/ToolRunner.h"
#include "support/TestEnv.h"

#include <QCoroTask>
#include <QCoroTimer>
#include <QFile>
#include <QTimer>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::TestHome;
using ondrel::test::writeFile;

namespace {

ToolRunner runner(const TestHome& home, ToolPaths tools = ToolPaths::platformDefault()) {
    return ToolRunner(tools, home.paths().resolveScriptLib, home.environment());
}

} // namespace

TEST(ToolRunner, ExitStatusAndOutput) {
    TestHome home;
    const ToolRunner r = runner(home);
    struct Case {
        const char* name;
        QString program;
        QStringList args;
        bool ok;
        QString output;
    } cases[] = {
        {"success", "/bin/sh", {"-c", "printf 'a\\nb\\n'"}, true, "a\nb\n"},
        {"status 1 prints nothing", "/bin/sh", {"-c", "exit 1"}, false, ""},
        {"status 1 still gives its output", "/bin/sh", {"-c", "echo partial; exit 3"}, false, "partial\n"},
        {"stderr never read", "/bin/sh", {"-c", "echo oops >&2"}, true, ""},
        {"missing tool", "/nonexistent/ffmpeg", {}, false, ""},
        {"invalid UTF-8 reads as empty", "/bin/sh", {"-c", "printf '\\377\\376'"}, true, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(QCoro::waitFor(r.runProcess(c.program, c.args)), c.ok);
        EXPECT_EQ(QCoro::waitFor(r.runProcessOutput(c.program, c.args)), c.output);
    }
}

TEST(ToolRunner, LargeOutputDoesNotStall) {
    TestHome home;
    const ToolRunner r = runner(home);
    // Far beyond a pipe's buffer: a reader that waits for exit first would hang here.
    const QString out =
        QCoro::waitFor(r.runProcessOutput("/bin/sh", {"-c", "head -c 3000000 /dev/zero | tr '\\0' x"}));
    EXPECT_EQ(out.size(), 3000000);
}

TEST(ToolRunner, EventLoopKeepsTurningWhileAChildRuns) {
    TestHome home;
    const ToolRunner r = runner(home);
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(10);
    QCoro::waitFor(r.runProcess("/bin/sh", {"-c", "sleep 0.3"}));
    EXPECT_GT(ticks, 3);
}

// A stopped child ends now: asked politely first, killed when it does not listen; one whose stop
// came before it started never starts. Neither stop waits for the child's own hour of work.
TEST(ToolRunner, StopEndsTheChildAndKillsOneThatIgnoresIt) {
    TestHome home;
    ToolRunner r = runner(home);
    std::shared_ptr<StopSignal> stop;
    r.setStopSource([&] { return stop; });
    const QString marker = home.path() + "/started";
    struct Case {
        const char* name;
        QString script;
        bool stopFirst;
    } cases[] = {
        {"listens", "touch '" + marker + "'; exec sleep 3600", false},
        {"ignores the request", "trap '' TERM; touch '" + marker + "'; while :; do sleep 0.1; done", false},
        {"stopped before it starts", "touch '" + marker + "'", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(marker);
        stop = std::make_shared<StopSignal>();
        if (c.stopFirst)
            stop->stop();
        else
            QTimer::singleShot(0,
                               [&] { test::waitFor([&] { return QFile::exists(marker); }), stop->stop(); });
        EXPECT_FALSE(QCoro::waitFor(r.runProcess("/bin/sh", {"-c", c.script})));
        EXPECT_EQ(QFile::exists(marker), !c.stopFirst);
    }
}

TEST(ToolRunner, RunPythonSetsModulePathAndReportsLaunchFailure) {
    TestHome home;
    const ToolRunner r = runner(home);
    const auto out =
        QCoro::waitFor(r.runPython({"import os, sys\nprint(os.environ['PYTHONPATH'])\nsys.exit(2)", {}}));
    ASSERT_TRUE(out.has_value());
    EXPECT_EQ(*out, home.paths().resolveScriptLib + "\n"); // exit status not looked at

    ToolPaths broken = ToolPaths::platformDefault();
    broken.python3 = "/nonexistent/python3";
    QString error;
    EXPECT_FALSE(QCoro::waitFor(runner(home, broken).runPython({"print(1)", {}}, &error)).has_value());
    EXPECT_FALSE(error.isEmpty());
}

TEST(ToolRunner, AudioDurationFallsBackTo300) {
    TestHome home;
    const ToolRunner r = runner(home);
    const QString wav = home.path() + "/tone.wav";
    ASSERT_TRUE(QCoro::waitFor(r.runProcess(
        r.tools().ffmpeg, {"-v", "quiet", "-f", "lavfi", "-i", "sine=frequency=440:duration=1.5", wav})));
    EXPECT_NEAR(QCoro::waitFor(r.getAudioDuration(wav)), 1.5, 0.01);
    writeFile(home.path() + "/junk.wav", "not audio");
    EXPECT_EQ(QCoro::waitFor(r.getAudioDuration(home.path() + "/junk.wav")), 300.0);
    EXPECT_EQ(QCoro::waitFor(r.getAudioDuration(home.path() + "/missing.wav")), 300.0);
}

TEST(KeyLookup, EnvironmentFirstThenFirstZshrcLine) {
    TestHome home;
    const QString zshrc = home.path() + "/.zshrc";
    struct Case {
        const char* name;
        std::optional<QString> envValue;
        QByteArray zshrc;
        QString expected;
    } cases[] = {
        {"plain", std::nullopt, "export OPENAI_API_KEY=abc\n", "abc"},
        {"double quotes removed", std::nullopt, "export OPENAI_API_KEY=\"abc\"\n", "abc"},
        {"single quotes kept", std::nullopt, "export OPENAI_API_KEY='abc'\n", "'abc'"},
        {"first match wins", std::nullopt, "export OPENAI_API_KEY=one\nexport OPENAI_API_KEY=two\n", "one"},
        {"empty first match gives nothing", std::nullopt,
         "export OPENAI_API_KEY=\nexport OPENAI_API_KEY=two\n", ""},
        {"commented line still counts", std::nullopt,
         "# export OPENAI_API_KEY=abc\nexport OPENAI_API_KEY=x\n", "# abc"},
        {"other names passed over", std::nullopt,
         "export ANTHROPIC_API_KEY=zz\n  export OPENAI_API_KEY= k1 \n", "k1"},
        {"CRLF trimmed", std::nullopt, "export OPENAI_API_KEY=abc\r\n", "abc"},
        {"environment wins", QString("envkey"), "export OPENAI_API_KEY=abc\n", "envkey"},
        {"empty environment does not fall back", QString(""), "export OPENAI_API_KEY=abc\n", ""},
        {"no file", std::nullopt, QByteArray(), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(zshrc);
        if (!c.zshrc.isNull())
            writeFile(zshrc, c.zshrc);
        QProcessEnvironment env;
        if (c.envValue)
            env.insert("OPENAI_API_KEY", *c.envValue);
        EXPECT_EQ(KeyLookup(env, zshrc).openaiKey(), c.expected);
    }
}
