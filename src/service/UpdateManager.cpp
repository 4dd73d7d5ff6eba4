#include "UpdateManager.h"

#include "Constants.h"
#include "PluginManager.h"

#include "core/Files.h"
#include "core/Http.h"
#include "core/ToolRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QUrl>

#include <algorithm>
#include <limits>

namespace ondrel {

namespace {

// A piece as an integer the way the platform's integer parser reads it: an optional sign and
// ASCII digits, nothing else, within range.
std::optional<qint64> integerPiece(const QString& piece) {
    qsizetype i = 0;
    const bool negative = piece.startsWith(u'-');
    if (negative || piece.startsWith(u'+'))
        i = 1;
    if (i >= piece.size())
        return std::nullopt;
    qint64 value = 0;
    for (; i < piece.size(); ++i) {
        const char16_t c = piece[i].unicode();
        if (c < u'0' || c > u'9')
            return std::nullopt;
        const int digit = c - u'0';
        if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

QList<qint64> versionNumbers(const QString& version) {
    QList<qint64> numbers;
    for (const QString& piece : version.split(u'.', Qt::SkipEmptyParts))
        if (const auto n = integerPiece(piece))
            numbers << *n;
    return numbers;
}

QString folderFailure(const QString& folder) {
    return QStringLiteral("Could not create the folder %1.").arg(folder);
}

} // namespace

QString UpdateError::description() const {
    switch (m_kind) {
    case Kind::installFailed:
        return QStringLiteral("Install failed: ") + m_message;
    case Kind::downloadFailed:
        return QStringLiteral("Download failed: ") + m_message;
    }
    return {};
}

UpdateManagerConfig UpdateManagerConfig::platformDefault() {
    UpdateManagerConfig config;
    config.endpoints = Endpoints::fromEnvironment();
    config.pluginPath = Constants::Paths::pluginDirectory();
    config.shell = ProcessAdminShell::platformDefault();
    config.unzip = ToolPaths::platformDefault().unzip;
#ifdef Q_OS_MACOS
    // macOS gives each user a temporary folder of their own.
    config.workFolder = QDir::tempPath() + QStringLiteral("/ondrel-update");
#else
    // /tmp is shared by all users: anyone could plant files there for the root copy.
    config.workFolder = AppPaths::platformDefault().cacheDir + QStringLiteral("/ondrel-update");
#endif
    return config;
}

UpdateManager::UpdateManager(UpdateManagerConfig config, QObject* parent)
    : QObject(parent)
    , m_config(std::move(config))
    , m_api(m_config.endpoints) {
    readInstalledVersion();
}

void UpdateManager::readInstalledVersion() {
    QString version =
        installedPluginVersion(m_config.pluginPath).value_or(QLatin1String(Constants::App::pluginVersion));
    if (m_installedVersion == version)
        return;
    m_installedVersion = std::move(version);
    emit installedVersionChanged();
}

UpdateManager& UpdateManager::shared() {
    static QPointer<UpdateManager> instance;
    if (!instance)
        instance = new UpdateManager(UpdateManagerConfig::platformDefault(), QCoreApplication::instance());
    return *instance;
}

bool UpdateManager::isNewerVersion(const QString& a, const QString& than) {
    const QList<qint64> left = versionNumbers(a);
    const QList<qint64> right = versionNumbers(than);
    for (qsizetype i = 0; i < std::max(left.size(), right.size()); ++i) {
        const qint64 x = i < left.size() ? left[i] : 0;
        const qint64 y = i < right.size() ? right[i] : 0;
        if (x != y)
            return x > y;
    }
    return false;
}

QCoro::Task<> UpdateManager::checkForUpdates() {
    setChecking(true);
    setStatusMessage(QStringLiteral("Checking for updates..."));
    setErrorMessage(std::nullopt);
    QPointer<UpdateManager> self(this);
    const APIResult<VersionInfo> answer = co_await m_api.getVersion();
    if (!self)
        co_return;
    if (const auto* info = std::get_if<VersionInfo>(&answer)) {
        setLatestVersion(info->version);
        m_downloadURL = info->downloadURL;
        setReleaseNotes(info->releaseNotes);
        // Compared with what is in place: the version this application carries is only a guess
        // at it, and once an update is in, that guess would offer the same update forever.
        readInstalledVersion();
        setUpdateAvailable(isNewerVersion(info->version, m_installedVersion));
        setStatusMessage(m_updateAvailable ? std::optional<QString>(QStringLiteral("Update available!"))
                                           : std::nullopt);
    } else {
        setErrorMessage(std::get<APIError>(answer).description());
        setStatusMessage(std::nullopt);
    }
    setChecking(false);
}

QCoro::Task<> UpdateManager::downloadAndInstall() {
    const QString url = m_downloadURL.value_or(QString());
    if (url.isEmpty() || !QUrl(url, QUrl::StrictMode).isValid()) {
        setErrorMessage(QStringLiteral("No download URL available"));
        co_return;
    }
    setDownloading(true);
    setDownloadProgress(0.0);
    setStatusMessage(QStringLiteral("Downloading update..."));
    setErrorMessage(std::nullopt);

    const QString work = m_config.workFolder;
    QDir(work).removeRecursively();
    if (!QDir().mkpath(work) ||
        !QFile::setPermissions(work,
                               QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner)) {
        failDownload(folderFailure(work));
        co_return;
    }

    QPointer<UpdateManager> self(this);
    const std::shared_ptr<QNetworkAccessManager> network = m_api.network();
    HttpRequest request;
    request.url = url;
    const HttpResponse response = co_await sendHttp(*network, request);
    if (!self)
        co_return;
    if (!response.transportOk) {
        failDownload(response.errorText);
        co_return;
    }
    // An error page is not a plugin: unpacked, it would only fail later with a stranger message.
    if (response.status < 200 || response.status > 299) {
        const QString body = utf8OrEmpty(response.body);
        failDownload(UpdateError(UpdateError::Kind::downloadFailed,
                                 QStringLiteral("HTTP %1: %2")
                                     .arg(response.status)
                                     .arg(body.isEmpty() ? QStringLiteral("Unknown error") : body.left(200)))
                         .description());
        co_return;
    }
    const QString zip = work + QStringLiteral("/plugin-update.zip");
    QString writeError;
    if (!writeFileAtomically(zip, response.body, &writeError)) {
        failDownload(writeError);
        co_return;
    }

    setDownloadProgress(0.5);
    setStatusMessage(QStringLiteral("Installing update..."));
    const QString extracted = work + QStringLiteral("/extracted");
    if (!QDir().mkpath(extracted)) {
        failDownload(folderFailure(extracted));
        co_return;
    }
    ProcessOptions options;
    options.captureStdout = false;
    options.captureStderr = false;
    const QStringList args{QStringLiteral("-o"), zip, QStringLiteral("-d"), extracted};
    // Its exit status is not looked at: an unusable zip shows in the copy.
    const ProcessOutcome unzipped = co_await runChild(m_config.unzip, args, options);
    if (!self)
        co_return;
    if (!unzipped.launched) {
        failDownload(unzipped.launchError);
        co_return;
    }
    setDownloadProgress(0.8);

    // An unpacked update without the version file is no plugin: better the old one stays.
    const QString source = extracted + QStringLiteral("/com.tarnwell.ondrel");
    if (!QFileInfo(source + QStringLiteral("/version.json")).isFile()) {
        failDownload(UpdateError(UpdateError::Kind::installFailed,
                                 QStringLiteral("the update holds no com.tarnwell.ondrel/version.json"))
                         .description());
        co_return;
    }

    // Resolve's plugin folder may not exist before the first plugin; without it `cp -R` would make
    // the plugin's own files into that folder.
    const QString plugin = QDir::cleanPath(m_config.pluginPath);
    const QString text = QStringLiteral("mkdir -p ") + shellQuote(QFileInfo(plugin).path()) +
                         QStringLiteral(" && rm -rf ") + shellQuote(plugin) + QStringLiteral(" && cp -R ") +
                         shellQuote(source) + u' ' + shellQuote(plugin) + QStringLiteral(" && ") +
                         readableByAll(plugin);
    const std::shared_ptr<AdminShell> shell = m_config.shell;
    const AdminOutcome outcome = co_await shell->run(text);
    if (!self)
        co_return;
    if (!outcome.started) {
        failDownload(UpdateError(UpdateError::Kind::installFailed, QStringLiteral("Could not run installer"))
                         .description());
        co_return;
    }
    if (!outcome.ok) {
        const QString message = outcome.message.isEmpty() ? QStringLiteral("Install error") : outcome.message;
        failDownload(UpdateError(UpdateError::Kind::installFailed, message).description());
        co_return;
    }
    readInstalledVersion();
    // A shell that reports success is no proof: only the version file in place is.
    if (!QFileInfo(plugin + QStringLiteral("/version.json")).isFile()) {
        failDownload(UpdateError(UpdateError::Kind::installFailed,
                                 QStringLiteral("%1 holds no version.json after the copy").arg(plugin))
                         .description());
        co_return;
    }

    setDownloadProgress(1.0);
    setUpdateAvailable(false);
    setStatusMessage(QStringLiteral("Update installed! Restart DaVinci Resolve to apply changes."));
    QDir(work).removeRecursively();
    setDownloading(false);
}

// The progress stays where it was and the work folder stays in place.
void UpdateManager::failDownload(const QString& message) {
    setErrorMessage(message);
    setStatusMessage(std::nullopt);
    setDownloading(false);
}

void UpdateManager::setLatestVersion(std::optional<QString> v) {
    if (m_latestVersion == v)
        return;
    m_latestVersion = std::move(v);
    emit latestVersionChanged();
}

void UpdateManager::setUpdateAvailable(bool v) {
    if (m_updateAvailable == v)
        return;
    m_updateAvailable = v;
    emit updateAvailableChanged();
}

void UpdateManager::setChecking(bool v) {
    if (m_isChecking == v)
        return;
    m_isChecking = v;
    emit isCheckingChanged();
}

void UpdateManager::setDownloading(bool v) {
    if (m_isDownloading == v)
        return;
    m_isDownloading = v;
    emit isDownloadingChanged();
}

void UpdateManager::setDownloadProgress(double v) {
    if (m_downloadProgress == v)
        return;
    m_downloadProgress = v;
    emit downloadProgressChanged();
}

void UpdateManager::setStatusMessage(std::optional<QString> v) {
    if (m_statusMessage == v)
        return;
    m_statusMessage = std::move(v);
    emit statusMessageChanged();
}

void UpdateManager::setErrorMessage(std::optional<QString> v) {
    if (m_errorMessage == v)
        return;
    m_errorMessage = std::move(v);
    emit errorMessageChanged();
}

void UpdateManager::setReleaseNotes(std::optional<QString> v) {
    if (m_releaseNotes == v)
        return;
    m_releaseNotes = std::move(v);
    emit releaseNotesChanged();
}

} // namespace ondrel
