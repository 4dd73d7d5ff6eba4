#include "ExportSteps.h"

#include "ExportBundle.h"

namespace ondrel {

void installExportSteps(StepOperations& steps) {
    steps.saveExports = [](LocalPipeline& pipeline, const QString& timeline, const MiningResults& analysis,
                           const TranscriptResult& transcript, const QList<WordSegment>& wordSegments) {
        return ExportBundle::saveExports(pipeline, timeline, analysis, transcript, wordSegments);
    };
}

} // namespace ondrel
