#include "Retry.h"

#include "Json.h"

#include <QTimer>

#include <cmath>
#include <coroutine>

namespace ondrel {

namespace {

// The string at a path of keys in a JSON body; empty when any step is missing.
std::string stringAt(const QByteArray& body, std::initializer_list<const char*> path) {
    const std::optional<Json> json = parseJson(body);
    if (!json)
        return {};
    const Json* at = &*json;
    for (const char* key : path) {
        if (!at->is_object())
            return {};
        const auto it = at->find(key);
        if (it == at->end())
            return {};
        at = &*it;
    }
    return at->is_string() ? at->get<std::string>() : std::string();
}

// Resumed directly by the timer or the stop, so that a stop given by a step ending early finishes
// the wait before that step goes on to destroy it.
struct StopOrTimeout {
    QTimer* timer;
    StopSignal* stop;
    bool stopped = false;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        const auto finish = [this, waiting](bool byStop) {
            timer->stop();
            QObject::disconnect(timer, nullptr, nullptr, nullptr);
            if (stop)
                QObject::disconnect(stop, nullptr, timer, nullptr);
            stopped = byStop;
            waiting.resume();
        };
        QObject::connect(timer, &QTimer::timeout, timer, [finish] { finish(false); });
        if (stop)
            QObject::connect(stop, &StopSignal::stopRequested, timer, [finish] { finish(true); });
        timer->start();
    }
    bool await_resume() const noexcept { return !stopped; }
};

} // namespace

bool isRefusedForNow(Service service, const HttpResponse& response) {
    if (!response.transportOk)
        return false;
    if (service == Service::languageModel) {
        if (response.status == 529)
            return true;
        return response.status == 429 &&
               stringAt(response.body, {"error", "details", "error_code"}) != "enforced_spend_limit_reached";
    }
    if (response.status != 429)
        return false;
    return stringAt(response.body, {"error", "code"}) != "insufficient_quota" &&
           stringAt(response.body, {"error", "type"}) != "insufficient_quota";
}

std::chrono::seconds retryWait(const HttpResponse& response, int retry) {
    bool ok = false;
    const double asked = response.header("retry-after").trimmed().toDouble(&ok);
    if (ok && std::isfinite(asked))
        return std::chrono::seconds(qint64(std::clamp(std::ceil(asked), 1.0, 60.0)));
    constexpr std::chrono::seconds fallback[] = {std::chrono::seconds(5), std::chrono::seconds(15),
                                                 std::chrono::seconds(45)};
    return fallback[std::clamp(retry, 1, 3) - 1];
}

QString retryLine(std::chrono::seconds wait) {
    return QStringLiteral("  Rate limited — retrying in %1s...").arg(wait.count());
}

QCoro::Task<bool> waitUnlessStopped(std::chrono::milliseconds wait, std::shared_ptr<StopSignal> stop) {
    if (stop && stop->isStopped())
        co_return false;
    auto* timer = new QTimer;
    timer->setSingleShot(true);
    timer->setTimerType(Qt::CoarseTimer);
    timer->setInterval(wait);
    const bool waited = co_await StopOrTimeout{timer, stop.get()};
    // Resumed from inside the timer's own signal: let it finish first.
    timer->deleteLater();
    co_return waited;
}

QCoro::Task<std::optional<HttpResponse>>
sendRetryingRefusals(QNetworkAccessManager& network, std::function<std::optional<HttpRequest>()> make,
                     Service service, std::shared_ptr<StopSignal> stop, RetryHooks hooks) {
    for (int retry = 1;; ++retry) {
        std::optional<HttpRequest> request = make();
        if (!request)
            co_return std::nullopt;
        if (!request->stop)
            request->stop = stop;
        HttpResponse response = co_await sendHttp(network, std::move(*request));
        if (!isRefusedForNow(service, response))
            co_return response;
        if (hooks.refused)
            hooks.refused(response);
        if (retry > kMaxRetries)
            co_return response;
        const std::chrono::seconds wait = retryWait(response, retry);
        if (hooks.retrying)
            hooks.retrying(wait);
        if (!co_await waitUnlessStopped(wait, stop)) {
            HttpResponse stopped;
            stopped.errorText = kStoppedText;
            co_return stopped;
        }
    }
}

} // namespace ondrel
