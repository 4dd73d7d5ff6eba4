#include "AudioExtraction.h"

#include "MediaProbe.h"
#include "MediaSupport.h"
#include "core/Files.h"
#include "core/PythonProgram.h"
#include "core/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

namespace ondrel {

using media::pcmOutputArgs;
using media::readDouble;

namespace {

QString jsonText(const Json& stream, const char* key) {
    const auto it = stream.find(key);
    if (it == stream.end())
        return {};
    if (it->is_string())
        return QString::fromStdString(it->get<std::string>());
    return QString::fromStdString(it->dump());
}

} // namespace

// ---- the timeline's files -------------------------------------------------------------------

PythonProgram timelineMediaProgram(const QString& timeline, const QString& moduleDir) {
    Json args = Json::object();
    args["module_dir"] = moduleDir.toStdString();
    args["timeline"] = timeline.toStdString();
    return pythonProgram(scriptResource(QStringLiteral("media_timeline_media.py")), args);
}

std::optional<QStringList> parseTimelineMediaOutput(const QString& output) {
    if (output.startsWith(QLatin1String("ERROR:")))
        return std::nullopt;
    QStringList paths;
    const QStringList lines = output.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty() && !trimmed.startsWith(QLatin1String("ERROR:")))
            paths << trimmed;
    }
    if (paths.isEmpty())
        return std::nullopt;
    return paths;
}

QCoro::Task<std::optional<QStringList>> getTimelineMedia(LocalPipeline& pipeline, QString timeline) {
    const PythonProgram program = timelineMediaProgram(timeline, pipeline.paths().resolveScriptLib);
    const std::optional<QString> output = co_await pipeline.tools().runPython(program);
    if (!output)
        co_return std::nullopt;
    co_return parseTimelineMediaOutput(*output);
}

// ---- extraction -----------------------------------------------------------------------------

SourceAudio sourceAudioFromProbe(const QString& path, const std::optional<Json>& probe) {
    SourceAudio s;
    s.path = path;
    // ffprobe prints an empty object for a file it cannot open.
    if (!probe || !probe->is_object() || (!probe->contains("format") && !probe->contains("streams")))
        return s;
    s.readable = true;
    const auto formatIt = probe->find("format");
    if (formatIt != probe->end() && formatIt->is_object()) {
        const auto d = formatIt->find("duration");
        if (d != formatIt->end() && d->is_string())
            s.duration = std::max(0.0, readDouble(QString::fromStdString(d->get<std::string>())).value_or(0));
    }
    const auto streamsIt = probe->find("streams");
    if (streamsIt == probe->end() || !streamsIt->is_array())
        return s;
    QStringList layout;
    int audioIndex = 0;
    qint64 bestChannels = -1;
    for (const Json& stream : *streamsIt) {
        if (!stream.is_object())
            continue;
        const QString type = jsonText(stream, "codec_type");
        if (type != QLatin1String("audio")) {
            layout << type;
            continue;
        }
        // What the concat reader's decoder is set up from: the first file's audio format.
        layout << QStringList{type,
                              jsonText(stream, "codec_name"),
                              jsonText(stream, "sample_fmt"),
                              jsonText(stream, "sample_rate"),
                              jsonText(stream, "channels"),
                              jsonText(stream, "channel_layout")}
                      .join(QLatin1Char(','));
        // ffmpeg's own pick: the audio stream with the most channels, the first of equals.
        const auto channels = stream.find("channels");
        const qint64 count =
            channels != stream.end() && channels->is_number_integer() ? channels->get<qint64>() : 0;
        if (count > bestChannels) {
            bestChannels = count;
            s.audioStream = audioIndex;
        }
        ++audioIndex;
    }
    s.layout = layout.join(QLatin1Char(';'));
    return s;
}

ExtractionPlan planExtraction(const QList<SourceAudio>& sources, const QString& concatPath,
                              const QString& output) {
    ExtractionPlan plan;
    if (sources.size() == 1) {
        plan.args << QStringLiteral("-y") << QStringLiteral("-i") << sources.front().path;
        plan.args << pcmOutputArgs(output);
        return plan;
    }

    QStringList lines;
    for (const SourceAudio& s : sources)
        lines << QStringLiteral("file '%1'").arg(s.path);
    plan.concatList = lines.join(QLatin1Char('\n'));

    const bool allReadable =
        std::all_of(sources.begin(), sources.end(), [](const SourceAudio& s) { return s.readable; });
    const bool oneLayout = std::all_of(sources.begin(), sources.end(), [&](const SourceAudio& s) {
        return s.layout == sources.front().layout;
    });
    const bool anyAudio = std::any_of(sources.begin(), sources.end(),
                                      [](const SourceAudio& s) { return s.readable && s.audioStream >= 0; });
    // The concat reader is right for readable files of one layout. With no sound anywhere it
    // fails, as extraction is meant to.
    if (sources.isEmpty() || !anyAudio || (allReadable && oneLayout)) {
        plan.args << QStringLiteral("-y") << QStringLiteral("-f") << QStringLiteral("concat")
                  << QStringLiteral("-safe") << QStringLiteral("0") << QStringLiteral("-i") << concatPath;
        plan.args << pcmOutputArgs(output);
        return plan;
    }

    plan.perFileAudio = true;
    plan.args << QStringLiteral("-y");
    QStringList filters;
    QString joined;
    int inputs = 0;
    int parts = 0;
    for (const SourceAudio& s : sources) {
        // A file ffprobe cannot open (already reported by probing) has no length on the clock;
        // the concat reader would stop at it and drop every file after it.
        if (!s.readable)
            continue;
        const QString label = QStringLiteral("[s%1]").arg(parts);
        const QString length = formatDouble(s.duration);
        if (s.audioStream >= 0) {
            plan.args << QStringLiteral("-i") << s.path;
            // Padded to the container's length so the next file starts where the clock says.
            const QString pad =
                s.duration > 0 ? QStringLiteral("apad=whole_dur=%1").arg(length) : QStringLiteral("anull");
            filters << QStringLiteral("[%1:a:%2]%3%4").arg(inputs).arg(s.audioStream).arg(pad, label);
            ++inputs;
        } else if (s.duration > 0) {
            filters << QStringLiteral("anullsrc=r=16000:cl=mono,atrim=duration=%1%2").arg(length, label);
        } else {
            continue;
        }
        joined += label;
        ++parts;
    }
    filters << QStringLiteral("%1concat=n=%2:v=0:a=1[out]").arg(joined).arg(parts);
    plan.args << QStringLiteral("-filter_complex") << filters.join(QLatin1Char(';')) << QStringLiteral("-map")
              << QStringLiteral("[out]");
    plan.args << pcmOutputArgs(output);
    return plan;
}

QCoro::Task<std::optional<QString>> extractAudio(LocalPipeline& pipeline, QStringList mediaPaths) {
    const AppPaths& paths = pipeline.paths();
    if (!QDir().mkpath(media::workDir(paths)))
        co_return std::nullopt;
    const QString output = media::extractedAudioPath(paths);
    // ffmpeg writes beside it and the result is renamed into place, so a failed run never leaves
    // half an extraction for the word-level pass of a later run.
    const QString partial = media::workDir(paths) + QStringLiteral("/extracted_audio.partial.wav");
    const QString concatPath = media::workDir(paths) + QStringLiteral("/concat.txt");
    const QStringList ordered = sortedPaths(mediaPaths);

    QList<SourceAudio> sources;
    if (ordered.size() == 1) {
        SourceAudio only;
        only.path = ordered.front();
        sources << only;
    } else {
        for (const QString& path : ordered)
            sources << sourceAudioFromProbe(path, co_await ffprobeJson(pipeline.tools(), path));
    }
    const ExtractionPlan plan = planExtraction(sources, concatPath, partial);
    if (ordered.size() != 1 && !writeFileAtomically(concatPath, plan.concatList.toUtf8()))
        co_return std::nullopt;
    const bool ok = co_await pipeline.tools().runProcess(pipeline.toolPaths().ffmpeg, plan.args);
    std::error_code error;
    if (ok)
        std::filesystem::rename(QFile::encodeName(partial).toStdString(),
                                QFile::encodeName(output).toStdString(), error);
    if (!ok || error) {
        QFile::remove(partial);
        co_return std::nullopt;
    }
    co_return output;
}

// ---- chunking -------------------------------------------------------------------------------

bool isExtractedPcmWav(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(12);
    if (head.size() != 12 || !head.startsWith("RIFF") || head.mid(8, 4) != "WAVE")
        return false;
    // Walk the chunks up to "fmt ".
    for (int guard = 0; guard < 64; ++guard) {
        const QByteArray header = file.read(8);
        if (header.size() != 8)
            return false;
        const quint32 size = qFromLittleEndian<quint32>(header.constData() + 4);
        if (header.startsWith("fmt ")) {
            if (size < 16)
                return false;
            const QByteArray fmt = file.read(16);
            if (fmt.size() != 16)
                return false;
            const auto format = qFromLittleEndian<quint16>(fmt.constData());
            const auto channels = qFromLittleEndian<quint16>(fmt.constData() + 2);
            const auto rate = qFromLittleEndian<quint32>(fmt.constData() + 4);
            const auto bits = qFromLittleEndian<quint16>(fmt.constData() + 14);
            return format == 1 && channels == 1 && rate == 16000 && bits == 16;
        }
        if (!file.seek(file.pos() + size + (size & 1)))
            return false;
    }
    return false;
}

QString chunkPath(const QString& dir, int index) {
    return dir + QStringLiteral("/chunk_") + QString::asprintf("%03d", index) + QStringLiteral(".wav");
}

int chunkCount(double duration) {
    if (!(duration > 0))
        return 0;
    // A damaged header can claim any length; a year of audio is beyond any real interview.
    constexpr double maxChunks = 366.0 * 24 * 3600 / kChunkSeconds;
    return int(std::min(std::ceil(duration / kChunkSeconds), maxChunks));
}

QStringList chunkArguments(const QString& input, int index, const QString& output, bool seekBeforeInput) {
    const QString start = formatDouble(double(index) * kChunkSeconds);
    QStringList args{QStringLiteral("-y")};
    if (seekBeforeInput)
        args << QStringLiteral("-ss") << start << QStringLiteral("-i") << input;
    else
        args << QStringLiteral("-i") << input << QStringLiteral("-ss") << start;
    args << QStringLiteral("-t") << formatDouble(kChunkSeconds);
    args << pcmOutputArgs(output);
    return args;
}

QCoro::Task<QStringList> chunkAudio(LocalPipeline& pipeline, QString wavPath) {
    const QString dir = media::chunksDir(pipeline.paths());
    QDir(dir).removeRecursively();
    QDir().mkpath(dir);

    QStringList probeArgs;
    probeArgs << QStringLiteral("-v") << QStringLiteral("quiet") << QStringLiteral("-show_entries")
              << QStringLiteral("format=duration") << QStringLiteral("-of") << QStringLiteral("csv=p=0")
              << wavPath;
    const QString text = co_await pipeline.tools().runProcessOutput(pipeline.toolPaths().ffprobe, probeArgs);
    const double duration = readDouble(text.trimmed()).value_or(0);
    if (duration == 0)
        co_return QStringList{wavPath};

    const int count = chunkCount(duration);
    const bool seekBeforeInput = isExtractedPcmWav(wavPath);
    QStringList chunks;
    for (int i = 0; i < count; ++i) {
        const QString out = chunkPath(dir, i);
        const bool ok = co_await pipeline.tools().runProcess(
            pipeline.toolPaths().ffmpeg, chunkArguments(wavPath, i, out, seekBeforeInput));
        if (ok)
            chunks << out;
    }
    if (chunks.isEmpty())
        co_return QStringList{wavPath};
    co_return chunks;
}

} // namespace ondrel
