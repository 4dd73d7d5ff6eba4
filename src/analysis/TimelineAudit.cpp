#include "TimelineAudit.h"

#include "AnswerText.h"
#include "ClaudeRequest.h"
#include "core/DecodeError.h"

#include "core/PythonProgram.h"

#include <QSet>

#include <algorithm>

namespace ondrel {

namespace {

const QString accent = QStringLiteral("accent");

} // namespace

QCoro::Task<std::optional<QList<TimelineClip>>> readTimelineClips(LocalPipeline& pipeline, QString timeline) {
    Json args = Json::object();
    args["module_dir"] = toJson(pipeline.paths().resolveScriptLib);
    args["timeline"] = toJson(timeline);
    const PythonProgram program =
        pythonProgram(scriptResource(QStringLiteral("analysis_read_timeline_clips.py")), args);

    const std::optional<QString> output = co_await pipeline.tools().runPython(program);
    if (!output) {
        pipeline.log(QStringLiteral("  Python script failed"), accent);
        co_return std::nullopt;
    }
    ClipReading reading = readTimelineClipsOutput(*output);
    for (const auto& [text, colour] : reading.logLines)
        pipeline.log(text, colour);
    co_return std::move(reading.clips);
}

QCoro::Task<std::optional<AuditReport>> analyzeAudit(LocalPipeline& pipeline, QString prompt,
                                                     QList<UsedSegment> usedRanges) {
    Q_UNUSED(usedRanges); // accepted, not merged: the report stands as the model sent it
    const std::optional<CleanedAnswer> answer = co_await requestClaude(pipeline, prompt);
    if (!answer)
        co_return std::nullopt;
    Decoded<AuditReport> decoded = decodeExplained<AuditReport>(answer->data);
    if (auto* report = std::get_if<AuditReport>(&decoded))
        co_return std::move(*report);
    // No manual recovery for audits.
    pipeline.log(QStringLiteral("  JSON decode error: ") + std::get<QString>(decoded), accent);
    pipeline.log(QStringLiteral("  Response preview: ") +
                     redactSecret(leadingCharacters(answer->text, 300), pipeline.anthropicKey()) +
                     QStringLiteral("..."),
                 QStringLiteral("dim"));
    co_return std::nullopt;
}

QCoro::Task<void> auditTimeline(LocalPipeline& pipeline, QString timeline) {
    pipeline.reset();
    pipeline.markStarted();
    pipeline.log(QStringLiteral("$ ondrel audit --timeline ") + timeline, QStringLiteral("dim"));
    pipeline.setStep(PipelineStep::connecting);
    pipeline.setProgress(0.05);
    pipeline.log(QStringLiteral("Reading existing timeline from Resolve..."));

    const std::optional<QList<TimelineClip>> clips = co_await readTimelineClips(pipeline, timeline);
    if (pipeline.isCancelled())
        co_return;
    if (!clips) {
        pipeline.fail(QStringLiteral("Could not read timeline clips from Resolve"));
        co_return;
    }
    QSet<QString> files;
    for (const TimelineClip& clip : *clips)
        files.insert(clip.sourceFile);
    pipeline.log(
        QStringLiteral("✓ Found %1 clips using %2 source files").arg(clips->size()).arg(files.size()),
        QStringLiteral("green"));
    pipeline.setProgress(0.15);

    const std::optional<QStringList> mediaPaths =
        co_await pipeline.steps().getTimelineMedia(pipeline, timeline);
    if (pipeline.isCancelled())
        co_return;
    if (!mediaPaths) {
        pipeline.fail(QStringLiteral("Could not access source media"));
        co_return;
    }
    // Kept for the timeline the editor may build of the moments found.
    pipeline.setLastMediaPaths(*mediaPaths);
    pipeline.log(QStringLiteral("✓ Found %1 total source files in media pool").arg(mediaPaths->size()),
                 QStringLiteral("green"));
    pipeline.setProgress(0.25);
    pipeline.setStep(PipelineStep::analyzing);

    pipeline.log(QStringLiteral("⛏ Loading cached transcripts..."), accent);
    const std::optional<TranscriptResult> transcript =
        pipeline.steps().loadCachedTranscript(pipeline, *mediaPaths);
    if (!transcript) {
        pipeline.fail(QStringLiteral(
            "No cached transcripts found. Run Full Mine or Story Mine first to generate transcripts."));
        co_return;
    }
    co_await auditTranscript(pipeline, clips->size(), mapTimelineClipsToTranscript(*clips, *mediaPaths),
                             *transcript);
}

// The audit's second half, whatever the cut came from: the used ranges against the transcript, the
// question to the model and the report.
QCoro::Task<void> auditTranscript(LocalPipeline& pipeline, qsizetype clipCount, QList<UsedSegment> used,
                                  TranscriptResult transcript) {
    pipeline.log(QStringLiteral("✓ Loaded transcript — %1 segments · %2 words")
                     .arg(transcript.segments.size())
                     .arg(countWords(transcript)),
                 QStringLiteral("green"));
    pipeline.setProgress(0.4);

    pipeline.log(QStringLiteral("Mapping used clips to transcript..."));

    AuditFigures figures;
    figures.clipCount = clipCount;
    for (const UsedSegment& range : used)
        figures.usedDuration += range.endTime - range.startTime;
    figures.totalDuration = transcript.segments.isEmpty() ? 1.0 : transcript.segments.last().end;
    // Clips listed once per track count each time, so this can pass 100.
    figures.coverage = figures.usedDuration / figures.totalDuration * 100.0;
    pipeline.log(QStringLiteral("  Used: ") + formatFixed(figures.usedDuration, 1) + QStringLiteral("s / ") +
                     formatFixed(figures.totalDuration, 0) + QStringLiteral("s (") +
                     formatFixed(figures.coverage, 0) + QStringLiteral("%)"),
                 QStringLiteral("dim"));
    pipeline.setProgress(0.5);

    const QString marked = markedTranscript(transcript.segments, used);
    pipeline.log(QStringLiteral("⛏ Claude analyzing for buried gold..."), accent);
    pipeline.setProgress(0.6);
    if (pipeline.isCancelled())
        co_return; // nothing is asked of the model for a cancelled audit

    const std::optional<AuditReport> report =
        co_await analyzeAudit(pipeline, buildAuditPrompt(figures, marked), used);
    if (!report) {
        pipeline.fail(QStringLiteral("Claude analysis failed"));
        co_return;
    }
    if (pipeline.isCancelled())
        co_return;

    pipeline.setAuditReport(report);
    pipeline.log(QStringLiteral("💎 Found %1 gold moments · %2 redundancies")
                     .arg(report->buriedGold.size())
                     .arg(report->redundancies.size()),
                 accent);
    pipeline.log(
        QStringLiteral("  Confidence score: %1/100").arg(truncatedToInteger(report->confidenceScore)),
        QStringLiteral("green"));
    pipeline.setProgress(1.0);
    pipeline.setStep(PipelineStep::complete);
    pipeline.log(QStringLiteral("✓ Audit complete!"));
}

} // namespace ondrel
