#pragma once
#include "core/LocalPipeline.h"

namespace ondrel {

// Plugs the timeline build and rebuild steps into a pipeline.
void installResolveSteps(StepOperations& steps);

} // namespace ondrel
