#include "Http.h"

#include <QFile>
#include <QIODevice>
#include <QNetworkReply>
#include <QUrl>

#include <QCoroNetworkReply>

#include <memory>
#include <optional>
#include <vector>

namespace ondrel {

namespace {

// A body that can be read once, from memory and files in turn. Qt's HTTP channel silently re-sends
// a request whose connection closed before any answer; it cannot rewind this device, so that
// re-send fails instead (ContentReSendError) and the caller sees a transport failure. Qt pulls it
// in small reads on the caller's thread, so a file of any size never stalls the event loop.
class OneShotBody : public QIODevice {
public:
    // False when a file cannot be opened; its size is taken now and is what goes out.
    bool openParts(const QList<HttpBodyPart>& parts) {
        for (const HttpBodyPart& part : parts) {
            Piece piece;
            if (part.file.isEmpty()) {
                piece.bytes = part.bytes;
                piece.size = part.bytes.size();
            } else {
                piece.file = std::make_unique<QFile>(part.file);
                if (!piece.file->open(QIODevice::ReadOnly))
                    return false;
                piece.size = piece.file->size();
            }
            m_size += piece.size;
            m_pieces.push_back(std::move(piece));
        }
        return open(QIODevice::ReadOnly);
    }
    bool isSequential() const override { return true; }
    bool reset() override { return false; }
    qint64 bytesAvailable() const override { return (m_size - m_pos) + QIODevice::bytesAvailable(); }
    qint64 size() const override { return m_size; }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        qint64 done = 0;
        while (done < maxSize && m_current < m_pieces.size()) {
            Piece& piece = m_pieces[m_current];
            const qint64 want = std::min(maxSize - done, piece.size - m_inPiece);
            qint64 got = 0;
            if (piece.file) {
                got = piece.file->read(data + done, want);
                // A file that shrank since it was opened would break the announced length.
                if (got <= 0 && want > 0) {
                    setErrorString(piece.file->errorString());
                    return done > 0 ? done : -1;
                }
            } else {
                memcpy(data + done, piece.bytes.constData() + m_inPiece, size_t(want));
                got = want;
            }
            done += got;
            m_inPiece += got;
            m_pos += got;
            if (m_inPiece == piece.size) {
                piece.file.reset();
                ++m_current;
                m_inPiece = 0;
            }
        }
        if (done == 0 && maxSize > 0)
            return -1;
        return done;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    struct Piece {
        QByteArray bytes;
        std::unique_ptr<QFile> file;
        qint64 size = 0;
    };
    std::vector<Piece> m_pieces;
    size_t m_current = 0;
    qint64 m_inPiece = 0;
    qint64 m_size = 0;
    qint64 m_pos = 0;
};

// The error Qt's HTTP backend gives a reply for its status alone (qhttpthreaddelegate.cpp), when
// the answer came back whole. Qt folds statuses into error codes that share their numbers with
// transport failures (400 reads as a "protocol" error, 407 as a proxy one), so a reply is an answer
// exactly when its error is none or the one its status explains; anything else (refused, reset,
// cut off after the status line, timed out, a refused re-send) means no whole answer came back.
QNetworkReply::NetworkError errorForStatus(int status) {
    switch (status) {
    case 400:
    case 418:
        return QNetworkReply::ProtocolInvalidOperationError;
    case 401:
        return QNetworkReply::AuthenticationRequiredError;
    case 403:
        return QNetworkReply::ContentAccessDenied;
    case 404:
        return QNetworkReply::ContentNotFoundError;
    case 405:
        return QNetworkReply::ContentOperationNotPermittedError;
    case 407:
        return QNetworkReply::ProxyAuthenticationRequiredError;
    case 409:
        return QNetworkReply::ContentConflictError;
    case 410:
        return QNetworkReply::ContentGoneError;
    case 500:
        return QNetworkReply::InternalServerError;
    case 501:
        return QNetworkReply::OperationNotImplementedError;
    case 503:
        return QNetworkReply::ServiceUnavailableError;
    default:
        if (status > 500)
            return QNetworkReply::UnknownServerError;
        if (status >= 400)
            return QNetworkReply::UnknownContentError;
        return QNetworkReply::NoError;
    }
}

bool isWholeAnswer(const QNetworkReply& reply, const QVariant& status) {
    return status.isValid() &&
           (reply.error() == QNetworkReply::NoError || reply.error() == errorForStatus(status.toInt()));
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
        return QStringLiteral(
            "An SSL error has occurred and a secure connection to the server cannot be made.");
    default:
        return reply.errorString();
    }
}

} // namespace

QByteArray HttpResponse::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers)
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

const QString kAnswerTooLargeText = QStringLiteral("The server’s answer is larger than 64 MiB.");
const QString kStoppedText = QStringLiteral("cancelled");

QCoro::Task<HttpResponse> sendHttp(QNetworkAccessManager& network, HttpRequest request) {
    QNetworkRequest req{QUrl(request.url)};
    for (const auto& [name, value] : request.headers)
        req.setRawHeader(name, value);
    req.setTransferTimeout(int(request.timeout.count()));
    req.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);

    HttpResponse out;
    if (request.stop && request.stop->isStopped()) {
        out.errorText = kStoppedText;
        co_return out;
    }
    std::unique_ptr<QNetworkReply> reply;
    if (request.body.isEmpty() && request.bodyParts.isEmpty() && request.method == "GET") {
        reply.reset(network.sendCustomRequest(req, request.method));
    } else {
        auto body = std::make_unique<OneShotBody>();
        if (!body->openParts(request.bodyParts.isEmpty() ? QList<HttpBodyPart>{{request.body, {}}}
                                                         : request.bodyParts)) {
            out.errorText = QStringLiteral("The file couldn’t be opened.");
            co_return out;
        }
        req.setHeader(QNetworkRequest::ContentLengthHeader, body->size());
        req.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
        reply.reset(network.sendCustomRequest(req, request.method, body.get()));
        body.release()->setParent(reply.get());
    }

    // Read as it comes, so an answer can be cut off at the limit instead of piling up. The abort
    // is queued: run from inside the reply's own signal it would end this frame under its feet.
    QNetworkReply* const r = reply.get();
    bool tooLarge = false;
    const auto cutOffBeyond = [&](qint64 bytes) {
        if (bytes > request.maxAnswerBytes && !tooLarge) {
            tooLarge = true;
            QMetaObject::invokeMethod(r, &QNetworkReply::abort, Qt::QueuedConnection);
        }
    };
    const QMetaObject::Connection reading = QObject::connect(r, &QNetworkReply::readyRead, r, [&] {
        const QByteArray piece = r->readAll();
        if (tooLarge)
            return;
        out.body += piece;
        cutOffBeyond(out.body.size());
    });
    const QMetaObject::Connection announced = QObject::connect(r, &QNetworkReply::metaDataChanged, r, [&] {
        cutOffBeyond(r->header(QNetworkRequest::ContentLengthHeader).toLongLong());
    });
    // Direct: whoever stops a step's requests (a step ending early) may destroy their tasks next,
    // so each must have finished by then.
    std::optional<QMetaObject::Connection> aborting;
    if (request.stop)
        aborting = QObject::connect(request.stop.get(), &StopSignal::stopRequested, r, &QNetworkReply::abort);
    co_await r;
    QObject::disconnect(reading);
    QObject::disconnect(announced);
    if (aborting)
        QObject::disconnect(*aborting);

    if (!tooLarge && reply->isOpen()) {
        out.body += reply->readAll();
        tooLarge = out.body.size() > request.maxAnswerBytes;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (tooLarge) {
        out.body.clear();
        out.errorText = kAnswerTooLargeText;
    } else if (isWholeAnswer(*reply, status)) {
        out.transportOk = true;
        out.status = status.toInt();
        out.headers = reply->rawHeaderPairs();
    } else if (request.stop && request.stop->isStopped()) {
        out.body.clear();
        out.errorText = kStoppedText;
    } else {
        if (status.isValid() && status.toInt() >= 200 && status.toInt() <= 299)
            out.brokenOffBody = out.body;
        out.body.clear();
        out.timedOut = reply->error() == QNetworkReply::OperationCanceledError ||
                       reply->error() == QNetworkReply::TimeoutError;
        out.errorText = transportErrorText(*reply);
    }
    // We are resumed inside the reply's finished signal: let Qt finish with it first.
    reply.release()->deleteLater();
    co_return out;
}

} // namespace ondrel
