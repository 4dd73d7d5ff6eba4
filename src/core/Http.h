#pragma once
// The one place that sends an HTTP request: its time-out, its headers and how failures read.

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
    bool transportOk = false; // a status line came back
    int status = 0;           // HTTP status, 0 without one
    QByteArray body;
    QString errorText; // the transport failure's text ("timed out" and the like)
    bool timedOut = false;
};

struct HttpRequest {
    QByteArray method = "GET";
    QString url;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    std::chrono::milliseconds timeout{60000};
};

// Sends and waits without blocking the event loop. Never throws; a response of any status is
// a transport success.
QCoro::Task<HttpResponse> sendHttp(QNetworkAccessManager& network, HttpRequest request);

} // namespace ondrel
