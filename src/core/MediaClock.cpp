#include "MediaClock.h"

#include "Text.h"

#include <cmath>

namespace ondrel {

QList<ClockSpan> layOutClock(const QStringList& paths,
                             const std::function<double(const QString&)>& lengthOf) {
    QList<ClockSpan> clock;
    double at = 0;
    for (const QString& path : sortedPaths(paths)) {
        const double length = lengthOf(path);
        const double room = std::isfinite(length) && length > 0 ? length : 0.0;
        clock.push_back({path, at, at + room});
        at += room;
    }
    return clock;
}

std::optional<ClockPlace> placeOnClock(const QList<ClockSpan>& clock, double time) {
    if (!std::isfinite(time) || time < 0)
        return std::nullopt;
    const ClockSpan* last = nullptr;
    for (const ClockSpan& span : clock) {
        if (span.end <= span.start)
            continue;
        last = &span;
        if (time < span.end)
            return ClockPlace{span.path, time - span.start, span.end - span.start};
    }
    if (!last)
        return std::nullopt;
    return ClockPlace{last->path, time - last->start, last->end - last->start};
}

} // namespace ondrel
