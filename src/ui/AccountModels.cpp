#include "AccountModels.h"

#include "service/Constants.h"

#include <QCoroTask>

namespace ondrel {

// ---- shell -----------------------------------------------------------------------------------

ShellModel::ShellModel(QObject* parent)
    : QObject(parent)
    , m_auth(AppServices::instance().auth()) {
    connect(m_auth, &AuthManager::isSignedInChanged, this, &ShellModel::showsMainFrameChanged);
}

void ShellModel::setSelectedTab(int tab) {
    if (tab == m_selectedTab)
        return;
    m_selectedTab = tab;
    emit selectedTabChanged();
}

bool ShellModel::showsMainFrame() const {
    return m_auth && m_auth->isSignedIn();
}

QString ShellModel::page() const {
    switch (m_selectedTab) {
    case 0:
        return QStringLiteral("account");
    case 1:
        return QStringLiteral("mine");
    case 2:
        return QStringLiteral("updates");
    default:
        return {};
    }
}

// ---- sign-in ---------------------------------------------------------------------------------

SignInModel::SignInModel(QObject* parent)
    : QObject(parent)
    , m_auth(AppServices::instance().auth()) {
    connect(m_auth, &AuthManager::isLoadingChanged, this, &SignInModel::changed);
    connect(m_auth, &AuthManager::errorMessageChanged, this, &SignInModel::changed);
}

void SignInModel::setManualToken(const QString& token) {
    if (token == m_manualToken)
        return;
    m_manualToken = token;
    emit changed();
}

void SignInModel::signInWithBrowser() {
    m_browserMessage.clear();
    m_waiting = true;
    emit changed();
    // Waiting for a browser that never opened would wait for ever: stop, and point at the token.
    m_auth->signIn([self = QPointer<SignInModel>(this)] {
        if (!self)
            return;
        self->m_waiting = false;
        self->m_showTokenField = true;
        self->m_browserMessage = QStringLiteral("Could not open a browser — use Sign in with token");
        emit self->changed();
    });
}

void SignInModel::cancelWaiting() {
    // Only this screen stops waiting: a callback that still arrives signs in all the same.
    m_waiting = false;
    emit changed();
}

void SignInModel::toggleTokenField() {
    m_showTokenField = !m_showTokenField;
    emit changed();
}

void SignInModel::signInWithToken() {
    if (!canSignIn())
        return;
    // The browser's failure belongs to the way not taken.
    if (!m_browserMessage.isEmpty()) {
        m_browserMessage.clear();
        emit changed();
    }
    [](QPointer<AuthManager> auth, QString token) -> QCoro::Task<> {
        if (auth)
            co_await auth->signInWithToken(token);
    }(m_auth, m_manualToken);
}

// ---- account ---------------------------------------------------------------------------------

DashboardModel::DashboardModel(QObject* parent)
    : QObject(parent)
    , m_auth(AppServices::instance().auth()) {
    for (auto signal : {&AuthManager::userNameChanged, &AuthManager::userEmailChanged,
                        &AuthManager::creditsChanged, &AuthManager::planChanged})
        connect(m_auth, signal, this, &DashboardModel::accountChanged);
}

QString DashboardModel::displayName() const {
    const QString name = m_auth->userName();
    return name.isEmpty() ? QStringLiteral("User") : name;
}

QString DashboardModel::initial() const {
    return displayName().left(1).toUpper();
}

QString DashboardModel::planText() const {
    const QString plan = m_auth->plan();
    return plan.isEmpty() ? QStringLiteral("Free") : plan;
}

bool DashboardModel::isProPlan() const {
    const QString plan = m_auth->plan().toLower();
    return plan.contains(QLatin1String("post")) || plan.contains(QLatin1String("pro")) ||
           plan.contains(QLatin1String("studio"));
}

void DashboardModel::refresh() {
    if (m_refreshing)
        return;
    m_refreshing = true;
    emit isRefreshingChanged();
    [](QPointer<DashboardModel> self, QPointer<AuthManager> auth) -> QCoro::Task<> {
        if (auth)
            co_await auth->refreshUser();
        if (!self)
            co_return; // the screen went away meanwhile
        self->m_refreshing = false;
        emit self->isRefreshingChanged();
    }(this, m_auth);
}

void DashboardModel::openBilling() {
    const QString url = Constants::API::billingURL();
    if (!m_billingMessage.isEmpty()) {
        m_billingMessage.clear();
        emit billingMessageChanged();
    }
    // A desktop without a browser would leave the press with no outcome: say so, with the address.
    AppServices::opener().openUrl(QUrl(url), [self = QPointer<DashboardModel>(this), url] {
        if (!self)
            return;
        self->m_billingMessage = QStringLiteral("Could not open a browser — billing is at ") + url;
        emit self->billingMessageChanged();
    });
}

void DashboardModel::signOut() {
    m_auth->signOut();
}

// ---- updates ---------------------------------------------------------------------------------

UpdatesModel::UpdatesModel(QObject* parent)
    : QObject(parent)
    , m_updates(AppServices::instance().updates()) {
    for (auto signal : {&UpdateManager::installedVersionChanged, &UpdateManager::latestVersionChanged,
                        &UpdateManager::updateAvailableChanged, &UpdateManager::isCheckingChanged,
                        &UpdateManager::isDownloadingChanged})
        connect(m_updates, signal, this, &UpdatesModel::changed);
}

QString UpdatesModel::latestText() const {
    if (m_updates->isChecking())
        return QStringLiteral("...");
    return m_updates->latestVersion().value_or(QStringLiteral("—"));
}

void UpdatesModel::appear() {
    m_updates->readInstalledVersion();
    if (!m_updates->latestVersion())
        check();
}

void UpdatesModel::check() {
    [](QPointer<UpdateManager> updates) -> QCoro::Task<> {
        if (updates)
            co_await updates->checkForUpdates();
    }(m_updates);
}

void UpdatesModel::install() {
    [](QPointer<UpdateManager> updates) -> QCoro::Task<> {
        if (updates)
            co_await updates->downloadAndInstall();
    }(m_updates);
}

// ---- plugin ----------------------------------------------------------------------------------

PluginModel::PluginModel(QObject* parent)
    : QObject(parent)
    , m_plugins(AppServices::instance().plugins()) {}

QString PluginModel::minResolveVersion() {
    return QLatin1String(Constants::App::minResolveVersion);
}

void PluginModel::appear() {
    m_plugins->detectInstallation();
}

void PluginModel::setConfirm(bool v) {
    if (v == m_confirm)
        return;
    m_confirm = v;
    emit showUninstallConfirmChanged();
}

void PluginModel::install() {
    [](QPointer<PluginManager> plugins) -> QCoro::Task<> {
        if (plugins)
            co_await plugins->install();
    }(m_plugins);
}

void PluginModel::reinstall() {
    [](QPointer<PluginManager> plugins) -> QCoro::Task<> {
        if (plugins)
            co_await plugins->reinstall();
    }(m_plugins);
}

void PluginModel::askUninstall() {
    setConfirm(true);
}

void PluginModel::cancelUninstall() {
    setConfirm(false);
}

void PluginModel::confirmUninstall() {
    setConfirm(false);
    [](QPointer<PluginManager> plugins) -> QCoro::Task<> {
        if (plugins)
            co_await plugins->uninstall();
    }(m_plugins);
}

} // namespace ondrel
