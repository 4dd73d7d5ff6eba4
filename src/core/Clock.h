#pragma once
#include <QDateTime>

namespace ondrel {

// The wall clock, injectable so tests can fix "mm:ss" stamps, dates and unix seconds.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;

    static const Clock& system();
};

class FixedClock final : public Clock {
public:
    explicit FixedClock(QDateTime t)
        : m_now(std::move(t)) {}
    QDateTime now() const override { return m_now; }
    void set(QDateTime t) { m_now = std::move(t); }

private:
    QDateTime m_now;
};

} // namespace ondrel
