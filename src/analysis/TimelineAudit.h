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

} // namespace ondrel
