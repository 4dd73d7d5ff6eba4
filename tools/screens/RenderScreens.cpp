// Draws each screen with sample state into a PNG, so anyone can see the application without Resolve
// or the services (scripts/render-screens.sh). With --window it draws in the real window, as an
// editor sees it: the xcb platform on an Xvfb of its own with the scene graph's default OpenGL
// backend; otherwise offscreen with the software renderer, which draws some things differently.
//   render_screens [--window] <output folder>
#include "RenderSupport.h"
#include "support/VirtualDisplay.h"

#include <QDir>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <QCoroTask>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>

Q_IMPORT_QML_PLUGIN(Ondrel_UiPlugin)

using namespace ondrel;

namespace ondrel::screens {

namespace {
std::map<std::string, ScreenSet>& registry() {
    static std::map<std::string, ScreenSet> sets;
    return sets;
}
} // namespace

ScreenSetRegistration::ScreenSetRegistration(const char* name, ScreenSet set) {
    registry()[name] = set;
}

void settle(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

void renderScreen(RenderContext& context, const QString& name, const QUrl& url, const QSize& size,
                  const std::function<void(QObject*)>& prepare, const QByteArray& inlineQml) {
    const QString file = context.outputDir + QLatin1Char('/') + name + QStringLiteral(".png");
    QQmlComponent component(&context.engine);
    if (inlineQml.isEmpty())
        component.loadUrl(url);
    else
        component.setData(inlineQml, url);
    std::unique_ptr<QObject> object(component.create());
    if (!object) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(file), qPrintable(component.errorString()));
        context.ok = false;
        return;
    }
    QQuickWindow window;
    window.resize(size);
    window.setColor(QColor(12, 12, 14));
    auto* item = qobject_cast<QQuickItem*>(object.get());
    item->setParentItem(window.contentItem());
    item->setSize(size);
    if (prepare)
        prepare(object.get());
    window.show();
    settle(700);
    const bool ok = window.grabWindow().save(file);
    std::printf("%s %s\n", ok ? "wrote" : "could not write", qPrintable(file));
    context.ok = context.ok && ok;
}

} // namespace ondrel::screens

using namespace ondrel;

int main(int argc, char** argv) {
    bool inWindow = false;
    QString out = QStringLiteral("docs/screens");
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--window") == 0)
            inWindow = true;
        else
            out = QString::fromLocal8Bit(argv[i]);
    }
    std::unique_ptr<test::VirtualDisplay> display;
    if (inWindow) {
        QString error;
        display = test::VirtualDisplay::start(QStringLiteral("1600x1200x24"), &error);
        if (!display) {
            std::fprintf(stderr, "No X server for the real window: %s\n", qPrintable(error));
            return 1;
        }
        qputenv("QT_QPA_PLATFORM", "xcb");
        qunsetenv("QT_QUICK_BACKEND");
    } else {
        qputenv("QT_QUICK_BACKEND", "software");
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication app(argc, argv);
    QDir().mkpath(out);
    QTemporaryDir home;
    test::FakeHttpServer service;
    QQmlEngine engine;
    prepareEngine(engine);
    screens::RenderContext context{engine, out, home.path(), service};
    for (const auto& [name, set] : screens::registry())
        set(context);
    AppServices::install({});
    return context.ok ? 0 : 1;
}
