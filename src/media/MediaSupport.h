#pragma once
// Small helpers the media steps share: number reading as the tools print numbers, atomic
// writes, and the work folder's names.

#include "core/Platform.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ondrel::media {

// A decimal number as a whole text ("300.5", "1e3"); no blanks around it, nothing after it.
// Non-finite values count as unreadable, so they never reach a JSON file or a timecode.
std::optional<double> readDouble(const QString& text);
// A whole number as a whole text ("48000").
std::optional<qint64> readInteger(const QString& text);

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
