#pragma once
// Which media file each moment lies in, as a step of the run, and the segments.json hand-over to
// the timeline programs.

#include "ClipLayout.h"

#include "core/LocalPipeline.h"

namespace ondrel {

// The step: probe cache first, ffprobe as the fallback; logs the map line when there is a layout.
QCoro::Task<MiningResults> assignSourceClipsTask(LocalPipeline& pipeline, MiningResults analysis,
                                                 QStringList mediaPaths);

QString segmentsJsonPath(const LocalPipeline& pipeline);
void writeSegmentsJson(LocalPipeline& pipeline, const MiningResults& analysis);
// For screens that reorder or remove moments: the same file, with no log line.
void writeSegmentsJsonPublic(const LocalPipeline& pipeline, const QList<StorySegment>& segments);

} // namespace ondrel
