// Every test binary starts here: an application object for the event loop, and a throw-away
// home folder so nothing reaches the real one.
#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.path() + "/.cache"));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + "/.local/share"));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + "/.config"));
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
