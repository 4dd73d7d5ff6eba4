#include "WorkQueue.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace ondrel {

WorkQueue& WorkQueue::shared() {
    static WorkQueue queue;
    return queue;
}

WorkQueue::Turn& WorkQueue::Turn::operator=(Turn&& other) noexcept {
    if (this != &other) {
        release();
        m_queue = std::exchange(other.m_queue, nullptr);
    }
    return *this;
}

void WorkQueue::Turn::release() {
    if (WorkQueue* q = std::exchange(m_queue, nullptr))
        q->handOn();
}

bool WorkQueue::tryTake() {
    if (m_busy)
        return false;
    m_busy = true;
    emit busyChanged();
    return true;
}

void WorkQueue::handOn() {
    if (m_waiting.empty()) {
        m_busy = false;
        emit busyChanged();
        return;
    }
    // The queue stays busy and the next in line resumes from the event loop, not from inside the
    // coroutine that is just ending.
    const std::coroutine_handle<> next = m_waiting.front();
    m_waiting.pop_front();
    QMetaObject::invokeMethod(
        this, [next] { next.resume(); }, Qt::QueuedConnection);
}

} // namespace ondrel
