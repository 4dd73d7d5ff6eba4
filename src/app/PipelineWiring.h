#pragma once
#include "core/LocalPipeline.h"

#include <memory>

namespace ondrel {

// Every subsystem's step operations, plugged into one table.
StepOperations allSteps();

// A pipeline with every step in place.
std::unique_ptr<LocalPipeline>
makePipeline(PipelineEnvironment environment = PipelineEnvironment::platformDefault(),
             QObject* parent = nullptr);

} // namespace ondrel
