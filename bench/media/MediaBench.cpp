// Times extraction and chunking on hours of generated interview-like audio against one plain
// decode of the same input, and the chunking's seek before the input against the seek after it.
// The same hours cut into 200 clips of two layouts show what extracting them in runs of
// kInputsPerRun files costs against one run that holds every clip open.
// Run: cmake --build <dir> --target media_bench && <dir>/bench/media/media_bench [hours...] [--dir D]
// (default hours: 1 4; the sources, several GB for 4 h, go to a temporary folder unless --dir).
// Each figure is the best of three rounds.
#include "core/Text.h"
#include "media/ChunkUploads.h"
#include "media/MediaSteps.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <QCoroTask>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

using namespace ondrel;

namespace {

bool ffmpeg(const QStringList& args) {
    QProcess p;
    QStringList all{"-v", "error", "-nostdin", "-y"};
    all << args;
    p.start(ToolPaths::platformDefault().ffmpeg, all);
    p.waitForFinished(-1);
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed: %s\n%s\n", qPrintable(all.join(' ')),
                     p.readAllStandardError().constData());
        return false;
    }
    return true;
}

// The best of a few rounds: the machine is shared, and the best round is the least disturbed.
const int kRounds = 3;

double seconds(const std::function<void()>& work) {
    double best = 1e300;
    for (int i = 0; i < kRounds; ++i) {
        QElapsedTimer t;
        t.start();
        work();
        best = std::min(best, double(t.nsecsElapsed()) / 1e9);
    }
    return best;
}

// Speech-like: pink noise in syllable bursts of about 4 Hz, with a pause every few seconds, as a
// 48 kHz 24-bit broadcast WAV such as a field recorder writes.
bool makeHourOfInterview(const QString& path) {
    return ffmpeg({"-f", "lavfi", "-i", "anoisesrc=color=pink:r=48000:a=0.4:seed=11", "-af",
                   "volume='if(lt(mod(t,7.3),5.1),0.15+0.85*abs(sin(2*PI*3.9*t)),0.01)':eval=frame", "-t",
                   "3600", "-ac", "1", "-c:a", "pcm_s24le", "-write_bext", "1", "-metadata",
                   "time_reference=172800000", path});
}

const int kClips = 200;

// The input cut into kClips clips, every other one at 44.1 kHz stereo 16-bit, so that extraction
// takes each file's own stream. One run per clip, seeking in the input: a single run with an
// output per clip would resample the whole input for each of them.
bool cutIntoClips(const QString& input, double seconds, const QString& dir, QStringList* clips) {
    const double length = seconds / kClips;
    for (int i = 0; i < kClips; ++i) {
        *clips << dir + QStringLiteral("/clip_%1.wav").arg(i, 3, 10, QLatin1Char('0'));
        QStringList args{"-ss", QString::number(i * length), "-t", QString::number(length), "-i", input};
        args << (i % 2 ? QStringList{"-ar", "44100", "-ac", "2", "-c:a", "pcm_s16le"}
                       : QStringList{"-c:a", "pcm_s24le"});
        if (!ffmpeg(args << clips->back()))
            return false;
    }
    return true;
}

bool sameBytes(const QString& a, const QString& b) {
    QFile fa(a), fb(b);
    if (!fa.open(QIODevice::ReadOnly) || !fb.open(QIODevice::ReadOnly) || fa.size() != fb.size())
        return false;
    while (!fa.atEnd())
        if (fa.read(1 << 20) != fb.read(1 << 20))
            return false;
    return true;
}

bool repeat(const QString& hour, int times, const QString& out, const QString& listPath) {
    QStringList lines;
    for (int i = 0; i < times; ++i)
        lines << QStringLiteral("file '%1'").arg(hour);
    QFile list(listPath);
    if (!list.open(QIODevice::WriteOnly))
        return false;
    list.write(lines.join('\n').toUtf8());
    list.close();
    return ffmpeg({"-f", "concat", "-safe", "0", "-i", listPath, "-c", "copy", out});
}

struct Row {
    int hours;
    double decode;
    double extract;
    double extractMixed;
    double decodeMixed;
    double chunk;
    double chunkDocumented;
    bool identical;
    double extractClips;
    double extractClipsOneRun;
    bool clipsIdentical;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QList<int> hours;
    QString dir;
    const QStringList args = app.arguments().mid(1);
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == "--dir" && i + 1 < args.size())
            dir = args[++i];
        else
            hours << args[i].toInt();
    }
    if (hours.isEmpty())
        hours = {1, 4};
    QTemporaryDir temp;
    if (dir.isEmpty())
        dir = temp.path();
    QDir().mkpath(dir);

    const QString hour = dir + "/hour.wav";
    if (!QFile::exists(hour)) {
        std::printf("generating one hour of interview-like audio...\n");
        std::fflush(stdout);
        if (!makeHourOfInterview(hour))
            return 1;
    }

    QList<Row> rows;
    for (const int h : hours) {
        Row row{h, 0, 0, 0, 0, 0, 0, true, 0, 0, false};
        const QString input = dir + QStringLiteral("/interview_%1h.wav").arg(h);
        if (!QFile::exists(input) && !repeat(hour, h, input, dir + "/repeat.txt"))
            return 1;
        std::printf("%d h: %s, %.0f MB\n", h, qPrintable(input), double(QFileInfo(input).size()) / 1e6);
        std::fflush(stdout);

        PipelineEnvironment env = PipelineEnvironment::platformDefault();
        env.paths = AppPaths::forHome(dir + QStringLiteral("/home_%1h").arg(h));
        const auto owner = LocalPipeline::create(env);
        LocalPipeline& pipeline = *owner;
        installMediaSteps(pipeline.steps());

        row.decode = seconds([&] { ffmpeg({"-i", input, "-f", "null", "-"}); });
        std::optional<QString> wav;
        row.extract = seconds([&] { wav = QCoro::waitFor(extractAudio(pipeline, {input})); });
        if (!wav)
            return 1;

        QStringList chunks;
        row.chunk = seconds([&] { chunks = QCoro::waitFor(chunkAudio(pipeline, *wav)); });
        // The same chunks with the seek after the input, kept beside the others for comparison.
        const QString documented = dir + QStringLiteral("/documented_%1h").arg(h);
        QDir().mkpath(documented);
        row.chunkDocumented = seconds([&] {
            for (int i = 0; i < chunks.size(); ++i)
                QCoro::waitFor(pipeline.tools().runProcess(
                    pipeline.toolPaths().ffmpeg,
                    chunkArguments(*wav, i, flacChunkPath(documented, i), false)));
        });
        for (int i = 0; i < chunks.size(); ++i) {
            QFile a(chunks[i]), b(flacChunkPath(documented, i));
            a.open(QIODevice::ReadOnly);
            b.open(QIODevice::ReadOnly);
            row.identical = row.identical && a.readAll() == b.readAll();
        }
        QDir(documented).removeRecursively();

        // The same audio as two files of different layouts, so each file's own stream is taken.
        const QString first = dir + QStringLiteral("/half_a_%1h.wav").arg(h);
        const QString second = dir + QStringLiteral("/half_b_%1h.wav").arg(h);
        const QString half = QString::number(h * 1800);
        if (!ffmpeg({"-i", input, "-t", half, "-c", "copy", first}) ||
            !ffmpeg({"-ss", half, "-i", input, "-ar", "44100", "-ac", "2", "-c:a", "pcm_s16le", second}))
            return 1;
        row.decodeMixed = seconds([&] {
            ffmpeg({"-i", first, "-f", "null", "-"});
            ffmpeg({"-i", second, "-f", "null", "-"});
        });
        row.extractMixed = seconds([&] { wav = QCoro::waitFor(extractAudio(pipeline, {first, second})); });
        QFile::remove(first);
        QFile::remove(second);

        // Probed first, as a run does, so the figures are ffmpeg's alone.
        const QString clipsDir = dir + QStringLiteral("/clips_%1h").arg(h);
        QDir().mkpath(clipsDir);
        QStringList clips;
        if (!cutIntoClips(input, h * 3600.0, clipsDir, &clips))
            return 1;
        QCoro::waitFor(probeAllMedia(pipeline, clips));
        row.extractClips = seconds([&] { wav = QCoro::waitFor(extractAudio(pipeline, clips)); });
        if (!wav)
            return 1;
        QList<SourceAudio> sources;
        for (const QString& clip : sortedPaths(clips))
            sources << sourceAudioFromProbe(clip, *pipeline.probeOutput(clip));
        const QString oneRunWav = clipsDir + "/one_run.wav";
        const ExtractionPlan oneRun =
            planExtraction(sources, clipsDir + "/concat.txt", clipsDir, oneRunWav, int(clips.size()));
        row.extractClipsOneRun = seconds([&] { ffmpeg(oneRun.runs.front()); });
        row.clipsIdentical = oneRun.runs.size() == 1 && sameBytes(*wav, oneRunWav);
        QDir(clipsDir).removeRecursively();
        QDir(env.paths.home).removeRecursively();
        rows << row;
        std::printf(
            "  decode %.1f s, extract %.1f s, two-layout extract %.1f s, chunk %.1f s, documented chunk "
            "%.1f s, %d clips %.1f s, in one run %.1f s\n",
            row.decode, row.extract, row.extractMixed, row.chunk, row.chunkDocumented, kClips,
            row.extractClips, row.extractClipsOneRun);
        std::fflush(stdout);
    }

    std::printf(
        "\n| audio | plain decode | extraction | ratio | two-layout extraction | ratio | chunking | ratio "
        "| documented chunking | ratio | same bytes |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const Row& r : rows)
        std::printf(
            "| %d h | %.1f s | %.1f s | %.2f | %.1f s | %.2f | %.1f s | %.2f | %.1f s | %.2f | %s |\n",
            r.hours, r.decode, r.extract, r.extract / r.decode, r.extractMixed,
            r.extractMixed / r.decodeMixed, r.chunk, r.chunk / r.decode, r.chunkDocumented,
            r.chunkDocumented / r.decode, r.identical ? "yes" : "NO");
    std::printf(
        "\n| audio | %d clips, runs of %d | ratio to plain decode | one run over every clip | ratio | same "
        "bytes |\n",
        kClips, kInputsPerRun);
    std::printf("|---|---|---|---|---|---|\n");
    for (const Row& r : rows)
        std::printf("| %d h | %.1f s | %.2f | %.1f s | %.2f | %s |\n", r.hours, r.extractClips,
                    r.extractClips / r.decode, r.extractClipsOneRun, r.extractClipsOneRun / r.decode,
                    r.clipsIdentical ? "yes" : "NO");
    return 0;
}
