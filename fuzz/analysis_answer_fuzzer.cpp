// Any bytes at all, read every way the program reads outside input from the model and from
// Resolve: as a Messages API body (whole or streamed as events), as the model's own text (cleaning, strict decoding with its
// reasons, manual recovery), as the clip program's output and as a probe cache. None may crash.

#include "analysis/AnswerText.h"
#include "analysis/ClipLayout.h"
#include "core/DecodeError.h"
#include "analysis/ManualParse.h"
#include "analysis/TimelineClips.h"

#include <cstddef>
#include <cstdint>

using namespace ondrel;

namespace {

const QStringList mediaPaths{QStringLiteral("/m/a.wav"), QStringLiteral("/m/b.mov"),
                             QStringLiteral("/n/a.wav")};

void useResults(const MiningResults& results) {
    (void)segmentsJson(results.segments);
    const QList<ClipOffset> offsets{{QStringLiteral("a.wav"), 0, 60}, {QStringLiteral("b.mov"), 60, 1e9}};
    (void)applyOffsets(results, offsets);
    for (const StorySegment& s : results.segments) {
        (void)formatFixed(s.startTime, 1);
        (void)truncatedToInteger(s.endTime);
    }
}

void readAnswerText(const QString& text) {
    const QString cleaned = cleanAnswerText(text);
    (void)leadingCharacters(cleaned, 300);
    (void)characterCount(cleaned);
    const std::optional<QByteArray> data = strictUtf8Bytes(cleaned);
    if (!data)
        return;
    const Decoded<MiningResults> story = decodeExplained<MiningResults>(*data);
    if (const auto* results = std::get_if<MiningResults>(&story))
        useResults(*results);
    const Decoded<AuditReport> audit = decodeExplained<AuditReport>(*data);
    if (const auto* report = std::get_if<AuditReport>(&audit))
        (void)truncatedToInteger(report->confidenceScore);
    if (const std::optional<MiningResults> recovered = tryManualParse(cleaned))
        useResults(*recovered);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));

    if (const std::optional<QString> text = answerTextFromBody(bytes))
        readAnswerText(*text);
    if (const std::optional<QString> text = readAnswerEvents(bytes).text)
        readAnswerText(*text);
    const std::optional<QString> utf8 = strictUtf8(bytes);
    readAnswerText(utf8 ? *utf8 : QString::fromUtf8(bytes));

    const QString output = QString::fromUtf8(bytes);
    const ClipReading reading = readTimelineClipsOutput(output);
    if (reading.clips) {
        const QList<UsedSegment> used = mapTimelineClipsToTranscript(*reading.clips, mediaPaths);
        (void)markedTranscript({{0, 10, output.left(40), QString()}}, used);
    }

    const QList<ClipOffset> offsets = offsetsFromProbeCache(bytes, mediaPaths);
    (void)sourceClipMap(offsets);
    return 0;
}
