#include "ManualParse.h"

#include "AnswerText.h"

namespace ondrel {

namespace {

// A value of another JSON type counts as a missing one.
template <class T> std::optional<T> valueAt(const Json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end())
        return std::nullopt;
    T value{};
    if (!readJson(*it, value))
        return std::nullopt;
    return value;
}

// A list in which every element is an object; any other element spoils the whole list.
const Json* objectList(const Json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_array())
        return nullptr;
    for (const Json& element : *it)
        if (!element.is_object())
            return nullptr;
    return &*it;
}

} // namespace

std::optional<MiningResults> tryManualParse(const QString& cleanedText) {
    const std::optional<QByteArray> bytes = strictUtf8Bytes(cleanedText);
    if (!bytes)
        return std::nullopt;
    const std::optional<Json> document = parseJson(*bytes);
    if (!document || !document->is_object())
        return std::nullopt;

    const Json* segmentList = objectList(*document, "segments");
    if (!segmentList)
        return std::nullopt;

    MiningResults results;
    qint64 position = 0;
    for (const Json& item : *segmentList) {
        // The position counts every object, skipped ones too, so numbers stay as the model had them.
        const qint64 here = position++;
        const std::optional<double> start = valueAt<double>(item, "startTime");
        const std::optional<double> end = valueAt<double>(item, "endTime");
        if (!start || !end)
            continue;
        StorySegment segment;
        segment.index = valueAt<qint64>(item, "index").value_or(here);
        segment.startTime = *start;
        segment.endTime = *end;
        segment.sourceClip = valueAt<QString>(item, "sourceClip").value_or(QStringLiteral("source"));
        segment.transcript = valueAt<QString>(item, "transcript").value_or(QString());
        segment.translation = valueAt<QString>(item, "translation").value_or(QString());
        segment.chapter = valueAt<QString>(item, "chapter");
        results.segments.push_back(std::move(segment));
    }
    if (results.segments.isEmpty())
        return std::nullopt;

    const auto structure = document->find("structure");
    if (structure != document->end() && structure->is_object()) {
        if (const Json* acts = objectList(*structure, "acts")) {
            for (const Json& item : *acts) {
                Act act;
                act.name = valueAt<QString>(item, "name").value_or(QStringLiteral("Untitled"));
                act.segments = valueAt<QList<qint64>>(item, "segments").value_or(QList<qint64>());
                results.structure.acts.push_back(std::move(act));
            }
        }
    }

    // Always the computed sum: the answer's own totalDuration is not trusted.
    double total = 0;
    for (const StorySegment& segment : results.segments)
        total += segment.endTime - segment.startTime;
    results.structure.totalDuration = total;

    if (const Json* subtitles = objectList(*document, "subtitles")) {
        for (const Json& item : *subtitles) {
            const std::optional<double> start = valueAt<double>(item, "startTime");
            const std::optional<double> end = valueAt<double>(item, "endTime");
            const std::optional<QString> text = valueAt<QString>(item, "text");
            if (start && end && text)
                results.subtitles.push_back({*start, *end, *text});
        }
    }

    results.estimatedDuration = valueAt<double>(*document, "estimatedDuration").value_or(total);
    return results;
}

} // namespace ondrel
