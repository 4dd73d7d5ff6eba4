#pragma once
// Media made by the real ffmpeg inside the test, media-only pipelines over a test home, a fake
// Resolve timeline, and a tone detector for what the steps wrote.
#include "media/MediaSteps.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QProcess>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <span>

namespace ondrel::test {

const QString kKey = QStringLiteral("sk-test-0123456789abcdef");

inline bool runTool(const QString& program, const QStringList& args, QByteArray* out = nullptr) {
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    p.start(program, args);
    const bool ok = p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    if (out)
        *out = p.readAllStandardOutput();
    return ok;
}

inline bool ffmpeg(const QStringList& args) {
    return runTool(ToolPaths::platformDefault().ffmpeg, QStringList{"-v", "error", "-nostdin", "-y"} + args);
}

// A lavfi source written with the given output arguments.
inline bool lavfi(const QString& source, const QStringList& out) {
    return ffmpeg(QStringList{"-f", "lavfi", "-i", source} + out);
}

inline bool makeToneWav(const QString& path, double seconds, double hz, int rate = 16000, int channels = 1) {
    return lavfi(QStringLiteral("sine=f=%1:r=%2:d=%3").arg(hz).arg(rate).arg(seconds),
                 {"-ac", QString::number(channels), "-c:a", "pcm_s16le", path});
}

// 48 kHz 24-bit with a bext chunk holding `timeReference`.
inline bool makeBroadcastWav(const QString& path, double seconds, double hz, qint64 timeReference,
                             int channels = 2) {
    return lavfi(QStringLiteral("sine=f=%1:r=48000:d=%2").arg(hz).arg(seconds),
                 {"-ac", QString::number(channels), "-c:a", "pcm_s24le", "-write_bext", "1", "-metadata",
                  QStringLiteral("time_reference=%1").arg(timeReference), path});
}

// Camera-like: video first, then AAC sound; the timecode only on its streams, as the mov muxer
// writes it.
inline bool makeCameraMov(const QString& path, double seconds, double hz, const QString& timecode,
                          const QString& rate = QStringLiteral("24")) {
    return ffmpeg({"-f", "lavfi", "-i",
                   QStringLiteral("testsrc=size=64x48:rate=%1:d=%2").arg(rate).arg(seconds), "-f", "lavfi",
                   "-i", QStringLiteral("sine=f=%1:r=48000:d=%2").arg(hz).arg(seconds), "-timecode", timecode,
                   "-map", "0:v", "-map", "1:a", "-c:v", "mpeg4", "-c:a", "aac", path});
}

inline bool makeSilentVideo(const QString& path, double seconds) {
    return lavfi(QStringLiteral("testsrc=size=64x48:rate=25:d=%1").arg(seconds), {"-c:v", "mpeg4", path});
}

inline double mediaDuration(const QString& path) {
    QByteArray out;
    runTool(ToolPaths::platformDefault().ffprobe,
            {"-v", "quiet", "-show_entries", "format=duration", "-of", "csv=p=0", path}, &out);
    return out.trimmed().toDouble();
}

// The samples of a 16 kHz 16-bit mono PCM WAV as ffmpeg writes it.
inline std::vector<qint16> readPcm16(const QString& path) {
    const QByteArray bytes = readFile(path);
    const qsizetype data = bytes.indexOf("data", 12) + 8;
    std::vector<qint16> samples(data < 8 ? 0 : size_t(bytes.size() - data) / 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = qFromLittleEndian<qint16>(bytes.constData() + data + 2 * i);
    return samples;
}

inline std::span<const qint16> window(const std::vector<qint16>& pcm, double from, double to) {
    const size_t a = std::min(pcm.size(), size_t(from * 16000)), b = std::min(pcm.size(), size_t(to * 16000));
    return {pcm.data() + a, b > a ? b - a : 0};
}

// Share of the window's energy at `hz` (Goertzel): 1 for a pure tone, near 0 for noise.
inline double toneShare(std::span<const qint16> w, double hz) {
    const double coeff = 2 * std::cos(2 * std::numbers::pi * hz / 16000);
    double s1 = 0, s2 = 0, energy = 0;
    for (const double x : w) {
        energy += x * x;
        const double s0 = x + coeff * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return energy > 0 ? 2 * (s1 * s1 + s2 * s2 - coeff * s1 * s2) / (double(w.size()) * energy) : 0;
}

// Only the media steps; with a speech-to-text service at `openaiBaseUrl` and kKey.
inline std::shared_ptr<LocalPipeline> mediaPipeline(const PipelineEnvironment& env) {
    auto pipeline = LocalPipeline::create(env);
    pipeline->steps() = StepOperations::absent();
    installMediaSteps(pipeline->steps());
    return pipeline;
}
inline std::shared_ptr<LocalPipeline> mediaPipeline(const TestHome& home, const QString& openaiBaseUrl = {},
                                                    const Clock* clock = nullptr) {
    PipelineEnvironment env = home.pipelineEnvironment(clock);
    env.endpoints.openaiHost = openaiBaseUrl;
    env.env.insert(QStringLiteral("OPENAI_API_KEY"), kKey);
    return mediaPipeline(env);
}

// A running fake Resolve whose timeline `name` holds the files one after another: pictures on a
// video track, the rest on an audio track.
inline void writeTimelineState(const TestHome& home, const QString& name, const QStringList& files) {
    static const char* program = R"PY(
import sys
sys.path.insert(0, sys.argv[1])
import fake_resolve_state as f
files = sys.argv[4:]
clips = [f.clip(p) for p in files]
tracks = {True: [], False: []}
for n, (c, p) in enumerate(zip(clips, files)):
    tracks[p.lower().endswith((".mov", ".mp4"))].append(f.item(c, 86400 + 240 * n, 86640 + 240 * n))
timelines = [f.timeline("Other"), f.timeline(sys.argv[3], video=[tracks[True]], audio=[[], tracks[False]])]
f.write(sys.argv[2], f.state(clips=clips, timelines=timelines))
)PY";
    runTool(ToolPaths::platformDefault().python3,
            QStringList{"-c", program, fakeResolveModuleDir(), home.resolveStateFile(), name} + files);
}

using LogLine = std::pair<QString, QString>; // text, colour
inline QList<LogLine> logLines(const LocalPipeline& pipeline) {
    QList<LogLine> out;
    for (const auto& l : pipeline.logs())
        out.push_back({l.text, l.color});
    return out;
}

// A test home with a media folder, a cache folder and a media-only pipeline.
class MediaTest : public ::testing::Test {
protected:
    TestHome home;
    QString media = home.path() + "/media";
    std::shared_ptr<LocalPipeline> pipeline = mediaPipeline(home);

    void SetUp() override {
        QDir().mkpath(media);
        QDir().mkpath(home.paths().cacheDir);
    }
    QString cache(const QString& name) const { return home.paths().cacheDir + "/" + name; }
};

} // namespace ondrel::test
