#pragma once
// Which media file each moment lies in: the source files laid end to end on the transcript's
// running clock, and the segments.json hand-over to the timeline programs.

#include "core/LocalPipeline.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace ondrel {

struct ClipOffset {
    QString name; // the file's last path component
    double start = 0;
    double end = 0;
    bool operator==(const ClipOffset&) const = default;
};

// The layout read from the probe cache's bytes: files over 10 s, in timecode order. Empty when
// the cache can't be read or holds none of the files.
QList<ClipOffset> offsetsFromProbeCache(const QByteArray& cacheBytes, const QStringList& mediaPaths);

// "{name}: {start}s–{end}s" entries joined by ", ", each time rounded to a whole second.
QString sourceClipMap(const QList<ClipOffset>& offsets);

// Stamps each segment with the file its start lies in; others keep their sourceClip.
MiningResults applyOffsets(const MiningResults& analysis, const QList<ClipOffset>& offsets);

// The step: probe cache first, ffprobe as the fallback; logs the map line when there is a layout.
QCoro::Task<MiningResults> assignSourceClipsTask(LocalPipeline& pipeline, MiningResults analysis,
                                                 QStringList mediaPaths);
// The same for the synchronous slot of the run; the ffprobe fallback waits in a local event loop.
MiningResults assignSourceClips(LocalPipeline& pipeline, const MiningResults& analysis,
                                const QStringList& mediaPaths);

// The segments.json text (sorted keys, `chapter` null when absent); absent when a number can't
// be written as JSON.
std::optional<QByteArray> segmentsJson(const QList<StorySegment>& segments);

QString segmentsJsonPath(const LocalPipeline& pipeline);
void writeSegmentsJson(LocalPipeline& pipeline, const MiningResults& analysis);
// For screens that reorder or remove moments: the same file, with no log line.
void writeSegmentsJsonPublic(const LocalPipeline& pipeline, const QList<StorySegment>& segments);

} // namespace ondrel
