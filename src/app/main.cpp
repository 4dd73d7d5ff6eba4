#include "service/Constants.h"
#include "ui/UiPaths.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QTimer>

#include <cstdio>
#include <cstring>

int main(int argc, char* argv[]) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("%s\n", qPrintable(ondrel::Constants::versionLine()));
            return 0;
        }
    }

    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("OndrelManager"));
    QGuiApplication::setApplicationVersion(QLatin1String(ondrel::Constants::App::version));
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    QQmlApplicationEngine engine;
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(ondrel::mainQmlUrl());
    if (engine.rootObjects().isEmpty())
        return 1;

    // Lets a test (or a script) start the window and have it close by itself.
    const QByteArray quitAfter = qgetenv("ONDREL_QUIT_AFTER_MS");
    if (!quitAfter.isEmpty())
        QTimer::singleShot(quitAfter.toInt(), &app, &QCoreApplication::quit);

    return app.exec();
}
