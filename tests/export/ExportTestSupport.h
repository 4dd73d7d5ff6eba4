#pragma once
// Shared pieces of the export tests: a segment in one line, and reading an SRT back with ffmpeg's
// SRT demuxer through ffprobe.

#include "core/Records.h"

#include <QString>

#include <optional>

namespace ondrel::test {

inline StorySegment seg(double start, double end, QString clip, QString transcript = {},
                        std::optional<QString> chapter = std::nullopt, QString translation = {}) {
    return StorySegment{
        0, start, end, std::move(clip), std::move(transcript), std::move(translation), std::move(chapter)};
}

// How many cues ffmpeg reads from an SRT file; absent when it could not parse it.
std::optional<qsizetype> ffmpegCueCount(const QString& srtPath);

} // namespace ondrel::test
