#include "TimelineAudit.h"

#include "AnswerText.h"
#include "ClaudeRequest.h"
#include "StorySections.h"
#include "core/Background.h"
#include "core/DecodeError.h"
#include "core/RequestsAhead.h"

#include <QCoroFuture>

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

namespace {

// The documented reading of an audit's answer: decoded, with no manual recovery.
std::optional<AuditReport> readReport(LocalPipeline& pipeline, const CleanedAnswer& answer) {
    Decoded<AuditReport> decoded = decodeExplained<AuditReport>(answer.data);
    if (auto* report = std::get_if<AuditReport>(&decoded))
        return std::move(*report);
    pipeline.log(QStringLiteral("  JSON decode error: ") + std::get<QString>(decoded), accent);
    pipeline.log(QStringLiteral("  Response preview: ") +
                     redactSecret(leadingCharacters(answer.text, 300), pipeline.anthropicKey()) +
                     QStringLiteral("..."),
                 QStringLiteral("dim"));
    return std::nullopt;
}

} // namespace

QCoro::Task<std::optional<AuditReport>> analyzeAudit(LocalPipeline& pipeline, QString prompt,
                                                     QList<UsedSegment> usedRanges) {
    Q_UNUSED(usedRanges); // accepted, not merged: the report stands as the model sent it
    const std::optional<CleanedAnswer> answer = co_await requestClaude(pipeline, prompt);
    if (!answer)
        co_return std::nullopt;
    co_return readReport(pipeline, *answer);
}

namespace {

// The audit of one part of a transcript too long for one request.
struct AuditSection {
    double start = 0;
    double end = 0;
    QByteArray body;
    qint64 promptTokens = 0;
};

// A part's prompt: the documented one over the part's own lines and figures, saying which part it is.
QString sectionAuditPrompt(const AuditFigures& whole, const QList<UsedSegment>& used, const QString& marked,
                           double start, double end, qsizetype number, qsizetype count) {
    AuditFigures part = whole;
    part.usedDuration = 0;
    for (const UsedSegment& range : used)
        part.usedDuration += std::max(0.0, std::min(range.endTime, end) - std::max(range.startTime, start));
    part.totalDuration = std::max(end - start, 1.0);
    part.coverage = part.usedDuration / part.totalDuration * 100.0;
    QString prompt = buildAuditPrompt(part, marked);
    prompt.replace(
        QStringLiteral("- Below is the FULL transcript with [USED] and [UNUSED] markers"),
        QStringLiteral("- Below is part %1 of %2 of the transcript (").arg(number).arg(count) +
            formatFixed(start, 0) + QStringLiteral("s to ") + formatFixed(end, 0) +
            QStringLiteral("s) with [USED] and [UNUSED] markers; the other parts are reviewed on their "
                           "own, and the figures above are this part's"));
    prompt.replace(QStringLiteral("FULL TRANSCRIPT:\n"),
                   QStringLiteral("TRANSCRIPT, PART %1 OF %2:\n").arg(number).arg(count));
    return prompt;
}

struct AuditPlan {
    QString prompt; // the documented request, when the transcript fits
    QList<AuditSection> sections;
};

AuditPlan planAudit(const QList<TranscriptSegment>& segments, const QList<UsedSegment>& used,
                    const AuditFigures& figures) {
    const QString marked = markedTranscript(segments, used);
    AuditPlan plan;
    if (marked.size() <= kStoryPromptBudgetChars) {
        plan.prompt = buildAuditPrompt(figures, marked);
        return plan;
    }
    // The same line for each segment as the whole marked transcript.
    QList<QString> lines;
    QList<qsizetype> sizes;
    for (const TranscriptSegment& segment : segments) {
        lines << markedTranscript({segment}, used);
        sizes << lines.last().size();
    }
    const auto runs = splitLines(sizes, kStoryPromptBudgetChars);
    for (qsizetype k = 0; k < runs.size(); ++k) {
        const auto [first, end] = runs[k];
        QString part;
        for (qsizetype i = first; i < end; ++i)
            part += lines[i];
        AuditSection section;
        section.start = segments[first].start;
        section.end = segments[end - 1].end;
        const QString prompt =
            sectionAuditPrompt(figures, used, part, section.start, section.end, k + 1, runs.size());
        section.body = claudeRequestBody(prompt).value_or(QByteArray());
        section.promptTokens = promptTokensAtMost(prompt.size());
        plan.sections.push_back(std::move(section));
    }
    return plan;
}

// The parts' reports as one: every finding, the gold strongest first, the themes once, the score
// weighed by each part's length.
AuditReport mergeReports(const QList<std::pair<AuditReport, double>>& parts, double coverage) {
    AuditReport merged;
    merged.coveragePercent = coverage;
    double weights = 0;
    QStringList summaries;
    for (const auto& [report, weight] : parts) {
        merged.usedSegments += report.usedSegments;
        merged.buriedGold += report.buriedGold;
        merged.redundancies += report.redundancies;
        merged.alternates += report.alternates;
        for (const QString& theme : report.themeGaps)
            if (!merged.themeGaps.contains(theme, Qt::CaseInsensitive))
                merged.themeGaps << theme;
        merged.confidenceScore += report.confidenceScore * weight;
        weights += weight;
        if (!report.summary.trimmed().isEmpty())
            summaries << report.summary.trimmed();
    }
    std::stable_sort(
        merged.buriedGold.begin(), merged.buriedGold.end(),
        [](const GoldMoment& a, const GoldMoment& b) { return a.emotionalWeight > b.emotionalWeight; });
    merged.confidenceScore = weights > 0 ? merged.confidenceScore / weights : 0;
    merged.summary = summaries.join(QStringLiteral("\n\n"));
    return merged;
}

// Findings of a part's report that lie outside the part's time (a second of slack) are dropped: a
// time on another clock would send the editor elsewhere. Gives how many there were and how many
// were dropped.
std::pair<qsizetype, qsizetype> keepFindingsWithin(AuditReport& report, double start, double end) {
    const auto within = [&](double a, double b) { return a >= start - 1 && b <= end + 1 && b > a; };
    const qsizetype before = report.usedSegments.size() + report.buriedGold.size() +
                             report.redundancies.size() + report.alternates.size();
    report.usedSegments.removeIf([&](const UsedSegment& u) { return !within(u.startTime, u.endTime); });
    report.buriedGold.removeIf([&](const GoldMoment& g) { return !within(g.startTime, g.endTime); });
    report.redundancies.removeIf([&](const Redundancy& r) {
        return !within(r.firstStart, r.firstEnd) || !within(r.secondStart, r.secondEnd);
    });
    report.alternates.removeIf([&](const AlternateTake& a) {
        return !within(a.existingStart, a.existingEnd) || !within(a.alternateStart, a.alternateEnd);
    });
    const qsizetype after = report.usedSegments.size() + report.buriedGold.size() +
                            report.redundancies.size() + report.alternates.size();
    return {before, before - after};
}

// A transcript over the budget: each part audited on its own, two at a time, paced by the service's
// input tokens, and the reports merged; more than a fifth of the parts failing fails the audit.
QCoro::Task<std::optional<AuditReport>> auditInSections(LocalPipeline& pipeline, AuditPlan plan,
                                                        double coverage) {
    const qsizetype n = plan.sections.size();
    InputTokenPacer pacer;
    pacer.clock = &pipeline.clock();
    RequestsAhead ahead(pipeline, Service::languageModel, 2);
    ahead.pace([&pacer, &plan](qsizetype k) { return pacer.holdFor(plan.sections[k].promptTokens); },
               [&pacer](const HttpResponse& response) { pacer.answered(response); });
    for (qsizetype k = 0; k < n; ++k)
        ahead.ready(k, claudeRequest(pipeline, plan.sections[k].body, {}));
    QList<std::pair<AuditReport, double>> reports;
    qsizetype failed = 0;
    for (qsizetype k = 0; k < n; ++k) {
        if (pipeline.isCancelled())
            co_return std::nullopt;
        pipeline.setProgress(0.6 + 0.4 * double(k + 1) / double(n + 1));
        pipeline.log(QStringLiteral("  Reading section %1 of %2...").arg(k + 1).arg(n),
                     QStringLiteral("dim"));
        const std::optional<HttpResponse> sent = co_await ahead.take(k);
        if (pipeline.isCancelled())
            co_return std::nullopt;
        const std::optional<CleanedAnswer> answer = readClaudeAnswer(pipeline, sent, {});
        std::optional<AuditReport> report = answer ? readReport(pipeline, *answer) : std::nullopt;
        const auto skip = [&] {
            pipeline.log(QStringLiteral("  ⚠ Section %1 failed, skipping").arg(k + 1), accent);
            ++failed;
        };
        if (!report) {
            skip();
            continue;
        }
        const AuditSection& section = plan.sections[k];
        const auto [found, outside] = keepFindingsWithin(*report, section.start, section.end);
        if (outside > 0) {
            pipeline.log(QStringLiteral("  ⚠ Section %1: %2 finding%3 outside its time, dropped")
                             .arg(k + 1)
                             .arg(outside)
                             .arg(plural(outside)),
                         accent);
            // Times on another clock (the section's own, say): the section was not read at all.
            if (outside == found) {
                skip();
                continue;
            }
        }
        reports.push_back({*report, section.end - section.start});
    }
    if (failed * 5 > n) {
        pipeline.log(
            QStringLiteral("  ✗ %1 of %2 sections failed — the audit would leave out too much of the "
                           "footage")
                .arg(failed)
                .arg(n),
            accent);
        co_return std::nullopt;
    }
    co_return mergeReports(reports, coverage);
}

} // namespace

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

    pipeline.log(QStringLiteral("⛏ Claude analyzing for buried gold..."), accent);
    pipeline.setProgress(0.6);
    // Marking and splitting a week of transcript takes longer than a frame.
    QFuture<AuditPlan> planned = onWorkerThread(
        [segments = transcript.segments, used, figures] { return planAudit(segments, used, figures); });
    AuditPlan plan = co_await planned;
    if (pipeline.isCancelled())
        co_return; // nothing is asked of the model for a cancelled audit

    std::optional<AuditReport> report;
    if (plan.sections.isEmpty())
        report = co_await analyzeAudit(pipeline, plan.prompt, used);
    else
        report = co_await auditInSections(pipeline, std::move(plan), figures.coverage);
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
