#pragma once
// Timecode labels and frame counts. At 29.97 and 59.94 a drop-frame count skips labels (2 or 4 at
// each minute but every tenth) so that the clock on the wall and the label agree; the frames
// themselves are never dropped.

#include "Rational.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace ondrel::interchange {

struct TimecodeFormat {
    FrameRate rate;
    // Honoured only where the rate has a drop-frame count.
    bool dropFrame = false;

    bool countsDropFrame() const { return dropFrame && rate.allowsDropFrame(); }
};

// "HH:MM:SS:FF", with ";" before the frames when counting drop-frame. Labels go round at 24 hours,
// as on tape; a negative count is labelled from the end of the day.
QString timecodeText(qint64 frame, const TimecodeFormat& format);

// The frame a label names, from its first frame of the day. Any of ":;.," separates the fields;
// nothing for a label with other than four fields, a field out of range, or a label the
// drop-frame count skips.
std::optional<qint64> timecodeFrame(QStringView text, const TimecodeFormat& format);

// Whether a timecode as files carry it ("01:00:00;00") counts drop-frame.
bool looksDropFrame(QStringView text);

} // namespace ondrel::interchange
