#include "APIClient.h"

#include "Constants.h"

#include "core/DecodeError.h"
#include "core/Http.h"
#include "core/Text.h"

#include <QUrl>

#include <algorithm>

namespace ondrel {

namespace {

QCoro::Task<APIResult<QByteArray>> sendRequest(std::shared_ptr<QNetworkAccessManager> network, QString url,
                                               std::optional<QString> token, QByteArray method,
                                               std::optional<QByteArray> body) {
    const QUrl parsed(url, QUrl::StrictMode);
    if (!parsed.isValid() || parsed.scheme().isEmpty() || parsed.host().isEmpty())
        co_return APIError::invalidURL();
    if (token && !isHeaderSafe(*token))
        co_return APIError::network(kUnsendableToken);

    HttpRequest request;
    request.method = method;
    request.url = url;
    request.headers.emplaceBack("Content-Type", "application/json");
    request.headers.emplaceBack("User-Agent", QByteArray("Ondrel-Manager/") + Constants::App::version);
    if (token)
        request.headers.emplaceBack("Authorization", "Bearer " + token->toUtf8());
    if (body)
        request.body = *body;

    const HttpResponse response = co_await sendHttp(*network, std::move(request));
    const QString secret = token.value_or(QString());
    if (!response.transportOk)
        co_return APIError::network(redactSecret(response.errorText, secret));
    if (response.status <= 0)
        co_return APIError::invalidResponse();
    if (response.status >= 200 && response.status <= 299)
        co_return response.body;
    const QString text = strictUtf8(response.body).value_or(QStringLiteral("Unknown error"));
    co_return APIError::http(response.status, redactSecret(text, secret));
}

template <class T> APIResult<T> decodeAnswer(APIResult<QByteArray> answer) {
    if (const auto* error = std::get_if<APIError>(&answer))
        return *error;
    const QByteArray& body = std::get<QByteArray>(answer);
    if (std::optional<T> value = decodeJson<T>(body))
        return std::move(*value);
    return APIError::decoding(decoderDescription<T>(body));
}

QCoro::Task<APIResult<UserInfo>> fetchMe(APIClient client, QString token) {
    APIResult<QByteArray> answer = co_await client.request(QStringLiteral("/me"), token);
    co_return decodeAnswer<UserInfo>(std::move(answer));
}

QCoro::Task<APIResult<VersionInfo>> fetchVersion(APIClient client) {
    APIResult<QByteArray> answer = co_await client.request(QStringLiteral("/version"));
    co_return decodeAnswer<VersionInfo>(std::move(answer));
}

} // namespace

bool isHeaderSafe(const QString& value) {
    return std::none_of(value.begin(), value.end(),
                        [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7f; });
}

QString APIError::description() const {
    switch (m_kind) {
    case Kind::httpError:
        return QStringLiteral("Server error ") + QString::number(m_statusCode) + QStringLiteral(": ") +
               m_message;
    case Kind::decodingError:
        return QStringLiteral("Failed to parse response: ") + m_message;
    case Kind::networkError:
        return QStringLiteral("Network error: ") + m_message;
    case Kind::invalidURL:
        return QStringLiteral("Invalid URL");
    case Kind::invalidResponse:
        return QStringLiteral("Invalid server response");
    }
    return {};
}

APIClient::APIClient(const Endpoints& endpoints)
    : m_baseURL(Constants::API::baseURL(endpoints))
    , m_network(std::make_shared<QNetworkAccessManager>()) {}

QCoro::Task<APIResult<QByteArray>> APIClient::request(QString endpoint, std::optional<QString> token,
                                                      QByteArray method,
                                                      std::optional<QByteArray> body) const {
    // Endpoints begin with "/": no separator is added.
    return sendRequest(m_network, m_baseURL + endpoint, std::move(token), std::move(method), std::move(body));
}

QCoro::Task<APIResult<UserInfo>> APIClient::getMe(QString token) const {
    return fetchMe(*this, std::move(token));
}

QCoro::Task<APIResult<VersionInfo>> APIClient::getVersion() const {
    return fetchVersion(*this);
}

} // namespace ondrel
