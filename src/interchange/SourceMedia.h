#pragma once
// What the hand-off needs to know of one source file, read from ffprobe's JSON answer
// (`ffprobe -v quiet -print_format json -show_format -show_streams`), which the pipeline keeps
// whole per path.

#include "Rational.h"

#include "core/Json.h"

#include <QString>

#include <optional>

namespace ondrel::interchange {

struct SourceMedia {
    QString path;
    // The container's length, as the transcript's clock lays the file out.
    double length = 0;
    bool hasVideo = false;
    bool hasAudio = false;
    // The picture's rate exactly as measured (a rate ffprobe gives as "2997/125" stays so).
    std::optional<Rational> frameRate;
    int width = 0;
    int height = 0;
    // The file's own start: a timecode label, else a Broadcast Wave count of samples since
    // midnight (at `sampleRate`).
    std::optional<QString> startTimecode;
    bool dropFrame = false;
    std::optional<qint64> timeReference;
    qint64 sampleRate = 0;
    // Over all audio streams: a camera's two mono streams are two channels.
    int audioChannels = 0;

    friend bool operator==(const SourceMedia&, const SourceMedia&) = default;
};

// Never fails: what the answer lacks stays empty, and an answer of `{}` (a file ffprobe could not
// open) is a file of no length, which takes no room on the clock.
SourceMedia sourceMediaFromProbe(const QString& path, const Json& ffprobe);

} // namespace ondrel::interchange
