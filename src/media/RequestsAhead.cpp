#include "RequestsAhead.h"

#include <algorithm>

namespace ondrel {

RequestsAhead::RequestsAhead(const LocalPipeline& pipeline, qsizetype count)
    : m_count(count)
    , m_maxOpen(std::clamp(pipeline.environment().maxOpenRequests, 1, 4)) {
    if (const std::shared_ptr<StopSignal> cancel = pipeline.stopSignal()) {
        if (cancel->isStopped())
            m_state->aborter->stop();
        else
            QObject::connect(cancel.get(), &StopSignal::stopRequested, m_state->aborter.get(),
                             &StopSignal::stop);
    }
}

RequestsAhead::~RequestsAhead() {
    // An aborted reply finishes at once, so every task left here is done before it is destroyed.
    m_state->aborter->stop();
}

qsizetype RequestsAhead::lastToSend(qsizetype turn) const {
    if (turn <= m_state->heldUntil)
        return turn;
    return std::min(m_count - 1, turn + m_maxOpen - 1);
}

void RequestsAhead::send(qsizetype index, QCoro::Task<Outcome> pending) {
    m_state->highestSent = std::max(m_state->highestSent, index);
    m_pending.emplace(index, watch(m_state, std::move(pending)));
}

void RequestsAhead::skip(qsizetype index) {
    m_state->highestSent = std::max(m_state->highestSent, index);
}

QCoro::Task<RequestsAhead::Outcome> RequestsAhead::take(qsizetype index) {
    auto it = m_pending.find(index);
    QCoro::Task<Outcome> pending = std::move(it->second);
    m_pending.erase(it);
    return pending;
}

QCoro::Task<RequestsAhead::Outcome> RequestsAhead::watch(std::shared_ptr<State> state,
                                                         QCoro::Task<Outcome> pending) {
    Outcome outcome = co_await std::move(pending);
    if (outcome && outcome->transportOk && outcome->status == 429)
        state->heldUntil = state->highestSent;
    co_return outcome;
}

} // namespace ondrel
