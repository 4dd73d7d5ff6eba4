#pragma once
// The step at which a transcript becomes a story edit: fold the transcript into timestamped
// lines, place them in one prompt, send it, and read the answer into MiningResults (with the
// manual parse as the second chance).

#include "core/LocalPipeline.h"

#include <QString>

#include <optional>

namespace ondrel {

// The end of every story request: the translation's voice and the JSON shape of the answer.
extern const QString kStoryAnswerShape;

// Segments merged into lines of at most five segments; a line closes once it spans 30 s.
QString foldTranscript(const QList<TranscriptSegment>& segments);
// The same lines one by one, each with the segments [first, end) it holds.
struct FoldedLine {
    QString text; // with its line break
    qsizetype first = 0;
    qsizetype end = 0;
};
QList<FoldedLine> foldLines(const QList<TranscriptSegment>& segments);

// The analysis prompt, exact to the byte.
QString buildAnalysisPrompt(const TranscriptResult& transcript, double targetMinutes, const QString& language,
                            const QString& stylePrompt);

// Never throws; every failure is logged and gives an absent result.
QCoro::Task<std::optional<MiningResults>> analyzeStory(LocalPipeline& pipeline, TranscriptResult transcript,
                                                       double targetMinutes, QString language,
                                                       QString stylePrompt);

} // namespace ondrel
