// Every test binary starts here: an application object for the event loop, and a throw-away
// home folder so nothing reaches the real one.
#include <QCoreApplication>
#ifdef ONDREL_TEST_GUI
#include <QGuiApplication>
#endif
#ifdef ONDREL_TEST_WINDOW
#include "support/VirtualDisplay.h"
#include <cstdio>
#include <memory>
#endif
#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.path() + "/.cache"));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + "/.local/share"));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + "/.config"));
#if defined(ONDREL_TEST_WINDOW)
    // What only the real window shows: the xcb platform on an X server of the binary's own, with
    // the scene graph's default OpenGL backend (Mesa on Xvfb). No server is no test: it fails.
    ::testing::InitGoogleMock(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    QString error;
    const auto display = ondrel::test::VirtualDisplay::start(QStringLiteral("1600x1200x24"), &error);
    if (!display) {
        std::fprintf(stderr, "The real-window tests need an X server and could not start one: %s\n",
                     qPrintable(error));
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    qunsetenv("QT_QUICK_BACKEND");
    // The window's platform wants a runtime folder of the user's own (0700).
    const QString runtime = home.path() + QStringLiteral("/.runtime");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
    QGuiApplication app(argc, argv);
    return RUN_ALL_TESTS();
#else
#ifdef ONDREL_TEST_GUI
    // Windows and QML need a GUI application; the offscreen platform and the software renderer
    // let them run without a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
#endif
}
