#pragma once
// The view state and derived texts of the shell and the account screens; the QML only lays out.

#include "AppServices.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

// The window's gate and its tabs: 0 account, 1 mine, 2 updates.
class ShellModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
    Q_PROPERTY(bool showsMainFrame READ showsMainFrame NOTIFY showsMainFrameChanged)
    // "account", "mine", "updates", or "" for a tab that shows nothing.
    Q_PROPERTY(QString page READ page NOTIFY selectedTabChanged)

public:
    explicit ShellModel(QObject* parent = nullptr);
    int selectedTab() const { return m_selectedTab; }
    void setSelectedTab(int tab);
    bool showsMainFrame() const;
    QString page() const;

signals:
    void selectedTabChanged();
    void showsMainFrameChanged();

private:
    QPointer<AuthManager> m_auth;
    int m_selectedTab = 1;
};

class SignInModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool showTokenField READ showTokenField NOTIFY changed)
    Q_PROPERTY(QString manualToken READ manualToken WRITE setManualToken NOTIFY changed)
    Q_PROPERTY(bool isWaitingForCallback READ isWaitingForCallback NOTIFY changed)
    Q_PROPERTY(bool canUseBrowser READ canUseBrowser NOTIFY changed)
    Q_PROPERTY(bool canSignIn READ canSignIn NOTIFY changed)
    Q_PROPERTY(bool isVerifying READ isVerifying NOTIFY changed)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY changed)
    // Set when the browser could not be opened: the way on is the token.
    Q_PROPERTY(QString browserMessage READ browserMessage NOTIFY changed)

public:
    explicit SignInModel(QObject* parent = nullptr);
    bool showTokenField() const { return m_showTokenField; }
    QString manualToken() const { return m_manualToken; }
    void setManualToken(const QString& token);
    bool isWaitingForCallback() const { return m_waiting; }
    bool canUseBrowser() const { return !m_auth->isLoading(); }
    // Only an empty field is refused here; a blank token goes to the account, which answers.
    bool canSignIn() const { return !m_auth->isLoading() && !m_manualToken.isEmpty(); }
    bool isVerifying() const { return m_auth->isLoading(); }
    QString errorMessage() const { return m_auth->errorMessageText(); }
    QString browserMessage() const { return m_browserMessage; }

    Q_INVOKABLE void signInWithBrowser();
    Q_INVOKABLE void cancelWaiting();
    Q_INVOKABLE void toggleTokenField();
    Q_INVOKABLE void signInWithToken();

signals:
    void changed();

private:
    QPointer<AuthManager> m_auth;
    bool m_showTokenField = false;
    QString m_manualToken;
    bool m_waiting = false;
    QString m_browserMessage;
};

class DashboardModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isRefreshing READ isRefreshing NOTIFY isRefreshingChanged)
    Q_PROPERTY(QString displayName READ displayName NOTIFY accountChanged)
    Q_PROPERTY(QString initial READ initial NOTIFY accountChanged)
    Q_PROPERTY(QString email READ email NOTIFY accountChanged)
    Q_PROPERTY(qint64 credits READ credits NOTIFY accountChanged)
    Q_PROPERTY(QString planText READ planText NOTIFY accountChanged)
    Q_PROPERTY(bool isProPlan READ isProPlan NOTIFY accountChanged)
    // Set when the billing page could not be opened: no browser answered, so the address is given.
    Q_PROPERTY(QString billingMessage READ billingMessage NOTIFY billingMessageChanged)

public:
    explicit DashboardModel(QObject* parent = nullptr);
    bool isRefreshing() const { return m_refreshing; }
    QString displayName() const;
    QString initial() const;
    QString email() const { return m_auth->userEmail(); }
    qint64 credits() const { return m_auth->credits(); }
    QString planText() const;
    // The badge only: no feature depends on the plan.
    bool isProPlan() const;
    QString billingMessage() const { return m_billingMessage; }

    Q_INVOKABLE void refresh();
    Q_INVOKABLE void openBilling();
    Q_INVOKABLE void signOut();

signals:
    void isRefreshingChanged();
    void accountChanged();
    void billingMessageChanged();

private:
    QPointer<AuthManager> m_auth;
    bool m_refreshing = false;
    QString m_billingMessage;
};

class UpdatesModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString installedVersion READ installedVersion NOTIFY changed)
    Q_PROPERTY(QString latestText READ latestText NOTIFY changed)
    Q_PROPERTY(bool showUpToDate READ showUpToDate NOTIFY changed)
    Q_PROPERTY(bool showCheckButton READ showCheckButton NOTIFY changed)
    Q_PROPERTY(bool canCheck READ canCheck NOTIFY changed)

public:
    explicit UpdatesModel(QObject* parent = nullptr);
    // The installed plugin's version, which is what an update is measured against.
    QString installedVersion() const { return m_updates->installedVersion(); }
    // "..." while checking, else the service's version, else "—".
    QString latestText() const;
    bool showUpToDate() const {
        return !m_updates->updateAvailable() && m_updates->latestVersion().has_value();
    }
    bool showCheckButton() const { return !m_updates->updateAvailable(); }
    bool canCheck() const { return !m_updates->isChecking() && !m_updates->isDownloading(); }

    // When the screen appears: the plugin folder read again, and a check unless a version is
    // known already.
    Q_INVOKABLE void appear();
    Q_INVOKABLE void check();
    Q_INVOKABLE void install();

signals:
    void changed();

private:
    QPointer<UpdateManager> m_updates;
};

class PluginModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool showUninstallConfirm READ showUninstallConfirm NOTIFY showUninstallConfirmChanged)
    Q_PROPERTY(QString minResolveVersion READ minResolveVersion CONSTANT)

public:
    explicit PluginModel(QObject* parent = nullptr);
    bool showUninstallConfirm() const { return m_confirm; }
    static QString minResolveVersion();

    Q_INVOKABLE void appear();
    Q_INVOKABLE void install();
    Q_INVOKABLE void reinstall();
    Q_INVOKABLE void askUninstall();
    Q_INVOKABLE void cancelUninstall();
    Q_INVOKABLE void confirmUninstall();

signals:
    void showUninstallConfirmChanged();

private:
    void setConfirm(bool v);
    QPointer<PluginManager> m_plugins;
    bool m_confirm = false;
};

} // namespace ondrel
