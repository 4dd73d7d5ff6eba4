#pragma once
// The extraction's own WAV, read and cut without ffmpeg. ffmpeg writes pcm_s16le 16 kHz mono as a
// 78-byte header (RIFF, fmt, a LIST naming its version, data) and the samples; a piece it cuts
// from such a file carries the same header with its sizes patched, then exactly the samples of
// its range. So the chunks are copied straight out of the file, in time linear in the audio,
// byte for byte what ffmpeg would write.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel {

struct PcmWav {
    QByteArray header; // everything before the samples, as the file has it
    qint64 samples = 0;

    // The length as ffprobe prints it: whole microseconds, a half rounded away from zero.
    double duration() const;
};

// Only the layout above with every size consistent and the samples running to the end of the file;
// anything else (another writer, other tags, a cut-off file) is absent and goes to ffmpeg.
std::optional<PcmWav> readPcmWav(const QString& path);

// Writes the samples [first, first + count) of `source` as a WAV of the same layout. False, with
// nothing left at `output`, when it cannot.
bool writePcmSlice(const QString& source, const PcmWav& wav, qint64 first, qint64 count,
                   const QString& output);

} // namespace ondrel
