#pragma once
// What the screen renderer's parts share. Each part registers its screens with ONDREL_SCREENS (in
// a file of its own under tools/screens/, picked up without editing any list); render_screens
// draws them all, in the order of their names.

#include "support/FakeHttpServer.h"
#include "ui/AppServices.h"
#include "ui/UiPaths.h"

#include <QQmlEngine>
#include <QSize>
#include <QString>
#include <QUrl>

#include <functional>

namespace ondrel::screens {

struct RenderContext {
    QQmlEngine& engine;
    QString outputDir;             // where the PNGs go
    QString home;                  // a temporary home for sample files
    test::FakeHttpServer& service; // the product's, speech and language-model services
    bool ok = true;
};

// Creates a file of the module (or inline QML when `inlineQml` is set), fills the window with it,
// lets `prepare` set the sample state, lets it settle and writes `<name>.png`.
void renderScreen(RenderContext& context, const QString& name, const QUrl& url, const QSize& size,
                  const std::function<void(QObject*)>& prepare = {}, const QByteArray& inlineQml = {});

// Lets the event loop run (animations, bindings, replies) for a while.
void settle(int ms);

using ScreenSet = void (*)(RenderContext&);
struct ScreenSetRegistration {
    ScreenSetRegistration(const char* name, ScreenSet set);
};

} // namespace ondrel::screens

#define ONDREL_SCREENS(name)                                                                                 \
    static void name(ondrel::screens::RenderContext&);                                                       \
    static const ondrel::screens::ScreenSetRegistration name##Registration(#name, &name);                    \
    static void name(ondrel::screens::RenderContext& context)
