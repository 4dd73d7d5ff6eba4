#pragma once
// Measuring each source file once with ffprobe, and the probe cache the timeline programs read.

#include "core/Json.h"
#include "core/LocalPipeline.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <optional>

namespace ondrel {

// "HH:MM:SS:FF" (or ";" before the frames, read as non-drop) to seconds; 0 unless four parts.
double timecodeToSeconds(const QString& tc, double fps);
// Seconds to "%02d:%02d:%02d:%02d"; the hours simply grow past 99.
QString secondsToTimecode(double seconds, double fps);
// Whole seconds as "m:ss"; minutes are never carried into hours ("62:05").
QString formatDuration(double seconds);

// What ffprobe's JSON (-show_format -show_streams) says of one file; absent unless an object. An
// empty object, ffprobe's answer for a file it cannot open, is a file of no length.
std::optional<ProbeResult> probeResultFromJson(const Json& probe, const QString& path);

// ffprobe's JSON for a file; absent when the output does not parse as an object.
QCoro::Task<std::optional<Json>> ffprobeJson(const ToolRunner& tools, QString path);

QCoro::Task<std::optional<ProbeResult>> probeMediaFile(LocalPipeline& pipeline, QString path);
// Asks ffprobe, without a log line, about each path the pipeline holds no answer for (a mine
// reopened from its saved project was never probed in this process) and keeps the answers; a
// file it cannot read is kept as of no length. The caller keeps the pipeline alive.
QCoro::Task<void> probeMissing(LocalPipeline& pipeline, QStringList paths);
// Fills probeResults, logs a line per file and rewrites probe_results.json.
QCoro::Task<void> probeAllMedia(LocalPipeline& pipeline, QStringList paths);

// The probe cache's text: every file under its name, all twelve keys (nulls included), sorted.
std::optional<QByteArray> probeCacheBytes(const QMap<QString, ProbeResult>& probes);
QString probeCachePath(const AppPaths& paths);
void saveProbeCache(const LocalPipeline& pipeline);

} // namespace ondrel
