#pragma once
#include "core/LocalPipeline.h"

namespace ondrel {

// Plugs this subsystem's step operations into a pipeline.
void installExportSteps(StepOperations& steps);

} // namespace ondrel
