#include "ExportSteps.h"

#include "ExportBundle.h"
#include "HandOff.h"

namespace ondrel {

void installExportSteps(StepOperations& steps) {
    steps.saveExports = [](LocalPipeline& pipeline, const QString& timeline, const MiningResults& analysis,
                           const TranscriptResult& transcript, const QList<WordSegment>& wordSegments) {
        return ExportBundle::saveExports(pipeline, timeline, analysis, transcript, wordSegments);
    };
    steps.saveForEditors = [](LocalPipeline& pipeline, QString folder, QList<StorySegment> story,
                              HandOffFiles which) { return saveForEditors(pipeline, folder, story, which); };
}

} // namespace ondrel
