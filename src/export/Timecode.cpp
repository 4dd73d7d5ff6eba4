#include "Timecode.h"

#include "ExportSupport.h"

#include <cmath>

namespace ondrel {

std::optional<Timecode> Timecode::fromSeconds(double seconds, double fps) {
    if (!std::isfinite(fps) || fps <= 0 || !wholeNumber(seconds))
        return std::nullopt;
    const auto h = wholeNumber(seconds / 3600);
    const auto m = wholeNumber(std::fmod(seconds, 3600) / 60);
    const auto s = wholeNumber(std::fmod(seconds, 60));
    const auto f = wholeNumber(std::fmod(seconds, 1) * fps);
    if (!h || !m || !s || !f)
        return std::nullopt;
    return Timecode{*h, *m, *s, *f, fps};
}

Timecode Timecode::zero(double fps) {
    return Timecode{0, 0, 0, 0, fps};
}

double Timecode::totalSeconds() const {
    return double(hours) * 3600 + double(minutes) * 60 + double(seconds) + double(frames) / fps;
}

QString Timecode::description() const {
    return zeroPadded(hours, 2) + u':' + zeroPadded(minutes, 2) + u':' + zeroPadded(seconds, 2) + u':' +
           zeroPadded(frames, 2);
}

} // namespace ondrel
