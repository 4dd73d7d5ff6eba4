#pragma once
// Whether the product's Resolve plugin is installed and which version; installs and removes it
// through the admin shell, since its folder belongs to the system.

#include "AdminShell.h"

#include "core/Json.h"

#include <QObject>
#include <QString>

#include <QCoroTask>

#include <memory>
#include <optional>

namespace ondrel {

struct PluginVersionFile {
    QString version;
};

template <> struct JsonFields<PluginVersionFile> {
    static constexpr auto fields = std::make_tuple(field("version", &PluginVersionFile::version));
};

// The version the plugin folder names in its version.json: none when nothing is at `pluginPath`,
// "Unknown" when that file is missing or unreadable.
std::optional<QString> installedPluginVersion(const QString& pluginPath);

class PluginError {
public:
    enum class Kind { installFailed, uninstallFailed, bundleResourcesMissing };

    explicit PluginError(Kind kind, QString message = {})
        : m_kind(kind)
        , m_message(std::move(message)) {}

    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }
    QString description() const;

private:
    Kind m_kind;
    QString m_message;
};

class PluginManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isInstalled READ isInstalled NOTIFY isInstalledChanged)
    Q_PROPERTY(QString installedVersion READ installedVersionText NOTIFY installedVersionChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(QString statusMessage READ statusMessageText NOTIFY statusMessageChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(QString pluginPath READ pluginPath CONSTANT)

public:
    // `resourceDir` holds the bundled "plugin" folder; "" or a missing folder means the
    // application's resources are not there.
    PluginManager(QString pluginPath, std::shared_ptr<AdminShell> shell, QString resourceDir,
                  QObject* parent = nullptr);

    // The application's one instance: this platform's plugin folder, admin shell and resources.
    static PluginManager& shared();

    // The application's resource folder: "<prefix>/share/ondrel-manager" beside the binary's
    // "bin", or the build tree's "share/ondrel-manager" two levels above a binary under src/.
    // "" when neither exists.
    static QString bundledResourceDir();

    bool isInstalled() const { return m_isInstalled; }
    const std::optional<QString>& installedVersion() const { return m_installedVersion; }
    QString installedVersionText() const { return m_installedVersion.value_or(QString()); }
    bool isLoading() const { return m_isLoading; }
    const std::optional<QString>& statusMessage() const { return m_statusMessage; }
    QString statusMessageText() const { return m_statusMessage.value_or(QString()); }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorMessageText() const { return m_errorMessage.value_or(QString()); }
    QString pluginPath() const { return m_pluginPath; }

    Q_INVOKABLE void detectInstallation();
    // Never fail to the caller: the outcome is in the fields.
    QCoro::Task<> install();
    QCoro::Task<> uninstall();
    QCoro::Task<> reinstall();

signals:
    void isInstalledChanged();
    void installedVersionChanged();
    void isLoadingChanged();
    void statusMessageChanged();
    void errorMessageChanged();

private:
    QCoro::Task<std::optional<PluginError>> performInstall();
    QCoro::Task<std::optional<PluginError>> performUninstall();
    QCoro::Task<std::optional<PluginError>> runAdmin(QString shellText);
    QCoro::Task<> runOperation(QString startText, QString doneText, bool installing);

    void setInstalled(bool v);
    void setInstalledVersion(std::optional<QString> v);
    void setLoading(bool v);
    void setStatusMessage(std::optional<QString> v);
    void setErrorMessage(std::optional<QString> v);

    QString m_pluginPath;
    std::shared_ptr<AdminShell> m_shell;
    QString m_resourceDir;

    bool m_isInstalled = false;
    std::optional<QString> m_installedVersion;
    bool m_isLoading = false;
    std::optional<QString> m_statusMessage;
    std::optional<QString> m_errorMessage;
};

} // namespace ondrel
