#include "StoryAnalysis.h"

#include "AnswerText.h"
#include "ClaudeRequest.h"
#include "ManualParse.h"
#include "StorySections.h"
#include "core/Background.h"
#include "core/RequestsAhead.h"

#include <QCoroFuture>

#include "core/DecodeError.h"
#include <algorithm>
#include <cmath>

namespace ondrel {

QList<FoldedLine> foldLines(const QList<TranscriptSegment>& segments) {
    QList<FoldedLine> lines;
    QString buffer;
    double blockStart = 0.0;
    double blockEnd = 0.0;
    int blockCount = 0;
    qsizetype first = 0;
    const auto flush = [&](qsizetype end) {
        lines.push_back({QLatin1Char('[') + formatFixed(blockStart, 1) + QStringLiteral("s → ") +
                             formatFixed(blockEnd, 1) + QStringLiteral("s] ") + trimSpacesAndTabs(buffer) +
                             QLatin1Char('\n'),
                         first, end});
        buffer.clear();
        blockCount = 0;
    };
    for (qsizetype i = 0; i < segments.size(); ++i) {
        const TranscriptSegment& segment = segments[i];
        if (buffer.isEmpty()) {
            blockStart = segment.start;
            first = i;
        }
        blockEnd = segment.end;
        buffer += QLatin1Char(' ') + segment.text;
        ++blockCount;
        if (blockEnd - blockStart >= 30.0 || blockCount >= 5)
            flush(i + 1);
    }
    if (!buffer.isEmpty())
        flush(segments.size());
    return lines;
}

QString foldTranscript(const QList<TranscriptSegment>& segments) {
    QString result;
    for (const FoldedLine& line : foldLines(segments))
        result += line.text;
    return result;
}

namespace {

double transcriptEnd(const TranscriptResult& transcript) {
    return transcript.segments.isEmpty() ? 0.0 : transcript.segments.last().end;
}

} // namespace

// How a story's answer is asked for, the same after every list of rules: the translation's voice and
// the JSON it comes back as.
const QString kStoryAnswerShape = QStringLiteral(R"(

For the "translation" field: provide a natural, flowing English translation (not literal/word-for-word). Write it as you'd want to READ it as a subtitle — concise, clear, capturing the speaker's intent and emotion.

Return ONLY a JSON object (no markdown, no code fences) with this structure:
{
    "segments": [
        {
            "index": 0,
            "startTime": 125.5,
            "endTime": 158.2,
            "sourceClip": "source",
            "transcript": "original language text",
            "translation": "natural English translation of what they said",
            "chapter": "Chapter name"
        }
    ],
    "structure": {
        "acts": [{"name": "Act 1: Title", "segments": [0, 1, 2]}],
        "totalDuration": 298.5
    },
    "subtitles": [
        {"startTime": 125.5, "endTime": 130.1, "text": "English subtitle"}
    ],
    "estimatedDuration": 298.5
})");

QString buildAnalysisPrompt(const TranscriptResult& transcript, double targetMinutes, const QString& language,
                            const QString& stylePrompt) {
    const double totalDuration = transcriptEnd(transcript);
    const double targetSeconds = targetMinutes * 60.0;
    const QString targetMinutesInt = QString::number(truncatedToInteger(targetMinutes));
    const QString targetSecondsInt = QString::number(truncatedToInteger(targetSeconds));
    const QString sourceLanguage = language == QLatin1String("auto") ? transcript.language : language;

    QString p;
    p += QStringLiteral(
             "You are an expert documentary editor specializing in interview-based stories. Your task: "
             "select the best moments from this interview to create a ") +
         targetMinutesInt + QStringLiteral("-minute story edit.\n");
    p += QStringLiteral("\n");
    p += QStringLiteral("STYLE DIRECTION:\n");
    p += stylePrompt + QStringLiteral("\n");
    p += QStringLiteral("\n");
    p += QStringLiteral("SOURCE: ") + formatFixed(totalDuration / 60.0, 0) +
         QStringLiteral(" minutes of interview footage (") + formatFixed(totalDuration, 0) +
         QStringLiteral(" total seconds)\n");
    p += QStringLiteral("TARGET: ") + targetMinutesInt + QStringLiteral(" minutes (") + targetSecondsInt +
         QStringLiteral(" seconds)\n");
    p += QStringLiteral("SOURCE LANGUAGE: ") + sourceLanguage + QStringLiteral("\n");
    p += QStringLiteral(R"(
CRITICAL CONTEXT:
- This is a sit-down interview with ONE SUBJECT and an interviewer
- The interviewer asks questions — NEVER include interviewer questions in your selection
- You can identify the interviewer by: short questions, prompts like "tell me about...", "what do you think...", "and then what happened?"
- The subject gives long, rich answers — these are what we want
- There are natural silences, "um"s, hesitations, throat clears — trim around these
- Pick the MEAT of each answer, not the warm-up or trailing off

TRANSCRIPT FORMAT: Each line is [startSeconds → endSeconds] followed by the spoken text.
Timestamps are in SECONDS from the start of the audio.

TRANSCRIPT:
)");
    p += foldTranscript(transcript.segments) + QStringLiteral("\n");
    p += QStringLiteral(R"(
SEGMENT SELECTION RULES:
- Each segment MUST be 15-30 seconds. HARD MAX: 30 seconds. If a thought runs longer, split it or trim.
- ONLY the main subject/interviewee speaking. ZERO interviewer audio.
- The startTime MUST be the EXACT moment the subject begins their answer — NOT the question before it.
- If a Whisper block contains "interviewer question [X→Y] + subject answer [Y→Z]", use Y as startTime, NOT X.
- Skip the first 2-3 seconds of any answer (hesitations: "bueno...", "pues...", "well...", "so...", "um...")
- End each segment when the thought completes — cut BEFORE any pause, trailing off, or next question.
- NEVER include: interviewer questions, side conversations, production chatter, long silences.
- Look for question patterns: "¿...?", "Cuénteme...", "Dígame...", "Tell me...", "What...", "How..." — ALWAYS skip.
- Total duration of all segments ≈ )");
    p += targetSecondsInt + QStringLiteral(" seconds (within 10%)\n");
    p += QStringLiteral(
        R"(- Arrange segments in STORY ORDER (not necessarily chronological) — build a narrative arc.
- startTime/endTime must match the [Xs → Ys] timestamps from the transcript.
- Prefer segments with rich, descriptive, emotional content over factual/dry statements.
- QUALITY CHECK: Before finalizing, verify EVERY segment starts with the subject speaking, not the interviewer.)");
    p += kStoryAnswerShape;
    return p;
}

namespace {

// The documented reading of a story's answer: decoded, else rescued by hand.
std::optional<MiningResults> readStory(LocalPipeline& pipeline, const CleanedAnswer& answer) {
    Decoded<MiningResults> decoded = decodeExplained<MiningResults>(answer.data);
    if (auto* results = std::get_if<MiningResults>(&decoded))
        return std::move(*results);
    const QString key = pipeline.anthropicKey();
    pipeline.log(QStringLiteral("  JSON decode error: ") + std::get<QString>(decoded),
                 QStringLiteral("accent"));
    pipeline.log(QStringLiteral("  Response preview: ") +
                     redactSecret(leadingCharacters(answer.text, 300), key) + QStringLiteral("..."),
                 QStringLiteral("dim"));
    std::optional<MiningResults> recovered = tryManualParse(answer.text);
    if (recovered)
        pipeline.log(QStringLiteral("  ✓ Recovered via manual parse"), QStringLiteral("green"));
    return recovered;
}

// What the analysis sends, made off the main thread: folding and counting a week of transcript
// takes longer than a frame.
struct StoryPlan {
    qsizetype foldedChars = 0;
    QString prompt; // the one documented request, when the transcript fits
    struct Section {
        TranscriptSection part;
        QByteArray body;
        ClaudeCall call;
        qint64 promptTokens = 0;
    };
    QList<Section> sections; // else these
};

StoryPlan planStory(const TranscriptResult& transcript, double targetMinutes, const QString& language,
                    const QString& stylePrompt) {
    StoryPlan plan;
    // Counted line by line: the whole folded text of a week is megabytes held only to be measured.
    for (const FoldedLine& line : foldLines(transcript.segments))
        plan.foldedChars += characterCount(line.text);
    if (plan.foldedChars <= kStoryPromptBudgetChars) {
        plan.prompt = buildAnalysisPrompt(transcript, targetMinutes, language, stylePrompt);
        return plan;
    }
    const double total = transcript.segments.isEmpty() ? 0.0 : transcript.segments.last().end;
    const QString sourceLanguage = language == QLatin1String("auto") ? transcript.language : language;
    const QList<TranscriptSection> parts = splitIntoSections(transcript.segments);
    for (qsizetype k = 0; k < parts.size(); ++k) {
        StoryPlan::Section section;
        section.part = parts[k];
        const QString prompt = buildSectionPrompt(parts[k], k + 1, parts.size(), total, targetMinutes,
                                                  sourceLanguage, stylePrompt);
        const double minutes = candidateSecondsFor(parts[k], total, targetMinutes) / 60.0;
        section.call = callForAnswer(qint64(std::ceil(minutes * kAnswerTokensPerStoryMinute)), prompt.size());
        section.body = claudeRequestBody(prompt, section.call).value_or(QByteArray());
        section.promptTokens = promptTokensAtMost(prompt.size());
        section.part.folded.clear(); // in the body now
        plan.sections.push_back(std::move(section));
    }
    return plan;
}

struct ChoicePlan {
    QList<StoryCandidate> candidates;
    qsizetype leftOut = 0;
    QString prompt;
};

ChoicePlan planChoice(QList<StoryCandidate> candidates, qsizetype sections, double total,
                      double targetMinutes, QString sourceLanguage, QString stylePrompt) {
    ChoicePlan plan;
    plan.leftOut = keepStrongestWithin(candidates, kStoryPromptBudgetChars);
    plan.prompt = buildChoicePrompt(candidates, sections, total, targetMinutes, sourceLanguage, stylePrompt);
    plan.candidates = std::move(candidates);
    return plan;
}

// A transcript over the budget: each section asked for its strongest candidates (two at a time,
// paced by the service's input tokens), then one request over the candidates picks the story.
QCoro::Task<std::optional<MiningResults>> analyzeInSections(LocalPipeline& pipeline,
                                                            TranscriptResult transcript, StoryPlan plan,
                                                            double targetMinutes, QString language,
                                                            QString stylePrompt) {
    const QString accent = QStringLiteral("accent");
    const QString dim = QStringLiteral("dim");
    const qsizetype n = plan.sections.size();
    const double from = pipeline.progress();
    // Each section and then the choice move on through the step's range, short of where it ends.
    const auto progressAt = [&](qsizetype k) { return from + (0.7 - from) * double(k + 1) / double(n + 2); };

    InputTokenPacer pacer;
    pacer.clock = &pipeline.clock();
    RequestsAhead ahead(pipeline, Service::languageModel, 2);
    ahead.pace([&pacer, &plan](qsizetype k) { return pacer.holdFor(plan.sections[k].promptTokens); },
               [&pacer](const HttpResponse& response) { pacer.answered(response); });
    for (qsizetype k = 0; k < n; ++k)
        ahead.ready(k, claudeRequest(pipeline, plan.sections[k].body, plan.sections[k].call));

    QList<StoryCandidate> candidates;
    qsizetype failed = 0;
    for (qsizetype k = 0; k < n; ++k) {
        if (pipeline.isCancelled())
            co_return std::nullopt;
        pipeline.setProgress(progressAt(k));
        pipeline.log(QStringLiteral("  Reading section %1 of %2...").arg(k + 1).arg(n), dim);
        const StoryPlan::Section& section = plan.sections[k];
        const std::optional<HttpResponse> sent = co_await ahead.take(k);
        if (pipeline.isCancelled())
            co_return std::nullopt;
        // A section's answer that broke off was paid for: its whole candidates are kept.
        const std::optional<CleanedAnswer> answer =
            readClaudeAnswer(pipeline, sent, section.call, /*keepBrokenOff=*/true);
        std::optional<CandidateReading> reading = answer ? readCandidates(answer->text) : std::nullopt;
        const auto skip = [&] {
            pipeline.log(QStringLiteral("  ⚠ Section %1 failed, skipping").arg(k + 1), accent);
            ++failed;
        };
        if (!reading) {
            if (answer && !answer->brokenOff)
                pipeline.log(QStringLiteral("  Section %1's answer holds no candidates: ").arg(k + 1) +
                                 redactSecret(leadingCharacters(answer->text, 200), pipeline.anthropicKey()),
                             accent);
            skip();
            continue;
        }
        if (reading->rescued || answer->brokenOff)
            pipeline.log(QStringLiteral("  ✓ Recovered %1 candidates of section %2's damaged answer")
                             .arg(reading->candidates.size())
                             .arg(k + 1),
                         QStringLiteral("green"));
        const qsizetype offered = reading->candidates.size();
        if (const qsizetype outside =
                keepCandidatesWithin(reading->candidates, section.part.start, section.part.end)) {
            pipeline.log(QStringLiteral("  ⚠ Section %1: %2 candidate%3 outside its time, dropped")
                             .arg(k + 1)
                             .arg(outside)
                             .arg(plural(outside)),
                         accent);
            // Times on another clock (the section's own, say): the section was not read at all.
            if (outside == offered) {
                skip();
                continue;
            }
        }
        candidates += reading->candidates;
    }
    // A fifth of the footage unread would leave days out of the story without a word.
    if (failed * 5 > n) {
        pipeline.log(
            QStringLiteral("  ✗ %1 of %2 sections failed — the story would leave out too much of the "
                           "footage")
                .arg(failed)
                .arg(n),
            accent);
        co_return std::nullopt;
    }
    if (const qsizetype merged = mergeDuplicateCandidates(candidates))
        pipeline.log(QStringLiteral("  Merged %1 duplicate candidate%2").arg(merged).arg(plural(merged)),
                     dim);
    if (candidates.isEmpty()) {
        pipeline.log(QStringLiteral("  ✗ The sections offered no candidates"), accent);
        co_return std::nullopt;
    }

    pipeline.setProgress(progressAt(n));
    pipeline.log(QStringLiteral("  Choosing the story from %1 candidates...").arg(candidates.size()), dim);
    const double total = transcript.segments.isEmpty() ? 0.0 : transcript.segments.last().end;
    const QString sourceLanguage = language == QLatin1String("auto") ? transcript.language : language;
    QFuture<ChoicePlan> planned =
        onWorkerThread([candidates, n, total, targetMinutes, sourceLanguage, stylePrompt] {
            return planChoice(candidates, n, total, targetMinutes, sourceLanguage, stylePrompt);
        });
    const ChoicePlan choice = co_await planned;
    if (pipeline.isCancelled())
        co_return std::nullopt;
    if (choice.leftOut > 0)
        pipeline.log(QStringLiteral("  Keeping the %1 strongest of %2 candidates")
                         .arg(choice.candidates.size())
                         .arg(candidates.size()),
                     dim);
    const std::optional<CleanedAnswer> answer =
        co_await requestClaude(pipeline, choice.prompt, storyCall(targetMinutes, choice.prompt.size()));
    if (!answer)
        co_return std::nullopt;
    std::optional<MiningResults> story = readStory(pipeline, *answer);
    if (!story)
        co_return std::nullopt;
    if (const qsizetype dropped = keepMomentsOfCandidates(*story, choice.candidates))
        pipeline.log(QStringLiteral("  ⚠ Dropped %1 moment%2 that no candidate holds")
                         .arg(dropped)
                         .arg(plural(dropped)),
                     accent);
    co_return story;
}

} // namespace

QCoro::Task<std::optional<MiningResults>> analyzeStory(LocalPipeline& pipeline, TranscriptResult transcript,
                                                       double targetMinutes, QString language,
                                                       QString stylePrompt) {
    QFuture<StoryPlan> planned = onWorkerThread([transcript, targetMinutes, language, stylePrompt] {
        return planStory(transcript, targetMinutes, language, stylePrompt);
    });
    StoryPlan plan = co_await planned;
    if (pipeline.isCancelled())
        co_return std::nullopt;
    pipeline.log(QStringLiteral("  Sending %1 chars to Claude...").arg(plan.foldedChars),
                 QStringLiteral("dim"));
    if (!plan.sections.isEmpty())
        co_return co_await analyzeInSections(pipeline, std::move(transcript), std::move(plan), targetMinutes,
                                             std::move(language), std::move(stylePrompt));

    // A story past ten minutes needs a longer answer than the documented 8000 tokens hold.
    const std::optional<CleanedAnswer> answer =
        co_await requestClaude(pipeline, plan.prompt, storyCall(targetMinutes, plan.prompt.size()));
    if (!answer)
        co_return std::nullopt;
    co_return readStory(pipeline, *answer);
}

} // namespace ondrel
