#include "TimelineClips.h"

#include "AnswerText.h"
#include "core/Text.h"

#include <algorithm>

namespace ondrel {

namespace {

const QString accent = QStringLiteral("accent");

// The pipeline's reading of "ERROR:" lines: trimmed, every prefix removed.
QList<QPair<QString, QString>> errorLines(const QString& output) {
    QList<QPair<QString, QString>> lines;
    for (const QString& raw : output.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (!line.startsWith(QLatin1String("ERROR:")))
            continue;
        QString rest = line;
        rest.remove(QStringLiteral("ERROR:"));
        lines.push_back({QStringLiteral("  ✗ ") + rest, accent});
    }
    return lines;
}

std::optional<TimelineClip> clipFrom(const Json& object) {
    TimelineClip clip;
    const auto file = object.find("sourceFile");
    const auto start = object.find("startFrame");
    const auto end = object.find("endFrame");
    const auto duration = object.find("duration");
    if (file == object.end() || start == object.end() || end == object.end() || duration == object.end())
        return std::nullopt;
    if (!readJson(*file, clip.sourceFile) || !readJson(*start, clip.startFrame) ||
        !readJson(*end, clip.endFrame) || !readJson(*duration, clip.duration))
        return std::nullopt;
    return clip;
}

} // namespace

ClipReading readTimelineClipsOutput(const QString& output) {
    ClipReading reading;
    const QStringList lines = output.split(QLatin1Char('\n'));
    const auto success = std::find_if(
        lines.begin(), lines.end(), [](const QString& l) { return l.startsWith(QLatin1String("SUCCESS:")); });
    if (success == lines.end()) {
        reading.logLines = errorLines(output);
        return reading;
    }
    const std::optional<Json> parsed = parseJson(success->mid(8).toUtf8());
    bool allObjects = parsed && parsed->is_array();
    if (allObjects)
        for (const Json& element : *parsed)
            allObjects = allObjects && element.is_object();
    if (!allObjects) {
        reading.logLines.push_back({QStringLiteral("  Failed to parse clip JSON"), accent});
        return reading;
    }
    QList<TimelineClip> clips;
    for (const Json& element : *parsed)
        if (std::optional<TimelineClip> clip = clipFrom(element))
            clips.push_back(std::move(*clip));
    reading.clips = std::move(clips);
    return reading;
}

QList<UsedSegment> mapTimelineClipsToTranscript(const QList<TimelineClip>& clips,
                                                const QStringList& mediaPaths) {
    const QStringList sorted = sortedPaths(mediaPaths);
    QList<UsedSegment> used;
    for (const TimelineClip& clip : clips) {
        const qsizetype slot = sorted.indexOf(clip.sourceFile);
        if (slot < 0)
            continue;
        // Every file counts as 300 s and every timeline as 24 fps: the layout is deliberately rough.
        const double slotStart = double(slot) * 300.0;
        used.push_back(
            {slotStart + double(clip.startFrame) / 24.0, slotStart + double(clip.endFrame) / 24.0, {}});
    }
    return used;
}

QString markedTranscript(const QList<TranscriptSegment>& segments, const QList<UsedSegment>& used) {
    QString text;
    for (const TranscriptSegment& segment : segments) {
        // Overlap is not enough: only a range that holds the segment whole marks it used.
        const bool whole = std::any_of(used.begin(), used.end(), [&](const UsedSegment& range) {
            return range.startTime <= segment.start && segment.end <= range.endTime;
        });
        text += (whole ? QStringLiteral("[USED] [") : QStringLiteral("[UNUSED] [")) +
                formatFixed(segment.start, 1) + QStringLiteral("s → ") + formatFixed(segment.end, 1) +
                QStringLiteral("s] ") + segment.text + QLatin1Char('\n');
    }
    return text;
}

QString buildAuditPrompt(const AuditFigures& f, const QString& marked) {
    QString p;
    p += QStringLiteral(
        R"(You are an expert documentary editor reviewing an existing cut. Your task: find what the editor MISSED.

CONTEXT:
- An editor cut together )");
    p += QString::number(f.clipCount) + QStringLiteral(" clips from this interview\n");
    p += QStringLiteral("- They used ") + formatFixed(f.coverage, 0) +
         QStringLiteral("% of the total footage (") + formatFixed(f.usedDuration, 1) +
         QStringLiteral("s out of ") + formatFixed(f.totalDuration, 1) + QStringLiteral("s)\n");
    p += QStringLiteral(R"(- Below is the FULL transcript with [USED] and [UNUSED] markers

YOUR JOB:
1. **Buried Gold** — Find 3-8 UNUSED moments that are:
   - Emotionally powerful (humor, pain, insight, surprise)
   - Narratively rich (vivid stories, specific details)
   - Would strengthen the edit if included
2. **Redundancies** — Find moments where the editor made the SAME POINT twice (used the same topic/idea in 2+ clips)
3. **Alternate Takes** — For key USED moments, find UNUSED versions that tell the same story but with more emotion, better pacing, or clearer language
4. **Theme Gaps** — What topics/themes appear in the UNUSED footage that are missing from the edit?
5. **Confidence Score** — Rate 0-100 how comprehensive this edit is (0 = major gaps, 100 = nothing important missing)

FULL TRANSCRIPT:
)");
    p += marked + QStringLiteral("\n");
    p += QStringLiteral(R"(
RULES:
- Each buried gold moment: include exact timestamps, the text, WHY it matters (reason), and emotional weight (1-5)
- Each redundancy: identify both used segments and what they repeat
- Each alternate: compare used vs unused, explain why the alternate is better
- Theme gaps: list as simple strings (e.g., "childhood memories", "career struggles")
- Summary: 2-3 sentences about the overall edit quality and biggest missed opportunities

Return ONLY a JSON object (no markdown, no fences):
{
    "coveragePercent": )");
    p += formatDouble(f.coverage) + QStringLiteral(",\n");
    p += QStringLiteral(R"(    "usedSegments": [{"startTime": 0, "endTime": 10, "text": "..."}],
    "buriedGold": [
        {
            "startTime": 125.5,
            "endTime": 158.2,
            "text": "transcript excerpt",
            "reason": "why this matters",
            "emotionalWeight": 4
        }
    ],
    "redundancies": [
        {
            "firstStart": 50.0,
            "firstEnd": 65.0,
            "secondStart": 200.0,
            "secondEnd": 215.0,
            "topic": "what they both say"
        }
    ],
    "alternates": [
        {
            "existingStart": 100.0,
            "existingEnd": 120.0,
            "alternateStart": 450.0,
            "alternateEnd": 470.0,
            "alternateText": "the better version",
            "reason": "why it's better"
        }
    ],
    "themeGaps": ["theme 1", "theme 2"],
    "confidenceScore": 75,
    "summary": "Overall assessment..."
})");
    return p;
}

} // namespace ondrel
