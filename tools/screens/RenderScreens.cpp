// Draws each screen with sample state into a PNG, offscreen with the software renderer, so anyone
// can see the application without Resolve or the services (scripts/render-screens.sh).
//   render_screens <output folder>
#include "RenderSupport.h"

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
    qputenv("QT_QUICK_BACKEND", "software");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/screens");
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
