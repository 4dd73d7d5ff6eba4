#include "PipelineWiring.h"

#include "analysis/AnalysisSteps.h"
#include "export/ExportSteps.h"
#include "media/MediaSteps.h"
#include "resolve/ResolveSteps.h"

namespace ondrel {

StepOperations allSteps() {
    StepOperations steps = StepOperations::absent();
    installMediaSteps(steps);
    installAnalysisSteps(steps);
    installExportSteps(steps);
    installResolveSteps(steps);
    return steps;
}

std::shared_ptr<LocalPipeline> makePipeline(PipelineEnvironment environment) {
    auto pipeline = LocalPipeline::create(std::move(environment));
    pipeline->steps() = allSteps();
    return pipeline;
}

} // namespace ondrel
