#pragma once
// What the screens reach outside themselves: the account, the plugin updater and installer, and
// the desktop's URL opener. The application uses the shared instances; tests and the screen
// renderer install their own before the first screen is made.

#include "AudioPlayer.h"
#include "core/LocalPipeline.h"
#include "core/UrlOpener.h"
#include "service/AuthManager.h"
#include "service/PluginManager.h"
#include "service/UpdateManager.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

class QQmlEngine;
class QJSEngine;

namespace ondrel {

class AppServices : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(ondrel::AuthManager* auth READ auth CONSTANT)
    Q_PROPERTY(ondrel::UpdateManager* updates READ updates CONSTANT)
    Q_PROPERTY(ondrel::PluginManager* plugins READ plugins CONSTANT)
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    struct Set {
        AuthManager* auth = nullptr; // not owned; nullptr: the shared instance
        UpdateManager* updates = nullptr;
        PluginManager* plugins = nullptr;
        // A pipeline with every step in place, one for each wizard; the application wires the
        // steps (tests and the renderer wire their own).
        std::function<std::shared_ptr<LocalPipeline>()> makePipeline = {};
        // The Review page's preview sound; Qt Multimedia when unset.
        std::function<std::unique_ptr<AudioPlayer>()> makeAudioPlayer = {};
    };
    static void install(Set services);
    static AppServices& instance();
    static AppServices* create(QQmlEngine*, QJSEngine*);

    AuthManager* auth() const;
    UpdateManager* updates() const;
    PluginManager* plugins() const;
    std::shared_ptr<LocalPipeline> makePipeline() const;
    std::unique_ptr<AudioPlayer> makeAudioPlayer() const;
    static QString version();
    static UrlOpener& opener() { return *UrlOpener::system(); }

private:
    AppServices() = default;
    Set m_set;
};

} // namespace ondrel
