#include "MediaFixtures.h"

#include "media/MediaSteps.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtEndian>

#include <cmath>
#include <numbers>

namespace ondrel::test {

namespace {

int runTool(const QString& program, const QStringList& args, QByteArray* out = nullptr) {
    QProcess p;
    p.setProgram(program);
    p.setArguments(args);
    p.setStandardInputFile(QProcess::nullDevice());
    p.start();
    if (!p.waitForFinished(-1))
        return -1;
    if (out)
        *out = p.readAllStandardOutput();
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

QString num(double v) {
    return QString::number(v, 'g', 12);
}

} // namespace

bool ffmpeg(const QStringList& args) {
    QStringList all{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-nostdin"),
                    QStringLiteral("-y")};
    all << args;
    return runTool(ToolPaths::platformDefault().ffmpeg, all) == 0;
}

bool makeToneWav(const QString& path, double seconds, double hz, int rate, int channels,
                 const QString& codec) {
    return ffmpeg({"-f", "lavfi", "-i",
                   QStringLiteral("sine=f=%1:r=%2:d=%3").arg(num(hz)).arg(rate).arg(num(seconds)), "-ac",
                   QString::number(channels), "-c:a", codec, path});
}

bool makeBroadcastWav(const QString& path, double seconds, double hz, qint64 timeReference, int channels) {
    return ffmpeg({"-f", "lavfi", "-i", QStringLiteral("sine=f=%1:r=48000:d=%2").arg(num(hz), num(seconds)),
                   "-ac", QString::number(channels), "-c:a", "pcm_s24le", "-write_bext", "1", "-metadata",
                   QStringLiteral("time_reference=%1").arg(timeReference), path});
}

bool makeCameraMov(const QString& path, double seconds, double hz, const QString& timecode,
                   const QString& rate) {
    QStringList args{
        "-f", "lavfi", "-i", QStringLiteral("testsrc=size=64x48:rate=%1:d=%2").arg(rate, num(seconds)),
        "-f", "lavfi", "-i", QStringLiteral("sine=f=%1:r=48000:d=%2").arg(num(hz), num(seconds))};
    if (!timecode.isEmpty())
        args << "-timecode" << timecode;
    args << "-map"
         << "0:v"
         << "-map"
         << "1:a"
         << "-c:v"
         << "mpeg4"
         << "-c:a"
         << "aac" << path;
    return ffmpeg(args);
}

bool makeSilentVideo(const QString& path, double seconds) {
    return ffmpeg({"-f", "lavfi", "-i", QStringLiteral("testsrc=size=64x48:rate=25:d=%1").arg(num(seconds)),
                   "-c:v", "mpeg4", path});
}

bool makeNoiseWav(const QString& path, double seconds) {
    return ffmpeg({"-f", "lavfi", "-i",
                   QStringLiteral("anoisesrc=r=16000:a=0.5:seed=7:d=%1").arg(num(seconds)), "-ac", "1",
                   "-c:a", "pcm_s16le", path});
}

double mediaDuration(const QString& path) {
    QByteArray out;
    if (runTool(ToolPaths::platformDefault().ffprobe,
                {"-v", "quiet", "-show_entries", "format=duration", "-of", "csv=p=0", path}, &out) != 0)
        return -1;
    bool ok = false;
    const double d = out.trimmed().toDouble(&ok);
    return ok ? d : -1;
}

std::vector<qint16> readPcm16(const QString& path) {
    const QByteArray bytes = readFile(path);
    std::vector<qint16> samples;
    qsizetype pos = 12;
    while (pos + 8 <= bytes.size()) {
        const QByteArray id = bytes.mid(pos, 4);
        const quint32 size = qFromLittleEndian<quint32>(bytes.constData() + pos + 4);
        if (id == "data") {
            const qsizetype n = std::min<qsizetype>(size, bytes.size() - pos - 8) / 2;
            samples.resize(size_t(n));
            for (qsizetype i = 0; i < n; ++i)
                samples[size_t(i)] = qFromLittleEndian<qint16>(bytes.constData() + pos + 8 + 2 * i);
            return samples;
        }
        pos += 8 + size + (size & 1);
    }
    return samples;
}

double toneShare(const std::vector<qint16>& samples, int rate, double fromSeconds, double toSeconds,
                 double hz) {
    const size_t from = size_t(std::max(0.0, fromSeconds * rate));
    const size_t to = std::min(samples.size(), size_t(toSeconds * rate));
    if (to <= from)
        return 0;
    // Goertzel: the window's power at one frequency against its whole power.
    const double w = 2 * std::numbers::pi * hz / rate;
    const double coeff = 2 * std::cos(w);
    double s1 = 0, s2 = 0, energy = 0;
    for (size_t i = from; i < to; ++i) {
        const double x = samples[i];
        energy += x * x;
        const double s0 = x + coeff * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    if (energy <= 0)
        return 0;
    const double power = s1 * s1 + s2 * s2 - coeff * s1 * s2;
    const double n = double(to - from);
    return std::min(1.0, 2 * power / (n * energy));
}

double rms(const std::vector<qint16>& samples, int rate, double fromSeconds, double toSeconds) {
    const size_t from = size_t(std::max(0.0, fromSeconds * rate));
    const size_t to = std::min(samples.size(), size_t(toSeconds * rate));
    if (to <= from)
        return 0;
    double sum = 0;
    for (size_t i = from; i < to; ++i)
        sum += double(samples[i]) * samples[i];
    return std::sqrt(sum / double(to - from)) / 32768.0;
}

std::unique_ptr<LocalPipeline> mediaPipeline(const TestHome& home, const QString& openaiBaseUrl,
                                             const QString& openaiKey) {
    PipelineEnvironment env = home.pipelineEnvironment();
    if (!openaiBaseUrl.isEmpty())
        env.endpoints.openaiHost = openaiBaseUrl;
    if (!openaiKey.isEmpty())
        env.env.insert(QStringLiteral("OPENAI_API_KEY"), openaiKey);
    auto pipeline = std::make_unique<LocalPipeline>(env);
    pipeline->steps() = StepOperations::absent();
    installMediaSteps(pipeline->steps());
    return pipeline;
}

void writeTimelineState(const TestHome& home, const QString& name, const QStringList& files,
                        const QStringList& alsoOnVideo, bool running) {
    static const char* program = R"PY(
import json, sys
a = json.loads(sys.argv[1])
sys.path.insert(0, a["fixtures"])
import fake_resolve_state as f
clips = [f.clip(p) for p in a["files"]]
audio, video = [], []
start = 86400
for c, p in zip(clips, a["files"]):
    picture = p.lower().endswith((".mov", ".mp4"))
    if picture or p in a["video"]:
        video.append(f.item(c, start, start + 240))
    if not picture or p in a["video"]:
        audio.append(f.item(c, start, start + 240))
    start += 240
timelines = [f.timeline("Other"), f.timeline(a["name"], video=[video], audio=[[], audio])]
f.write(a["out"], f.state(clips=clips, timelines=timelines, running=a["running"]))
)PY";
    QJsonObject args;
    args["fixtures"] = fakeResolveModuleDir();
    args["files"] = QJsonArray::fromStringList(files);
    args["video"] = QJsonArray::fromStringList(alsoOnVideo);
    args["name"] = name;
    args["out"] = home.resolveStateFile();
    args["running"] = running;
    const QByteArray json = QJsonDocument(args).toJson(QJsonDocument::Compact);
    runTool(ToolPaths::platformDefault().python3,
            {"-c", QString::fromUtf8(program), QString::fromUtf8(json)});
}

void PrintTo(const LogLine& l, std::ostream* os) {
    *os << l.color.toStdString() << ": " << l.text.toStdString();
}

QList<LogLine> logLines(const LocalPipeline& pipeline) {
    QList<LogLine> out;
    for (const auto& l : pipeline.logs())
        out.push_back({l.text, l.color});
    return out;
}

} // namespace ondrel::test
