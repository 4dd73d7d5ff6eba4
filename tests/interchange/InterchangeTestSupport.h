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

// The files of a shoot, named as an editor's volumes name them.
struct Shoot {
    QString camA = QStringLiteral("/Volumes/Day 1/cam A.mov");
    QString lav = QStringLiteral("/Volumes/Day 1/lav B.wav");
    QString camC = QStringLiteral("/Volumes/Day 2/cam C.mov");
};

// Two cameras and a sound recorder whose start is no frame of any rate (3600 s and 1234 samples);
// their sound has two, one and no channels.
inline QList<SourceMedia> shootAt(FrameRate rate, bool dropFrame, std::optional<FrameRate> secondCamera = {},
                                  const Shoot& names = {}) {
    const QString sep = dropFrame ? QStringLiteral(";") : QStringLiteral(":");
    return {camera(names.camA, 600, rate, "10:00:00" + sep + "00"),
            recorder(names.lav, 600, 3600LL * 48000 + 1234, 1),
            camera(names.camC, 600, secondCamera.value_or(rate), "00:59:50" + sep + "00", 0)};
}

// Moments over all three files in an edited order, at their starts and ends and across an end.
inline QList<StorySegment> storyOf(int count) {
    QList<StorySegment> story;
    const double spots[][2] = {{0, 4.5},      {650.25, 661},  {1200, 1203.3}, {595.5, 600}, {1790, 1800},
                               {30.01, 41.7}, {1000, 1000.2}, {610, 612.5},   {1500, 1530}, {599, 640}};
    for (int i = 0; i < count; ++i) {
        const auto& spot = spots[i % 10];
        const double shift = (i / 10 % 20) * 0.37;
        std::optional<QString> chapter;
        if (i % 4 == 0)
            chapter = QStringLiteral("Chapter %1").arg(i / 4 + 1);
        story << moment(i, spot[0] + shift, spot[1] + shift, chapter);
    }
    return story;
}

} // namespace ondrel::interchange::test
