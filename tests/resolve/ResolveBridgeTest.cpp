// The bridge against the fake Resolve module: real python3, real programs.
#include "resolve/ResolveBridge.h"
#include "core/PythonProgram.h"
#include "core/ToolRunner.h"
#include "core/ToolRunner.h"
#include "support/TestEnv.h"

#include <QCoroTask>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QProcess>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::TestHome;

namespace {

QByteArray state(const QByteArray& projectsJson, const QByteArray& current = "\"Interviews\"",
                 bool running = true) {
    return "{\"running\":" + QByteArray(running ? "true" : "false") + ",\"currentProject\":" + current +
           ",\"projects\":" + projectsJson + "}";
}

QByteArray project(const QByteArray& name, const QStringList& timelines) {
    QByteArray tls;
    for (const QString& t : timelines) {
        if (!tls.isEmpty())
            tls += ',';
        tls += "{\"name\":" + QByteArray::fromStdString(Json(t.toStdString()).dump()) + "}";
    }
    return "{\"" + name + "\":{\"timelines\":[" + tls + "]}}";
}

struct Bridge {
    TestHome home;
    ResolveBridge bridge;

    explicit Bridge(QStringList pythons = {"/usr/bin/python3"})
        : bridge(config(home, std::move(pythons))) {}

    static ResolveBridgeConfig config(const TestHome& home, QStringList pythons) {
        ResolveBridgeConfig c = ResolveBridgeConfig::fromPaths(home.paths());
        c.pythonPaths = std::move(pythons);
        c.environment = home.environment();
        return c;
    }

    QJsonDocument fakeState() const {
        return QJsonDocument::fromJson(ondrel::test::readFile(home.resolveStateFile()));
    }
};

} // namespace

TEST(ResolveBridge, InterpreterSearchTakesFirstExistingCandidate) {
    TestHome home;
    const QString fake = home.path() + "/python3";
    ondrel::test::writeFile(fake, "");
    struct Case {
        QStringList candidates;
        std::optional<QString> chosen;
    } cases[] = {
        {{"/nonexistent/python3", fake, "/usr/bin/python3"}, fake},
        {{"/usr/bin/python3", fake}, QString("/usr/bin/python3")},
        {{"/nonexistent/a", "/nonexistent/b"}, std::nullopt},
    };
    for (const auto& c : cases) {
        ResolveBridgeConfig cfg = ResolveBridgeConfig::fromPaths(home.paths());
        cfg.pythonPaths = c.candidates;
        EXPECT_EQ(ResolveBridge(cfg).pythonPath(), c.chosen);
    }
}

TEST(ResolveBridge, ConnectOutcomes) {
    struct Case {
        const char* name;
        std::optional<QByteArray> state; // absent: no state file (Resolve not running)
        bool connected;
        QString status;
        std::optional<QString> project;
    } cases[] = {
        {"running with a project", state(project("  Interviews  ", {}), "\"  Interviews  \""), true,
         "Connected to Interviews", QString("Interviews")},
        // The raw code shows: the comparison is made before trimming print's newline.
        {"not running", state(project("Interviews", {}), "null", false), false, "NOT_CONNECTED\n",
         std::nullopt},
        {"no state at all", std::nullopt, false, "NOT_CONNECTED\n", std::nullopt},
        {"no project", state(project("Interviews", {}), "null"), false, "NO_PROJECT\n", std::nullopt},
        {"project named like an error", state(project("ERROR:weird", {}), "\"ERROR:weird\""), false,
         "weird\n", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Bridge b;
        if (c.state)
            b.home.setResolveState(*c.state);
        QCoro::waitFor(b.bridge.connect());
        EXPECT_EQ(b.bridge.isConnected(), c.connected);
        EXPECT_EQ(b.bridge.statusMessage(), c.status);
        EXPECT_EQ(b.bridge.projectName(), c.project);
    }
}

TEST(ResolveBridge, ConnectWithoutInterpreterOrWithFailingScript) {
    Bridge none({"/nonexistent/python3"});
    QCoro::waitFor(none.bridge.connect());
    EXPECT_EQ(none.bridge.statusMessage(), "Python not found");
    EXPECT_FALSE(none.bridge.isConnected());
    const auto err = QCoro::waitFor(none.bridge.buildTimeline({}));
    ASSERT_TRUE(err);
    EXPECT_EQ(err->description(), "Not connected to DaVinci Resolve. Make sure Resolve is running.");

    // An interpreter that exits non-zero: its stderr is the message.
    TestHome home;
    const QString failing = home.path() + "/failing-python";
    ondrel::test::writeFile(failing, "#!/bin/sh\necho 'boom: no module' >&2\nexit 1\n");
    QFile::setPermissions(failing, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ResolveBridgeConfig cfg = ResolveBridgeConfig::fromPaths(home.paths());
    cfg.pythonPaths = {failing};
    ResolveBridge bridge(cfg);
    QCoro::waitFor(bridge.connect());
    EXPECT_EQ(bridge.statusMessage(), "Connection failed: Script execution failed: boom: no module\n");
    EXPECT_FALSE(bridge.projectName().has_value());
}

TEST(ResolveBridge, TimelinesListedTrimmedAndKeptOnFailure) {
    Bridge b;
    b.home.setResolveState(state(project("Interviews", {"Cut 1", "Select \"A\" \\ raw ", "Cut 3"})));
    QCoro::waitFor(b.bridge.getTimelines());
    EXPECT_TRUE(b.bridge.timelines().isEmpty()); // not connected: nothing asked

    QCoro::waitFor(b.bridge.connect());
    QCoro::waitFor(b.bridge.getTimelines());
    EXPECT_EQ(b.bridge.timelines(), (QStringList{"Cut 1", "Select \"A\" \\ raw", "Cut 3"}));

    // A trimmed name no longer matches the real one.
    EXPECT_FALSE(QCoro::waitFor(b.bridge.extractAudio("Select \"A\" \\ raw")).has_value());

    b.home.setResolveState(state(project("Interviews", {}), "\"Interviews\"", false));
    QCoro::waitFor(b.bridge.getTimelines()); // the program fails inside: names stay
    EXPECT_EQ(b.bridge.timelines().size(), 3);

    b.home.setResolveState(state(project("Interviews", {})));
    QCoro::waitFor(b.bridge.getTimelines());
    EXPECT_TRUE(b.bridge.timelines().isEmpty());
}

TEST(ResolveBridge, ExtractAudioMakesTimelineCurrentAndNamesAPlaceholder) {
    Bridge b;
    const QString name = "Day \"2\" \\ 'quoted'";
    b.home.setResolveState(state(project("Interviews", {"Cut 1", name})));
    QCoro::waitFor(b.bridge.connect());
    const auto url = QCoro::waitFor(b.bridge.extractAudio(name));
    ASSERT_TRUE(url.has_value());
    EXPECT_EQ(url->toLocalFile(), b.home.paths().cacheDir + "/audio_export.wav");
    EXPECT_FALSE(QFileInfo::exists(url->toLocalFile()));
    EXPECT_TRUE(QFileInfo(b.home.paths().cacheDir).isDir());
    EXPECT_EQ(b.fakeState()["projects"]["Interviews"]["currentTimeline"].toString(), name);
    EXPECT_FALSE(QCoro::waitFor(b.bridge.extractAudio("Nope")).has_value());
}

TEST(ResolveBridge, BuildTimelineNamesByTimeAndRefusesDuplicates) {
    Bridge b;
    b.home.setResolveState(state(project("Interviews", {"Cut 1"})));
    FixedClock clock(QDateTime(QDate(2026, 5, 6), QTime(7, 8, 9)));
    ResolveBridgeConfig cfg = Bridge::config(b.home, {"/usr/bin/python3"});
    cfg.clock = &clock;
    ResolveBridge bridge(cfg);
    QCoro::waitFor(bridge.connect());

    EXPECT_FALSE(QCoro::waitFor(bridge.buildTimeline({})).has_value());
    const QString expected = "Ondrel Mining - " + QLocale().toString(clock.now(), QLocale::ShortFormat);
    EXPECT_EQ(bridge.timelines(), (QStringList{"Cut 1", expected}));

    // Same minute, same name: Resolve refuses it.
    const auto err = QCoro::waitFor(bridge.buildTimeline({}));
    ASSERT_TRUE(err.has_value());
    EXPECT_EQ(err->kind(), ResolveBridgeError::Kind::timelineBuildFailed);
    EXPECT_EQ(err->description(), "Failed to build timeline in Resolve");
}

TEST(PythonPrograms, EveryProgramCompilesAndValuesCannotBreakOut) {
    const QStringList programs = QDir(":/ondrel/scripts").entryList(QDir::Files);
    ASSERT_FALSE(programs.isEmpty());
    const QString nasty = "\"); import os; os._exit(7) #\\ '''\n\u00e9\U0001F48E";
    for (const QString& name : programs) {
        SCOPED_TRACE(name.toStdString());
        const PythonProgram program = pythonProgram(scriptResource(name), Json{{"value", nasty.toStdString()}});
        QProcess py;
        py.start("/usr/bin/python3", {"-c", "import sys, ast; ast.parse(sys.stdin.read())"});
        py.write(program.code.toUtf8());
        py.closeWriteChannel();
        ASSERT_TRUE(py.waitForFinished(30000));
        EXPECT_EQ(py.exitCode(), 0) << py.readAllStandardError().toStdString();
    }
    // The value reads back exactly, and a value far beyond what one argument may hold arrives whole.
    const QString big = QString(1 << 20, QChar(0x4E2D)) + nasty; // 6 MiB as JSON escapes
    const PythonProgram echo = pythonProgram(
        "sys.stdout.buffer.write(ARGS['v'].encode('utf-8') + b'|' + str(len(ARGS['big'])).encode())",
        Json{{"v", nasty.toStdString()}, {"big", big.toStdString()}});
    ASSERT_GT(echo.input.size(), 4 << 20);
    ProcessOptions opts;
    opts.input = echo.input;
    const ProcessOutcome out =
        QCoro::waitFor(runChild("/usr/bin/python3", QStringList{"-c", echo.code}, opts));
    EXPECT_EQ(QString::fromUtf8(out.stdOut), nasty + "|" + QString::number(big.toUcs4().size()));
}
