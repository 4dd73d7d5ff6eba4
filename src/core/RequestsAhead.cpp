#include "RequestsAhead.h"

#include <QList>
#include <QTimer>

#include <algorithm>
#include <set>

namespace ondrel {

struct RequestsAhead::State {
    LocalPipeline* pipeline = nullptr; // the step holds it for as long as this lives
    Service service = Service::speech;
    int ceiling = 1;
    // How many requests the service takes at once, as this run has learned it (shared by the
    // steps that send to the same service); at most `ceiling` of them are open.
    std::shared_ptr<int> learned;
    int limit() const { return std::min(*learned, ceiling); }
    int answersSinceGrowth = 0;
    int open = 0;
    qsizetype turn = -1;
    bool closed = false;
    std::shared_ptr<StopSignal> aborter = std::make_shared<StopSignal>();
    std::map<qsizetype, MakeRequest> waiting;
    std::map<qsizetype, QCoro::Task<Outcome>> sent;
    std::map<qsizetype, QList<std::chrono::seconds>> retriesBeforeTurn;
    std::set<qsizetype> readied;
    std::function<std::chrono::milliseconds(qsizetype)> holdBefore;
    std::function<void(const HttpResponse&)> answered;
    using Clock = std::chrono::steady_clock;
    Clock::duration lastAnswerTook{};
    Clock::time_point lastSent;
    bool spacingTimer = false;
    Clock::duration spacing() const {
        return ceiling == 1 ? Clock::duration{} : lastAnswerTook / (kSpacingDivisor * limit());
    }
};

RequestsAhead::RequestsAhead(LocalPipeline& pipeline, Service service, int most)
    : m_state(std::make_shared<State>()) {
    m_state->pipeline = &pipeline;
    m_state->service = service;
    m_state->ceiling = std::clamp(std::min(most, pipeline.environment().maxOpenRequests), 1, kMostOpen);
    // Word timing goes to the service the chunks went to a moment ago: it starts where they ended.
    std::shared_ptr<void>& kept =
        pipeline.entryState(QByteArrayLiteral("core.requestsAhead.") + QByteArray::number(int(service)));
    if (!kept)
        kept = std::make_shared<int>(kFirstOpenLimit);
    m_state->learned = std::static_pointer_cast<int>(kept);
    if (const std::shared_ptr<StopSignal> cancel = pipeline.stopSignal()) {
        if (cancel->isStopped())
            m_state->aborter->stop();
        else
            QObject::connect(cancel.get(), &StopSignal::stopRequested, m_state->aborter.get(),
                             &StopSignal::stop);
    }
}

RequestsAhead::~RequestsAhead() {
    m_state->closed = true;
    // An aborted request or wait finishes at once, so every task left here is done before it goes.
    m_state->aborter->stop();
    m_state->waiting.clear();
    m_state->sent.clear();
}

void RequestsAhead::ready(qsizetype index, MakeRequest make) {
    m_state->readied.insert(index);
    m_state->waiting.emplace(index, std::move(make));
    pump(m_state);
}

void RequestsAhead::pace(std::function<std::chrono::milliseconds(qsizetype)> holdBefore,
                         std::function<void(const HttpResponse&)> answered) {
    m_state->holdBefore = std::move(holdBefore);
    m_state->answered = std::move(answered);
}

bool RequestsAhead::isReady(qsizetype index) const {
    return m_state->readied.contains(index);
}

int RequestsAhead::openLimit() const {
    return m_state->limit();
}

std::shared_ptr<StopSignal> RequestsAhead::aborter() const {
    return m_state->aborter;
}

void RequestsAhead::pump(const std::shared_ptr<State>& state) {
    if (state->closed || state->pipeline->isCancelled())
        return;
    while (state->open < state->limit() && !state->waiting.empty()) {
        const auto first = state->waiting.begin();
        if (state->ceiling == 1 && first->first > state->turn)
            return;
        const State::Clock::time_point now = State::Clock::now();
        // The item whose turn it is goes at once: its step is waiting on it.
        if (const State::Clock::duration wait = state->lastSent + state->spacing() - now;
            first->first > state->turn && wait.count() > 0) {
            if (!state->spacingTimer) {
                state->spacingTimer = true;
                const std::weak_ptr<State> weak = state;
                QTimer::singleShot(std::chrono::ceil<std::chrono::milliseconds>(wait), state->aborter.get(),
                                   [weak] {
                                       if (const std::shared_ptr<State> s = weak.lock()) {
                                           s->spacingTimer = false;
                                           pump(s);
                                       }
                                   });
            }
            return;
        }
        state->lastSent = now;
        const qsizetype index = first->first;
        MakeRequest make = std::move(first->second);
        state->waiting.erase(first);
        ++state->open;
        QCoro::Task<Outcome> task = send(state, index, std::move(make));
        state->sent.emplace(index, std::move(task));
    }
}

QCoro::Task<RequestsAhead::Outcome> RequestsAhead::send(std::shared_ptr<State> state, qsizetype index,
                                                        MakeRequest make) {
    RetryHooks hooks;
    State* const s = state.get(); // the frame holds `state`
    bool wasRefused = false;
    hooks.refused = [s, &wasRefused](const HttpResponse& response) {
        wasRefused = true;
        s->answersSinceGrowth = 0;
        if (response.status == 429)
            *s->learned = std::max(1, *s->learned / 2);
    };
    hooks.retrying = [s, index](std::chrono::seconds wait) {
        if (s->turn >= index)
            s->pipeline->log(retryLine(wait), QStringLiteral("dim"));
        else
            s->retriesBeforeTurn[index].push_back(wait);
    };
    Outcome outcome;
    const std::chrono::milliseconds hold =
        state->holdBefore ? state->holdBefore(index) : std::chrono::milliseconds(0);
    if (hold.count() > 0 && !co_await waitUnlessStopped(hold, state->aborter)) {
        HttpResponse stopped;
        stopped.errorText = kStoppedText;
        outcome = stopped;
    } else {
        const State::Clock::time_point sentAt = State::Clock::now();
        outcome = co_await sendRetryingRefusals(state->pipeline->network(), std::move(make), state->service,
                                                state->aborter, std::move(hooks));
        // A refused request's time is mostly its waits, which say nothing of the line.
        if (outcome && outcome->transportOk && outcome->status >= 200 && outcome->status <= 299 &&
            !wasRefused)
            state->lastAnswerTook = State::Clock::now() - sentAt;
    }
    if (outcome && state->answered && !state->closed)
        state->answered(*outcome);
    --state->open;
    if (outcome && outcome->transportOk && outcome->status >= 200 && outcome->status <= 299 &&
        ++state->answersSinceGrowth >= kAnswersToGrow) {
        state->answersSinceGrowth = 0;
        *state->learned = std::min(kMostOpen, *state->learned + 1);
    }
    pump(state);
    co_return outcome;
}

namespace {

QCoro::Task<RequestsAhead::Outcome> stoppedOutcome() {
    HttpResponse stopped;
    stopped.errorText = kStoppedText;
    co_return stopped;
}

} // namespace

QCoro::Task<RequestsAhead::Outcome> RequestsAhead::take(qsizetype index) {
    State& s = *m_state;
    s.turn = std::max(s.turn, index);
    if (const auto lines = s.retriesBeforeTurn.find(index); lines != s.retriesBeforeTurn.end()) {
        for (const std::chrono::seconds wait : lines->second)
            s.pipeline->log(retryLine(wait), QStringLiteral("dim"));
        s.retriesBeforeTurn.erase(lines);
    }
    pump(m_state);
    const auto it = s.sent.find(index);
    if (it == s.sent.end())
        return stoppedOutcome(); // a cancel came before it could go out
    QCoro::Task<Outcome> pending = std::move(it->second);
    s.sent.erase(it);
    return pending;
}

} // namespace ondrel
