#pragma once
// The one place that sends an HTTP request: its time-out, its headers, how failures read, and
// that a request goes out once (a paid request is never sent twice behind the caller's back).

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QObject>
#include <QPair>
#include <QString>

#include <QCoroTask>

#include "StopSignal.h"

#include <chrono>
#include <memory>

namespace ondrel {

struct HttpResponse {
    bool transportOk = false; // a whole answer came back (any status)
    int status = 0;           // HTTP status, 0 without one
    QByteArray body;
    QString errorText; // the transport failure's text ("The request timed out." and the like)
    bool timedOut = false;
    QList<QPair<QByteArray, QByteArray>> headers; // of a whole answer, as they came
    // What came of an answer with a success status before it broke off (a stream cut in the
    // middle, or gone silent): never an answer, but what was paid for, for a reader that can use
    // part of it. Empty otherwise, also after a stop.
    QByteArray brokenOffBody;

    // The first value of a header, by its name in any case; empty when absent.
    QByteArray header(const QByteArray& name) const;
};

// No real answer of the services comes near this; a bigger one would only fill the memory.
constexpr qint64 kMaxAnswerBytes = 64 * 1024 * 1024;

// One piece of a request body: the bytes, or when `file` is set, that file's bytes as they go out.
struct HttpBodyPart {
    QByteArray bytes;
    QString file;
};

struct HttpRequest {
    QByteArray method = "GET";
    QString url;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    // When not empty, the body instead of `body`: streamed piece after piece, so a file is never
    // held in memory whole. A file that cannot be opened fails the request before it goes out.
    QList<HttpBodyPart> bodyParts;
    std::chrono::milliseconds timeout{60000};
    qint64 maxAnswerBytes = kMaxAnswerBytes;
    // Stopping it aborts the request, which then ends as a transport failure; a request whose
    // signal was stopped before it went out never goes out.
    std::shared_ptr<StopSignal> stop;
};

// Sends and waits without blocking the event loop. Never throws. A connection that drops before
// the whole answer has arrived (also after the status line) is a transport failure, and a
// request with a body is never re-sent on a new connection. An answer longer than
// `maxAnswerBytes` is cut off as a transport failure with kAnswerTooLargeText.
extern const QString kAnswerTooLargeText;
// The transport failure of a request whose stop signal was given.
extern const QString kStoppedText;

QCoro::Task<HttpResponse> sendHttp(QNetworkAccessManager& network, HttpRequest request);

} // namespace ondrel
