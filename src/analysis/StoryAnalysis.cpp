#include "StoryAnalysis.h"

#include "AnswerText.h"
#include "ClaudeRequest.h"
#include "core/DecodeError.h"
#include "ManualParse.h"

namespace ondrel {

QString foldTranscript(const QList<TranscriptSegment>& segments) {
    QString result;
    QString buffer;
    double blockStart = 0.0;
    double blockEnd = 0.0;
    int blockCount = 0;
    const auto flush = [&] {
        result += QLatin1Char('[') + formatFixed(blockStart, 1) + QStringLiteral("s → ") +
                  formatFixed(blockEnd, 1) + QStringLiteral("s] ") + trimSpacesAndTabs(buffer) +
                  QLatin1Char('\n');
        buffer.clear();
        blockCount = 0;
    };
    for (const TranscriptSegment& segment : segments) {
        if (buffer.isEmpty())
            blockStart = segment.start;
        blockEnd = segment.end;
        buffer += QLatin1Char(' ') + segment.text;
        ++blockCount;
        if (blockEnd - blockStart >= 30.0 || blockCount >= 5)
            flush();
    }
    if (!buffer.isEmpty())
        flush();
    return result;
}

namespace {

double transcriptEnd(const TranscriptResult& transcript) {
    return transcript.segments.isEmpty() ? 0.0 : transcript.segments.last().end;
}

} // namespace

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
- QUALITY CHECK: Before finalizing, verify EVERY segment starts with the subject speaking, not the interviewer.

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
    return p;
}

QCoro::Task<std::optional<MiningResults>> analyzeStory(LocalPipeline& pipeline, TranscriptResult transcript,
                                                       double targetMinutes, QString language,
                                                       QString stylePrompt) {
    const QString folded = foldTranscript(transcript.segments);
    pipeline.log(QStringLiteral("  Sending %1 chars to Claude...").arg(characterCount(folded)),
                 QStringLiteral("dim"));
    const QString prompt = buildAnalysisPrompt(transcript, targetMinutes, language, stylePrompt);

    // A story past ten minutes needs a longer answer than the documented 8000 tokens hold.
    const std::optional<CleanedAnswer> answer =
        co_await requestClaude(pipeline, prompt, storyCall(targetMinutes, prompt.size()));
    if (!answer)
        co_return std::nullopt;

    Decoded<MiningResults> decoded = decodeExplained<MiningResults>(answer->data);
    if (auto* results = std::get_if<MiningResults>(&decoded))
        co_return std::move(*results);

    const QString key = pipeline.anthropicKey();
    pipeline.log(QStringLiteral("  JSON decode error: ") + std::get<QString>(decoded),
                 QStringLiteral("accent"));
    pipeline.log(QStringLiteral("  Response preview: ") +
                     redactSecret(leadingCharacters(answer->text, 300), key) + QStringLiteral("..."),
                 QStringLiteral("dim"));
    std::optional<MiningResults> recovered = tryManualParse(answer->text);
    if (recovered)
        pipeline.log(QStringLiteral("  ✓ Recovered via manual parse"), QStringLiteral("green"));
    co_return recovered;
}

} // namespace ondrel
