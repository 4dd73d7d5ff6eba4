#include "SourceClips.h"

#include <QFileInfo>
#include <QSaveFile>

#include <QCoroTask>

#include <algorithm>
#include <cmath>

namespace ondrel {

namespace {

constexpr double SHORTEST_INTERVIEW_FILE = 10.0; // slates and stray clips are this long or shorter

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

namespace {

QByteArray readProbeCache(const LocalPipeline& pipeline) {
    QFile file(pipeline.paths().cacheDir + QStringLiteral("/probe_results.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QCoro::Task<QList<ClipOffset>> offsetsFromFfprobe(const ToolRunner* tools, QString ffprobe,
                                                  QStringList mediaPaths) {
    QStringList sorted = mediaPaths;
    std::sort(sorted.begin(), sorted.end());
    QList<ClipOffset> offsets;
    double sum = 0.0;
    for (const QString& path : sorted) {
        QStringList args;
        args << QStringLiteral("-v") << QStringLiteral("quiet") << QStringLiteral("-show_entries")
             << QStringLiteral("format=duration") << QStringLiteral("-of") << QStringLiteral("csv=p=0")
             << path;
        const QString output = co_await tools->runProcessOutput(ffprobe, args);
        bool ok = false;
        double duration = output.trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(duration))
            duration = 0.0;
        if (duration > SHORTEST_INTERVIEW_FILE) {
            offsets.push_back({QFileInfo(path).fileName(), sum, sum + duration});
            sum += duration;
        }
    }
    co_return offsets;
}

MiningResults finish(LocalPipeline& pipeline, const MiningResults& analysis,
                     const QList<ClipOffset>& offsets) {
    if (offsets.isEmpty())
        return analysis;
    pipeline.log(QStringLiteral("📋 Source clip map: ") + sourceClipMap(offsets), QStringLiteral("muted"));
    return applyOffsets(analysis, offsets);
}

} // namespace

QCoro::Task<MiningResults> assignSourceClipsTask(LocalPipeline& pipeline, MiningResults analysis,
                                                 QStringList mediaPaths) {
    if (mediaPaths.isEmpty())
        co_return analysis;
    QList<ClipOffset> offsets = offsetsFromProbeCache(readProbeCache(pipeline), mediaPaths);
    if (offsets.isEmpty())
        offsets = co_await offsetsFromFfprobe(&pipeline.tools(), pipeline.toolPaths().ffprobe, mediaPaths);
    co_return finish(pipeline, analysis, offsets);
}

MiningResults assignSourceClips(LocalPipeline& pipeline, const MiningResults& analysis,
                                const QStringList& mediaPaths) {
    if (mediaPaths.isEmpty())
        return analysis;
    QList<ClipOffset> offsets = offsetsFromProbeCache(readProbeCache(pipeline), mediaPaths);
    if (offsets.isEmpty())
        offsets =
            QCoro::waitFor(offsetsFromFfprobe(&pipeline.tools(), pipeline.toolPaths().ffprobe, mediaPaths));
    return finish(pipeline, analysis, offsets);
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

QString segmentsJsonPath(const LocalPipeline& pipeline) {
    return pipeline.paths().cacheDir + QStringLiteral("/segments.json");
}

namespace {

// Write errors are swallowed on purpose; the folder is made earlier in the run, not here.
void writeAtomically(const QString& path, const QByteArray& data) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(data);
    file.commit();
}

} // namespace

void writeSegmentsJson(LocalPipeline& pipeline, const MiningResults& analysis) {
    const std::optional<QByteArray> data = segmentsJson(analysis.segments);
    if (!data)
        return;
    writeAtomically(segmentsJsonPath(pipeline), *data);
    pipeline.log(QStringLiteral("  Wrote %1 segments to cache").arg(analysis.segments.size()),
                 QStringLiteral("dim"));
}

void writeSegmentsJsonPublic(const LocalPipeline& pipeline, const QList<StorySegment>& segments) {
    const std::optional<QByteArray> data = segmentsJson(segments);
    if (!data)
        return;
    writeAtomically(segmentsJsonPath(pipeline), *data);
}

} // namespace ondrel
