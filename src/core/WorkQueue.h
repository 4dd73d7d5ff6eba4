#pragma once
// Runs, audits and Resolve builds take turns, process-wide: they share the cache folder's files
// (extracted audio, chunks, segments.json, the probe cache), so a new one starts only when the
// previous one has ended, also when that one belongs to a pipeline whose screen is gone.

#include <QObject>
#include <QThread>

#include <coroutine>
#include <deque>
#include <memory>
#include <utility>

namespace ondrel {

// Shared ownership of a QObject whose coroutines may still run when its screen lets go of it: the
// last release deletes it from the event loop when one runs, since that release may come from
// inside a signal of an object it owns.
template <class T> std::shared_ptr<T> sharedQObject(T* object) {
    return std::shared_ptr<T>(object, [](T* o) {
        if (o->thread()->loopLevel() > 0)
            o->deleteLater();
        else
            delete o;
    });
}

class WorkQueue : public QObject {
    Q_OBJECT
public:
    static WorkQueue& shared();

    // Held for as long as a piece of work runs; the next in line starts when it is released.
    class Turn {
    public:
        explicit Turn(WorkQueue* queue = nullptr)
            : m_queue(queue) {}
        Turn(Turn&& other) noexcept
            : m_queue(std::exchange(other.m_queue, nullptr)) {}
        Turn& operator=(Turn&& other) noexcept;
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn() { release(); }
        void release();

    private:
        WorkQueue* m_queue;
    };

    struct Awaiter {
        WorkQueue& queue;
        bool await_ready() const noexcept { return queue.tryTake(); }
        void await_suspend(std::coroutine_handle<> waiting) { queue.m_waiting.push_back(waiting); }
        Turn await_resume() const noexcept { return Turn(&queue); }
    };

    // `co_await queue.take()` gives a Turn once every earlier taker has released theirs.
    Awaiter take() { return Awaiter{*this}; }
    // True while some work holds its turn: a take() now would wait.
    bool isBusy() const { return m_busy; }

signals:
    void busyChanged();

private:
    bool tryTake();
    void handOn();

    bool m_busy = false;
    std::deque<std::coroutine_handle<>> m_waiting;
};

} // namespace ondrel
