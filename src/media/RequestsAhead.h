#pragma once
// Requests of one step sent ahead of their turn. The step walks its items in order exactly as if
// each request went out at its turn: its log lines, progress, failure lines and cancel tests stay
// where they are. At item i's turn, i's request and those of the next items go out, at most
// `maxOpenRequests` open at once, and the turn takes i's outcome, whenever it was sent: nothing
// goes out twice. After a refusal for too many requests (429) nothing more goes ahead until the
// turns have caught up with what was already sent. When the step ends early (a cancel test), the
// requests still open are aborted and their outcomes dropped.

#include "core/Http.h"
#include "core/LocalPipeline.h"

#include <QCoroTask>

#include <map>
#include <memory>
#include <optional>

namespace ondrel {

class RequestsAhead {
public:
    // Absent: nothing went out (the file to send could not be opened).
    using Outcome = std::optional<HttpResponse>;

    RequestsAhead(const LocalPipeline& pipeline, qsizetype count);
    ~RequestsAhead();
    RequestsAhead(const RequestsAhead&) = delete;
    RequestsAhead& operator=(const RequestsAhead&) = delete;

    // The first item not yet sent (or skipped).
    qsizetype nextToSend() const { return m_state->highestSent + 1; }
    // The last item that may go out at item `turn`'s turn.
    qsizetype lastToSend(qsizetype turn) const;

    // Every request goes out with this, so the step can abort what is left; a cancel of the
    // pipeline stops it too.
    std::shared_ptr<StopSignal> aborter() const { return m_state->aborter; }
    // Item `index` went out as `pending` (a task already running), or goes out never.
    void send(qsizetype index, QCoro::Task<Outcome> pending);
    void skip(qsizetype index);
    bool wasSent(qsizetype index) const { return m_pending.contains(index); }
    // Item `index`'s outcome, for its turn; only once, and only for a sent item.
    QCoro::Task<Outcome> take(qsizetype index);

private:
    struct State {
        std::shared_ptr<StopSignal> aborter = std::make_shared<StopSignal>();
        qsizetype highestSent = -1;
        qsizetype heldUntil = -1; // no request ahead before the turns pass this item
    };
    static QCoro::Task<Outcome> watch(std::shared_ptr<State> state, QCoro::Task<Outcome> pending);

    qsizetype m_count;
    int m_maxOpen;
    std::shared_ptr<State> m_state = std::make_shared<State>();
    std::map<qsizetype, QCoro::Task<Outcome>> m_pending;
};

} // namespace ondrel
