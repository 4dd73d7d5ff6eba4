#include "MediaProbe.h"

#include "MediaSupport.h"
#include "core/Files.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>
#include <deque>
#include <limits>

namespace ondrel {

using media::readDouble;
using media::readInteger;

namespace {

// The integer part, held inside qint64 so absurd inputs print oddly instead of overflowing.
qint64 wholePart(double seconds) {
    if (!std::isfinite(seconds))
        return 0;
    constexpr double limit = 9.2e18;
    return static_cast<qint64>(std::clamp(std::trunc(seconds), -limit, limit));
}

// A field of the given JSON type, or nothing when it is missing or of another type.
template <class T, bool (Json::*isType)() const noexcept>
std::optional<T> fieldAt(const Json& object, const char* key) {
    if (!object.is_object())
        return std::nullopt;
    const auto it = object.find(key);
    if (it == object.end() || !((*it).*isType)())
        return std::nullopt;
    T out{};
    if (!readJson(*it, out))
        return std::nullopt;
    return out;
}

std::optional<QString> stringAt(const Json& object, const char* key) {
    return fieldAt<QString, &Json::is_string>(object, key);
}

std::optional<qint64> integerAt(const Json& object, const char* key) {
    return fieldAt<qint64, &Json::is_number_integer>(object, key);
}

std::optional<double> frameRate(const QString& fraction) {
    const QStringList parts = fraction.split(QLatin1Char('/'));
    if (parts.size() != 2)
        return std::nullopt;
    const auto num = readDouble(parts[0]);
    const auto den = readDouble(parts[1]);
    if (!num || !den || *den <= 0)
        return std::nullopt;
    const double fps = *num / *den;
    return std::isfinite(fps) ? std::optional<double>(fps) : std::nullopt;
}

Json nullable(const auto& value) {
    return value ? toJson(*value) : Json();
}

} // namespace

double timecodeToSeconds(const QString& tc, double fps) {
    QString text = tc;
    text.replace(QLatin1Char(';'), QLatin1Char(':'));
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 4)
        return 0;
    auto part = [&](int i) { return readDouble(parts[i]).value_or(0); };
    const double seconds = part(0) * 3600 + part(1) * 60 + part(2) + part(3) / fps;
    return std::isfinite(seconds) ? seconds : 0;
}

QString secondsToTimecode(double seconds, double fps) {
    const qint64 whole = wholePart(seconds);
    const qint64 frames = wholePart((seconds - double(whole)) * fps);
    return QString::asprintf("%02lld:%02lld:%02lld:%02lld", static_cast<long long>(whole / 3600),
                             static_cast<long long>((whole % 3600) / 60), static_cast<long long>(whole % 60),
                             static_cast<long long>(frames));
}

QString formatDuration(double seconds) {
    const qint64 whole = wholePart(seconds);
    return QString::asprintf("%lld:%02lld", static_cast<long long>(whole / 60),
                             static_cast<long long>(whole % 60));
}

std::optional<ProbeResult> probeResultFromJson(const Json& probe, const QString& path) {
    // ffprobe prints an empty object for a file it cannot open (missing, empty, not media): a file
    // of no length, which extraction then leaves out.
    if (!probe.is_object())
        return std::nullopt;
    ProbeResult r;
    r.path = path;
    r.filename = QFileInfo(path).fileName();

    static const Json noStreams = Json::array();
    const auto streamsIt = probe.find("streams");
    const Json& streams = streamsIt != probe.end() && streamsIt->is_array() ? *streamsIt : noStreams;

    const auto formatIt = probe.find("format");
    if (formatIt != probe.end() && formatIt->is_object()) {
        if (const auto d = stringAt(*formatIt, "duration"))
            r.duration = readDouble(*d).value_or(0);
        const auto tagsIt = formatIt->find("tags");
        if (tagsIt != formatIt->end() && tagsIt->is_object()) {
            const Json& tags = *tagsIt;
            if (const auto tc = stringAt(tags, "timecode")) {
                // 24 on purpose: the file's own rate is not looked up here.
                r.startTimecode = *tc;
                r.startTimecodeSeconds = timecodeToSeconds(*tc, 24);
            } else if (const auto ref = stringAt(tags, "time_reference")) {
                // A broadcast WAV counts its start in samples of its own rate.
                const auto samples = readDouble(*ref);
                const auto rateText =
                    streams.empty() ? std::nullopt : stringAt(streams.front(), "sample_rate");
                const auto rate = rateText ? readDouble(*rateText) : std::nullopt;
                if (samples && rate && *rate > 0) {
                    const double seconds = *samples / *rate;
                    r.startTimecodeSeconds = seconds;
                    r.startTimecode = secondsToTimecode(seconds, 24);
                }
            }
        }
    }
    if (!r.startTimecode) {
        // Camera MOVs carry their timecode on the timecode track (and often the video stream),
        // not in the format's tags.
        for (const Json& stream : streams) {
            const auto tagsIt = stream.is_object() ? stream.find("tags") : stream.end();
            if (!stream.is_object() || tagsIt == stream.end())
                continue;
            if (const auto tc = stringAt(*tagsIt, "timecode")) {
                r.startTimecode = *tc;
                r.startTimecodeSeconds = timecodeToSeconds(*tc, 24);
                break;
            }
        }
    }

    for (const Json& stream : streams) {
        const auto type = stringAt(stream, "codec_type");
        if (!type)
            continue;
        if (*type == QLatin1String("video")) {
            r.hasVideo = true;
            if (const auto rate = stringAt(stream, "r_frame_rate"))
                if (const auto fps = frameRate(*rate))
                    r.fps = fps;
        } else if (*type == QLatin1String("audio")) {
            r.hasAudio = true;
            const auto codecName = stringAt(stream, "codec_name");
            if (!r.codec)
                r.codec = codecName;
            if (!r.sampleRate)
                if (const auto rate = stringAt(stream, "sample_rate"))
                    r.sampleRate = readInteger(*rate);
            if (!r.channels)
                r.channels = integerAt(stream, "channels");
            if (!r.bitDepth) {
                if (const auto bits = integerAt(stream, "bits_per_sample")) {
                    r.bitDepth = bits;
                } else if (codecName) {
                    if (codecName->contains(QLatin1String("s24")))
                        r.bitDepth = 24;
                    else if (codecName->contains(QLatin1String("s16")))
                        r.bitDepth = 16;
                    else if (codecName->contains(QLatin1String("s32")))
                        r.bitDepth = 32;
                }
            }
        }
    }
    return r;
}

QCoro::Task<std::optional<Json>> ffprobeJson(const ToolRunner& tools, QString path) {
    QStringList args;
    args << QStringLiteral("-v") << QStringLiteral("quiet") << QStringLiteral("-print_format")
         << QStringLiteral("json") << QStringLiteral("-show_format") << QStringLiteral("-show_streams")
         << path;
    const QString out = co_await tools.runProcessOutput(tools.tools().ffprobe, args);
    auto json = parseJson(out.toUtf8());
    if (!json || !json->is_object())
        co_return std::nullopt;
    co_return json;
}

QCoro::Task<void> probeMissing(LocalPipeline& pipeline, QStringList paths) {
    for (const QString& path : paths) {
        if (pipeline.probeOutput(path))
            continue;
        const std::optional<Json> json = co_await ffprobeJson(pipeline.tools(), path);
        pipeline.rememberProbeOutput(path, json.value_or(Json::object()));
    }
}

QCoro::Task<std::optional<ProbeResult>> probeMediaFile(LocalPipeline& pipeline, QString path) {
    const auto json = co_await ffprobeJson(pipeline.tools(), path);
    if (!json)
        co_return std::nullopt;
    co_return probeResultFromJson(*json, path);
}

QCoro::Task<void> probeAllMedia(LocalPipeline& pipeline, QStringList paths) {
    pipeline.setProbeResults({});
    pipeline.clearProbeOutputs();
    const qsizetype n = paths.size();
    pipeline.log(QStringLiteral("📋 Probing %1 source file%2...").arg(n).arg(plural(n)),
                 QStringLiteral("muted"));
    QMap<QString, ProbeResult> probes;
    // A probe is mostly ffprobe starting up, so a few run at once; their lines still come in order.
    constexpr qsizetype kProbesAtOnce = 4;
    std::deque<QCoro::Task<std::optional<Json>>> ahead;
    qsizetype started = 0;
    for (qsizetype i = 0; i < n; ++i) {
        if (pipeline.isCancelled()) {
            for (QCoro::Task<std::optional<Json>>& probe : ahead)
                co_await std::move(probe); // a cancel ends them at once; none outlives the step
            co_return;
        }
        for (; started < n && started < i + kProbesAtOnce; ++started)
            ahead.push_back(ffprobeJson(pipeline.tools(), paths[started]));
        pipeline.setProgress(0.02 + 0.03 * double(i) / double(n));
        const QString path = paths[i];
        const std::optional<Json> json = co_await std::move(ahead.front());
        ahead.pop_front();
        // By full path: cameras repeat file names across cards, and extraction needs each one's own.
        if (json)
            pipeline.rememberProbeOutput(path, *json);
        const std::optional<ProbeResult> r = json ? probeResultFromJson(*json, path) : std::nullopt;
        if (r) {
            probes.insert(r->filename, *r);
            pipeline.setProbeResults(probes);
            pipeline.log(QStringLiteral("  %1: %2, TC: %3, %4")
                             .arg(r->filename, formatDuration(r->duration), r->startTimecode.value_or("none"),
                                  r->sampleRate ? QStringLiteral("%1Hz").arg(*r->sampleRate)
                                                : QStringLiteral("unknown")),
                         QStringLiteral("dim"));
        } else {
            pipeline.log(QStringLiteral("  ⚠ Failed to probe ") + QFileInfo(path).fileName(),
                         QStringLiteral("accent"));
        }
    }
    // A probe stopped by a cancel would leave a cache of some of the files.
    if (pipeline.isCancelled())
        co_return;
    if (!probes.isEmpty()) {
        pipeline.log(QStringLiteral("✓ Probed %1 file%2").arg(probes.size()).arg(plural(probes.size())),
                     QStringLiteral("green"));
        saveProbeCache(pipeline);
    }
}

std::optional<QByteArray> probeCacheBytes(const QMap<QString, ProbeResult>& probes) {
    Json root = Json::object();
    for (auto it = probes.begin(); it != probes.end(); ++it) {
        const ProbeResult& r = it.value();
        Json entry = Json::object();
        entry["path"] = toJson(r.path);
        entry["filename"] = toJson(r.filename);
        entry["duration"] = toJson(r.duration);
        entry["startTimecode"] = nullable(r.startTimecode);
        entry["startTimecodeSeconds"] = nullable(r.startTimecodeSeconds);
        entry["sampleRate"] = nullable(r.sampleRate);
        entry["fps"] = nullable(r.fps);
        entry["codec"] = nullable(r.codec);
        entry["hasVideo"] = toJson(r.hasVideo);
        entry["hasAudio"] = toJson(r.hasAudio);
        entry["channels"] = nullable(r.channels);
        entry["bitDepth"] = nullable(r.bitDepth);
        root[it.key().toStdString()] = std::move(entry);
    }
    return dumpJson(sortedKeys(root), 2);
}

QString probeCachePath(const AppPaths& paths) {
    return paths.cacheDir + QStringLiteral("/probe_results.json");
}

void saveProbeCache(const LocalPipeline& pipeline) {
    // Any failure is silent: the timeline programs then simply find no probe data.
    if (!QDir().mkpath(pipeline.paths().cacheDir))
        return;
    const auto bytes = probeCacheBytes(pipeline.probeResults());
    if (!bytes)
        return;
    writeFileAtomically(probeCachePath(pipeline.paths()), *bytes);
}

} // namespace ondrel
