#include "MediaSteps.h"

namespace ondrel {

void installMediaSteps(StepOperations& steps) {
    steps.getTimelineMedia = [](LocalPipeline& p, QString timeline) { return getTimelineMedia(p, timeline); };
    steps.probeAllMedia = [](LocalPipeline& p, QStringList paths) { return probeAllMedia(p, paths); };
    steps.loadCachedTranscript = [](LocalPipeline& p, const QStringList& mediaPaths) {
        return loadCachedTranscript(p, mediaPaths);
    };
    steps.extractAudio = [](LocalPipeline& p, QStringList mediaPaths, QString language) {
        return extractAudio(p, mediaPaths, language);
    };
    steps.chunkAudio = [](LocalPipeline& p, QString wavPath) { return chunkAudio(p, wavPath); };
    steps.transcribe = [](LocalPipeline& p, QStringList chunks, QString language) {
        return transcribe(p, chunks, language);
    };
    steps.saveTranscriptCache = [](LocalPipeline& p, const TranscriptResult& transcript,
                                   const QStringList& mediaPaths) {
        saveTranscriptCache(p, transcript, mediaPaths);
    };
    steps.wordLevelTranscribe = [](LocalPipeline& p, MiningResults analysis, QStringList mediaPaths,
                                   QString language) {
        return wordLevelTranscribe(p, analysis, mediaPaths, language);
    };
    steps.saveProject = [](LocalPipeline& p, const QString& timeline, const TranscriptResult& transcript,
                           const QStringList& mediaPaths, const std::optional<MiningResults>& results,
                           const std::optional<QString>& presetId, double targetMinutes) {
        saveProject(p, timeline, transcript, mediaPaths, results, presetId, targetMinutes);
    };
}

} // namespace ondrel
