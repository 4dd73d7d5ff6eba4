#include "Http.h"

#include <QIODevice>
#include <QNetworkReply>
#include <QUrl>

#include <QCoroNetworkReply>

#include <memory>

namespace ondrel {

namespace {

// A body that can be read once. Qt's HTTP channel silently re-sends a request whose connection
// closed before any answer; it cannot rewind this device, so that re-send fails instead
// (ContentReSendError) and the caller sees a transport failure.
class OneShotBody : public QIODevice {
public:
    explicit OneShotBody(QByteArray bytes)
        : m_bytes(std::move(bytes)) {
        open(QIODevice::ReadOnly);
    }
    bool isSequential() const override { return true; }
    bool reset() override { return false; }
    qint64 bytesAvailable() const override { return (m_bytes.size() - m_pos) + QIODevice::bytesAvailable(); }
    qint64 size() const override { return m_bytes.size(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        const qint64 n = std::min(maxSize, qint64(m_bytes.size()) - m_pos);
        if (n <= 0)
            return m_pos >= m_bytes.size() ? -1 : 0;
        memcpy(data, m_bytes.constData() + m_pos, size_t(n));
        m_pos += n;
        return n;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    qint64 m_pos = 0;
};

bool isTransportError(QNetworkReply::NetworkError error) {
    // 1-199: connection, TLS and proxy failures; a failed re-send and a broken protocol also mean
    // that no whole answer came back. Status errors (4xx, 5xx) are answers.
    return (error > QNetworkReply::NoError && error < 200) || error == QNetworkReply::ContentReSendError ||
           error == QNetworkReply::ProtocolFailure || error == QNetworkReply::ProtocolUnknownError ||
           error == QNetworkReply::ProtocolInvalidOperationError;
}

// The words a user reads for the common failures; Qt's own text otherwise.
QString transportErrorText(const QNetworkReply& reply) {
    switch (reply.error()) {
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        return QStringLiteral("The request timed out.");
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ContentReSendError:
        return QStringLiteral("The network connection was lost.");
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("Could not connect to the server.");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("A server with the specified hostname could not be found.");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("An SSL error has occurred and a secure connection to the server cannot be made.");
    default:
        return reply.errorString();
    }
}

} // namespace

QCoro::Task<HttpResponse> sendHttp(QNetworkAccessManager& network, HttpRequest request) {
    QNetworkRequest req{QUrl(request.url)};
    for (const auto& [name, value] : request.headers)
        req.setRawHeader(name, value);
    req.setTransferTimeout(int(request.timeout.count()));
    req.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);

    std::unique_ptr<QNetworkReply> reply;
    if (request.body.isEmpty() && request.method == "GET") {
        reply.reset(network.sendCustomRequest(req, request.method));
    } else {
        req.setHeader(QNetworkRequest::ContentLengthHeader, request.body.size());
        req.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
        auto* body = new OneShotBody(std::move(request.body));
        reply.reset(network.sendCustomRequest(req, request.method, body));
        body->setParent(reply.get());
    }
    co_await reply.get();

    HttpResponse out;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid() && !isTransportError(reply->error())) {
        out.transportOk = true;
        out.status = status.toInt();
        out.body = reply->readAll();
    } else {
        out.timedOut = reply->error() == QNetworkReply::OperationCanceledError ||
                       reply->error() == QNetworkReply::TimeoutError;
        out.errorText = transportErrorText(*reply);
    }
    // We are resumed inside the reply's finished signal: let Qt finish with it first.
    reply.release()->deleteLater();
    co_return out;
}

} // namespace ondrel
