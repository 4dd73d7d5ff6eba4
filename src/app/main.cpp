#include "app/PipelineWiring.h"
#include "app/ReadTimelineCommand.h"
#include "service/Constants.h"
#include "ui/AppServices.h"
#include "ui/DesktopUrlOpener.h"
#include "ui/SingleInstance.h"
#include "ui/UiPaths.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <QCoroTask>

#include <cstdio>
#include <cstring>

// The screens are a static QML module linked into the binary.
Q_IMPORT_QML_PLUGIN(Ondrel_UiPlugin)

namespace {

// The sign-in page calls back with "ondrel-manager://callback?token=..." as the only argument.
QString urlArgument(int argc, char* argv[]) {
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        if (arg.contains(QLatin1String("://")))
            return arg;
    }
    return {};
}

void signInFrom(const QString& url) {
    [](QString text) -> QCoro::Task<> {
        co_await ondrel::AppServices::instance().auth()->handleCallback(text);
    }(url);
}

} // namespace

int main(int argc, char* argv[]) {
    bool handOver = true;
    bool askOnly = false;
    for (int i = 1; i < argc; ++i) {
        // A reading for support and scripts: before the hand-off, so a running window does not
        // take it, and before any GUI object, so it needs no display.
        if (std::strcmp(argv[i], "--read-timeline") == 0) {
            QCoreApplication app(argc, argv);
            if (i + 1 >= argc) {
                std::fputs("--read-timeline needs the timeline file to read.\n", stderr);
                return 1;
            }
            return ondrel::readTimelineCommand(QString::fromLocal8Bit(argv[i + 1]),
                                               ondrel::ToolPaths::platformDefault(), stdout, stderr);
        }
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("%s\n", qPrintable(ondrel::Constants::versionLine()));
            return 0;
        }
        // For a launch that must be the running one itself, such as one started beside stand-in
        // services: a running instance would take the browser's sign-in instead.
        if (std::strcmp(argv[i], "--no-hand-off") == 0)
            handOver = false;
        // Lets a script find out before it starts what this launch would need.
        if (std::strcmp(argv[i], "--is-running") == 0)
            askOnly = true;
    }

    // A second launch hands its URL (or a request to show the window) to the running one.
    const QString url = urlArgument(argc, argv);
    const ondrel::InstanceSocket socket = ondrel::SingleInstance::socketPath();
    using HandOff = ondrel::SingleInstance::HandOff;
    if (askOnly)
        return !socket.path.isEmpty() && ondrel::SingleInstance::isRunning(socket.path) ? 0 : 1;
    if (!socket.path.isEmpty() && !handOver && ondrel::SingleInstance::isRunning(socket.path)) {
        std::fputs("Ondrel Manager is already running, and --no-hand-off keeps this launch from handing "
                   "over to it: quit it first.\n",
                   stderr);
        return 1;
    }
    if (!socket.path.isEmpty() && handOver) {
        switch (ondrel::SingleInstance::handOff(socket.path, url)) {
        case HandOff::handedOver:
            // Said, so that a launch from a terminal does not seem to vanish.
            std::fputs("Ondrel Manager is already running; handed over to it.\n", stderr);
            return 0;
        case HandOff::otherUser:
            std::fprintf(stderr, "Ondrel Manager: %s belongs to another user; nothing was handed to it.\n",
                         qPrintable(socket.path));
            break;
        case HandOff::noAnswer:
            std::fputs(
                "Ondrel Manager is running but did not answer; this launch opens a window of its own.\n",
                stderr);
            break;
        case HandOff::noInstance:
            break;
        }
    }

    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("OndrelManager"));
    QGuiApplication::setApplicationVersion(QLatin1String(ondrel::Constants::App::version));
    QGuiApplication::setDesktopFileName(QStringLiteral("ondrel-manager"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    ondrel::SingleInstance instance;
    if (socket.path.isEmpty())
        qWarning().noquote() << QStringLiteral("Another launch will open a second window, and the browser's "
                                               "sign-in will not reach this one: %1.")
                                    .arg(socket.problem);
    else if (!instance.listen(socket.path))
        qWarning().noquote() << QStringLiteral(
                                    "Another launch will open a second window: the socket %1 could "
                                    "not be made (%2).")
                                    .arg(socket.path, instance.errorString());
    ondrel::DesktopUrlOpener opener;
    ondrel::UrlOpener::setDefault(&opener);
    ondrel::AppServices::install({.makePipeline = [] { return ondrel::makePipeline(); }});

    QQmlApplicationEngine engine;
    ondrel::prepareEngine(engine);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(ondrel::mainQmlUrl());
    if (engine.rootObjects().isEmpty())
        return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());

    QObject::connect(&instance, &ondrel::SingleInstance::urlReceived, &app, &signInFrom);
    QObject::connect(&instance, &ondrel::SingleInstance::raiseRequested, &app, [window] {
        if (!window)
            return;
        window->show();
        window->raise();
        window->requestActivate();
    });
    if (!url.isEmpty())
        signInFrom(url);

    // Lets a test (or a script) start the window and have it close by itself.
    const QByteArray quitAfter = qgetenv("ONDREL_QUIT_AFTER_MS");
    if (!quitAfter.isEmpty())
        QTimer::singleShot(quitAfter.toInt(), &app, &QCoreApplication::quit);

    const int code = app.exec();
    ondrel::UrlOpener::setDefault(nullptr);
    return code;
}
