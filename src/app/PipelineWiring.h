#pragma once
#include "core/LocalPipeline.h"

#include <memory>

namespace ondrel {

// Every subsystem's step operations, plugged into one table.
StepOperations allSteps();

// A pipeline with every step in place.
std::shared_ptr<LocalPipeline>
makePipeline(PipelineEnvironment environment = PipelineEnvironment::platformDefault());

} // namespace ondrel
