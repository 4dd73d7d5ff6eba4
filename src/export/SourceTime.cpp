#include "SourceTime.h"

#include "ExportSupport.h"

#include <algorithm>

namespace ondrel {

std::optional<double> timecodeToSeconds(const std::optional<QString>& timecode, double fps) {
    if (!timecode)
        return std::nullopt;
    QList<qint64> parts;
    for (const QString& piece : timecode->split(u':', Qt::SkipEmptyParts))
        if (auto v = parseDecimalInteger(piece))
            parts.push_back(*v);
    if (parts.size() < 3)
        return std::nullopt;
    const double frames = parts.size() >= 4 ? double(parts[3]) : 0.0;
    return double(parts[0]) * 3600 + double(parts[1]) * 60 + double(parts[2]) + frames / fps;
}

QList<OffsetEntry> buildOffsetMap(const QList<MediaFileInfo>& mediaFiles) {
    struct Keyed {
        double start;
        const MediaFileInfo* file;
    };
    std::vector<Keyed> order;
    order.reserve(size_t(mediaFiles.size()));
    for (const MediaFileInfo& f : mediaFiles)
        order.push_back({timecodeToSeconds(f.startTimecode).value_or(0.0), &f});
    std::stable_sort(order.begin(), order.end(),
                     [](const Keyed& a, const Keyed& b) { return a.start < b.start; });

    QList<OffsetEntry> map;
    map.reserve(qsizetype(order.size()));
    double cursor = 0;
    for (const Keyed& k : order) {
        map.push_back({k.file->filename, cursor, cursor + k.file->duration, k.start});
        cursor += k.file->duration;
    }
    return map;
}

std::optional<ResolvedSourceTime> resolveSourceTime(double t, const QList<OffsetEntry>& offsetMap) {
    for (const OffsetEntry& e : offsetMap)
        if (e.seqStart <= t && t < e.seqEnd)
            return ResolvedSourceTime{e.filename, e.bwfStart + (t - e.seqStart)};
    if (!offsetMap.isEmpty() && offsetMap.last().seqStart <= t) {
        const OffsetEntry& e = offsetMap.last();
        return ResolvedSourceTime{e.filename, e.bwfStart + (t - e.seqStart)};
    }
    return std::nullopt;
}

} // namespace ondrel
