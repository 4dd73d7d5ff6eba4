#pragma once
#include "core/LocalPipeline.h"

namespace ondrel {

// Builds the story from segments.json as a new timeline with chapter markers and subtitle cards;
// the outcome goes to the log and to buildResult.
QCoro::Task<void> buildTimelineFromSegmentsFile(LocalPipeline& pipeline);

// The simpler rebuild from results in memory; true when the program reported success.
QCoro::Task<bool> buildResolveTimeline(LocalPipeline& pipeline, QString name, MiningResults analysis,
                                       QStringList mediaPaths);

// Plugs the timeline build and rebuild steps into a pipeline.
void installResolveSteps(StepOperations& steps);

} // namespace ondrel
