// The executable itself: it starts, shows its window headless and quits cleanly.
#include "support/TestEnv.h"

#include <QProcess>

#include <gtest/gtest.h>

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
