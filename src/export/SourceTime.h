#pragma once
// From the clock of the concatenated sources back to one file's own timecode. The mining
// clock lays the files end to end in start-timecode order; these helpers undo that.

#include "core/Records.h"

#include <QList>
#include <QString>

#include <optional>

namespace ondrel {

struct OffsetEntry {
    QString filename;
    double seqStart = 0; // where the file starts on the concatenated clock
    double seqEnd = 0;
    double bwfStart = 0; // the file's own start timecode, in seconds
    bool operator==(const OffsetEntry&) const = default;
};

struct ResolvedSourceTime {
    QString filename;
    double seconds = 0;
    bool operator==(const ResolvedSourceTime&) const = default;
};

// "hh:mm:ss[:ff]" to seconds. Pieces that are not integers drop out and the later ones move
// up, so a drop-frame text ("01:00:00;12") has too few pieces and gives absent.
std::optional<double> timecodeToSeconds(const std::optional<QString>& timecode, double fps = 24);

// Files sorted by start timecode (frames counted at 24 per second, absent as 0), laid end to
// end from 0 by their durations.
QList<OffsetEntry> buildOffsetMap(const QList<MediaFileInfo>& mediaFiles);

// The file holding `sequentialTime` and the matching time in it. A time past the end runs on
// in the last file, unclamped; a time before the first file, or an empty map, gives absent.
std::optional<ResolvedSourceTime> resolveSourceTime(double sequentialTime,
                                                    const QList<OffsetEntry>& offsetMap);

} // namespace ondrel
