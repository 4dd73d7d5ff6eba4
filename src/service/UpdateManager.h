#pragma once
// Asks the service which plugin version is current and, on request, downloads its zip, unpacks
// it and puts it in place through the admin shell.

#include "APIClient.h"
#include "AdminShell.h"

#include <QObject>
#include <QString>

#include <QCoroTask>

#include <memory>
#include <optional>

namespace ondrel {

class UpdateError {
public:
    enum class Kind { installFailed, downloadFailed };

    UpdateError(Kind kind, QString message)
        : m_kind(kind)
        , m_message(std::move(message)) {}

    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }
    QString description() const;

private:
    Kind m_kind;
    QString m_message;
};

struct UpdateManagerConfig {
    Endpoints endpoints;
    QString pluginPath;
    std::shared_ptr<AdminShell> shell;
    QString unzip;
    // Made anew (owner-only) for each update; the admin script copies from it, so it must lie
    // where no other user can plant files.
    QString workFolder;

    static UpdateManagerConfig platformDefault();
};

class UpdateManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString installedVersion READ installedVersion NOTIFY installedVersionChanged)
    Q_PROPERTY(QString latestVersion READ latestVersionText NOTIFY latestVersionChanged)
    Q_PROPERTY(bool updateAvailable READ updateAvailable NOTIFY updateAvailableChanged)
    Q_PROPERTY(bool isChecking READ isChecking NOTIFY isCheckingChanged)
    Q_PROPERTY(bool isDownloading READ isDownloading NOTIFY isDownloadingChanged)
    Q_PROPERTY(double downloadProgress READ downloadProgress NOTIFY downloadProgressChanged)
    Q_PROPERTY(QString statusMessage READ statusMessageText NOTIFY statusMessageChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(QString releaseNotes READ releaseNotesText NOTIFY releaseNotesChanged)

public:
    explicit UpdateManager(UpdateManagerConfig config, QObject* parent = nullptr);

    static UpdateManager& shared();

    // By number, piece by piece; pieces that are not integers ("0-beta") are dropped.
    static bool isNewerVersion(const QString& a, const QString& than);

    // The installed plugin's own version; the one this application carries when none is installed.
    QString installedVersion() const { return m_installedVersion; }
    const std::optional<QString>& latestVersion() const { return m_latestVersion; }
    QString latestVersionText() const { return m_latestVersion.value_or(QString()); }
    bool updateAvailable() const { return m_updateAvailable; }
    bool isChecking() const { return m_isChecking; }
    bool isDownloading() const { return m_isDownloading; }
    double downloadProgress() const { return m_downloadProgress; }
    const std::optional<QString>& statusMessage() const { return m_statusMessage; }
    QString statusMessageText() const { return m_statusMessage.value_or(QString()); }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorMessageText() const { return m_errorMessage.value_or(QString()); }
    const std::optional<QString>& releaseNotes() const { return m_releaseNotes; }
    QString releaseNotesText() const { return m_releaseNotes.value_or(QString()); }
    const UpdateManagerConfig& config() const { return m_config; }

    // Reads the plugin folder again (a check and an install do so themselves).
    void readInstalledVersion();
    // Never fail to the caller: the outcome is in the fields.
    QCoro::Task<> checkForUpdates();
    QCoro::Task<> downloadAndInstall();

signals:
    void installedVersionChanged();
    void latestVersionChanged();
    void updateAvailableChanged();
    void isCheckingChanged();
    void isDownloadingChanged();
    void downloadProgressChanged();
    void statusMessageChanged();
    void errorMessageChanged();
    void releaseNotesChanged();

private:
    void failDownload(const QString& message);

    void setLatestVersion(std::optional<QString> v);
    void setUpdateAvailable(bool v);
    void setChecking(bool v);
    void setDownloading(bool v);
    void setDownloadProgress(double v);
    void setStatusMessage(std::optional<QString> v);
    void setErrorMessage(std::optional<QString> v);
    void setReleaseNotes(std::optional<QString> v);

    UpdateManagerConfig m_config;
    APIClient m_api;

    QString m_installedVersion;
    std::optional<QString> m_latestVersion;
    bool m_updateAvailable = false;
    bool m_isChecking = false;
    bool m_isDownloading = false;
    double m_downloadProgress = 0;
    std::optional<QString> m_statusMessage;
    std::optional<QString> m_errorMessage;
    std::optional<QString> m_releaseNotes;
    std::optional<QString> m_downloadURL;
};

} // namespace ondrel
