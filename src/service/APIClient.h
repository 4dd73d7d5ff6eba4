#pragma once
// The product's web service: one authenticated JSON request, and the calls built on it.

#include "core/Json.h"
#include "core/Platform.h"

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QString>

#include <QCoroTask>

#include <memory>
#include <optional>
#include <variant>

namespace ondrel {

struct UserInfo {
    QString id;
    QString name;
    QString email;
    qint64 credits = 0;
    QString plan;
};

struct VersionInfo {
    QString version;
    std::optional<QString> downloadURL;
    std::optional<QString> releaseNotes;
};

// The service's answer to a token check; nothing asks for it yet.
struct TokenValidation {
    bool valid = false;
    std::optional<QString> token;
};

template <> struct JsonFields<UserInfo> {
    static constexpr auto fields = std::make_tuple(
        field("id", &UserInfo::id), field("name", &UserInfo::name), field("email", &UserInfo::email),
        field("credits", &UserInfo::credits), field("plan", &UserInfo::plan));
};
template <> struct JsonFields<VersionInfo> {
    static constexpr auto fields = std::make_tuple(field("version", &VersionInfo::version),
                                                   field("download_url", &VersionInfo::downloadURL),
                                                   field("release_notes", &VersionInfo::releaseNotes));
};
template <> struct JsonFields<TokenValidation> {
    static constexpr auto fields =
        std::make_tuple(field("valid", &TokenValidation::valid), field("token", &TokenValidation::token));
};

class APIError {
public:
    enum class Kind { httpError, decodingError, networkError, invalidURL, invalidResponse };

    static APIError http(int statusCode, QString message) {
        return {Kind::httpError, statusCode, std::move(message)};
    }
    static APIError decoding(QString description) { return {Kind::decodingError, 0, std::move(description)}; }
    static APIError network(QString description) { return {Kind::networkError, 0, std::move(description)}; }
    static APIError invalidURL() { return {Kind::invalidURL, 0, {}}; }
    static APIError invalidResponse() { return {Kind::invalidResponse, 0, {}}; }

    Kind kind() const { return m_kind; }
    int statusCode() const { return m_statusCode; }
    // The server's text of an httpError, or the underlying error's description.
    QString message() const { return m_message; }
    QString description() const;

private:
    APIError(Kind kind, int statusCode, QString message)
        : m_kind(kind)
        , m_statusCode(statusCode)
        , m_message(std::move(message)) {}

    Kind m_kind;
    int m_statusCode;
    QString m_message;
};

template <class T> using APIResult = std::variant<T, APIError>;

// False for a value with a control character: a line break would end the header early.
bool isHeaderSafe(const QString& value);
inline const QString kUnsendableToken = QStringLiteral("The token holds characters that cannot be sent.");

// Cheap to copy; copies share one network manager. A call keeps that manager alive until it
// ends, so the object that started it may go away meanwhile.
class APIClient {
public:
    explicit APIClient(const Endpoints& endpoints = Endpoints::fromEnvironment());

    QString baseURL() const { return m_baseURL; }
    const std::shared_ptr<QNetworkAccessManager>& network() const { return m_network; }

    // The body of a 2xx answer. A token the service echoes back never reaches an error text.
    QCoro::Task<APIResult<QByteArray>> request(QString endpoint, std::optional<QString> token = std::nullopt,
                                               QByteArray method = "GET",
                                               std::optional<QByteArray> body = std::nullopt) const;
    QCoro::Task<APIResult<UserInfo>> getMe(QString token) const;
    QCoro::Task<APIResult<VersionInfo>> getVersion() const;
    // A token is valid when "/me" accepts it; the service has no other check.
    QCoro::Task<APIResult<UserInfo>> validateToken(QString token) const { return getMe(std::move(token)); }

private:
    QString m_baseURL;
    std::shared_ptr<QNetworkAccessManager> m_network;
};

} // namespace ondrel
