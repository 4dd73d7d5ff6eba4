#pragma once
// Tells whatever work listens that it should stop now: open requests are aborted, child processes
// terminated. Stopped once and for good; a new piece of work takes a new signal. The flag may be
// read from a pool thread, so file work there can stop between files too.

#include <QObject>

#include <atomic>

namespace ondrel {

class StopSignal : public QObject {
    Q_OBJECT
public:
    void stop() {
        if (!m_stopped.exchange(true))
            emit stopRequested();
    }
    bool isStopped() const { return m_stopped.load(); }

signals:
    void stopRequested();

private:
    std::atomic<bool> m_stopped{false};
};

} // namespace ondrel
