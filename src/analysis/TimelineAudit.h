#pragma once
// The audit of a finished cut: which parts of the cached transcript the timeline uses, and what
// the model thinks the editor missed.

#include "TimelineClips.h"

#include "core/LocalPipeline.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel {

QCoro::Task<std::optional<QList<TimelineClip>>> readTimelineClips(LocalPipeline& pipeline, QString timeline);

QCoro::Task<std::optional<AuditReport>> analyzeAudit(LocalPipeline& pipeline, QString prompt,
                                                     QList<UsedSegment> usedRanges);

QCoro::Task<void> auditTimeline(LocalPipeline& pipeline, QString timeline);
// From the transcript's loaded line on: the used ranges (on the transcript's clock) against the
// transcript, the model's answer and the report. Any cut's audit ends this way.
QCoro::Task<void> auditTranscript(LocalPipeline& pipeline, qsizetype clipCount, QList<UsedSegment> used,
                                  TranscriptResult transcript);

} // namespace ondrel
