#include "SourceClips.h"

#include "core/Files.h"
#include "core/Text.h"

#include <QFileInfo>
#include <QSaveFile>

#include <QCoroTask>

#include <algorithm>
#include <cmath>

namespace ondrel {

namespace {

QByteArray readProbeCache(const LocalPipeline& pipeline) {
    QFile file(pipeline.paths().cacheDir + QStringLiteral("/probe_results.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QCoro::Task<QList<ClipOffset>> offsetsFromFfprobe(const ToolRunner* tools, QString ffprobe,
                                                  QStringList mediaPaths) {
    const QStringList sorted = sortedPaths(mediaPaths);
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

QString segmentsJsonPath(const LocalPipeline& pipeline) {
    return pipeline.paths().cacheDir + QStringLiteral("/segments.json");
}

void writeSegmentsJson(LocalPipeline& pipeline, const MiningResults& analysis) {
    const std::optional<QByteArray> data = segmentsJson(analysis.segments);
    if (!data)
        return;
    writeFileAtomically(segmentsJsonPath(pipeline), *data); // errors swallowed on purpose
    pipeline.log(QStringLiteral("  Wrote %1 segments to cache").arg(analysis.segments.size()),
                 QStringLiteral("dim"));
}

void writeSegmentsJsonPublic(const LocalPipeline& pipeline, const QList<StorySegment>& segments) {
    const std::optional<QByteArray> data = segmentsJson(segments);
    if (!data)
        return;
    writeFileAtomically(segmentsJsonPath(pipeline), *data); // errors swallowed on purpose
}

} // namespace ondrel
