#pragma once
// Sources and moments for the interchange tests, made as ffprobe would describe them.

#include "interchange/EditTimeline.h"

#include <optional>

namespace ondrel::interchange::test {

inline SourceMedia camera(const QString& path, double length, FrameRate rate, const QString& timecode,
                          int channels = 2) {
    SourceMedia s;
    s.path = path;
    s.length = length;
    s.hasVideo = true;
    s.frameRate = rate.perSecond();
    s.width = 1920;
    s.height = 1080;
    s.startTimecode = timecode;
    s.dropFrame = timecode.contains(u';');
    s.hasAudio = channels > 0;
    s.sampleRate = channels > 0 ? 48000 : 0;
    s.audioChannels = channels;
    return s;
}

inline SourceMedia recorder(const QString& path, double length, std::optional<qint64> timeReference,
                            int channels = 1) {
    SourceMedia s;
    s.path = path;
    s.length = length;
    s.hasAudio = true;
    s.sampleRate = 48000;
    s.audioChannels = channels;
    s.timeReference = timeReference;
    return s;
}

inline StorySegment moment(qint64 index, double start, double end, std::optional<QString> chapter = {}) {
    StorySegment s;
    s.index = index;
    s.startTime = start;
    s.endTime = end;
    s.transcript = QStringLiteral("moment %1").arg(index);
    s.chapter = chapter;
    return s;
}

} // namespace ondrel::interchange::test
