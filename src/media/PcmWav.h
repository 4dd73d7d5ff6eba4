#pragma once
// The extraction's own WAV, read without ffmpeg. ffmpeg writes pcm_s16le 16 kHz mono as a 78-byte
// header (RIFF, fmt, a LIST naming its version, data) and the samples, so a chunk's samples lie at
// a known place in it and a WAV's length needs no ffprobe.

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

} // namespace ondrel
