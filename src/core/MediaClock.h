#pragma once
// The transcript's clock: the source files laid end to end in sorted path order, each as long as
// its container (extraction pads or cuts each file's sound to that length). Every time in a
// transcript or a story is a position on it; this is how such a time finds its file again.

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace ondrel {

struct ClockSpan {
    QString path;
    double start = 0;
    double end = 0;
    bool operator==(const ClockSpan&) const = default;
};

// `lengthOf` gives a file's container length in seconds (0 for a file that could not be read,
// which then takes no room on the clock).
QList<ClockSpan> layOutClock(const QStringList& paths, const std::function<double(const QString&)>& lengthOf);

struct ClockPlace {
    QString path;
    double offset = 0; // seconds from the file's first sample
    double fileLength = 0;
    bool operator==(const ClockPlace&) const = default;
};

// The file that plays at `time`: a time on a boundary belongs to the later file, a time past the
// end to the last file (its offset then lies past that file's end). Absent for a negative or
// non-finite time, or when no file takes room on the clock.
std::optional<ClockPlace> placeOnClock(const QList<ClockSpan>& clock, double time);

} // namespace ondrel
