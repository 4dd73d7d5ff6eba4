#include "Records.h"

#include "Clock.h"

#include <QHash>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace ondrel {

QString formatDouble(double v) {
    if (std::isnan(v))
        return QStringLiteral("nan");
    if (std::isinf(v))
        return v < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
    if (v == 0)
        return std::signbit(v) ? QStringLiteral("-0.0") : QStringLiteral("0.0");

    // Shortest round-trip digits in scientific form, then laid out the way a Swift-style
    // description does: plain decimals for exponents -4..15, otherwise "1.5e+20".
    std::array<char, 64> buf{};
    auto res = std::to_chars(buf.data(), buf.data() + buf.size(), v, std::chars_format::scientific);
    std::string sci(buf.data(), res.ptr);
    const bool negative = sci[0] == '-';
    if (negative)
        sci.erase(0, 1);
    const auto ePos = sci.find('e');
    std::string mantissa = sci.substr(0, ePos);
    const int exponent = std::stoi(sci.substr(ePos + 1));
    std::string digits;
    for (char c : mantissa)
        if (c != '.')
            digits += c;

    std::string out;
    if (exponent < -4 || exponent >= 16) {
        out = digits.substr(0, 1);
        if (digits.size() > 1)
            out += "." + digits.substr(1);
        out += exponent < 0 ? "e-" : "e+";
        const int absExp = std::abs(exponent);
        if (absExp < 10)
            out += '0';
        out += std::to_string(absExp);
    } else if (exponent < 0) {
        out = "0." + std::string(size_t(-exponent - 1), '0') + digits;
    } else {
        const size_t intLen = size_t(exponent) + 1;
        if (digits.size() <= intLen)
            out = digits + std::string(intLen - digits.size(), '0') + ".0";
        else
            out = digits.substr(0, intLen) + "." + digits.substr(intLen);
    }
    if (negative)
        out = "-" + out;
    return QString::fromStdString(out);
}

// ---- MiningMode ----------------------------------------------------------------------------

namespace {
struct ModeText {
    MiningMode mode;
    const char* raw;
    const char* label;
    const char* description;
    const char* subtitle;
    const char* color;
};

const ModeText kModes[] = {
    {MiningMode::fullMine, "Full Mine", "Full Mine",
     "Extract audio → transcribe → analyze → translate → build timeline",
     "Transcribe → Analyze → Translate → Subtitle → Timeline", "accent"},
    {MiningMode::storyMine, "Story Mine", "Story Mine", "Use existing transcript → analyze → build",
     "Existing transcript → Analyze → Build", "blue"},
    {MiningMode::structure, "Structure", "Structure", "Organize marked selects → subtitle",
     "Your selects → Organize → Subtitle", "green"},
    {MiningMode::audit, "Audit Mine", "Audit",
     "Compare existing timeline to full transcripts → find buried gold",
     "Existing timeline → Compare to transcript → Find buried gold", "purple"},
};

const ModeText& modeText(MiningMode m) {
    for (const auto& t : kModes)
        if (t.mode == m)
            return t;
    return kModes[0];
}

const std::pair<PipelineStep, const char*> kSteps[] = {
    {PipelineStep::idle, "Idle"},
    {PipelineStep::connecting, "Connecting to Resolve..."},
    {PipelineStep::extracting, "Extracting audio..."},
    {PipelineStep::chunking, "Preparing audio chunks..."},
    {PipelineStep::transcribing, "Transcribing with Whisper..."},
    {PipelineStep::analyzing, "Analyzing story structure..."},
    {PipelineStep::translating, "Translating..."},
    {PipelineStep::building, "Building timeline..."},
    {PipelineStep::complete, "Complete"},
    {PipelineStep::error, "Error"},
};
} // namespace

namespace MiningModes {
const QList<MiningMode>& allCases() {
    static const QList<MiningMode> all{MiningMode::fullMine, MiningMode::storyMine, MiningMode::structure,
                                       MiningMode::audit};
    return all;
}
std::optional<MiningMode> fromRaw(const QString& raw) {
    for (const auto& t : kModes)
        if (raw == QString::fromUtf8(t.raw))
            return t.mode;
    return std::nullopt;
}
QString rawValue(MiningMode m) {
    return QString::fromUtf8(modeText(m).raw);
}
QString modeLabel(MiningMode m) {
    return QString::fromUtf8(modeText(m).label);
}
QString description(MiningMode m) {
    return QString::fromUtf8(modeText(m).description);
}
QString subtitle(MiningMode m) {
    return QString::fromUtf8(modeText(m).subtitle);
}
QString color(MiningMode m) {
    return QString::fromUtf8(modeText(m).color);
}
} // namespace MiningModes

namespace PipelineSteps {
std::optional<PipelineStep> fromRaw(const QString& raw) {
    for (const auto& [step, text] : kSteps)
        if (raw == QString::fromUtf8(text))
            return step;
    return std::nullopt;
}
QString rawValue(PipelineStep s) {
    for (const auto& [step, text] : kSteps)
        if (step == s)
            return QString::fromUtf8(text);
    return {};
}
} // namespace PipelineSteps

// ---- PipelineLog ---------------------------------------------------------------------------

PipelineLog PipelineLog::make(const QString& text, const QString& color) {
    return make(Clock::system(), text, color);
}

PipelineLog PipelineLog::make(const Clock& clock, const QString& text, const QString& color) {
    return PipelineLog{QUuid::createUuid(), clock.now().toString(QStringLiteral("mm:ss")), text, color};
}

// ---- helpers -------------------------------------------------------------------------------

MiningResults withEditedSegments(MiningResults results, const QList<StorySegment>& segments) {
    // An act names places in the story's list: each is followed to its moment's new place.
    QHash<qint64, qint64> placeOf;
    double duration = 0;
    for (qsizetype i = 0; i < segments.size(); ++i) {
        placeOf.insert(segments[i].id(), i);
        duration += segments[i].endTime - segments[i].startTime;
    }
    QList<Act> acts;
    for (const Act& act : std::as_const(results.structure.acts)) {
        Act kept{act.name, {}};
        for (const qint64 place : act.segments) {
            if (place < 0 || place >= results.segments.size())
                continue;
            const auto now = placeOf.constFind(results.segments[place].id());
            if (now != placeOf.constEnd())
                kept.segments.push_back(*now);
        }
        if (!kept.segments.isEmpty())
            acts.push_back(std::move(kept));
    }
    results.structure.acts = std::move(acts);
    results.subtitles.removeIf([&](const Subtitle& sub) {
        return std::none_of(segments.begin(), segments.end(), [&](const StorySegment& s) {
            return sub.startTime < s.endTime && s.startTime < sub.endTime;
        });
    });
    results.segments = segments;
    results.estimatedDuration = duration;
    return results;
}

qint64 countWords(const TranscriptResult& transcript) {
    // The pieces between single spaces that are not empty, counted without making them: a week of
    // transcript is hundreds of thousands of words, counted on the window's thread.
    qint64 n = 0;
    for (const auto& s : transcript.segments) {
        bool inWord = false;
        for (const QChar c : s.text) {
            const bool space = c == QLatin1Char(' ');
            n += !space && !inWord;
            inWord = !space;
        }
    }
    return n;
}

QString SavedProject::id() const {
    // Integer part of the timestamp, towards zero, in full: a file may hold any number, and one past
    // the 64-bit range must not be cast into it.
    const double whole = std::trunc(createdAt);
    const QString secs = std::isfinite(whole) ? QString::asprintf("%.0f", whole + 0.0) : QStringLiteral("0");
    return timeline + '_' + secs;
}

} // namespace ondrel
