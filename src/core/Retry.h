#pragma once
// Requests a service refused before doing any work — too many requests, or overloaded — were not
// billed, so they go out again after the wait the service asks for. Nothing else is ever sent
// twice: another status, or a connection lost or timed out once the body went out, may have been
// billed.

#include "Http.h"
#include "StopSignal.h"

#include <QNetworkAccessManager>
#include <QString>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace ondrel {

enum class Service { languageModel, speech };

constexpr int kMaxRetries = 3;

// An answer that refused the request before any work and that waiting can clear: from the language
// model a 429 (but not one for the account's spending limit, which no wait lifts) or a 529
// (overloaded); from the speech service a 429 (but not one for a used-up quota).
bool isRefusedForNow(Service service, const HttpResponse& response);

// The wait before retry `retry` (1 for the first): the answer's `retry-after` in seconds, clamped
// to 1–60 (a service asking for 0 would be hammered, one asking for a year never retried); 5, 15
// and 45 s when it names no number.
std::chrono::seconds retryWait(const HttpResponse& response, int retry);

// "  Rate limited — retrying in 15s..."
QString retryLine(std::chrono::seconds wait);

// True after the wait; false at once when `stop` is given, also before the wait began.
QCoro::Task<bool> waitUnlessStopped(std::chrono::milliseconds wait, std::shared_ptr<StopSignal> stop);

struct RetryHooks {
    std::function<void(const HttpResponse&)> refused;   // every refusal, retried or not
    std::function<void(std::chrono::seconds)> retrying; // before each wait
};

// Sends what `make` gives and, after each refusal isRefusedForNow finds, waits and sends a new one,
// at most kMaxRetries times; the last answer is the outcome. `make` builds each attempt anew, since
// a body goes out only once. Absent when `make` gives nothing. A stop ends a wait at once with the
// transport failure kStoppedText.
QCoro::Task<std::optional<HttpResponse>>
sendRetryingRefusals(QNetworkAccessManager& network, std::function<std::optional<HttpRequest>()> make,
                     Service service, std::shared_ptr<StopSignal> stop, RetryHooks hooks = {});

} // namespace ondrel
