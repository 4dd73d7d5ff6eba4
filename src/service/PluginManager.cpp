#include "PluginManager.h"

#include "Constants.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

namespace ondrel {

namespace {

constexpr qint64 kLargestVersionFile = 1 << 20;

QString parentFolder(const QString& path) {
    return QFileInfo(QDir::cleanPath(path)).path();
}

// Every value reaches the shell quoted: a plugin folder may hold spaces or quotes.
QString copyText(const QString& source, const QString& dest) {
    return QStringLiteral("mkdir -p ") + shellQuote(parentFolder(dest)) + QStringLiteral(" && cp -R ") +
           shellQuote(source + u'/') + u' ' + shellQuote(dest) + QStringLiteral(" && ") + readableByAll(dest);
}

QString minimalPluginText(const QString& pluginPath) {
    const QString version = QLatin1String(Constants::App::pluginVersion);
    const QString versionJson = QStringLiteral("{\"version\":\"%1\"}").arg(version);
    const QString manifestJson = QStringLiteral("{\"name\":\"Ondrel\",\"version\":\"%1\"}").arg(version);
    return QStringLiteral("mkdir -p ") + shellQuote(pluginPath) + QStringLiteral(" && echo ") +
           shellQuote(versionJson) + QStringLiteral(" > ") +
           shellQuote(pluginPath + QStringLiteral("/version.json")) + QStringLiteral(" && echo ") +
           shellQuote(manifestJson) + QStringLiteral(" > ") +
           shellQuote(pluginPath + QStringLiteral("/manifest.json"));
}

QString removeText(const QString& pluginPath) {
    return QStringLiteral("rm -rf ") + shellQuote(pluginPath);
}

} // namespace

std::optional<QString> installedPluginVersion(const QString& pluginPath) {
    if (!QFileInfo::exists(pluginPath))
        return std::nullopt;
    const QFileInfo versionFile(pluginPath + QStringLiteral("/version.json"));
    QFile file(versionFile.filePath());
    std::optional<PluginVersionFile> decoded;
    if (versionFile.isFile() && versionFile.size() <= kLargestVersionFile && file.open(QIODevice::ReadOnly))
        decoded = decodeJson<PluginVersionFile>(file.readAll());
    return decoded ? decoded->version : QStringLiteral("Unknown");
}

QString PluginError::description() const {
    switch (m_kind) {
    case Kind::installFailed:
        return QStringLiteral("Installation failed: ") + m_message;
    case Kind::uninstallFailed:
        return QStringLiteral("Uninstallation failed: ") + m_message;
    case Kind::bundleResourcesMissing:
        return QStringLiteral("Plugin files not found in app bundle");
    }
    return {};
}

PluginManager::PluginManager(QString pluginPath, std::shared_ptr<AdminShell> shell, QString resourceDir,
                             QObject* parent)
    : QObject(parent)
    , m_pluginPath(std::move(pluginPath))
    , m_shell(std::move(shell))
    , m_resourceDir(std::move(resourceDir)) {
    detectInstallation();
}

PluginManager& PluginManager::shared() {
    static QPointer<PluginManager> instance;
    if (!instance)
        instance =
            new PluginManager(Constants::Paths::pluginDirectory(), ProcessAdminShell::platformDefault(),
                              bundledResourceDir(), QCoreApplication::instance());
    return *instance;
}

QString PluginManager::bundledResourceDir() {
    const QString binary = QCoreApplication::applicationDirPath();
    const QString candidates[] = {binary + QStringLiteral("/../share/ondrel-manager"),
                                  binary + QStringLiteral("/../../share/ondrel-manager")};
    for (const QString& candidate : candidates)
        if (QFileInfo(candidate).isDir())
            return QDir::cleanPath(candidate);
    return {};
}

void PluginManager::detectInstallation() {
    const std::optional<QString> version = installedPluginVersion(m_pluginPath);
    setInstalled(version.has_value());
    setInstalledVersion(version);
}

QCoro::Task<> PluginManager::install() {
    return runOperation(QStringLiteral("Installing plugin..."),
                        QStringLiteral("Plugin installed successfully!"), true);
}

QCoro::Task<> PluginManager::uninstall() {
    return runOperation(QStringLiteral("Uninstalling plugin..."), QStringLiteral("Plugin uninstalled."),
                        false);
}

QCoro::Task<> PluginManager::reinstall() {
    QPointer<PluginManager> self(this);
    co_await uninstall();
    if (self && !m_errorMessage)
        co_await install();
}

QCoro::Task<> PluginManager::runOperation(QString startText, QString doneText, bool installing) {
    setLoading(true);
    setStatusMessage(startText);
    setErrorMessage(std::nullopt);
    QPointer<PluginManager> self(this);
    // Not a conditional inside co_await: GCC 12 destroys the chosen task before it ends.
    std::optional<PluginError> error;
    if (installing)
        error = co_await performInstall();
    else
        error = co_await performUninstall();
    if (!self)
        co_return;
    if (!error) {
        detectInstallation();
        setStatusMessage(doneText);
    } else {
        setErrorMessage(error->description());
        setStatusMessage(std::nullopt);
    }
    setLoading(false);
}

QCoro::Task<std::optional<PluginError>> PluginManager::performInstall() {
    if (m_resourceDir.isEmpty() || !QFileInfo(m_resourceDir).isDir())
        co_return PluginError(PluginError::Kind::bundleResourcesMissing);
    const QString source = m_resourceDir + QStringLiteral("/plugin");
    // Without the bundled plugin the install still succeeds, with a stand-by plugin.
    const QString text =
        QFileInfo(source).isDir() ? copyText(source, m_pluginPath) : minimalPluginText(m_pluginPath);
    const std::optional<PluginError> error = co_await runAdmin(text);
    co_return error;
}

QCoro::Task<std::optional<PluginError>> PluginManager::performUninstall() {
    return runAdmin(removeText(m_pluginPath));
}

QCoro::Task<std::optional<PluginError>> PluginManager::runAdmin(QString shellText) {
    const std::shared_ptr<AdminShell> shell = m_shell;
    const AdminOutcome outcome = co_await shell->run(shellText);
    if (!outcome.started)
        co_return PluginError(PluginError::Kind::installFailed,
                              QStringLiteral("Could not create AppleScript"));
    if (!outcome.ok)
        // Every script's failure reads as an installation failure, a removal's too.
        co_return PluginError(PluginError::Kind::installFailed, outcome.message.isEmpty()
                                                                    ? QStringLiteral("AppleScript error")
                                                                    : outcome.message);
    co_return std::nullopt;
}

void PluginManager::setInstalled(bool v) {
    if (m_isInstalled == v)
        return;
    m_isInstalled = v;
    emit isInstalledChanged();
}

void PluginManager::setInstalledVersion(std::optional<QString> v) {
    if (m_installedVersion == v)
        return;
    m_installedVersion = std::move(v);
    emit installedVersionChanged();
}

void PluginManager::setLoading(bool v) {
    if (m_isLoading == v)
        return;
    m_isLoading = v;
    emit isLoadingChanged();
}

void PluginManager::setStatusMessage(std::optional<QString> v) {
    if (m_statusMessage == v)
        return;
    m_statusMessage = std::move(v);
    emit statusMessageChanged();
}

void PluginManager::setErrorMessage(std::optional<QString> v) {
    if (m_errorMessage == v)
        return;
    m_errorMessage = std::move(v);
    emit errorMessageChanged();
}

} // namespace ondrel
