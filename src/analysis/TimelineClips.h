#pragma once
// The audit's reading of a cut, without I/O: the clip program's output, the clips on the
// transcript's clock, the marked transcript and the audit prompt.

#include "core/Records.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel {

struct TimelineClip {
    QString sourceFile;
    qint64 startFrame = 0; // timeline frames, the timeline's start frame included
    qint64 endFrame = 0;
    double duration = 0; // seconds, as the program printed it
    bool operator==(const TimelineClip&) const = default;
};

// What the clip-listing program printed, read back, with the lines the reading logs.
struct ClipReading {
    std::optional<QList<TimelineClip>> clips;
    QList<QPair<QString, QString>> logLines; // text, colour
};
ClipReading readTimelineClipsOutput(const QString& output);

// Each media file takes a 300-second slot on the transcript's clock, in plain string order.
QList<UsedSegment> mapTimelineClipsToTranscript(const QList<TimelineClip>& clips,
                                                const QStringList& mediaPaths);

// One line per transcript segment, "[USED]" only when a used range holds it whole.
QString markedTranscript(const QList<TranscriptSegment>& segments, const QList<UsedSegment>& used);

struct AuditFigures {
    qsizetype clipCount = 0;
    double usedDuration = 0;
    double totalDuration = 0;
    double coverage = 0;
};
QString buildAuditPrompt(const AuditFigures& figures, const QString& marked);

} // namespace ondrel
