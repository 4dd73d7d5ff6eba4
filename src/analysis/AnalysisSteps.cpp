#include "AnalysisSteps.h"

#include "SourceClips.h"
#include "StoryAnalysis.h"
#include "StyleModel.h"
#include "TimelineAudit.h"

namespace ondrel {

void installAnalysisSteps(StepOperations& steps) {
    steps.buildStylePrompt = [](const StyleSliders& sliders, const std::optional<QString>& presetId,
                                bool isMagicMode) {
        return buildStylePrompt(sliders, presetId, isMagicMode);
    };
    steps.analyzeStory = [](LocalPipeline& pipeline, TranscriptResult transcript, double targetMinutes,
                            QString language, QString stylePrompt) {
        return analyzeStory(pipeline, std::move(transcript), targetMinutes, std::move(language),
                            std::move(stylePrompt));
    };
    steps.assignSourceClips = [](LocalPipeline& pipeline, MiningResults analysis, QStringList mediaPaths) {
        return assignSourceClipsTask(pipeline, std::move(analysis), std::move(mediaPaths));
    };
    steps.writeSegmentsJson = [](LocalPipeline& pipeline, const MiningResults& analysis) {
        writeSegmentsJson(pipeline, analysis);
    };
    steps.writeSegmentsJsonPublic = [](LocalPipeline& pipeline, const QList<StorySegment>& segments) {
        writeSegmentsJsonPublic(pipeline, segments);
    };
    steps.auditTranscript = [](LocalPipeline& pipeline, qsizetype clipCount, QList<UsedSegment> used,
                               TranscriptResult transcript) {
        return auditTranscript(pipeline, clipCount, std::move(used), std::move(transcript));
    };
    steps.auditTimeline = [](LocalPipeline& pipeline, QString timeline) {
        return auditTimeline(pipeline, std::move(timeline));
    };
}

} // namespace ondrel
