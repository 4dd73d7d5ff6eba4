#pragma once
// The one place that sends an HTTP request: its time-out, its headers, how failures read, and
// that a request goes out once (a paid request is never sent twice behind the caller's back).

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QPair>
#include <QString>

#include <QCoroTask>

#include <chrono>

namespace ondrel {

struct HttpResponse {
    bool transportOk = false; // a whole answer came back (any status)
    int status = 0;           // HTTP status, 0 without one
    QByteArray body;
    QString errorText; // the transport failure's text ("The request timed out." and the like)
    bool timedOut = false;
};

struct HttpRequest {
    QByteArray method = "GET";
    QString url;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    std::chrono::milliseconds timeout{60000};
};

// Sends and waits without blocking the event loop. Never throws. A connection that drops before
// the whole answer has arrived (also after the status line) is a transport failure, and a
// request with a body is never re-sent on a new connection.
QCoro::Task<HttpResponse> sendHttp(QNetworkAccessManager& network, HttpRequest request);

} // namespace ondrel
