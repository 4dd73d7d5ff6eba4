// The executable itself: it starts, shows its window headless and quits cleanly.
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QTimer>

#include <functional>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

struct AppRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

AppRun runApp(const QStringList& args, const QProcessEnvironment& env) {
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(ONDREL_APP_BINARY), args);
    AppRun r;
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

} // namespace

TEST(AppStart, VersionPrintsAndExits) {
    ondrel::test::TestHome home;
    const AppRun r = runApp({"--version"}, home.environment());
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "Ondrel Manager 1.0.0\n");
}

TEST(AppStart, WindowOpensOffscreenAndQuitsCleanly) {
    ondrel::test::TestHome home;
    QProcessEnvironment env = home.environment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("QT_QUICK_BACKEND", "software");
    env.insert("ONDREL_QUIT_AFTER_MS", "500");
    const AppRun r = runApp({}, env);
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    // A missing QML module only shows at run time, as a warning.
    EXPECT_FALSE(r.err.contains("is not installed")) << r.err.toStdString();
    EXPECT_FALSE(r.err.contains("qrc:/")) << r.err.toStdString();
}

namespace {

bool waitUntil(const std::function<bool()>& done, int ms = 20000) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < ms) {
        QEventLoop loop;
        QTimer::singleShot(20, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return done();
}

} // namespace

// The browser opens "ondrel-manager://callback?token=..." with a new process; it hands the URL to
// the running application over a socket in the user's runtime folder, says so, and exits.
TEST(AppStart, ASecondLaunchHandsItsSignInToTheRunningOne) {
    ondrel::test::TestHome home;
    ondrel::test::FakeHttpServer service;
    service.respondJson("/api/v1/me", 200,
                        R"({"id":"1","name":"Maya","email":"m@example.com","credits":3,"plan":"Free"})");
    QProcessEnvironment env = home.environment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("QT_QUICK_BACKEND", "software");
    env.insert("ONDREL_API_URL", service.baseUrl());
    const QString socket = home.runtimeDir() + "/ondrel-manager.socket";

    QProcess first;
    first.setProcessEnvironment(env);
    first.start(QStringLiteral(ONDREL_APP_BINARY), {});
    ASSERT_TRUE(waitUntil([&] {
        QLocalSocket probe;
        probe.connectToServer(socket);
        return probe.waitForConnected(100);
    }));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(socket).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 077, 0u) << "the socket opens to its user only";

    auto launch = [&](const QStringList& args) {
        QProcess second;
        second.setProcessEnvironment(env);
        second.start(QStringLiteral(ONDREL_APP_BINARY), args);
        waitUntil([&] { return second.state() == QProcess::NotRunning; });
        AppRun r;
        r.exitCode = second.exitStatus() == QProcess::NormalExit ? second.exitCode() : -1;
        r.err = second.readAllStandardError();
        return r;
    };
    const QByteArray handedOver = "Ondrel Manager is already running; handed over to it.\n";
    AppRun r = launch({"ondrel-manager://callback?token=T"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, handedOver);
    const QString tokenFile = home.path() + "/.ondrel/token.json";
    EXPECT_TRUE(waitUntil([&] { return ondrel::test::readFile(tokenFile).contains("\"T\""); }));
    ASSERT_FALSE(service.requestsTo("/api/v1/me").isEmpty());
    EXPECT_EQ(service.requestsTo("/api/v1/me").last().header("authorization"), "Bearer T");
    r = launch({});
    EXPECT_EQ(r.exitCode, 0) << "a plain second launch only shows the running window";
    EXPECT_EQ(r.err, handedOver);

    // A launch that must not hand over ends with its reason, and a script can ask beforehand.
    r = launch({"--no-hand-off", "ondrel-manager://callback?token=U"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              "Ondrel Manager is already running, and --no-hand-off keeps this launch from handing over "
              "to it: quit it first.\n");
    EXPECT_FALSE(ondrel::test::readFile(tokenFile).contains("\"U\""));
    EXPECT_EQ(launch({"--is-running"}).exitCode, 0);
    EXPECT_EQ(first.state(), QProcess::Running);

    first.terminate();
    EXPECT_TRUE(waitUntil([&] { return first.state() == QProcess::NotRunning; }));
    EXPECT_EQ(launch({"--is-running"}).exitCode, 1);
}
