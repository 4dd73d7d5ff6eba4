#pragma once
// Who the user is: the service token, the account's name, e-mail, credits and plan, and the
// token file that carries a sign-in over a restart.

#include "APIClient.h"

#include "core/UrlOpener.h"

#include <QObject>
#include <QString>

#include <QCoroTask>

#include <functional>
#include <optional>

namespace ondrel {

struct TokenFile {
    QString token;
    std::optional<QString> email;
    std::optional<QString> name;
};

template <> struct JsonFields<TokenFile> {
    static constexpr auto fields =
        std::make_tuple(field("token", &TokenFile::token), field("email", &TokenFile::email),
                        field("name", &TokenFile::name));
};

class AuthManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY isSignedInChanged)
    Q_PROPERTY(QString userName READ userName NOTIFY userNameChanged)
    Q_PROPERTY(QString userEmail READ userEmail NOTIFY userEmailChanged)
    Q_PROPERTY(qint64 credits READ credits NOTIFY creditsChanged)
    Q_PROPERTY(QString plan READ plan NOTIFY planChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(bool hasToken READ hasToken NOTIFY tokenChanged)

public:
    // Reads the token file at once and, when it holds a token, asks the service who the user is.
    // `opener` is not owned; nullptr means the process-wide one at the time of use.
    AuthManager(QString tokenFile, const Endpoints& endpoints, UrlOpener* opener = nullptr,
                QObject* parent = nullptr);

    // The application's one instance, made on first use (home folder's token file, endpoints
    // from the environment, the process-wide opener).
    static AuthManager& shared();

    bool isSignedIn() const { return m_isSignedIn; }
    QString userName() const { return m_userName; }
    QString userEmail() const { return m_userEmail; }
    qint64 credits() const { return m_credits; }
    QString plan() const { return m_plan; }
    bool isLoading() const { return m_isLoading; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorMessageText() const { return m_errorMessage.value_or(QString()); }
    const std::optional<QString>& token() const { return m_token; }
    bool hasToken() const { return m_token.has_value(); }
    QString tokenFilePath() const { return m_tokenFile; }

    // Opens the service's sign-in page in the browser; the flow goes on in handleCallback.
    // `noBrowser` runs when no browser could be opened.
    void signIn(std::function<void()> noBrowser = {});
    Q_INVOKABLE void signOut();
    // Never fails to the caller: the outcome is in the fields.
    QCoro::Task<> signInWithToken(QString token);
    // Brings the account's figures up to date; a 401 signs out, other failures change nothing.
    QCoro::Task<> refreshUser();

    // An incoming "ondrel-manager://callback?token=..." URL, as text: the scheme and host are
    // compared as written (a parsed URL has lower-cased them). Anything else is ignored.
    QCoro::Task<> handleCallback(QString url);

signals:
    void isSignedInChanged();
    void userNameChanged();
    void userEmailChanged();
    void creditsChanged();
    void planChanged();
    void isLoadingChanged();
    void errorMessageChanged();
    void tokenChanged();
    // A refresh has ended, whatever its outcome.
    void refreshFinished();

private:
    void loadStoredToken();
    bool saveToken(const QString& token, const UserInfo& user, QString* error) const;
    void clearStoredToken() const;
    void applyUser(const UserInfo& user);

    void setSignedIn(bool v);
    void setUserName(const QString& v);
    void setUserEmail(const QString& v);
    void setCredits(qint64 v);
    void setPlan(const QString& v);
    void setLoading(bool v);
    void setErrorMessage(std::optional<QString> v);
    void setToken(std::optional<QString> v);

    QString m_tokenFile;
    APIClient m_api;
    UrlOpener* m_opener;
    QString m_authURL;

    bool m_isSignedIn = false;
    QString m_userName;
    QString m_userEmail;
    qint64 m_credits = 0;
    QString m_plan = QStringLiteral("Free");
    bool m_isLoading = false;
    std::optional<QString> m_errorMessage;
    std::optional<QString> m_token;
};

} // namespace ondrel
