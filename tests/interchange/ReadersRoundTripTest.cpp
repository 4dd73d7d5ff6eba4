// The hand-off files read back by the program's own readers: every clip on its frames, in every
// format, at every rate and whatever the names and paths hold, so an editor's cut of a story comes
// back as it left.
#include "InterchangeTestSupport.h"

#include "interchange/Interchange.h"
#include "interchange/TimelineReaders.h"
#include "interchange/WriterSupport.h"

#include <gtest/gtest.h>

#include <ostream>

using namespace ondrel;
using namespace ondrel::interchange;
using namespace ondrel::interchange::test;

namespace {

const FrameRate k2997{30000, 1001};
const FrameRate k25{25, 1};

// A clip in whole frames of the timeline's rate: source frames on the file's own timecode.
struct FrameClip {
    QString track;
    QString name;
    QString path;
    qint64 sourceIn = 0;
    qint64 sourceOut = 0;
    qint64 recordIn = 0;
    qint64 recordOut = 0;
    friend bool operator==(const FrameClip&, const FrameClip&) = default;
};

std::ostream& operator<<(std::ostream& os, const FrameClip& c) {
    return os << c.track.toStdString() << " " << c.name.toStdString() << " " << c.path.toStdString()
              << " src " << c.sourceIn << "-" << c.sourceOut << " rec " << c.recordIn << "-" << c.recordOut;
}

// -1 marks a time that is no whole frame: a reader that lands between frames fails loudly.
qint64 frames(Rational seconds, FrameRate rate) {
    const Rational f = framesIn(seconds, rate);
    return f.den == 1 ? f.num : -1;
}

QList<FrameClip> expected(const EditTimeline& t, bool withSecondChannel) {
    QList<FrameClip> clips;
    for (const Track& track : t.tracks) {
        if (!withSecondChannel && track.name == QLatin1String("A2"))
            continue;
        for (const Clip& c : track.clips)
            clips << FrameClip{track.name,   t.media[c.media].name, t.media[c.media].path,
                               c.sourceIn,   c.sourceOut,           c.recordIn,
                               c.recordOut()};
    }
    return clips;
}

QList<FrameClip> asFrames(const ReadTimeline& r) {
    QList<FrameClip> clips;
    for (const ReadClip& c : r.clips)
        clips << FrameClip{c.track,
                           c.name,
                           r.media[c.media].path,
                           frames(c.sourceIn, r.rate),
                           frames(c.sourceOut, r.rate),
                           frames(c.recordIn, r.rate),
                           frames(c.recordOut, r.rate)};
    return clips;
}

ReadOptions everyFileThere() {
    ReadOptions options;
    options.isFile = [](const QString&) { return true; };
    return options;
}

struct Written {
    const char* what;
    QString fileName;
    QByteArray bytes;
    bool secondChannel; // FCPXML cuts a file's sound once, whatever its channels
};

QList<Written> filesOf(const EditTimeline& t) {
    return {{"FCPXML 1.11", "story_edit.fcpxml", fcpxmlBytes(t), false},
            {"FCPXML 1.10", "story_edit_1.10.fcpxml", fcpxmlBytes(t, FcpxmlVersion::v1_10), false},
            {"FCP 7 XML", "story_edit.xml", fcp7XmlBytes(t), true},
            {"OTIO", "story_edit.otio", otioBytes(t), true},
            {"EDL", "story_edit.edl", edlBytes(t), true}};
}

// Every file of the timeline read back: its clips and markers on the frames written, its rate,
// start and name as written, and nothing to warn about.
void expectReadsBack(const EditTimeline& t) {
    for (const Written& w : filesOf(t)) {
        SCOPED_TRACE(w.what);
        ReadOptions options = everyFileThere();
        options.edlRate = t.rate;
        const TimelineReading reading = readTimelineBytes(w.bytes, "/exports/Story/" + w.fileName, options);
        ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
        const ReadTimeline& r = *reading.timeline;
        EXPECT_EQ(r.rate, t.rate);
        EXPECT_EQ(asFrames(r), expected(t, w.secondChannel));
        EXPECT_EQ(frames(r.start, r.rate), t.startFrame);
        if (r.format != TimelineFormat::otio) {
            EXPECT_EQ(r.dropFrame, t.dropFrame);
        }
        if (r.format != TimelineFormat::edl) {
            EXPECT_EQ(r.name, xmlSafe(t.name));
        }
        QList<std::pair<QString, qint64>> markers;
        for (const ReadMarker& m : r.markers)
            markers.push_back({m.name.trimmed(), frames(m.record, r.rate)});
        QList<std::pair<QString, qint64>> written;
        for (const Marker& m : t.markers)
            written.push_back({m.name, m.record});
        EXPECT_EQ(markers, written);
        EXPECT_TRUE(r.warnings.isEmpty()) << r.warnings.join("\n").toStdString();
    }
}

TEST(ReadersRoundTrip, EveryWrittenFileGivesTheSameClipsToTheFrameAtEveryRate) {
    struct Case {
        FrameRate rate;
        bool dropFrame;
    };
    QList<Case> cases;
    for (const FrameRate& rate : storyRates()) {
        cases << Case{rate, false};
        if (rate.allowsDropFrame())
            cases << Case{rate, true};
    }
    ASSERT_EQ(cases.size(), 10);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate.label().toStdString() << (c.dropFrame ? " DF" : ""));
        const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(c.rate, c.dropFrame));
        ASSERT_EQ(eventsOf(t).size(), 10);
        ASSERT_EQ(t.markers.size(), 3);
        expectReadsBack(t);
    }
}

TEST(ReadersRoundTrip, StoriesOfAnyLengthComeBack) {
    for (const int count : {1, 500}) {
        SCOPED_TRACE(count);
        const EditTimeline t = buildTimeline("Story", storyOf(count), shootAt(k25, false));
        EXPECT_EQ(eventsOf(t).size(), count);
        expectReadsBack(t);
    }
}

TEST(ReadersRoundTrip, OutsideNamesAndPathsSurviveEveryFormat) {
    const QString longName = QString(300, u'n') + QStringLiteral(".mov");
    struct Case {
        const char* what;
        QString name;
        Shoot files;
    };
    const Case cases[] = {
        {"quotes, ampersands and brackets", "Tom's \"Story\" & <Friends> ]]> --", {}},
        {"other scripts and emoji", "שלום 世界 Привет 👩‍👩‍👧 🎬", {}},
        {"control characters and lines", "one\ntwo\tthree\x01\x1f end", {}},
        {"a lone surrogate", QString("half ") + QChar(0xD83D) + "!", {}},
        {"a very long name", QString(500, u'x'), {}},
        {"paths with spaces, #, % and other scripts",
         "Edit",
         {"/Volumes/Day #1/100% take & 'best'.mov", "/Users/josé/Müller <lav>.wav",
          "/Volumes/日本/カメラ C?x=1.mov"}},
        {"very long and emoji file names", "Edit", {"/m/" + longName, "/m/🎤 lav.wav", "/m/a\"b\".mov"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const EditTimeline t = buildTimeline(c.name, storyOf(10), shootAt(k2997, true, {}, c.files));
        ASSERT_EQ(eventsOf(t).size(), 10);
        expectReadsBack(t);
        const QStringList edl = QString::fromUtf8(edlBytes(t)).split(u'\n');
        EXPECT_TRUE(edl[0].startsWith("TITLE: ")) << edl[0].toStdString();
        EXPECT_EQ(edl[1], "FCM: DROP FRAME");
    }
}

TEST(ReadersRoundTrip, EachFormatKnowsWhereItsMediaStartOrSaysItDoesNot) {
    const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(k25, false));
    const MediaFile& camA = t.media[0];
    ASSERT_EQ(camA.name, "cam A.mov");
    for (const Written& w : filesOf(t)) {
        SCOPED_TRACE(w.what);
        ReadOptions options = everyFileThere();
        options.edlRate = t.rate;
        const TimelineReading reading = readTimelineBytes(w.bytes, "/exports/" + w.fileName, options);
        ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
        const ReadMedia& m = reading.timeline->media[reading.timeline->clips.front().media];
        ASSERT_EQ(m.path, camA.path);
        if (reading.timeline->format == TimelineFormat::edl) {
            // An EDL's source times stay on the file's timecode until the file itself is asked.
            EXPECT_FALSE(m.start.has_value());
            ReadTimeline settled = *reading.timeline;
            settleMediaStarts(settled, [&](const ReadMedia&) { return std::optional<Rational>(camA.start); });
            const ReadClip& first = settled.clips.front();
            EXPECT_EQ(sourceFromFirstFrame(settled, first, first.sourceIn),
                      secondsOf(t.tracks[0].clips[0].sourceIn, t.rate) - camA.start);
        } else {
            EXPECT_EQ(m.start, camA.start);
        }
    }
}

TEST(ReadersRoundTrip, AFileAtAnotherRateIsReadAtItsOwnAndNamed) {
    const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(k2997, true, k25));
    ASSERT_EQ(filesOffTimelineRate(t), QStringList{"/Volumes/Day 2/cam C.mov"});
    for (const Written& w : filesOf(t)) {
        SCOPED_TRACE(w.what);
        ReadOptions options = everyFileThere();
        options.edlRate = t.rate;
        const TimelineReading reading = readTimelineBytes(w.bytes, "/exports/" + w.fileName, options);
        ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
        const ReadTimeline& r = *reading.timeline;
        const QList<FrameClip> want = expected(t, w.secondChannel);
        if (r.format == TimelineFormat::fcp7Xml) {
            // xmeml counts `in` from the media's first frame, which for the 25 fps camera lies
            // between the timeline's frames: the writer's count starts on the next whole one.
            ASSERT_EQ(r.clips.size(), want.size());
            for (qsizetype i = 0; i < want.size(); ++i) {
                const Rational in = framesIn(r.clips[i].sourceIn, r.rate);
                EXPECT_EQ(in.ceil(), want[i].sourceIn) << want[i];
                EXPECT_EQ(frames(r.clips[i].recordIn, r.rate), want[i].recordIn) << want[i];
            }
        } else {
            EXPECT_EQ(asFrames(r), want);
        }
        // The formats that carry a file's rate name the one off the timeline's in a warning.
        if (r.format == TimelineFormat::fcpxml || r.format == TimelineFormat::fcp7Xml) {
            EXPECT_EQ(mediaOffTimelineRate(r), QStringList{"/Volumes/Day 2/cam C.mov"});
            ASSERT_EQ(r.warnings.size(), 1);
            EXPECT_TRUE(r.warnings[0].contains("cam C.mov (25 fps)")) << r.warnings[0].toStdString();
        }
    }
}

} // namespace
