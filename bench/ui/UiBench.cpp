// The window with a long story and a long log: the whole application's window (Main.qml, signed in,
// on the Mine tab) shows a generated story of 240 moments on the review page, is scrolled through,
// a card is dragged across a hundred others, twenty previews start and stop, and cards open and
// close, while a 10 ms timer on the main thread notes how late it comes (the longest stall of
// each). Then the console of the processing page gets a log of 20,000 lines and a line more, many
// times: the cost of one line (the model's append and the view's layout of it). Last, the process's
// peak resident memory: the application with its window after that story.
//
// It runs in a real window (xcb, OpenGL on Mesa) on an Xvfb of its own unless --offscreen.
// Run: cmake --build <dir> --target ui_bench && <dir>/bench/ui/ui_bench [--offscreen] [--moments 240]
//      [--lines 20000]
#include "app/PipelineWiring.h"
#include "core/PipelineLogModel.h"
#include "support/FakeHttpServer.h"
#include "support/VirtualDisplay.h"
#include "ui/AccountModels.h"
#include "ui/AppServices.h"
#include "ui/AudioPlayer.h"
#include "ui/MineView.h"
#include "ui/ReviewModel.h"
#include "ui/UiPaths.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <QCoroTask>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <functional>

Q_IMPORT_QML_PLUGIN(Ondrel_UiPlugin)

using namespace ondrel;

namespace {

// Plays nothing: the bench measures the window, not the sound.
class SilentPlayer : public AudioPlayer {
public:
    QString open(const QString&) override { return {}; }
    void seek(double) override {}
    void play() override {}
    void stop() override {}
};

void settle(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

// The longest a 10 ms timer came late while `work` ran, driven through the event loop.
double longestStall(const std::function<void(std::function<bool()> keepGoing)>& work) {
    double worst = 0;
    QElapsedTimer since;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        worst = std::max(worst, double(since.nsecsElapsed()) / 1e6 - 10);
        since.restart();
    });
    since.start();
    tick.start(10);
    work([] {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        return true;
    });
    tick.stop();
    return worst;
}

void pause(const std::function<bool()>& step, int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        step();
}

MiningResults storyOf(int moments) {
    MiningResults r;
    double at = 30;
    for (int i = 0; i < moments; ++i) {
        const double length = 12 + (i * 7) % 19;
        r.segments.push_back(
            {i, at, at + length, QStringLiteral("A%1.wav").arg(i % 40, 3, 10, QLatin1Char('0')),
             QStringLiteral("y entonces mi padre volvió del mar con una historia que nadie quiso "
                            "creer, la número %1, y nos quedamos callados")
                 .arg(i),
             QStringLiteral("and then my father came back from the sea with a story nobody "
                            "wanted to believe, number %1, and we all went quiet")
                 .arg(i),
             QStringLiteral("Chapter %1").arg(i / 12 + 1)});
        at += length + 600;
    }
    for (int act = 0; act * 24 < moments; ++act) {
        Act a{QStringLiteral("Act %1").arg(act + 1), {}};
        for (int i = act * 24; i < std::min(moments, act * 24 + 24); ++i)
            a.segments << i;
        r.structure.acts << a;
    }
    r.estimatedDuration = at;
    return r;
}

double peakRssMb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024;
}

} // namespace

int main(int argc, char** argv) {
    bool offscreen = false;
    int moments = 240;
    int lines = 20000;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg = argv[i];
        if (arg == "--offscreen")
            offscreen = true;
        else if (arg == "--moments" && i + 1 < argc)
            moments = QByteArray(argv[++i]).toInt();
        else if (arg == "--lines" && i + 1 < argc)
            lines = QByteArray(argv[++i]).toInt();
    }
    std::unique_ptr<test::VirtualDisplay> display;
    if (offscreen) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    } else {
        QString error;
        display = test::VirtualDisplay::start(QStringLiteral("1600x1200x24"), &error);
        if (!display) {
            std::fprintf(stderr, "no Xvfb (%s); try --offscreen\n", qPrintable(error));
            return 1;
        }
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    QTemporaryDir home;
    test::FakeHttpServer service;
    service.answerAlways("/api/v1/me",
                         {200, R"({"id":"u1","name":"Maya Ortiz","email":"maya@lighthouse.film",)"
                               R"("credits":128,"plan":"Studio Monthly"})"});
    PipelineEnvironment env = PipelineEnvironment::platformDefault();
    env.paths = AppPaths::forHome(home.path());
    env.env.insert(QStringLiteral("HOME"), home.path());
    env.endpoints.ondrelHost = service.baseUrl();
    env.endpoints.openaiHost = service.baseUrl();
    env.endpoints.anthropicHost = service.baseUrl();
    AuthManager auth(home.path() + QStringLiteral("/.ondrel/token.json"), env.endpoints);
    QCoro::waitFor(auth.signInWithToken(QStringLiteral("bench-token")));
    AppServices::install({.auth = &auth,
                          .makePipeline = [&env] { return makePipeline(env); },
                          .makeAudioPlayer = [] { return std::make_unique<SilentPlayer>(); }});

    QQmlApplicationEngine engine;
    prepareEngine(engine);
    engine.load(mainQmlUrl());
    if (engine.rootObjects().isEmpty())
        return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().constFirst());
    window->show();
    settle(500);
    if (auto* shell = window->findChild<ShellModel*>())
        shell->setSelectedTab(1);
    settle(300);
    MineView* wizard = window->findChild<MineView*>();
    if (!wizard)
        return 1;

    // The story on the review page, as a finished run leaves it.
    QStringList media;
    for (int i = 0; i < 40; ++i)
        media << QStringLiteral("/media/A%1.wav").arg(i, 3, 10, QLatin1Char('0'));
    wizard->setSelectedTimelineText(QStringLiteral("A week in Vigo"));
    for (const QString& path : media)
        wizard->pipeline()->rememberProbeOutput(path, Json{{"format", {{"duration", "18000.000000"}}}});
    wizard->pipeline()->presentStory(storyOf(moments), media, std::nullopt);
    QElapsedTimer shown;
    shown.start();
    double showStall = longestStall([&](auto step) {
        wizard->advanceTo(int(MineStep::review));
        pause(step, 800);
    });
    auto* review = window->findChild<ReviewModel*>();
    auto* list = window->findChild<QQuickItem*>(QStringLiteral("segmentList"));
    if (!review || !list || review->count() != moments) {
        std::fprintf(stderr, "the review page did not show the story\n");
        return 1;
    }

    const double scrollStall = longestStall([&](auto step) {
        const double end = list->property("contentHeight").toDouble();
        for (double y = 0; y < end; y += 60) {
            list->setProperty("contentY", y);
            pause(step, 16);
        }
        list->setProperty("contentY", 0);
        pause(step, 100);
    });
    const double dragStall = longestStall([&](auto step) {
        review->startDrag(review->segments().at(2).id());
        for (int row = 3; row < std::min(moments, 103); ++row) {
            review->dragEntered(review->segments().at(row).id());
            list->setProperty("contentY", std::max(0.0, list->property("contentY").toDouble() + 40));
            pause(step, 30);
        }
        review->endDrag();
        pause(step, 300);
    });
    const double previewStall = longestStall([&](auto step) {
        for (int row = 0; row < std::min(moments, 20); ++row) {
            review->togglePlay(row * (moments / 20));
            pause(step, 60);
        }
        review->stopPlayback();
        for (int row = 0; row < std::min(moments, 20); ++row) {
            review->toggleExpanded(review->segments().at(row * (moments / 20)).id());
            pause(step, 60);
        }
        pause(step, 300);
    });
    const double storyRss = peakRssMb();

    // The console with a long log, as the processing page shows it.
    PipelineLogModel log;
    for (int i = 0; i < lines; ++i)
        log.append(
            PipelineLog::make(QStringLiteral("  Transcribing chunk %1/%2...").arg(i + 1).arg(lines), "dim"));
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Ondrel.Ui\nItem { width: 600; height: 400 }", QUrl());
    std::unique_ptr<QObject> host(component.create());
    QQmlComponent consoleComponent(&engine);
    consoleComponent.setData("import QtQuick\nimport Ondrel.Ui\nProcessingConsole { width: 560; height: 340; "
                             "viewModel: ProcessingModel {} }",
                             QUrl());
    auto* console = qobject_cast<QQuickItem*>(
        consoleComponent.createWithInitialProperties({{QStringLiteral("logs"), QVariant::fromValue(&log)}}));
    if (!console) {
        std::fprintf(stderr, "%s\n", qPrintable(consoleComponent.errorString()));
        return 1;
    }
    console->setParentItem(window->contentItem());
    console->setZ(1000);
    auto* consoleView = console->findChild<QQuickItem*>(QStringLiteral("console"));
    settle(500);
    double appendTotal = 0, appendWorst = 0;
    constexpr int kAppends = 300;
    const double consoleStall = longestStall([&](auto step) {
        for (int i = 0; i < kAppends; ++i) {
            QElapsedTimer t;
            t.start();
            log.append(PipelineLog::make(
                QStringLiteral("  Word transcribing segment %1/%2...").arg(i).arg(kAppends), "dim"));
            if (consoleView)
                consoleView->ensurePolished();
            const double ms = double(t.nsecsElapsed()) / 1e6;
            appendTotal += ms;
            appendWorst = std::max(appendWorst, ms);
            pause(step, 5);
        }
        pause(step, 300);
    });

    std::printf("Window: %s, %d moments on the review page, a console of %d lines\n\n",
                offscreen ? "offscreen (software)" : "xcb on Xvfb (OpenGL)", moments, lines);
    std::printf("%-34s %10s\n", "longest main-thread stall", "ms");
    std::printf("%-34s %10.0f\n", "  review page appears", showStall);
    std::printf("%-34s %10.0f\n", "  scrolling through the story", scrollStall);
    std::printf("%-34s %10.0f\n", "  dragging a card past 100", dragStall);
    std::printf("%-34s %10.0f\n", "  20 previews, 20 cards opened", previewStall);
    std::printf("%-34s %10.0f\n", "  console, a line every 5 ms", consoleStall);
    std::printf("\n%-34s %10.3f\n", "console line (append + layout), ms", appendTotal / kAppends);
    std::printf("%-34s %10.3f\n", "  the slowest of them, ms", appendWorst);
    std::printf("\n%-34s %10.0f\n", "peak RSS after the story, MB", storyRss);
    std::printf("%-34s %10.0f\n", "peak RSS with the console too, MB", peakRssMb());
    delete console;
    AppServices::install({});
    return 0;
}
