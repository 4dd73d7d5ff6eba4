// Every test binary starts here: an application object for the event loop, and a throw-away
// home folder so nothing reaches the real one.
#include <QCoreApplication>
#ifdef ONDREL_TEST_GUI
#include <QGuiApplication>
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
}
