#pragma once
// A non-drop timecode cut from seconds. Every field truncates toward zero; nothing rounds, so
// a value that is not exact in binary can land one frame early (3723 + 4/24 s reads frame 3).

#include <QString>

#include <optional>

namespace ondrel {

struct Timecode {
    qint64 hours = 0;
    qint64 minutes = 0;
    qint64 seconds = 0;
    qint64 frames = 0;
    double fps = 24;

    // Absent for a time or rate that is not finite, a rate of 0 or below, or a value whose
    // fields do not fit a signed 64-bit integer.
    static std::optional<Timecode> fromSeconds(double seconds, double fps);
    static Timecode zero(double fps);

    double totalSeconds() const;
    // A new value cut from totalSeconds() + amount: adding re-truncates, so a chain of sums
    // can drift short of the exact total.
    std::optional<Timecode> operator+(double amount) const {
        return fromSeconds(totalSeconds() + amount, fps);
    }

    // "hh:mm:ss:ff", ':' at every rate.
    QString description() const;

    bool operator==(const Timecode&) const = default;
};

} // namespace ondrel
