#pragma once
// The source files laid end to end on the transcript's running clock, and the segments.json text.
// No I/O: the pipeline step in SourceClips.h reads the probe cache and runs ffprobe.

#include "core/Records.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel {

struct ClipOffset {
    QString name; // the file's last path component
    double start = 0;
    double end = 0;
    bool operator==(const ClipOffset&) const = default;
};

// Slates and stray clips are this long or shorter and were never part of the interview audio.
inline constexpr double SHORTEST_INTERVIEW_FILE = 10.0;

// The layout read from the probe cache's bytes: files over 10 s, in timecode order. Empty when
// the cache can't be read or holds none of the files.
QList<ClipOffset> offsetsFromProbeCache(const QByteArray& cacheBytes, const QStringList& mediaPaths);

// "{name}: {start}s–{end}s" entries joined by ", ", each time rounded to a whole second.
QString sourceClipMap(const QList<ClipOffset>& offsets);

// Stamps each segment with the file its start lies in; others keep their sourceClip.
MiningResults applyOffsets(const MiningResults& analysis, const QList<ClipOffset>& offsets);

// The segments.json text (sorted keys, `chapter` null when absent); absent when a number can't
// be written as JSON.
std::optional<QByteArray> segmentsJson(const QList<StorySegment>& segments);

} // namespace ondrel
