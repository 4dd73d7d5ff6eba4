// The edited story as a timeline: which file and frames each moment takes, the rate, the tracks,
// the reels and the chapters.
#include "InterchangeTestSupport.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>

using namespace ondrel;
using namespace ondrel::interchange;
using namespace ondrel::interchange::test;

namespace {

const FrameRate k23976{24000, 1001};
const FrameRate k24{24, 1};
const FrameRate k25{25, 1};
const FrameRate k2997{30000, 1001};
const FrameRate k5994{60000, 1001};

// A clip by track in frames of the timeline's rate, to compare whole layouts at once.
struct TrackClip {
    QString track;
    QString path;
    qint64 sourceIn = 0;
    qint64 sourceOut = 0;
    qint64 recordIn = 0;
    friend bool operator==(const TrackClip&, const TrackClip&) = default;
    friend std::ostream& operator<<(std::ostream& os, const TrackClip& c) {
        return os << c.track.toStdString() << " " << c.path.toStdString() << " " << c.sourceIn << "-"
                  << c.sourceOut << " at " << c.recordIn;
    }
};

QList<TrackClip> trackClips(const EditTimeline& t) {
    QList<TrackClip> clips;
    for (const Track& track : t.tracks)
        for (const Clip& c : track.clips)
            clips << TrackClip{track.name, t.media[c.media].path, c.sourceIn, c.sourceOut, c.recordIn};
    return clips;
}

TEST(BuildTimeline, LaysMomentsOnTheClockInCodePointOrder) {
    // Sorted by code point, "/m/B.mov" comes before "/m/a.wav": the clock runs B, a, b.
    const QList<SourceMedia> sources{recorder("/m/b.wav", 50, 0), camera("/m/B.mov", 100, k25, "10:00:00:00"),
                                     recorder("/m/a.wav", 50, std::nullopt)};
    const EditTimeline t =
        buildTimeline("Edit", {moment(1, 120, 130), moment(2, 10, 12), moment(3, 160, 165)}, sources);
    EXPECT_EQ(t.rate, k25);
    EXPECT_EQ(t.startFrame, 90000);
    EXPECT_EQ(t.duration, 250 + 50 + 125);
    ASSERT_EQ(t.media.size(), 3);
    EXPECT_EQ(t.media[0].path, "/m/B.mov");
    EXPECT_EQ(t.media[1].path, "/m/a.wav");
    EXPECT_EQ(t.media[2].path, "/m/b.wav");
    EXPECT_EQ(trackClips(t), (QList<TrackClip>{
                                 {"V1", "/m/B.mov", 900250, 900300, 250},
                                 {"A1", "/m/a.wav", 500, 750, 0},
                                 {"A1", "/m/B.mov", 900250, 900300, 250},
                                 {"A1", "/m/b.wav", 250, 375, 300},
                                 {"A2", "/m/B.mov", 900250, 900300, 250},
                             }));
    EXPECT_TRUE(t.skippedMoments.isEmpty());
}

TEST(BuildTimeline, CutsMomentsToWholeFramesInsideTheirFile) {
    // Two files of 10 s at 25 fps, the second from 01:00:00:00.
    const QList<SourceMedia> sources{camera("/m/1.mov", 10, k25, "00:00:00:00"),
                                     camera("/m/2.mov", 10, k25, "01:00:00:00")};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char* what;
        double start, end;
        std::optional<TrackClip> clip; // on V1, recorded from 0
    };
    const Case cases[] = {
        {"the very start of a file", 0, 2, TrackClip{"V1", "/m/1.mov", 0, 50, 0}},
        {"the very end of a file", 9, 10, TrackClip{"V1", "/m/1.mov", 225, 250, 0}},
        {"over the end of its file: cut there, not run into the next", 8, 12,
         TrackClip{"V1", "/m/1.mov", 200, 250, 0}},
        {"on a boundary: the later file", 10, 11, TrackClip{"V1", "/m/2.mov", 90000, 90025, 0}},
        {"ends on the nearest frames", 1.01, 1.99, TrackClip{"V1", "/m/1.mov", 25, 50, 0}},
        {"the end of the last file", 19.5, 25, TrackClip{"V1", "/m/2.mov", 90238, 90250, 0}},
        {"past the end of the last file", 20, 21, std::nullopt},
        {"less than half a frame before the end", 9.99, 10, std::nullopt},
        {"no length", 3, 3, std::nullopt},
        {"ends before it starts", 5, 4, std::nullopt},
        {"before the clock", -1, 1, std::nullopt},
        {"not a number", nan, 1, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const EditTimeline t = buildTimeline("Edit", {moment(7, c.start, c.end)}, sources);
        const QList<TrackClip> clips = trackClips(t);
        if (c.clip) {
            ASSERT_EQ(clips.size(), 3); // V1, A1, A2
            EXPECT_EQ(clips[0], *c.clip);
            EXPECT_TRUE(t.skippedMoments.isEmpty());
        } else {
            EXPECT_TRUE(clips.isEmpty());
            EXPECT_EQ(t.skippedMoments, QList<qint64>{7});
            EXPECT_TRUE(t.media.isEmpty());
        }
    }
}

TEST(BuildTimeline, TakesTheFirstPictureRateInClockOrder) {
    struct Case {
        const char* what;
        QList<SourceMedia> sources;
        FrameRate rate;
        bool dropFrame;
        qint64 startFrame;
        QStringList offRate;
    };
    const Case cases[] = {
        {"sound only", {recorder("/m/a.wav", 60, 0)}, k24, false, 86400, {}},
        {"the first picture by path, not by list",
         {camera("/m/z.mov", 60, k25, "00:00:00:00"), camera("/m/c.mov", 60, k2997, "00:00:00;00"),
          recorder("/m/a.wav", 60, 0)},
         k2997,
         true,
         107892,
         {"/m/z.mov"}},
        {"29.97 counted non-drop", {camera("/m/c.mov", 60, k2997, "00:00:00:00")}, k2997, false, 108000, {}},
        {"59.94 drop-frame", {camera("/m/c.mov", 60, k5994, "00:00:00;00")}, k5994, true, 215784, {}},
        {"a ';' at 25 fps counts nothing",
         {camera("/m/c.mov", 60, k25, "00:00:00;00")},
         k25,
         false,
         90000,
         {}},
        {"a 48 fps camera takes the nearest story rate",
         {camera("/m/c.mov", 60, FrameRate{48, 1}, "00:00:00:00")},
         FrameRate{50, 1},
         false,
         180000,
         {"/m/c.mov"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        QList<StorySegment> story;
        for (int i = 0; i < c.sources.size(); ++i)
            story << moment(i, i * 60 + 1, i * 60 + 2);
        const EditTimeline t = buildTimeline("Edit", story, c.sources);
        EXPECT_EQ(t.rate, c.rate);
        EXPECT_EQ(t.dropFrame, c.dropFrame);
        EXPECT_EQ(t.startFrame, c.startFrame);
        EXPECT_EQ(filesOffTimelineRate(t), c.offRate);
        for (const Track& track : t.tracks)
            for (const Clip& clip : track.clips)
                EXPECT_EQ(clip.rate, t.rate);
    }
}

TEST(BuildTimeline, ConvertsAnotherRateExactly) {
    // A 25 fps file from 10:00:00:00 (36000 s) in a 23.976 story: one second in is
    // 36001 × 24000/1001 = 863160.84 frames, the nearest being 863161, and the length stays the
    // story's frames.
    const QList<SourceMedia> sources{camera("/m/A.mov", 60, k23976, "01:00:00:00"),
                                     camera("/m/B.mov", 60, k25, "10:00:00:00")};
    const EditTimeline t = buildTimeline("Edit", {moment(1, 61, 63), moment(2, 0, 1)}, sources);
    ASSERT_EQ(t.tracks.size(), 3);
    ASSERT_EQ(t.media.size(), 2);
    const Clip& clip = t.tracks[0].clips[0];
    EXPECT_EQ(clip.sourceIn, 863161);
    EXPECT_EQ(clip.duration(), 48); // 2 s of 23.976: 47.95 frames
    EXPECT_EQ(t.media[0].start, Rational::of(86400 * 1001, 24000));
    EXPECT_EQ(t.media[1].start, Rational::of(36000));
    EXPECT_EQ(filesOffTimelineRate(t), QStringList{"/m/B.mov"});
}

TEST(BuildTimeline, FourHoursOfMomentsDoNotDrift) {
    // 2,000 moments of 7.2 s back to back in one 4 h file at 29.97 drop-frame: each ends on the
    // frame the next begins, every end is the nearest frame of k × 216000/1001, and the record
    // side is the same frames from 0.
    const int n = 2000;
    QList<StorySegment> story;
    for (int k = 0; k < n; ++k)
        story << moment(k, k * 7.2, (k + 1) * 7.2, QStringLiteral("Part %1").arg(k / 100));
    const EditTimeline t =
        buildTimeline("Four hours", story, {camera("/m/day.mov", 4 * 3600 + 1, k2997, "00:00:00;00")});
    const QList<Event> events = eventsOf(t);
    ASSERT_EQ(events.size(), n);
    for (int k = 0; k < n; ++k) {
        const qint64 exact = (2 * qint64(k) * 216000 + 1001) / 2002;
        const qint64 next = (2 * qint64(k + 1) * 216000 + 1001) / 2002;
        ASSERT_EQ(events[k].sourceIn, exact) << k;
        ASSERT_EQ(events[k].sourceOut, next) << k;
        ASSERT_EQ(events[k].recordIn, exact) << k;
    }
    EXPECT_EQ(t.duration, (2 * qint64(n) * 216000 + 1001) / 2002);
    EXPECT_EQ(t.markers.size(), n / 100);
    EXPECT_EQ(timecodeText(t.startFrame + t.duration, t.timecodeFormat()), "05:00:00;00");
}

TEST(BuildTimeline, MarksTheFirstClipOfEachNewChapter) {
    const QList<SourceMedia> sources{recorder("/m/a.wav", 100, 0)};
    const EditTimeline t = buildTimeline(
        "Edit",
        {moment(0, 0, 1, "Childhood"), moment(1, 1, 2, "Childhood"), moment(2, 2, 3), moment(3, 3, 3, "War"),
         moment(4, 4, 5), moment(5, 5, 6, "Childhood"), moment(6, 6, 7, ""), moment(7, 500, 501, "End")},
        sources);
    // "War" opens on a moment of no length: its marker goes to the next clip. A chapter after
    // another is new again; an empty one continues; one with no clip at all has no marker.
    QList<std::pair<QString, qint64>> markers;
    for (const Marker& m : t.markers)
        markers.push_back({m.name, m.record});
    EXPECT_EQ(markers, (QList<std::pair<QString, qint64>>{{"Childhood", 0}, {"War", 72}, {"Childhood", 96}}));
    EXPECT_EQ(t.skippedMoments, (QList<qint64>{3, 7}));
    // Each event knows the moment it holds, past the skipped ones.
    EXPECT_EQ(t.eventMoments, (QList<qsizetype>{0, 1, 2, 4, 5, 6}));
}

TEST(BuildTimeline, GivesEachFileItsTracksAndADistinctReel) {
    const QList<SourceMedia> sources{
        camera("/m/Interview_Day1_CamA.mov", 10, k25, "00:00:00:00", 2),
        camera("/m/Interview_Day1_CamB.mov", 10, k25, "00:00:00:00", 1),
        camera("/m/Intervi2.mov", 10, k25, "00:00:00:00", 0),
        recorder("/m/abc.wav", 10, 0, 2),
        recorder("/m/日本語.wav", 10, 0, 1),
        recorder("/m/ABC.wav", 10, 0, 1),
    };
    QList<StorySegment> story;
    for (int i = 0; i < sources.size(); ++i)
        story << moment(i, i * 10, i * 10 + 1);
    const EditTimeline t = buildTimeline("Edit", story, sources);
    QStringList reels;
    for (const MediaFile& m : t.media)
        reels << m.name + '=' + m.reel;
    // In clock order: "ABC", "Intervi2", "Interview_...A", "..._B", "abc", then the Japanese name.
    EXPECT_EQ(reels, (QStringList{"ABC.wav=ABC", "Intervi2.mov=Intervi2", "Interview_Day1_CamA.mov=Intervie",
                                  "Interview_Day1_CamB.mov=Intervi3", "abc.wav=abc2", "日本語.wav=REEL"}));
    QStringList layout;
    for (const Event& e : eventsOf(t))
        layout
            << QStringLiteral("%1:%2%3").arg(t.media[e.media].name, e.video ? "V" : "").arg(e.audioChannels);
    EXPECT_EQ(layout, (QStringList{"ABC.wav:1", "Intervi2.mov:V0", "Interview_Day1_CamA.mov:V2",
                                   "Interview_Day1_CamB.mov:V1", "abc.wav:2", "日本語.wav:1"}));
}

} // namespace
