#include "Http.h"

#include <QNetworkReply>
#include <QUrl>

#include <QCoroNetworkReply>

#include <memory>

namespace ondrel {

QCoro::Task<HttpResponse> sendHttp(QNetworkAccessManager& network, HttpRequest request) {
    QNetworkRequest req{QUrl(request.url)};
    for (const auto& [name, value] : request.headers)
        req.setRawHeader(name, value);
    req.setTransferTimeout(int(request.timeout.count()));
    req.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);

    std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(req, request.method, request.body));
    co_await reply.get();

    HttpResponse out;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (reply->isOpen())
        out.body = reply->readAll();
    if (status.isValid()) {
        out.transportOk = true;
        out.status = status.toInt();
    } else {
        out.timedOut = reply->error() == QNetworkReply::OperationCanceledError ||
                       reply->error() == QNetworkReply::TimeoutError;
        out.errorText = out.timedOut ? QStringLiteral("The request timed out.") : reply->errorString();
    }
    co_return out;
}

} // namespace ondrel
