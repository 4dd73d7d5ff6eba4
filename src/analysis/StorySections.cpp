#include "StorySections.h"

#include "AnswerText.h"
#include "StoryAnalysis.h"
#include "core/Json.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ondrel {

QList<std::pair<qsizetype, qsizetype>> splitLines(const QList<qsizetype>& lineChars, qsizetype budget) {
    QList<std::pair<qsizetype, qsizetype>> runs;
    const qsizetype total = std::accumulate(lineChars.begin(), lineChars.end(), qsizetype(0));
    if (lineChars.isEmpty())
        return runs;
    budget = std::max<qsizetype>(budget, 1);
    // As many runs as the budget needs, each aiming at an equal share, so the last is no stub.
    const qsizetype count = std::max<qsizetype>(1, (total + budget - 1) / budget);
    const qsizetype aim = (total + count - 1) / count;
    qsizetype first = 0;
    qsizetype size = 0;
    for (qsizetype i = 0; i < lineChars.size(); ++i) {
        if (i > first && (size + lineChars[i] > budget || size >= aim)) {
            runs.push_back({first, i});
            first = i;
            size = 0;
        }
        size += lineChars[i];
    }
    runs.push_back({first, lineChars.size()});
    return runs;
}

QList<TranscriptSection> splitIntoSections(const QList<TranscriptSegment>& segments, qsizetype budget) {
    const QList<FoldedLine> lines = foldLines(segments);
    QList<qsizetype> sizes;
    sizes.reserve(lines.size());
    for (const FoldedLine& line : lines)
        sizes << line.text.size();
    QList<TranscriptSection> sections;
    for (const auto& [first, end] : splitLines(sizes, budget)) {
        TranscriptSection section;
        section.firstSegment = lines[first].first;
        section.endSegment = lines[end - 1].end;
        section.start = segments[section.firstSegment].start;
        section.end = segments[section.endSegment - 1].end;
        for (qsizetype i = first; i < end; ++i)
            section.folded += lines[i].text;
        sections.push_back(std::move(section));
    }
    return sections;
}

namespace {

bool readNumber(const Json& object, const char* key, double& out) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_number())
        return false;
    out = it->get<double>();
    return std::isfinite(out);
}

std::optional<StoryCandidate> candidateFrom(const Json& object) {
    if (!object.is_object())
        return std::nullopt;
    StoryCandidate c;
    if (!readNumber(object, "startTime", c.startTime) || !readNumber(object, "endTime", c.endTime))
        return std::nullopt;
    const auto text = [&](const char* key) {
        const auto it = object.find(key);
        return it != object.end() && it->is_string() ? QString::fromStdString(it->get<std::string>())
                                                     : QString();
    };
    c.transcript = text("transcript");
    c.reason = text("reason");
    const auto strength = object.find("strength");
    if (strength != object.end() && strength->is_number()) {
        const double s = strength->get<double>();
        if (std::isfinite(s))
            c.strength = qint64(std::clamp(std::round(s), 1.0, 5.0));
    }
    return c;
}

// Every whole object of the array after `"candidates"` in a text that breaks off somewhere (an
// answer cut by its limit): strings and nesting are followed, each object parsed alone.
QList<StoryCandidate> wholeCandidatesBefore(const QByteArray& text) {
    QList<StoryCandidate> out;
    const qsizetype key = text.indexOf("\"candidates\"");
    if (key < 0)
        return out;
    const qsizetype open = text.indexOf('[', key);
    if (open < 0)
        return out;
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    qsizetype objectStart = -1;
    for (qsizetype i = open + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (depth++ == 0 && c == '{')
                objectStart = i;
        } else if (c == '}' || c == ']') {
            if (depth == 0)
                break; // the array's own end
            if (--depth == 0 && c == '}' && objectStart >= 0) {
                if (const auto parsed = parseJson(text.mid(objectStart, i - objectStart + 1)))
                    if (auto candidate = candidateFrom(*parsed))
                        out.push_back(*candidate);
                objectStart = -1;
            }
        }
    }
    return out;
}

} // namespace

std::optional<CandidateReading> readCandidates(const QString& cleanedText) {
    const QByteArray bytes = cleanedText.toUtf8();
    if (const std::optional<Json> json = parseJson(bytes)) {
        if (!json->is_object())
            return std::nullopt;
        const auto list = json->find("candidates");
        if (list == json->end() || !list->is_array())
            return std::nullopt;
        CandidateReading reading;
        for (const Json& item : *list)
            if (auto candidate = candidateFrom(item))
                reading.candidates.push_back(*candidate);
        return reading;
    }
    CandidateReading reading{wholeCandidatesBefore(bytes), true};
    if (reading.candidates.isEmpty())
        return std::nullopt;
    return reading;
}

qsizetype keepCandidatesWithin(QList<StoryCandidate>& candidates, double start, double end) {
    const qsizetype before = candidates.size();
    candidates.removeIf([&](const StoryCandidate& c) {
        return !(c.endTime > c.startTime) || c.startTime < start - 1 || c.endTime > end + 1;
    });
    return before - candidates.size();
}

qsizetype mergeDuplicateCandidates(QList<StoryCandidate>& candidates) {
    std::stable_sort(
        candidates.begin(), candidates.end(),
        [](const StoryCandidate& a, const StoryCandidate& b) { return a.startTime < b.startTime; });
    QList<StoryCandidate> kept;
    for (const StoryCandidate& c : std::as_const(candidates)) {
        if (!kept.isEmpty()) {
            StoryCandidate& last = kept.last();
            const double overlap = std::min(last.endTime, c.endTime) - std::max(last.startTime, c.startTime);
            const double shorter = std::min(last.endTime - last.startTime, c.endTime - c.startTime);
            if (overlap >= shorter / 2) {
                if (c.strength > last.strength)
                    last = c;
                continue;
            }
        }
        kept.push_back(c);
    }
    const qsizetype merged = candidates.size() - kept.size();
    candidates = std::move(kept);
    return merged;
}

namespace {

QString candidateLine(const StoryCandidate& c) {
    return QLatin1Char('[') + formatFixed(c.startTime, 1) + QStringLiteral("s → ") +
           formatFixed(c.endTime, 1) + QStringLiteral("s] ") + trimSpacesAndTabs(c.transcript).simplified() +
           QStringLiteral(" — why: ") + c.reason.simplified() + QLatin1Char('\n');
}

} // namespace

qsizetype keepStrongestWithin(QList<StoryCandidate>& candidates, qsizetype budget) {
    QList<qsizetype> order(candidates.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
        return candidates[a].strength > candidates[b].strength;
    });
    QList<bool> keep(candidates.size(), false);
    qsizetype used = 0;
    for (const qsizetype i : order) {
        const qsizetype size = candidateLine(candidates[i]).size();
        if (used + size > budget)
            continue;
        used += size;
        keep[i] = true;
    }
    QList<StoryCandidate> kept;
    for (qsizetype i = 0; i < candidates.size(); ++i)
        if (keep[i])
            kept.push_back(candidates[i]);
    const qsizetype left = candidates.size() - kept.size();
    candidates = std::move(kept);
    return left;
}

QString candidateLines(const QList<StoryCandidate>& candidates) {
    QString text;
    for (const StoryCandidate& c : candidates)
        text += candidateLine(c);
    return text;
}

double candidateSecondsFor(const TranscriptSection& section, double totalDuration, double targetMinutes) {
    const double share = totalDuration > 0 ? (section.end - section.start) / totalDuration : 1.0;
    const double seconds = 3.0 * std::max(0.0, targetMinutes) * 60.0 * std::clamp(share, 0.0, 1.0);
    return std::isfinite(seconds) ? std::max(seconds, 60.0) : 60.0;
}

namespace {

const QString kCriticalContext = QStringLiteral(R"(CRITICAL CONTEXT:
- This is a sit-down interview with ONE SUBJECT and an interviewer
- The interviewer asks questions — NEVER include interviewer questions in your selection
- You can identify the interviewer by: short questions, prompts like "tell me about...", "what do you think...", "and then what happened?"
- The subject gives long, rich answers — these are what we want
- There are natural silences, "um"s, hesitations, throat clears — trim around these
- Pick the MEAT of each answer, not the warm-up or trailing off
)");

const QString kMomentRules = QStringLiteral(
    R"(- Each segment MUST be 15-30 seconds. HARD MAX: 30 seconds. If a thought runs longer, split it or trim.
- ONLY the main subject/interviewee speaking. ZERO interviewer audio.
- The startTime MUST be the EXACT moment the subject begins their answer — NOT the question before it.
- If a Whisper block contains "interviewer question [X→Y] + subject answer [Y→Z]", use Y as startTime, NOT X.
- Skip the first 2-3 seconds of any answer (hesitations: "bueno...", "pues...", "well...", "so...", "um...")
- End each segment when the thought completes — cut BEFORE any pause, trailing off, or next question.
- NEVER include: interviewer questions, side conversations, production chatter, long silences.
- Look for question patterns: "¿...?", "Cuénteme...", "Dígame...", "Tell me...", "What...", "How..." — ALWAYS skip.
)");

QString wholeNumber(double value) {
    return QString::number(truncatedToInteger(value));
}

} // namespace

QString buildSectionPrompt(const TranscriptSection& section, qsizetype number, qsizetype count,
                           double totalDuration, double targetMinutes, const QString& sourceLanguage,
                           const QString& stylePrompt) {
    const QString candidateSeconds = wholeNumber(candidateSecondsFor(section, totalDuration, targetMinutes));
    QString p;
    p += QStringLiteral("You are an expert documentary editor specializing in interview-based stories. A ") +
         wholeNumber(targetMinutes) +
         QStringLiteral(
             "-minute story edit will be cut from a long interview, read in %1 parts. This is part %2 "
             "of %3. Your task: find the strongest candidate moments in this part, about ")
             .arg(count)
             .arg(number)
             .arg(count) +
         candidateSeconds +
         QStringLiteral(" seconds of them in all, for the editor to choose the story from.\n\n");
    p += QStringLiteral("STYLE DIRECTION:\n") + stylePrompt + QStringLiteral("\n\n");
    p += QStringLiteral("SOURCE: part %1 of %2, from ").arg(number).arg(count) +
         formatFixed(section.start, 0) + QStringLiteral("s to ") + formatFixed(section.end, 0) +
         QStringLiteral("s of ") + formatFixed(totalDuration / 60.0, 0) +
         QStringLiteral(" minutes of interview footage (") + formatFixed(totalDuration, 0) +
         QStringLiteral(" total seconds)\n");
    p += QStringLiteral("TARGET: about ") + candidateSeconds +
         QStringLiteral(" seconds of candidates from this part (the whole story: ") +
         wholeNumber(targetMinutes) + QStringLiteral(" minutes)\n");
    p += QStringLiteral("SOURCE LANGUAGE: ") + sourceLanguage + QStringLiteral("\n\n");
    p += kCriticalContext;
    p += QStringLiteral(R"(
TRANSCRIPT FORMAT: Each line is [startSeconds → endSeconds] followed by the spoken text.
Timestamps are in SECONDS from the start of the audio.

TRANSCRIPT (this part only):
)");
    p += section.folded + QStringLiteral("\n");
    p += QStringLiteral("\nCANDIDATE SELECTION RULES:\n") + kMomentRules;
    p += QStringLiteral(
        R"(- startTime/endTime must match the [Xs → Ys] timestamps from the transcript, inside this part.
- Prefer segments with rich, descriptive, emotional content over factual/dry statements.
- Offer more than the story needs: candidates from every stretch of this part that holds a strong moment.
- Rate each candidate's strength from 1 (usable) to 5 (unmissable) and say in a few words why it is strong.
- QUALITY CHECK: Before finalizing, verify EVERY candidate starts with the subject speaking, not the interviewer.

Return ONLY a JSON object (no markdown, no code fences) with this structure:
{
    "candidates": [
        {
            "startTime": 125.5,
            "endTime": 150.2,
            "transcript": "original language text",
            "reason": "why it is strong",
            "strength": 4
        }
    ]
})");
    return p;
}

QString buildChoicePrompt(const QList<StoryCandidate>& candidates, qsizetype sections, double totalDuration,
                          double targetMinutes, const QString& sourceLanguage, const QString& stylePrompt) {
    const QString targetMinutesInt = wholeNumber(targetMinutes);
    const QString targetSecondsInt = wholeNumber(targetMinutes * 60.0);
    QString p;
    p += QStringLiteral("You are an expert documentary editor specializing in interview-based stories. Your "
                        "task: from the "
                        "candidate moments below, picked from every part of a long interview, select and "
                        "order the best to "
                        "create a ") +
         targetMinutesInt + QStringLiteral("-minute story edit.\n\n");
    p += QStringLiteral("STYLE DIRECTION:\n") + stylePrompt + QStringLiteral("\n\n");
    p += QStringLiteral("SOURCE: ") + formatFixed(totalDuration / 60.0, 0) +
         QStringLiteral(" minutes of interview footage (") + formatFixed(totalDuration, 0) +
         QStringLiteral(" total seconds), read in %1 parts\n").arg(sections);
    p += QStringLiteral("TARGET: ") + targetMinutesInt + QStringLiteral(" minutes (") + targetSecondsInt +
         QStringLiteral(" seconds)\n");
    p += QStringLiteral("SOURCE LANGUAGE: ") + sourceLanguage + QStringLiteral("\n\n");
    p += kCriticalContext;
    p += QStringLiteral(R"(
CANDIDATES FORMAT: Each line is [startSeconds → endSeconds], the spoken text, and after "— why:" the reason it was offered.
Timestamps are in SECONDS from the start of the audio.

CANDIDATES:
)");
    p += candidateLines(candidates) + QStringLiteral("\n");
    p += QStringLiteral("\nSEGMENT SELECTION RULES:\n");
    p += QStringLiteral("- Use ONLY the candidates above: each segment's startTime and endTime are those of "
                        "one candidate, or "
                        "lie inside it.\n");
    p += kMomentRules;
    p += QStringLiteral("- Total duration of all segments ≈ ") + targetSecondsInt +
         QStringLiteral(" seconds (within 10%)\n");
    p += QStringLiteral(
        R"(- Arrange segments in STORY ORDER (not necessarily chronological) — build a narrative arc.
- Prefer segments with rich, descriptive, emotional content over factual/dry statements.
- QUALITY CHECK: Before finalizing, verify EVERY segment starts with the subject speaking, not the interviewer.)");
    p += kStoryAnswerShape;
    return p;
}

qsizetype keepMomentsOfCandidates(MiningResults& results, const QList<StoryCandidate>& candidates) {
    // Sorted by start, a moment's candidate is among those starting before it.
    QList<StoryCandidate> sorted = candidates;
    std::stable_sort(sorted.begin(), sorted.end(), [](const StoryCandidate& a, const StoryCandidate& b) {
        return a.startTime < b.startTime;
    });
    const auto inside = [&](const StorySegment& s) {
        auto it = std::upper_bound(sorted.begin(), sorted.end(), s.startTime + 2,
                                   [](double t, const StoryCandidate& c) { return t < c.startTime; });
        while (it != sorted.begin()) {
            --it;
            if (s.startTime >= it->startTime - 2 && s.endTime <= it->endTime + 2 && s.endTime > s.startTime)
                return true;
        }
        return false;
    };
    const qsizetype before = results.segments.size();
    results.segments.removeIf([&](const StorySegment& s) { return !inside(s); });
    return before - results.segments.size();
}

} // namespace ondrel
