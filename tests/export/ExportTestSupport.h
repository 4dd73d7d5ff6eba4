#pragma once
// Reading exports back with outside parsers: ffmpeg's SRT demuxer (through ffprobe) and an
// XML stream reader.

#include <QList>
#include <QString>

#include <optional>

namespace ondrel::test {

struct Cue {
    double start = 0;
    double duration = 0;
};

// The cues ffmpeg reads from an SRT file, in time order; absent when it could not parse it.
std::optional<QList<Cue>> cuesReadByFfmpeg(const QString& srtPath);

// Empty when the text is well-formed XML, otherwise the parser's complaint and position.
QString xmlProblem(const QString& text);

// How many elements of this name the document holds.
int countElements(const QString& xml, const QString& name);

} // namespace ondrel::test
