#pragma once
// A scripted HTTP/1.1 server on 127.0.0.1 and a free port, for the services' fakes. Each path
// answers from its own queue of responses (the last one repeats); every request is recorded.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

namespace ondrel::test {

struct RecordedRequest {
    QByteArray method;
    QByteArray path;                      // with its query
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
    // The file name of a multipart upload's file part; empty without one.
    QByteArray fileName() const;
};

struct ScriptedResponse {
    int status = 200;
    QByteArray body;
    QByteArray contentType = "application/json";
    int delayMs = 0;             // wait before answering
    bool dropConnection = false; // close after reading the request, without answering
    bool cutBody = false;        // announce the whole body, send half of it, close
    qint64 announcedLength = -1; // a Content-Length other than the body's; -2: none, the close ends it
    QList<QPair<QByteArray, QByteArray>> headers{}; // more header lines
    // When not empty, the body instead of `body`, sent chunked as a stream: each piece `delayMs`
    // after the one before it (the first after the headers). With `cutBody` the connection closes
    // after the last piece without the closing chunk.
    struct Piece {
        int delayMs = 0;
        QByteArray bytes;
    };
    QList<Piece> pieces{};
};

// The language model's answer carrying `text`, streamed as server-sent events in `deltas` pieces
// `gapMs` apart. Without `stop` the message never says it ended.
QList<ScriptedResponse::Piece> modelStream(const QString& text, int deltas = 8, int gapMs = 0,
                                           const QByteArray& stopReason = "end_turn", bool stop = true);
ScriptedResponse streamed(QList<ScriptedResponse::Piece> pieces, bool cut = false);
// The language model's answer carrying `text` in the form the request asked for: streamed when
// its body says so, else one JSON body.
ScriptedResponse modelAnswer(const RecordedRequest& request, const QString& text);

class FakeHttpServer : public QObject {
    Q_OBJECT
public:
    FakeHttpServer();
    ~FakeHttpServer() override;

    quint16 port() const { return m_server.serverPort(); }
    QString baseUrl() const; // "http://127.0.0.1:<port>"

    // Queue a response for a path (without query), in place of any responder. Requests to unknown
    // paths get 404.
    void enqueue(const QByteArray& path, ScriptedResponse response);
    void respondJson(const QByteArray& path, int status, const QByteArray& body) {
        enqueue(path, {status, body});
    }
    // From now on the path answers this, whatever was queued.
    void answerAlways(const QByteArray& path, ScriptedResponse response) {
        m_responders.remove(path);
        m_routes[path] = {std::move(response)};
    }
    // From now on the path answers what `answer` makes of each request, whatever was queued.
    using Responder = std::function<ScriptedResponse(const RecordedRequest&)>;
    void answerWith(const QByteArray& path, Responder answer) { m_responders[path] = std::move(answer); }
    // From now on the path answers each upload by its file name (404 for another): requests that
    // go out together may arrive in any order.
    void answerByFileName(const QByteArray& path, QHash<QByteArray, ScriptedResponse> answers);

    // Requests open at once, from their first byte until answered or closed: now and at most.
    int openNow() const { return m_open.size(); }
    int mostOpenAtOnce() const { return m_mostOpen; }
    // Whole requests whose connection the client closed before the answer went out.
    const QList<RecordedRequest>& abandoned() const { return m_abandoned; }
    // Answers sent so far (a dropped connection counts as one).
    int answered() const { return m_answered; }

    const QList<RecordedRequest>& requests() const { return m_requests; }
    QList<RecordedRequest> requestsTo(const QByteArray& path) const;

private:
    void onConnection();
    void tryServe(QTcpSocket* socket);
    void streamPieces(QPointer<QTcpSocket> socket, QList<ScriptedResponse::Piece> pieces, qsizetype next,
                      bool cut);

    QTcpServer m_server;
    void close(QTcpSocket* socket);

    QHash<QByteArray, QList<ScriptedResponse>> m_routes;
    QHash<QByteArray, Responder> m_responders;
    QList<RecordedRequest> m_requests;
    QList<RecordedRequest> m_abandoned;
    QHash<QTcpSocket*, QByteArray> m_buffers;
    QHash<QTcpSocket*, qsizetype> m_open; // open requests by connection: the index of a whole one, or -1
    int m_mostOpen = 0;
    int m_answered = 0;
};

} // namespace ondrel::test
