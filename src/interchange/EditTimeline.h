#pragma once
// One record for the edited story as an editor's timeline: tracks of clips cut from the source
// files, chapter markers, a name and a rate. Every hand-off file is written from it, so the four
// files cannot disagree on a frame.

#include "Rational.h"
#include "SourceMedia.h"
#include "Timecode.h"

#include "core/Records.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace ondrel::interchange {

// A source file as the timeline uses it.
struct MediaFile {
    QString path;
    QString name; // the last path component
    // Letters and digits, at most 8, distinct within the timeline, for an EDL's reel field.
    QString reel;
    // The file's first sample on its own timecode, and its length, in seconds.
    Rational start;
    Rational length;
    bool hasVideo = false;
    bool hasAudio = false;
    int audioChannels = 0;
    qint64 sampleRate = 0;
    // The picture's rate (a story rate where it matches one), absent without picture.
    std::optional<FrameRate> rate;
    // The file's own timecode counts drop-frame.
    bool dropFrame = false;
    int width = 0;
    int height = 0;

    friend bool operator==(const MediaFile&, const MediaFile&) = default;
};

// The first and the last frame of `rate` that lie wholly inside the file, on its own timecode.
inline qint64 firstWholeFrame(const MediaFile& m, FrameRate rate) {
    return framesIn(m.start, rate).ceil();
}
inline qint64 lastWholeFrame(const MediaFile& m, FrameRate rate) {
    return framesIn(m.start + m.length, rate).floor();
}

enum class TrackKind { video, audio };

// One clip on one track. Times are whole frames of `rate`: source times on the file's own
// timecode (frame 0 is midnight), record times from the timeline's first frame.
struct Clip {
    int media = 0;   // index into EditTimeline::media
    int event = 0;   // the clips of one moment share it, from 1 in record order
    int channel = 0; // the file's audio channel an audio track plays (1-based); 0 on picture
    qint64 sourceIn = 0;
    qint64 sourceOut = 0;
    qint64 recordIn = 0;
    FrameRate rate;

    qint64 duration() const { return sourceOut - sourceIn; }
    qint64 recordOut() const { return recordIn + duration(); }
    friend bool operator==(const Clip&, const Clip&) = default;
};

struct Track {
    TrackKind kind = TrackKind::video;
    QString name; // "V1", "A1", "A2"
    QList<Clip> clips;

    friend bool operator==(const Track&, const Track&) = default;
};

// A chapter begins here: frames from the timeline's first frame.
struct Marker {
    QString name;
    qint64 record = 0;

    friend bool operator==(const Marker&, const Marker&) = default;
};

struct EditTimeline {
    QString name;
    FrameRate rate;
    bool dropFrame = false;
    // The timecode of the first frame: 01:00:00:00 at the timeline's rate.
    qint64 startFrame = 0;
    qint64 duration = 0;    // frames
    QList<MediaFile> media; // the files the clips use, in the clock's order
    QList<Track> tracks;    // V1, A1, A2, each only when it holds a clip
    QList<Marker> markers;  // in record order
    // StorySegment::index of moments that gave no clip: no file plays at their time, or they
    // last less than half a frame once cut at their file's end.
    QList<qint64> skippedMoments;
    // For event n (from 1), the place in the story's list of the moment it holds: eventMoments[n - 1].
    QList<qsizetype> eventMoments;

    TimecodeFormat timecodeFormat() const { return {rate, dropFrame}; }
    friend bool operator==(const EditTimeline&, const EditTimeline&) = default;
};

// The story's moments in their edited order, each laid on its file through the transcript's
// clock (the sources end to end in code-point path order, each its container's length): `sources`
// must hold every file the transcript was made from, also those no moment uses. The rate
// is the first picture's (in clock order), 24 when no source has picture. A moment becomes a clip
// on V1 when its file has picture and on A1 (and A2 for a second channel) when it has sound, its
// ends on the nearest frames of the file's own timecode, cut at the file's end; record positions
// follow end to end. A chapter marker stands at the first clip of each chapter that differs from
// the one before.
EditTimeline buildTimeline(const QString& name, const QList<StorySegment>& story,
                           const QList<SourceMedia>& sources);

// The file's first sample on its own timecode, in seconds, as the timeline takes it: its timecode at
// its picture's rate (the timeline's for a sound file), else its Broadcast Wave time reference,
// else 0. A read timeline that does not say where its media start (an EDL) learns it here.
Rational mediaStartOf(const SourceMedia& source, FrameRate timelineRate);

// Paths of the files the timeline uses whose picture rate is not the timeline's: their frames
// fall between the timeline's, which the screen should say.
QStringList filesOffTimelineRate(const EditTimeline& timeline);

// One moment across its tracks: what an EDL event and an FCPXML clip hold.
struct Event {
    int number = 0;
    int media = 0;
    qint64 sourceIn = 0;
    qint64 sourceOut = 0;
    qint64 recordIn = 0;
    bool video = false;
    int audioChannels = 0; // tracks of sound: 0, 1 or 2

    qint64 duration() const { return sourceOut - sourceIn; }
    friend bool operator==(const Event&, const Event&) = default;
};
QList<Event> eventsOf(const EditTimeline& timeline);

} // namespace ondrel::interchange
