#pragma once
#include "core/LocalPipeline.h"

namespace ondrel {

// Plugs this subsystem's step operations into a pipeline: the style text, the story analysis,
// source clips, segments.json and the audit.
void installAnalysisSteps(StepOperations& steps);

} // namespace ondrel
