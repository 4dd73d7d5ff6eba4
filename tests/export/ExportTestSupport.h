#pragma once
// Shared pieces of the export tests: a segment in one line, and reading exports back with
// outside parsers (ffmpeg's SRT demuxer through ffprobe, an XML stream reader).

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

// Empty when the text is well-formed XML, otherwise the parser's complaint and its line.
QString xmlProblem(const QString& text);

} // namespace ondrel::test
