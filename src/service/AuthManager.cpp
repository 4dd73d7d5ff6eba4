#include "AuthManager.h"

#include "Constants.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSaveFile>
#include <QUrl>

namespace ondrel {

namespace {

constexpr qint64 kLargestTokenFile = 1 << 20;
constexpr QFileDevice::Permissions kOwnerFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr QFileDevice::Permissions kOwnerFolder = kOwnerFile | QFileDevice::ExeOwner;

// The value of the first "token" query item: absent when there is none or it has no "=".
// Read from the text itself, so that a scheme or host in another case never passes.
std::optional<QString> callbackToken(const QString& url) {
    const QString prefix = QStringLiteral("ondrel-manager://");
    if (!url.startsWith(prefix))
        return std::nullopt;
    qsizetype end = prefix.size();
    while (end < url.size() && url[end] != u'/' && url[end] != u'?' && url[end] != u'#')
        ++end;
    QString host = url.mid(prefix.size(), end - prefix.size());
    host = host.mid(host.lastIndexOf(u'@') + 1);
    if (const qsizetype colon = host.indexOf(u':'); colon >= 0)
        host.truncate(colon);
    if (host != QStringLiteral("callback"))
        return std::nullopt;

    const qsizetype fragment = url.indexOf(u'#', end);
    const QString rest = url.mid(end, fragment < 0 ? -1 : fragment - end);
    const qsizetype mark = rest.indexOf(u'?');
    if (mark < 0)
        return std::nullopt;
    const QStringList items = rest.mid(mark + 1).split(u'&');
    for (const QString& item : items) {
        const qsizetype eq = item.indexOf(u'=');
        const QString name = QUrl::fromPercentEncoding((eq < 0 ? item : item.left(eq)).toUtf8());
        if (name != QStringLiteral("token"))
            continue;
        if (eq < 0)
            return std::nullopt;
        return QUrl::fromPercentEncoding(item.mid(eq + 1).toUtf8());
    }
    return std::nullopt;
}

} // namespace

AuthManager::AuthManager(QString tokenFile, const Endpoints& endpoints, UrlOpener* opener, QObject* parent)
    : QObject(parent)
    , m_tokenFile(std::move(tokenFile))
    , m_api(endpoints)
    , m_opener(opener)
    , m_authURL(Constants::API::authURL(endpoints)) {
    loadStoredToken();
}

AuthManager& AuthManager::shared() {
    static QPointer<AuthManager> instance;
    if (!instance)
        instance = new AuthManager(Constants::Paths::tokenFile(), Endpoints::fromEnvironment(), nullptr,
                                   QCoreApplication::instance());
    return *instance;
}

void AuthManager::loadStoredToken() {
    const QFileInfo info(m_tokenFile);
    if (!info.exists())
        return;
    QFile file(m_tokenFile);
    if (!info.isFile() || info.size() > kLargestTokenFile || !file.open(QIODevice::ReadOnly))
        return;
    const std::optional<TokenFile> stored = decodeJson<TokenFile>(file.readAll());
    if (!stored)
        return;
    setToken(stored->token);
    if (stored->name)
        setUserName(*stored->name);
    if (stored->email)
        setUserEmail(*stored->email);
    // Signed in only once the service has confirmed the token.
    refreshUser();
}

bool AuthManager::saveToken(const QString& token, const UserInfo& user, QString* error) const {
    const QString folder = QFileInfo(m_tokenFile).absolutePath();
    if (!QDir().mkpath(folder)) {
        *error = QStringLiteral("Could not create the folder %1.").arg(folder);
        return false;
    }
    // Owner-only, also for a folder an older version made with the default modes.
    if (!QFile::setPermissions(folder, kOwnerFolder)) {
        *error = QStringLiteral("Could not restrict the folder %1 to its owner.").arg(folder);
        return false;
    }
    const std::optional<QByteArray> bytes = encodeJson(TokenFile{token, user.email, user.name});
    QSaveFile file(m_tokenFile);
    auto fail = [&] {
        *error = QStringLiteral("Could not write %1: %2").arg(m_tokenFile, file.errorString());
        file.cancelWriting();
        return false;
    };
    // The mode is set on the temporary file before the token is in it, and the rename keeps it.
    if (!bytes || !file.open(QIODevice::WriteOnly) || !file.setPermissions(kOwnerFile))
        return fail();
    // QSaveFile buffers, and commit() renames even when the last flush came up short (a full
    // disk), so the flush is checked here.
    if (file.write(*bytes) != bytes->size() || !file.flush() || !file.commit())
        return fail();
    return true;
}

void AuthManager::clearStoredToken() const {
    QFile::remove(m_tokenFile);
}

void AuthManager::applyUser(const UserInfo& user) {
    setUserName(user.name);
    setUserEmail(user.email);
    setCredits(user.credits);
    setPlan(user.plan);
}

void AuthManager::signIn(std::function<void()> noBrowser) {
    const QUrl url(m_authURL, QUrl::StrictMode);
    if (url.isValid())
        (m_opener ? m_opener : UrlOpener::system())->openUrl(url, std::move(noBrowser));
    else if (noBrowser)
        noBrowser();
}

QCoro::Task<> AuthManager::signInWithToken(QString token) {
    const QString trimmed = token.trimmed();
    if (trimmed.isEmpty()) {
        setErrorMessage(QStringLiteral("Please enter a valid token"));
        co_return;
    }
    setLoading(true);
    setErrorMessage(std::nullopt);

    QPointer<AuthManager> self(this);
    const APIResult<UserInfo> answer = co_await m_api.validateToken(trimmed);
    if (!self)
        co_return;
    if (const auto* error = std::get_if<APIError>(&answer)) {
        setErrorMessage(error->description());
        setLoading(false);
        co_return;
    }
    const UserInfo& user = std::get<UserInfo>(answer);
    QString saveError;
    if (!saveToken(trimmed, user, &saveError)) {
        setErrorMessage(saveError);
        setLoading(false);
        co_return;
    }
    setToken(trimmed);
    applyUser(user);
    setSignedIn(true);
    setLoading(false);
}

void AuthManager::signOut() {
    setToken(std::nullopt);
    setUserName(QString());
    setUserEmail(QString());
    setCredits(0);
    setPlan(QStringLiteral("Free"));
    setSignedIn(false);
    clearStoredToken();
}

QCoro::Task<> AuthManager::refreshUser() {
    if (!m_token) {
        emit refreshFinished();
        co_return;
    }
    const QString token = *m_token;
    QPointer<AuthManager> self(this);
    const APIResult<UserInfo> answer = co_await m_api.getMe(token);
    if (!self)
        co_return;
    // An answer about a token no longer in force (signed out or replaced meanwhile) says
    // nothing about the current one.
    if (m_token == token) {
        if (const auto* user = std::get_if<UserInfo>(&answer)) {
            applyUser(*user);
            setSignedIn(true);
        } else if (const auto& error = std::get<APIError>(answer);
                   error.kind() == APIError::Kind::httpError && error.statusCode() == 401) {
            signOut();
        } else {
            qWarning().noquote() << "Could not refresh the account:" << error.description();
        }
    }
    emit refreshFinished();
}

QCoro::Task<> AuthManager::handleCallback(QString url) {
    const std::optional<QString> token = callbackToken(url);
    if (!token)
        co_return;
    co_await signInWithToken(*token);
}

void AuthManager::setSignedIn(bool v) {
    if (m_isSignedIn == v)
        return;
    m_isSignedIn = v;
    emit isSignedInChanged();
}

void AuthManager::setUserName(const QString& v) {
    if (m_userName == v)
        return;
    m_userName = v;
    emit userNameChanged();
}

void AuthManager::setUserEmail(const QString& v) {
    if (m_userEmail == v)
        return;
    m_userEmail = v;
    emit userEmailChanged();
}

void AuthManager::setCredits(qint64 v) {
    if (m_credits == v)
        return;
    m_credits = v;
    emit creditsChanged();
}

void AuthManager::setPlan(const QString& v) {
    if (m_plan == v)
        return;
    m_plan = v;
    emit planChanged();
}

void AuthManager::setLoading(bool v) {
    if (m_isLoading == v)
        return;
    m_isLoading = v;
    emit isLoadingChanged();
}

void AuthManager::setErrorMessage(std::optional<QString> v) {
    if (m_errorMessage == v)
        return;
    m_errorMessage = std::move(v);
    emit errorMessageChanged();
}

void AuthManager::setToken(std::optional<QString> v) {
    if (m_token == v)
        return;
    m_token = std::move(v);
    emit tokenChanged();
}

} // namespace ondrel
