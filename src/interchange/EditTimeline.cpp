#include "EditTimeline.h"

#include "core/MediaClock.h"

#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace ondrel::interchange {

namespace {

constexpr int kReelLength = 8;

// Reels are compared without case by some conformers, so two files must differ in more than case.
QString reelFor(const QString& fileName, QSet<QString>& taken) {
    const QString base = QFileInfo(fileName).completeBaseName();
    QString letters;
    for (const QChar c : base) {
        if (c.unicode() < 128 && c.isLetterOrNumber())
            letters += c;
        if (letters.size() == kReelLength)
            break;
    }
    if (letters.isEmpty())
        letters = QStringLiteral("REEL");
    QString reel = letters;
    for (int n = 2; taken.contains(reel.toUpper()); ++n) {
        const QString suffix = QString::number(n);
        reel = letters.left(kReelLength - suffix.size()) + suffix;
    }
    taken.insert(reel.toUpper());
    return reel;
}

// The rate a file's own timecode counts in: its picture's, else the timeline's (a sound file's
// timecode tag is written at the rate of the shoot, which is the picture's).
TimecodeFormat ownTimecodeFormat(const SourceMedia& source, FrameRate timelineRate) {
    FrameRate rate = timelineRate;
    if (source.frameRate) {
        const auto standard = standardRate(*source.frameRate);
        rate = standard ? *standard : FrameRate{source.frameRate->num, source.frameRate->den};
    }
    return {rate, source.dropFrame};
}

MediaFile mediaFileFor(const SourceMedia& source, FrameRate timelineRate) {
    MediaFile m;
    m.path = source.path;
    m.name = QFileInfo(source.path).fileName();
    m.hasVideo = source.hasVideo;
    m.hasAudio = source.hasAudio;
    m.audioChannels = source.hasAudio ? std::max(source.audioChannels, 1) : 0;
    m.sampleRate = source.sampleRate;
    m.width = source.width;
    m.height = source.height;
    const TimecodeFormat own = ownTimecodeFormat(source, timelineRate);
    if (source.hasVideo && source.frameRate)
        m.rate = own.rate;
    m.dropFrame = own.countsDropFrame();

    std::optional<qint64> frame;
    if (source.startTimecode)
        frame = timecodeFrame(*source.startTimecode, own);
    if (frame)
        m.start = secondsOf(*frame, own.rate);
    else if (source.timeReference && source.sampleRate > 0)
        m.start = Rational::of(*source.timeReference, source.sampleRate);

    // The length on the grid the file is made of: whole pictures, else whole samples. A broken
    // file can claim centuries; a year keeps every count far inside 64 bits.
    const double length = std::isfinite(source.length) ? std::clamp(source.length, 0.0, 365.0 * 86400) : 0.0;
    if (m.rate)
        m.length = secondsOf(std::llround(length * m.rate->perSecond().toDouble()), *m.rate);
    else if (source.sampleRate > 0)
        m.length = Rational::of(std::llround(length * double(source.sampleRate)), source.sampleRate);
    else
        m.length = Rational::of(std::llround(length * 1000.0), 1000);
    return m;
}

// A moment's frames on its file, before the files used are numbered in clock order.
struct Placed {
    const StorySegment* moment = nullptr;
    QString path; // empty when the moment gives no clip
    qint64 in = 0;
    qint64 out = 0;
};

} // namespace

EditTimeline buildTimeline(const QString& name, const QList<StorySegment>& story,
                           const QList<SourceMedia>& sources) {
    QHash<QString, const SourceMedia*> byPath;
    QStringList paths;
    for (const SourceMedia& source : sources) {
        if (!byPath.contains(source.path)) {
            byPath.insert(source.path, &source);
            paths << source.path;
        }
    }
    const QList<ClockSpan> clock =
        layOutClock(paths, [&](const QString& path) { return byPath.value(path)->length; });

    EditTimeline t;
    t.name = name;
    t.rate = FrameRate{24, 1};
    for (const ClockSpan& span : clock) {
        const SourceMedia& source = *byPath.value(span.path);
        if (source.hasVideo && source.frameRate) {
            t.rate = nearestStoryRate(*source.frameRate);
            t.dropFrame = source.dropFrame && t.rate.allowsDropFrame();
            break;
        }
    }
    t.startFrame = *timecodeFrame(u"01:00:00:00", t.timecodeFormat());

    QHash<QString, MediaFile> files;
    auto fileAt = [&](const QString& path) -> const MediaFile& {
        auto it = files.find(path);
        if (it == files.end())
            it = files.insert(path, mediaFileFor(*byPath.value(path), t.rate));
        return *it;
    };
    QList<Placed> placed;
    QSet<QString> used;
    for (const StorySegment& moment : story) {
        placed.push_back({&moment, {}, 0, 0});
        const bool finite = std::isfinite(moment.startTime) && std::isfinite(moment.endTime);
        const auto place = finite && moment.endTime > moment.startTime ? placeOnClock(clock, moment.startTime)
                                                                       : std::nullopt;
        if (!place || place->offset >= place->fileLength)
            continue;
        const MediaFile& m = fileAt(place->path);
        if (!m.hasVideo && !m.hasAudio)
            continue;
        const double to = std::min(place->offset + (moment.endTime - moment.startTime), place->fileLength);
        // Only frames that lie wholly inside the file.
        const qint64 first = firstWholeFrame(m, t.rate);
        const qint64 last = std::max(first, lastWholeFrame(m, t.rate));
        const qint64 in = std::clamp(nearestFrame(m.start, place->offset, t.rate), first, last);
        const qint64 out = std::clamp(nearestFrame(m.start, to, t.rate), first, last);
        if (out <= in)
            continue;
        placed.back() = {&moment, place->path, in, out};
        used.insert(place->path);
    }
    QHash<QString, int> mediaIndex;
    QSet<QString> reels;
    for (const ClockSpan& span : clock) {
        if (!used.contains(span.path) || mediaIndex.contains(span.path))
            continue;
        MediaFile m = files.value(span.path);
        m.reel = reelFor(m.name, reels);
        mediaIndex.insert(span.path, int(t.media.size()));
        t.media.push_back(m);
    }

    Track v1{TrackKind::video, QStringLiteral("V1"), {}};
    Track a1{TrackKind::audio, QStringLiteral("A1"), {}};
    Track a2{TrackKind::audio, QStringLiteral("A2"), {}};
    std::optional<QString> chapter;
    std::optional<QString> pendingMarker;
    qint64 record = 0;
    int event = 0;
    for (qsizetype position = 0; position < placed.size(); ++position) {
        const Placed& p = placed[position];
        const std::optional<QString>& named = p.moment->chapter;
        if (named && !named->isEmpty() && named != chapter) {
            chapter = named;
            pendingMarker = named;
        }
        if (p.path.isEmpty()) {
            t.skippedMoments << p.moment->index;
            continue;
        }
        const int index = mediaIndex.value(p.path);
        const MediaFile& m = t.media[index];
        ++event;
        t.eventMoments << position;
        if (pendingMarker) {
            t.markers.push_back({*pendingMarker, record});
            pendingMarker.reset();
        }
        const Clip clip{index, event, 0, p.in, p.out, record, t.rate};
        if (m.hasVideo)
            v1.clips.push_back(clip);
        if (m.hasAudio) {
            a1.clips.push_back(clip);
            a1.clips.back().channel = 1;
        }
        if (m.hasAudio && m.audioChannels >= 2) {
            a2.clips.push_back(clip);
            a2.clips.back().channel = 2;
        }
        record += p.out - p.in;
    }
    t.duration = record;
    for (Track* track : {&v1, &a1, &a2}) {
        if (!track->clips.isEmpty())
            t.tracks.push_back(std::move(*track));
    }
    return t;
}

Rational mediaStartOf(const SourceMedia& source, FrameRate timelineRate) {
    return mediaFileFor(source, timelineRate).start;
}

QStringList filesOffTimelineRate(const EditTimeline& timeline) {
    QStringList paths;
    for (const MediaFile& m : timeline.media) {
        if (m.rate && *m.rate != timeline.rate)
            paths << m.path;
    }
    return paths;
}

QList<Event> eventsOf(const EditTimeline& timeline) {
    QMap<int, Event> events;
    for (const Track& track : timeline.tracks) {
        for (const Clip& clip : track.clips) {
            Event& e = events[clip.event];
            e.number = clip.event;
            e.media = clip.media;
            e.sourceIn = clip.sourceIn;
            e.sourceOut = clip.sourceOut;
            e.recordIn = clip.recordIn;
            if (track.kind == TrackKind::video)
                e.video = true;
            else
                ++e.audioChannels;
        }
    }
    return events.values();
}

} // namespace ondrel::interchange
