#pragma once
// What the screen tests share: a window on the offscreen platform with a screen of the module in
// it, found by objectName and clicked like a user would, any QML warning failing the test; and
// the wizard's world of fakes (Resolve with a timeline over real media, the speech and
// language-model services on 127.0.0.1).

#include "app/PipelineWiring.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"
#include "ui/AppServices.h"
#include "ui/MineView.h"
#include "ui/UiPaths.h"

#include <QElapsedTimer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace ondrel::test {

inline QStringList& qmlWarnings() {
    static QStringList warnings;
    return warnings;
}

inline void collectQmlWarnings(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type != QtDebugMsg && type != QtInfoMsg)
        qmlWarnings() << text;
}

struct RecordingOpener : UrlOpener {
    QList<QUrl> opened;
    QStringList shown;
    void openUrl(const QUrl& url, std::function<void()> failed) override {
        opened << url;
        if (refuse && failed)
            failed();
    }
    bool refuse = false; // as a desktop without a browser or a file manager
    void showInFileViewer(const QString& path, std::function<void()> failed) override {
        shown << path;
        if (refuse && failed)
            failed();
    }
};

// A window with one screen in it. Any warning (QML or other) during the test fails it.
class QuickRig {
public:
    QQmlEngine engine;
    QQuickWindow window;
    std::unique_ptr<QObject> screen;

    QuickRig() {
        qmlWarnings().clear();
        qInstallMessageHandler(collectQmlWarnings);
        prepareEngine(engine);
        window.resize(1100, 750);
        window.show();
    }
    ~QuickRig() {
        screen.reset();
        qInstallMessageHandler(nullptr);
        EXPECT_TRUE(qmlWarnings().isEmpty()) << qmlWarnings().join('\n').toStdString();
    }

    // A file of the module ("Mine/MineWizard.qml"), filling the window.
    QObject* show(const QString& file, const QVariantMap& properties = {}) {
        screen.reset();
        QQmlComponent component(&engine, qmlFileUrl(file));
        screen.reset(component.createWithInitialProperties(properties));
        EXPECT_TRUE(screen) << component.errorString().toStdString();
        if (auto* item = qobject_cast<QQuickItem*>(screen.get())) {
            item->setParentItem(window.contentItem());
            item->setSize(window.size());
        }
        QTest::qWait(50);
        return screen.get();
    }

    // The visible item of that name in the scene (Loaders keep the pages not shown out of it).
    QQuickItem* find(const QString& name) const { return findIn(window.contentItem(), name); }
    static QQuickItem* findIn(QQuickItem* item, const QString& name) {
        if (!item->isVisible())
            return nullptr;
        if (item->objectName() == name)
            return item;
        const auto children = item->childItems();
        for (QQuickItem* child : children)
            if (QQuickItem* found = findIn(child, name))
                return found;
        return nullptr;
    }

    void click(const QString& name) {
        QQuickItem* item = nullptr;
        waitFor([&] { return (item = find(name)) != nullptr; }, 2000);
        ASSERT_TRUE(item) << name.toStdString();
        ASSERT_TRUE(item->isEnabled()) << name.toStdString();
        const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
        QTest::mouseClick(&window, Qt::LeftButton, {}, centre.toPoint());
        QTest::qWait(20);
    }

    QString text(const QString& name) const {
        QQuickItem* item = find(name);
        return item ? item->property("text").toString() : QStringLiteral("<no %1>").arg(name);
    }
};

// The wizard's world: a home with a fake Resolve whose project holds the timeline "Interview
// Selects" over a generated 40-second WAV, the speech and language-model services answering from
// scripts, and pipelines with every step wired against them.
class WizardRig : public QuickRig {
public:
    TestHome home;
    FakeHttpServer services;
    RecordingOpener opener;
    QString media = home.path() + "/media/interview.wav";
    PipelineEnvironment env;

    static constexpr const char* kTimeline = "Interview Selects";
    static constexpr const char* kStory =
        R"({"segments":[{"index":1,"startTime":2,"endTime":9,"sourceClip":"source","transcript":"hola a todos",)"
        R"("translation":"hello everyone","chapter":"Opening"},{"index":2,"startTime":12,"endTime":20,)"
        R"("sourceClip":"source","transcript":"nací en el mar","translation":"I was born by the sea",)"
        R"("chapter":"Roots"}],"structure":{"acts":[{"name":"Opening","segments":[1]},{"name":"Roots",)"
        R"("segments":[2]}],"totalDuration":15},"subtitles":[{"startTime":0,"endTime":7,"text":"hello everyone"}],)"
        R"("estimatedDuration":15})";

    WizardRig() {
        QDir().mkpath(home.path() + "/media");
        runTool("/usr/bin/ffmpeg", {"-v", "quiet", "-f", "lavfi", "-i", "sine=frequency=300:duration=40",
                                    "-ar", "48000", media});
        const QString state = R"PY(
import sys
sys.path.insert(0, sys.argv[1])
import fake_resolve_state as f
c = f.clip(sys.argv[3])
f.write(sys.argv[2], f.state(clips=[c], timelines=[f.timeline(sys.argv[4], audio=[[f.item(c, 86400, 86400 + 960)]])]))
)PY";
        runTool("/usr/bin/python3",
                {"-c", state, fakeResolveModuleDir(), home.resolveStateFile(), media, QString(kTimeline)});
        services.respondJson("/v1/audio/transcriptions", 200,
                             R"({"text":"hola a todos","language":"spanish","segments":[{"start":2,"end":9,)"
                             R"("text":"hola a todos"},{"start":12,"end":20,"text":"nací en el mar"}]})");
        services.answerWith("/v1/messages", [](const RecordedRequest& request) {
            return modelAnswer(request, QString::fromUtf8(kStory));
        });
        env = home.pipelineEnvironment();
        env.endpoints.openaiHost = services.baseUrl();
        env.endpoints.anthropicHost = services.baseUrl();
        env.endpoints.ondrelHost = services.baseUrl();
        env.env.insert("OPENAI_API_KEY", "sk-test");
        env.env.insert("ANTHROPIC_API_KEY", "ak-test");
        AppServices::install({.makePipeline = [this] { return makePipeline(env); }});
        UrlOpener::setDefault(&opener);
    }
    ~WizardRig() {
        screen.reset();
        AppServices::install({});
        UrlOpener::setDefault(nullptr);
    }

    // The Mine tab as it opens: connected to the fake Resolve, its timelines listed.
    MineView* openWizard() {
        show("Mine/MineWizard.qml");
        auto* wizard = screen->property("wizard").value<MineView*>();
        EXPECT_TRUE(wizard);
        EXPECT_TRUE(waitFor([&] { return !wizard->resolveBridge()->timelines().isEmpty(); }));
        return wizard;
    }

    // A whole Full Mine of the timeline, ended on the review page.
    MineView* mineToReview() {
        MineView* wizard = openWizard();
        wizard->setSelectedTimelineText(kTimeline);
        wizard->advanceTo(int(MineStep::mining));
        wizard->startMining();
        EXPECT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
            << wizard->pipeline()->errorMessageText().toStdString();
        return wizard;
    }

    static void runTool(const QString& program, const QStringList& args) {
        QProcess p;
        p.start(program, args);
        ASSERT_TRUE(p.waitForFinished(60000) && p.exitCode() == 0) << p.readAllStandardError().toStdString();
    }
};

} // namespace ondrel::test
