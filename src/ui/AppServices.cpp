#include "AppServices.h"

#include "service/Constants.h"

#include <QQmlEngine>

namespace ondrel {

AppServices& AppServices::instance() {
    static AppServices* services = new AppServices; // lives as long as the process
    return *services;
}

void AppServices::install(Set services) {
    instance().m_set = services;
}

AppServices* AppServices::create(QQmlEngine*, QJSEngine*) {
    QQmlEngine::setObjectOwnership(&instance(), QQmlEngine::CppOwnership);
    return &instance();
}

AuthManager* AppServices::auth() const {
    return m_set.auth ? m_set.auth : &AuthManager::shared();
}

UpdateManager* AppServices::updates() const {
    return m_set.updates ? m_set.updates : &UpdateManager::shared();
}

// Made on first use only: no screen of the shell opens the plugin screen.
PluginManager* AppServices::plugins() const {
    return m_set.plugins ? m_set.plugins : &PluginManager::shared();
}

std::shared_ptr<LocalPipeline> AppServices::makePipeline() const {
    if (m_set.makePipeline)
        return m_set.makePipeline();
    qWarning("No pipeline maker is installed: the wizard's runs have no steps.");
    return LocalPipeline::create();
}

std::unique_ptr<AudioPlayer> AppServices::makeAudioPlayer() const {
    if (m_set.makeAudioPlayer)
        return m_set.makeAudioPlayer();
    return std::make_unique<MultimediaAudioPlayer>();
}

QString AppServices::version() {
    return QLatin1String(Constants::App::version);
}

} // namespace ondrel
