#pragma once
// Requests of one step sent ahead of their turn. The step walks its items in order exactly as if
// each request went out at its turn: its log lines, progress, failure lines and cancel tests stay
// where they are, and each turn takes its own item's outcome, whenever it was sent: nothing goes
// out twice. Requests go out as soon as their item is ready, lowest item first, while fewer than
// the open limit are out: it starts at 4, grows by one for every ten answers up to 8, and halves
// after a refusal for too many requests, within the ceiling. What it has grown or shrunk to holds
// for the rest of the entry's requests to the same service (the word timing's after the chunks').
// A ceiling of 1 sends each request only at its turn.
//
// Once an answer has come, requests leave at least a fraction of its time apart. Bodies that leave
// together share the uplink and arrive together, and then the line idles while the service works
// on all of them at once; spread out, one body goes up while others are being answered. The spacing
// never holds back more than the open limit itself would (an answer's time over twice the limit).
//
// A refused request is retried (see Retry.h); its "Rate limited" lines are logged at its item's
// turn, in order, as one request at a time would log them. A cancel sends nothing more; when the
// step returns, the requests still open are aborted and their outcomes dropped without a line.

#include "Http.h"
#include "LocalPipeline.h"
#include "Retry.h"

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace ondrel {

class RequestsAhead {
public:
    // Absent: nothing went out (the file to send could not be opened).
    using Outcome = std::optional<HttpResponse>;
    // An item's request, made anew for each attempt; absent when it cannot be made.
    using MakeRequest = std::function<std::optional<HttpRequest>()>;

    static constexpr int kFirstOpenLimit = 4;
    static constexpr int kMostOpen = 8;
    static constexpr int kAnswersToGrow = 10;
    // Requests leave at least (last answer's time) / (kSpacingDivisor × open limit) apart.
    static constexpr int kSpacingDivisor = 2;

    // The ceiling is the pipeline's maxOpenRequests, or `most` when lower, within 1–kMostOpen.
    RequestsAhead(LocalPipeline& pipeline, Service service, int most = kMostOpen);
    ~RequestsAhead();
    RequestsAhead(const RequestsAhead&) = delete;
    RequestsAhead& operator=(const RequestsAhead&) = delete;

    // Item `index` may go out.
    void ready(qsizetype index, MakeRequest make);
    bool isReady(qsizetype index) const;
    // Item `index`'s outcome, at its turn; only once, and only for a ready item. Its retry lines so
    // far are logged now, later ones as they come.
    QCoro::Task<Outcome> take(qsizetype index);

    // Before an item goes out (also ahead of its turn) `holdBefore` may hold it, for a service that
    // meters what it is sent; `answered` sees every outcome.
    void pace(std::function<std::chrono::milliseconds(qsizetype index)> holdBefore,
              std::function<void(const HttpResponse&)> answered);

    int openLimit() const;
    // Every request and retry wait stops with this; a cancel of the pipeline stops it too.
    std::shared_ptr<StopSignal> aborter() const;

private:
    struct State;
    static QCoro::Task<Outcome> send(std::shared_ptr<State> state, qsizetype index, MakeRequest make);
    static void pump(const std::shared_ptr<State>& state);

    std::shared_ptr<State> m_state;
};

} // namespace ondrel
