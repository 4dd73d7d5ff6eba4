#include "FakeHttpServer.h"

#include "core/Json.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

namespace ondrel::test {

FakeHttpServer::FakeHttpServer() {
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, &FakeHttpServer::onConnection);
}

FakeHttpServer::~FakeHttpServer() {
    m_server.close();
    // Connections still open die with the server, after this object's tables: they must not
    // report their closing to them.
    for (QTcpSocket* socket : m_server.findChildren<QTcpSocket*>())
        QObject::disconnect(socket, nullptr, this, nullptr);
}

QString FakeHttpServer::baseUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

void FakeHttpServer::enqueue(const QByteArray& path, ScriptedResponse response) {
    m_responders.remove(path);
    m_routes[path].push_back(std::move(response));
}

QList<ScriptedResponse::Piece> modelStream(const QString& text, int deltas, int gapMs,
                                           const QByteArray& stopReason, bool stop) {
    const auto event = [](const char* name, const Json& data) {
        return QByteArray("event: ") + name + "\ndata: " + QByteArray::fromStdString(data.dump()) + "\n\n";
    };
    QList<ScriptedResponse::Piece> pieces;
    pieces.push_back(
        {0, event("message_start", {{"type", "message_start"}, {"message", {{"id", "msg_1"}}}}) +
                event("content_block_start", {{"type", "content_block_start"},
                                              {"index", 0},
                                              {"content_block", {{"type", "text"}, {"text", ""}}}}) +
                event("ping", {{"type", "ping"}})});
    const qsizetype step = std::max<qsizetype>(1, (text.size() + deltas - 1) / std::max(deltas, 1));
    for (qsizetype at = 0; at < text.size(); at += step)
        pieces.push_back(
            {gapMs,
             event("content_block_delta",
                   {{"type", "content_block_delta"},
                    {"index", 0},
                    {"delta", {{"type", "text_delta"}, {"text", text.mid(at, step).toStdString()}}}})});
    QByteArray tail = event("content_block_stop", {{"type", "content_block_stop"}, {"index", 0}}) +
                      event("message_delta", {{"type", "message_delta"},
                                              {"delta", {{"stop_reason", stopReason.toStdString()}}}});
    if (stop)
        tail += event("message_stop", {{"type", "message_stop"}});
    pieces.push_back({gapMs, tail});
    return pieces;
}

ScriptedResponse streamed(QList<ScriptedResponse::Piece> pieces, bool cut) {
    ScriptedResponse r{200, {}, "text/event-stream"};
    r.pieces = std::move(pieces);
    r.cutBody = cut;
    return r;
}

ScriptedResponse modelAnswer(const RecordedRequest& request, const QString& text) {
    const std::optional<Json> body = parseJson(request.body);
    const bool stream = body && body->is_object() && body->value("stream", false) == true;
    if (stream)
        return streamed(modelStream(text));
    const Json block = {{"type", "text"}, {"text", text.toStdString()}};
    return {200, QByteArray::fromStdString(Json({{"content", Json::array({block})}}).dump())};
}

QByteArray RecordedRequest::fileName() const {
    const QByteArray marker = "; filename=\"";
    const qsizetype at = body.indexOf(marker);
    if (at < 0)
        return {};
    const qsizetype from = at + marker.size();
    return body.mid(from, body.indexOf('"', from) - from);
}

void FakeHttpServer::answerByFileName(const QByteArray& path, QHash<QByteArray, ScriptedResponse> answers) {
    answerWith(path, [answers = std::move(answers)](const RecordedRequest& request) {
        return answers.value(request.fileName(), ScriptedResponse{404, R"({"error":"no such file"})"});
    });
}

QList<RecordedRequest> FakeHttpServer::requestsTo(const QByteArray& path) const {
    QList<RecordedRequest> out;
    for (const auto& r : m_requests)
        if (r.path.split('?').first() == path)
            out.push_back(r);
    return out;
}

void FakeHttpServer::onConnection() {
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            const QByteArray bytes = socket->readAll();
            if (!bytes.isEmpty() && !m_open.contains(socket)) {
                m_open.insert(socket, -1);
                m_mostOpen = std::max(m_mostOpen, int(m_open.size()));
            }
            m_buffers[socket] += bytes;
            tryServe(socket);
        });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            const qsizetype whole = m_open.value(socket, -1);
            if (whole >= 0)
                m_abandoned.push_back(m_requests[whole]);
            close(socket);
            socket->deleteLater();
        });
    }
}

void FakeHttpServer::close(QTcpSocket* socket) {
    m_buffers.remove(socket);
    m_open.remove(socket);
}

void FakeHttpServer::tryServe(QTcpSocket* socket) {
    QByteArray& buf = m_buffers[socket];
    const int headerEnd = buf.indexOf("\r\n\r\n");
    if (headerEnd < 0)
        return;
    const QList<QByteArray> lines = buf.left(headerEnd).split('\n');
    RecordedRequest req;
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    req.method = requestLine.value(0);
    req.path = requestLine.value(1);
    for (int i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const int colon = line.indexOf(':');
        if (colon > 0)
            req.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
    }
    const qsizetype length = req.headers.value("content-length", "0").toLongLong();
    if (buf.size() < headerEnd + 4 + length)
        return; // body still coming
    req.body = buf.mid(headerEnd + 4, length);
    buf.clear();
    m_open[socket] = m_requests.size();
    m_requests.push_back(req);

    const QByteArray route = req.path.split('?').first();
    ScriptedResponse response{404, R"({"error":"not found"})"};
    auto it = m_routes.find(route);
    if (const auto responder = m_responders.constFind(route); responder != m_responders.constEnd())
        response = (*responder)(req);
    else if (it != m_routes.end() && !it->isEmpty())
        response = it->size() > 1 ? it->takeFirst() : it->first();

    QPointer<QTcpSocket> guard(socket);
    auto answer = [this, guard, response] {
        if (!guard)
            return;
        m_open.remove(guard.data());
        ++m_answered;
        if (response.dropConnection) {
            guard->abort();
            return;
        }
        QByteArray out = "HTTP/1.1 " + QByteArray::number(response.status) + " Status\r\n";
        out += "Content-Type: " + response.contentType + "\r\n";
        for (const auto& [name, value] : response.headers)
            out += name + ": " + value + "\r\n";
        if (!response.pieces.isEmpty()) {
            out += "Transfer-Encoding: chunked\r\nConnection: close\r\n\r\n";
            guard->write(out);
            streamPieces(guard, response.pieces, 0, response.cutBody);
            return;
        }
        if (response.announcedLength != -2)
            out += "Content-Length: " +
                   QByteArray::number(response.announcedLength >= 0 ? response.announcedLength
                                                                    : qint64(response.body.size())) +
                   "\r\n";
        out += "Connection: close\r\n\r\n";
        out += response.cutBody ? response.body.left(response.body.size() / 2) : response.body;
        guard->write(out);
        if (response.cutBody) {
            guard->flush();
            guard->abort();
            return;
        }
        guard->disconnectFromHost();
    };
    if (response.delayMs > 0)
        QTimer::singleShot(response.delayMs, this, answer);
    else
        answer();
}

void FakeHttpServer::streamPieces(QPointer<QTcpSocket> socket, QList<ScriptedResponse::Piece> pieces,
                                  qsizetype next, bool cut) {
    if (!socket)
        return;
    if (next == pieces.size()) {
        if (cut) {
            socket->flush();
            socket->abort();
        } else {
            socket->write("0\r\n\r\n");
            socket->disconnectFromHost();
        }
        return;
    }
    const auto send = [this, socket, pieces, next, cut] {
        if (!socket)
            return;
        const QByteArray& bytes = pieces[next].bytes;
        socket->write(QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n");
        socket->flush();
        streamPieces(socket, pieces, next + 1, cut);
    };
    if (pieces[next].delayMs > 0)
        QTimer::singleShot(pieces[next].delayMs, this, send);
    else
        send();
}

} // namespace ondrel::test
