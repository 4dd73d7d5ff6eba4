#include "ClipLayout.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace ondrel {

namespace {

std::optional<double> numberAt(const Json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_number())
        return std::nullopt;
    return it->get<double>();
}

} // namespace

QList<ClipOffset> offsetsFromProbeCache(const QByteArray& cacheBytes, const QStringList& mediaPaths) {
    const std::optional<Json> cache = parseJson(cacheBytes);
    if (!cache || !cache->is_object())
        return {};

    struct Timed {
        QString name;
        double timecode;
        double duration;
    };
    QList<Timed> files;
    for (const QString& path : mediaPaths) {
        const QString name = QFileInfo(path).fileName();
        const auto entry = cache->find(name.toStdString());
        if (entry == cache->end() || !entry->is_object())
            continue;
        const std::optional<double> duration = numberAt(*entry, "duration");
        if (!duration || !(*duration > SHORTEST_INTERVIEW_FILE))
            continue;
        double timecode = numberAt(*entry, "startTimecodeSeconds").value_or(0.0);
        if (!std::isfinite(timecode))
            timecode = 0.0; // keeps the ordering total
        files.push_back({name, timecode, *duration});
    }
    std::stable_sort(files.begin(), files.end(),
                     [](const Timed& a, const Timed& b) { return a.timecode < b.timecode; });

    // Laid end to end: gaps between the timecodes do not count.
    QList<ClipOffset> offsets;
    double sum = 0.0;
    for (const Timed& file : files) {
        offsets.push_back({file.name, sum, sum + file.duration});
        sum += file.duration;
    }
    return offsets;
}

QString sourceClipMap(const QList<ClipOffset>& offsets) {
    QStringList entries;
    for (const ClipOffset& o : offsets)
        entries << o.name + QStringLiteral(": ") + formatDouble(std::round(o.start)) + QStringLiteral("s–") +
                       formatDouble(std::round(o.end)) + QLatin1Char('s');
    return entries.join(QStringLiteral(", "));
}

MiningResults applyOffsets(const MiningResults& analysis, const QList<ClipOffset>& offsets) {
    MiningResults out = analysis;
    for (StorySegment& segment : out.segments) {
        // Only the start decides: a moment running over a file's end belongs where it begins.
        for (const ClipOffset& o : offsets) {
            if (o.start <= segment.startTime && o.end > segment.startTime) {
                segment.sourceClip = o.name;
                break;
            }
        }
    }
    return out;
}

std::optional<QByteArray> segmentsJson(const QList<StorySegment>& segments) {
    Json array = Json::array();
    for (const StorySegment& s : segments) {
        Json object = Json::object();
        object["chapter"] = s.chapter ? toJson(*s.chapter) : Json(nullptr);
        object["endTime"] = s.endTime;
        object["index"] = static_cast<std::int64_t>(s.index);
        object["sourceClip"] = toJson(s.sourceClip);
        object["startTime"] = s.startTime;
        object["transcript"] = toJson(s.transcript);
        object["translation"] = toJson(s.translation);
        array.push_back(std::move(object));
    }
    // Checked before sorting: the sorting copy would quietly turn a NaN into null.
    if (containsNonFinite(array))
        return std::nullopt;
    return dumpJson(sortedKeys(array), 2);
}

} // namespace ondrel
