#include "AudioExtraction.h"

#include "ChunkUploads.h"
#include "MediaProbe.h"
#include "MediaSupport.h"
#include "PcmWav.h"
#include "core/Background.h"
#include "core/Files.h"
#include "core/PythonProgram.h"
#include "core/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtEndian>

#include <QCoroFuture>

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

namespace {

// Each part is brought to the output's own format before the join, so no resampler runs across
// two files. Left to itself, ffmpeg picks the join's format from the files (the first one's, or
// 16 kHz when silence comes first) and resamples the joined sound: every file after one whose
// length is no whole number of output samples starts a fraction of a sample off, a mono file next
// to stereo ones loses half its power, and a run's bytes depend on which files share it. This
// way pieces joined end to end are the bytes of one run over every file.
const QString kPartFormat = QStringLiteral("aformat=sample_fmts=s16:sample_rates=16000:channel_layouts=mono");

QString piecesListPath(const QString& piecesDir) {
    return piecesDir + QStringLiteral("/pieces.txt");
}

// ffmpeg's concat reader, which opens the listed files one at a time.
QStringList concatReaderRun(const QString& list, const QString& output) {
    QStringList args{QStringLiteral("-y"),
                     QStringLiteral("-f"),
                     QStringLiteral("concat"),
                     QStringLiteral("-safe"),
                     QStringLiteral("0"),
                     QStringLiteral("-i"),
                     list};
    return args + pcmOutputArgs(output);
}

QStringList partsRun(const QList<const SourceAudio*>& parts, const QString& output) {
    QStringList args{QStringLiteral("-y")};
    QStringList filters;
    QString joined;
    int inputs = 0;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const SourceAudio& s = *parts[i];
        const QString label = QStringLiteral("[s%1]").arg(i);
        const QString length = formatDouble(s.duration);
        if (s.audioStream >= 0) {
            args << QStringLiteral("-i") << s.path;
            // Exactly the container's length, so the next file starts where the clock says: padded
            // when the sound is shorter, cut when it is longer (AAC decodes a few ms past the end,
            // which would add up over hundreds of clips).
            const QString pad = s.duration > 0 ? QStringLiteral(",apad=whole_dur=") + length +
                                                     QStringLiteral(",atrim=duration=") + length
                                               : QString();
            filters << QStringLiteral("[%1:a:%2]").arg(inputs).arg(s.audioStream) + kPartFormat + pad + label;
            ++inputs;
        } else {
            filters << QStringLiteral("anullsrc=r=16000:cl=mono,") + kPartFormat +
                           QStringLiteral(",atrim=duration=") + length + label;
        }
        joined += label;
    }
    filters << joined + QStringLiteral("concat=n=%1:v=0:a=1[out]").arg(parts.size());
    args << QStringLiteral("-filter_complex") << filters.join(QLatin1Char(';')) << QStringLiteral("-map")
         << QStringLiteral("[out]");
    args << pcmOutputArgs(output);
    return args;
}

} // namespace

ExtractionPlan planExtraction(const QList<SourceAudio>& sources, const QString& concatPath,
                              const QString& piecesDir, const QString& output, int inputsPerRun) {
    ExtractionPlan plan;
    if (sources.size() == 1) {
        QStringList args{QStringLiteral("-y"), QStringLiteral("-i"), sources.front().path};
        plan.runs << args + pcmOutputArgs(output);
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
        plan.runs << concatReaderRun(concatPath, output);
        return plan;
    }

    plan.perFileAudio = true;
    QList<const SourceAudio*> parts;
    for (const SourceAudio& s : sources) {
        // A file ffprobe cannot open has no length on the clock (probing lists it at 0:00); the
        // concat reader would stop at it and drop every file after it.
        if (s.readable && (s.audioStream >= 0 || s.duration > 0))
            parts << &s;
    }
    inputsPerRun = std::max(inputsPerRun, 1);
    if (parts.size() <= inputsPerRun) {
        plan.runs << partsRun(parts, output);
        return plan;
    }
    // Named relative to their list, the pieces need no quoting wherever the cache folder lies.
    QStringList pieces;
    for (qsizetype first = 0; first < parts.size(); first += inputsPerRun) {
        const QString name = QStringLiteral("piece_%1.wav").arg(pieces.size());
        plan.runs << partsRun(parts.mid(first, inputsPerRun), piecesDir + QLatin1Char('/') + name);
        pieces << QStringLiteral("file '%1'").arg(name);
    }
    plan.piecesList = pieces.join(QLatin1Char('\n'));
    plan.runs << concatReaderRun(piecesListPath(piecesDir), output);
    return plan;
}

namespace {

// The old chunks (hundreds of megabytes) deleted off the event loop, and the folder made anew.
QCoro::Task<> renewChunksDir(QString dir) {
    QFuture<bool> renewed = onWorkerThread([dir] {
        QDir(dir).removeRecursively();
        return QDir().mkpath(dir);
    });
    co_await renewed;
}

} // namespace

QCoro::Task<std::optional<QString>> extractAudio(LocalPipeline& pipeline, QStringList mediaPaths,
                                                 std::optional<QString> transcribeIn) {
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
        for (const QString& path : ordered) {
            // Probing has measured the files already; only one it got no answer for is asked again.
            std::optional<Json> probe;
            if (const Json* known = pipeline.probeOutput(path))
                probe = *known;
            else
                probe = co_await ffprobeJson(pipeline.tools(), path);
            sources << sourceAudioFromProbe(path, probe);
        }
    }
    // Private to this run and gone when it ends, whichever way.
    const QTemporaryDir pieces(media::workDir(paths) + QStringLiteral("/extraction-XXXXXX"));
    const ExtractionPlan plan = planExtraction(sources, concatPath, pieces.path(), partial);
    if (ordered.size() != 1 && !writeFileAtomically(concatPath, plan.concatList.toUtf8()))
        co_return std::nullopt;
    if (!plan.piecesList.isEmpty() &&
        (!pieces.isValid() || !writeFileAtomically(piecesListPath(pieces.path()), plan.piecesList.toUtf8())))
        co_return std::nullopt;
    std::shared_ptr<ChunkUploads> uploads;
    if (transcribeIn) {
        co_await renewChunksDir(media::chunksDir(paths));
        uploads = ChunkUploads::begin(pipeline, *transcribeIn);
        uploads->watch(partial);
    }
    bool ok = true;
    for (const QStringList& args : plan.runs) {
        ok = co_await pipeline.tools().runProcess(pipeline.toolPaths().ffmpeg, args);
        if (!ok)
            break;
    }
    if (uploads)
        co_await uploads->stopWatching();
    std::error_code error;
    if (ok)
        std::filesystem::rename(QFile::encodeName(partial).toStdString(),
                                QFile::encodeName(output).toStdString(), error);
    if (!ok || error) {
        QFile::remove(partial);
        co_return std::nullopt;
    }
    if (uploads)
        uploads->setSource(output);
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
    args << (output.endsWith(QLatin1String(".flac")) ? media::flacOutputArgs(output) : pcmOutputArgs(output));
    return args;
}

QCoro::Task<QStringList> chunkAudio(LocalPipeline& pipeline, QString wavPath) {
    const QString dir = media::chunksDir(pipeline.paths());
    // Going on from the chunks the extraction cut while it ran, whose requests are out already.
    if (const std::shared_ptr<ChunkUploads> uploads = ChunkUploads::of(pipeline);
        uploads && uploads->source() == wavPath) {
        if (co_await uploads->cutRest(wavPath))
            co_return uploads->chunks().isEmpty() ? QStringList{wavPath} : uploads->chunks();
        if (pipeline.isCancelled())
            co_return QStringList();
    }
    co_await renewChunksDir(dir);
    if (const std::optional<PcmWav> wav = readPcmWav(wavPath)) {
        const qint64 perChunk = qint64(kChunkSeconds) * 16000;
        const int count = chunkCount(wav->duration());
        QStringList chunks;
        for (int i = 0; i < count; ++i) {
            const qint64 first = qint64(i) * perChunk;
            const QString out = uploadChunkPath(pipeline.environment(), i);
            const bool ok = co_await pipeline.tools().runProcess(
                pipeline.toolPaths().ffmpeg,
                chunkSliceArguments(wavPath, wav->header.size(), first,
                                    std::min(perChunk, wav->samples - first), out));
            if (ok)
                chunks << out;
            else
                QFile::remove(out); // what a stopped ffmpeg left is no chunk
        }
        co_return chunks.isEmpty() ? QStringList{wavPath} : chunks;
    }

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
        const QString out = uploadChunkPath(pipeline.environment(), i);
        const bool ok = co_await pipeline.tools().runProcess(
            pipeline.toolPaths().ffmpeg, chunkArguments(wavPath, i, out, seekBeforeInput));
        if (ok)
            chunks << out;
        else
            QFile::remove(out); // what a stopped ffmpeg left is no chunk
    }
    if (chunks.isEmpty())
        co_return QStringList{wavPath};
    co_return chunks;
}

} // namespace ondrel
