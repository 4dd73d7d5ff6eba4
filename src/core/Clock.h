#pragma once
#include <QDateTime>
#include <QLocale>

namespace ondrel {

// The wall clock, injectable so tests can fix "mm:ss" stamps, dates and unix seconds.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;

    static const Clock& system();
};

// The locale's short time of day with hours and minutes only: some locales' short form (the C
// locale's among them) also shows seconds.
QString shortTimeOfDay(const QTime& time, const QLocale& locale = QLocale());

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
