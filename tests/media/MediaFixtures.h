#pragma once
// Media made by the real ffmpeg inside the test, pipelines over a test home, and a little signal
// analysis to tell a tone from noise in what the steps wrote.

#include "core/LocalPipeline.h"
#include "support/TestEnv.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace ondrel::test {

// Runs ffmpeg (quiet, overwriting) with these arguments; true on exit status 0.
bool ffmpeg(const QStringList& args);

// A tone of `seconds` at `hz` in a WAV of the given rate, channels and codec.
bool makeToneWav(const QString& path, double seconds, double hz, int rate = 16000, int channels = 1,
                 const QString& codec = QStringLiteral("pcm_s16le"));
// A broadcast WAV (48 kHz, 24-bit) with a bext chunk whose time reference is `timeReference`.
bool makeBroadcastWav(const QString& path, double seconds, double hz, qint64 timeReference, int channels = 2);
// A camera-like MOV: video first, then AAC sound of a tone; its timecode (if any) only on its
// streams, as the mov muxer writes it.
bool makeCameraMov(const QString& path, double seconds, double hz, const QString& timecode = {},
                   const QString& rate = QStringLiteral("24"));
// A picture-only file.
bool makeSilentVideo(const QString& path, double seconds);
// White noise, seeded, as 16 kHz mono PCM: every sample differs, so any shift shows.
bool makeNoiseWav(const QString& path, double seconds);

// ffprobe's format duration, or -1.
double mediaDuration(const QString& path);

// The samples of a 16-bit mono PCM WAV.
std::vector<qint16> readPcm16(const QString& path);
// Share of a window's energy at `hz` (1 for a pure tone, near 0 for noise or silence).
double toneShare(const std::vector<qint16>& samples, int rate, double fromSeconds, double toSeconds,
                 double hz);
// Root mean square of a window, as a fraction of full scale.
double rms(const std::vector<qint16>& samples, int rate, double fromSeconds, double toSeconds);

// A pipeline over the home with only the media steps.
std::unique_ptr<LocalPipeline> mediaPipeline(const TestHome& home, const QString& openaiBaseUrl = {},
                                             const QString& openaiKey = {});

// A fake Resolve whose timeline `name` holds each file as an item, on video tracks for pictures
// and audio tracks for sound, with the files listed in `alsoOnVideo` on both.
void writeTimelineState(const TestHome& home, const QString& name, const QStringList& files,
                        const QStringList& alsoOnVideo = {}, bool running = true);

struct LogLine {
    QString text;
    QString color;
    bool operator==(const LogLine&) const = default;
};
void PrintTo(const LogLine& l, std::ostream* os);
QList<LogLine> logLines(const LocalPipeline& pipeline);

} // namespace ondrel::test
