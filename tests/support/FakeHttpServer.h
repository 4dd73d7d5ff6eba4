#pragma once
// A scripted HTTP/1.1 server on 127.0.0.1 and a free port, for the services' fakes. Each path
// answers from its own queue of responses (the last one repeats); every request is recorded.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTcpServer>

namespace ondrel::test {

struct RecordedRequest {
    QByteArray method;
    QByteArray path;                      // with its query
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
};

struct ScriptedResponse {
    int status = 200;
    QByteArray body;
    QByteArray contentType = "application/json";
    int delayMs = 0;             // wait before answering
    bool dropConnection = false; // close after reading the request, without answering
    bool cutBody = false;        // announce the whole body, send half of it, close
};

class FakeHttpServer : public QObject {
    Q_OBJECT
public:
    FakeHttpServer();
    ~FakeHttpServer() override;

    quint16 port() const { return m_server.serverPort(); }
    QString baseUrl() const; // "http://127.0.0.1:<port>"

    // Queue a response for a path (without query). Requests to unknown paths get 404.
    void enqueue(const QByteArray& path, ScriptedResponse response);
    void respondJson(const QByteArray& path, int status, const QByteArray& body) {
        enqueue(path, {status, body});
    }
    // From now on the path answers this, whatever was queued.
    void answerAlways(const QByteArray& path, ScriptedResponse response) { m_routes[path] = {std::move(response)}; }

    const QList<RecordedRequest>& requests() const { return m_requests; }
    QList<RecordedRequest> requestsTo(const QByteArray& path) const;

private:
    void onConnection();
    void tryServe(class QTcpSocket* socket);

    QTcpServer m_server;
    QHash<QByteArray, QList<ScriptedResponse>> m_routes;
    QList<RecordedRequest> m_requests;
    QHash<QTcpSocket*, QByteArray> m_buffers;
};

} // namespace ondrel::test
