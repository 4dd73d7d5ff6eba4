// Timeline files shaped as Final Cut Pro, Resolve, Premiere Pro and Avid write them (samples/),
// each read to the clips an editor sees in that program: storylines and lanes, compound and
// multicam clips, split edits, transitions, nested stacks, dissolves, reels and channels.
#include "interchange/TimelineReaders.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

using namespace ondrel::interchange;

namespace {

const QString kSamples = QStringLiteral(ONDREL_SOURCE_DIR "/tests/interchange/samples/");

struct Expected {
    QString track;
    QString name;
    QString file; // the media's file name
    Rational sourceIn;
    Rational sourceOut;
    Rational recordIn;
    Rational recordOut;
};

struct Sample {
    QString file;
    std::optional<FrameRate> edlRate;
    QString formatName;
    QString name;
    FrameRate rate;
    bool dropFrame;
    Rational start;
    QList<Expected> clips;
    QList<std::pair<QString, Rational>> markers;
    QStringList warnings; // a piece of each warning, in order
};

std::string text(Rational r) {
    return std::to_string(r.num) + "/" + std::to_string(r.den);
}

void expectReads(const Sample& s) {
    SCOPED_TRACE(s.file.toStdString());
    ReadOptions options;
    options.edlRate = s.edlRate;
    const TimelineReading reading = readTimelineFile(kSamples + s.file, options);
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    const ReadTimeline& t = *reading.timeline;
    EXPECT_EQ(t.formatName, s.formatName);
    EXPECT_EQ(t.name, s.name);
    EXPECT_EQ(t.rate, s.rate);
    EXPECT_EQ(t.dropFrame, s.dropFrame);
    EXPECT_EQ(t.start, s.start) << text(t.start);
    ASSERT_EQ(t.clips.size(), s.clips.size());
    for (qsizetype i = 0; i < s.clips.size(); ++i) {
        const ReadClip& c = t.clips[i];
        const Expected& e = s.clips[i];
        SCOPED_TRACE(testing::Message()
                     << "clip " << i << " " << e.track.toStdString() << " " << e.name.toStdString());
        EXPECT_EQ(c.track, e.track);
        EXPECT_EQ(c.name, e.name);
        EXPECT_EQ(t.media[c.media].name, e.file);
        EXPECT_EQ(c.sourceIn, e.sourceIn) << text(c.sourceIn);
        EXPECT_EQ(c.sourceOut, e.sourceOut) << text(c.sourceOut);
        EXPECT_EQ(c.recordIn, e.recordIn) << text(c.recordIn);
        EXPECT_EQ(c.recordOut, e.recordOut) << text(c.recordOut);
    }
    QList<std::pair<QString, Rational>> markers;
    for (const ReadMarker& m : t.markers)
        markers.push_back({m.name, m.record});
    EXPECT_EQ(markers, s.markers);
    ASSERT_EQ(t.warnings.size(), s.warnings.size()) << t.warnings.join("\n").toStdString();
    for (qsizetype i = 0; i < s.warnings.size(); ++i)
        EXPECT_TRUE(t.warnings[i].contains(s.warnings[i])) << t.warnings[i].toStdString();
}

// Frames of a rate as exact seconds.
std::function<Rational(qint64)> framesOf(FrameRate rate) {
    return [rate](qint64 n) { return secondsOf(n, rate); };
}

TEST(ReaderSamples, FinalCutProProjectWithLanesCompoundSplitEditAndAudition) {
    const FrameRate rate{24000, 1001};
    const auto f = framesOf(rate);
    const qint64 a = 1209600; // A001_C003 starts at 14:00:00:00
    const QString A = "A001_C003.mov";
    expectReads({"fcp-1.11-interview.fcpxml",
                 {},
                 "FCPXML 1.11",
                 "Interview Cut v3",
                 rate,
                 false,
                 f(86400),
                 {
                     {"V1", "Interview A", A, f(a + 240), f(a + 480), f(0), f(240)},
                     {"V1", "Interview A", A, f(a + 1000), f(a + 1120), f(240), f(360)},
                     // The compound shows 48 to 144 of its own timeline: the end of one clip, the
                     // start of the next.
                     {"V1", "A001_C003", A, f(a + 5048), f(a + 5096), f(360), f(408)},
                     {"V1", "A001_C003", A, f(a + 6000), f(a + 6048), f(408), f(456)},
                     {"V1", "Interview A alt", A, f(a + 8000), f(a + 8048), f(504), f(552)},
                     // 25 fps b-roll over the first answer, its source in its own seconds.
                     {"V2", "street night", "street night.mov", Rational::of(5), Rational::of(8003, 1000),
                      f(48), f(120)},
                     {"A1", "Interview A", A, f(a + 240), f(a + 480), f(0), f(240)},
                     {"A1", "A001_C003", A, f(a + 5048), f(a + 5096), f(360), f(408)},
                     {"A1", "A001_C003", A, f(a + 6000), f(a + 6048), f(408), f(456)},
                     {"A1", "Interview A alt", A, f(a + 8000), f(a + 8048), f(504), f(552)},
                     // The J-cut's sound starts 12 frames early, under the first answer.
                     {"A2", "Interview A", A, f(a + 988), f(a + 1120), f(228), f(360)},
                     // Connected below a gap, running past it.
                     {"A3", "Room Tone", "room tone.wav", f(0), f(96), f(456), f(552)},
                 },
                 {{"Childhood", f(0)}, {"Great answer", f(24)}},
                 {"street night.mov (25 fps) is not at the timeline's 23.976 fps"}});
}

TEST(ReaderSamples, FinalCutProClipsSyncClipsStorylinesAndRetiming) {
    const FrameRate rate{25, 1};
    const auto f = framesOf(rate);
    const QString I = "interview.mov";
    const QString R = "archive 1974.mov";
    expectReads(
        {"fcp-1.9-sync-retime.fcpxml",
         {},
         "FCPXML 1.9",
         "Features",
         rate,
         false,
         f(0),
         {
             // A clip's picture goes by the clip's name; its sound hangs below it.
             {"V1", "Synced take", I, Rational::of(10), Rational::of(14), f(0), f(100)},
             // Half speed through the time map: 2 s of the timeline play 1 s of source.
             {"V1", "Slow", I, Rational::of(10), Rational::of(11), f(100), f(150)},
             // Conformed from 23.976: each of its frames plays as one of the timeline's.
             {"V1", "Archive", R, Rational::of(0), Rational::of(2 * 25 * 1001, 24000), f(150), f(200)},
             {"V1", "Interview", I, Rational::of(30), Rational::of(33), f(200), f(275)},
             {"V1", "Answer", I, Rational::of(40), Rational::of(44), f(275), f(375)},
             // A storyline above the answer; its second clip follows the first.
             {"V2", "Archive", R, Rational::of(1), Rational::of(2), f(300), f(325)},
             {"V2", "Archive", R, Rational::of(5), Rational::of(6), f(325), f(350)},
             {"A1", "Slow", I, Rational::of(10), Rational::of(11), f(100), f(150)},
             {"A1", "Interview", I, Rational::of(30), Rational::of(33), f(200), f(275)},
             {"A1", "Answer", I, Rational::of(40), Rational::of(44), f(275), f(375)},
             {"A1", "Sound only", I, Rational::of(50), Rational::of(52), f(375), f(425)},
             {"A2", "Synced take", "lav.wav", Rational::of(100), Rational::of(104), f(0), f(100)},
             {"A2", "Lav", "lav.wav", Rational::of(200), Rational::of(203), f(200), f(275)},
         },
         {},
         {"holds 2 projects; the first, “Features”, was read.", "retimes clips", "conforms clips",
          "archive 1974.mov (23.976 fps)"}});
}

TEST(ReaderSamples, OlderAndNewerFcpxmlVersionsReadAsFarAsTheyGo) {
    struct Case {
        QString version;
        QString asset;
        QString warning;
    };
    const Case cases[] = {
        // Before 1.9 the URL was the asset's own `src`.
        {"1.8",
         "<asset id=\"a\" name=\"a\" src=\"file:///m/old%20cam.mov\" start=\"0s\" hasVideo=\"1\" "
         "format=\"r1\"/>",
         ""},
        {"1.13",
         "<asset id=\"a\" name=\"a\" start=\"0s\" hasVideo=\"1\" format=\"r1\"><media-rep "
         "kind=\"original-media\" src=\"file:///m/old%20cam.mov\"/></asset>",
         ""},
        {"1.14",
         "<asset id=\"a\" name=\"a\" start=\"0s\" hasVideo=\"1\" format=\"r1\"><media-rep "
         "kind=\"original-media\" src=\"file:///m/old%20cam.mov\"/></asset>",
         "is FCPXML 1.14, newer than the 1.13 Ondrel Manager knows; it was read as 1.13."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version.toStdString());
        const QByteArray bytes =
            QStringLiteral("<fcpxml version=\"%1\"><resources><format id=\"r1\" "
                           "name=\"FFVideoFormat1080i50\"/>%2</resources><library><event>"
                           "<project name=\"p\"><sequence format=\"r1\"><spine><asset-clip "
                           "ref=\"a\" offset=\"0s\" duration=\"2s\"/></spine></sequence>"
                           "</project></event></library></fcpxml>")
                .arg(c.version, c.asset)
                .toUtf8();
        const TimelineReading reading = readTimelineBytes(bytes, "/cuts/cut.fcpxml");
        ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
        const ReadTimeline& t = *reading.timeline;
        EXPECT_EQ(t.formatName, "FCPXML " + c.version);
        // 1080i50 names fields: 25 frames a second.
        EXPECT_EQ(t.rate, (FrameRate{25, 1}));
        ASSERT_EQ(t.media.size(), 1);
        EXPECT_EQ(t.media[0].path, "/m/old cam.mov");
        EXPECT_EQ(t.warnings.join(""), c.warning.isEmpty() ? QString() : "“cut.fcpxml” " + c.warning);
    }
}

TEST(ReaderSamples, ResolveBundleWithMulticamAtDropFrame) {
    const FrameRate rate{30000, 1001};
    const auto f = framesOf(rate);
    const qint64 a = 1996002; // CAM_A starts at 18:30:00;00
    expectReads({"resolve-1.10-multicam.fcpxmld",
                 {},
                 "FCPXML 1.10",
                 "Maria Interview (Resolve)",
                 rate,
                 true,
                 f(107892),
                 {
                     {"V1", "CAM_A_0042.MP4", "CAM_A_0042.MP4", f(a + 300), f(a + 450), f(0), f(150)},
                     // Picture from angle B, sound from angle A, at the multicam's 600 frames.
                     {"V1", "CAM_B_0107.MP4", "CAM_B_0107.MP4", f(600), f(690), f(150), f(240)},
                     {"V1", "CAM_B_0107.MP4", "CAM_B_0107.MP4", f(1200), f(1260), f(240), f(300)},
                     {"A1", "CAM_A_0042.MP4", "CAM_A_0042.MP4", f(a + 300), f(a + 450), f(0), f(150)},
                     {"A1", "CAM_A_0042.MP4", "CAM_A_0042.MP4", f(a + 600), f(a + 690), f(150), f(240)},
                     {"A1", "CAM_B_0107.MP4", "CAM_B_0107.MP4", f(1200), f(1260), f(240), f(300)},
                 },
                 {{"Pause here", f(270)}},
                 {}});
}

TEST(ReaderSamples, PremiereXmlWithTransitionsDisabledItemsAndMarkers) {
    const FrameRate rate{25, 1};
    const auto f = framesOf(rate);
    const qint64 a = 900000; // 10:00:00:00
    const QString A = "A001_C003.mov";
    expectReads({"premiere-25p.xml",
                 {},
                 "FCP 7 XML (xmeml 4)",
                 "Interview Cut (PAL)",
                 rate,
                 false,
                 f(0),
                 {
                     // Both sides of the dissolve reach into it: its media runs to the edge the
                     // transition covers.
                     {"V1", A, A, f(a + 125), f(a + 387), f(0), f(262)},
                     {"V1", A, A, f(a + 1488), f(a + 1750), f(238), f(500)},
                     {"V2", "Café exterior", "Café exterior.mp4", f(0), f(100), f(300), f(400)},
                     {"A1", A, A, f(a + 125), f(a + 375), f(0), f(250)},
                     {"A1", A, A, f(a + 1500), f(a + 1750), f(250), f(500)},
                 },
                 {{"Laugh", f(75)}, {"Best line of the interview", f(100)}},
                 {}});
}

TEST(ReaderSamples, PremiereNestedSequenceDescribedOnceAndNamedByIdAfter) {
    const QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE xmeml>
<xmeml version="4"><sequence id="sequence-1"><name>Main</name><rate><timebase>25</timebase><ntsc>FALSE</ntsc></rate>
<media><video><track>
  <clipitem id="clipitem-1"><name>Nest</name><start>0</start><end>50</end><in>25</in><out>75</out>
    <sequence id="sequence-2"><name>Nest</name><rate><timebase>25</timebase><ntsc>FALSE</ntsc></rate>
      <media><video><track>
        <clipitem id="clipitem-2"><name>inner a</name><start>0</start><end>50</end><in>0</in><out>50</out>
          <file id="file-1"><name>a.mov</name><pathurl>file://localhost/m/a.mov</pathurl>
            <rate><timebase>25</timebase></rate><media><video/></media></file></clipitem>
        <clipitem id="clipitem-3"><name>inner b</name><start>50</start><end>100</end><in>100</in><out>150</out>
          <file id="file-2"><name>b.mov</name><pathurl>file://localhost/m/b.mov</pathurl>
            <rate><timebase>25</timebase></rate><media><video/></media></file></clipitem>
      </track></video></media></sequence>
  </clipitem>
  <clipitem id="clipitem-4"><name>Nest again</name><start>50</start><end>75</end><in>0</in><out>25</out>
    <sequence id="sequence-2"/></clipitem>
</track></video></media></sequence></xmeml>
)";
    const TimelineReading reading = readTimelineBytes(xml, "/cuts/nested.xml");
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    const auto f = framesOf({25, 1});
    QList<std::tuple<QString, QString, Rational, Rational, Rational>> clips;
    for (const ReadClip& c : reading.timeline->clips)
        clips.push_back({c.name, reading.timeline->media[c.media].path, c.sourceIn, c.recordIn, c.recordOut});
    // The nest shows its frames 25 to 75 first, then 0 to 25 again.
    const QList<std::tuple<QString, QString, Rational, Rational, Rational>> expected{
        {"inner a", "/m/a.mov", f(25), f(0), f(25)},
        {"inner b", "/m/b.mov", f(100), f(25), f(50)},
        {"inner a", "/m/a.mov", f(0), f(50), f(75)},
    };
    EXPECT_EQ(clips, expected);
}

TEST(ReaderSamples, ResolveOtioWithGapsTransitionNestedStackAndMissingReference) {
    const FrameRate rate{24, 1};
    const auto f = framesOf(rate);
    expectReads({"resolve-24.otio",
                 {},
                 "OTIO",
                 "Interview Selects",
                 rate,
                 false,
                 f(86400),
                 {
                     {"V1", "A002_C010.mov", "A002_C010.mov", f(90048), f(90168), f(24), f(144)},
                     // Its source counts 23.976 frames.
                     {"V1", "Drone over the harbour", "DJI_0042.MP4", Rational::of(1001, 250),
                      Rational::of(1501, 250), f(144), f(192)},
                     {"V1", "Interview B", "B_cam_interview.mov", f(48), f(120), f(192), f(264)},
                     {"A1", "A002_C010.mov", "A002_C010.mov", f(90048), f(90168), f(24), f(144)},
                     // The compound shows 1 s to 3 s of its own time; its clip starts 1 s into
                     // its file.
                     {"A1", "harbour ambience.wav", "harbour ambience.wav", Rational::of(2), Rational::of(4),
                      f(144), f(192)},
                 },
                 {{"Tears", f(36)}, {"Act two", f(144)}},
                 {"1 item of kinds Ondrel Manager does not know", "DJI_0042.MP4 (23.976 fps)"}});
}

TEST(ReaderSamples, AvidEdlWithAudioChannelsDissolveBlackAndLocator) {
    const FrameRate rate{24000, 1001};
    const auto f = framesOf(rate);
    const qint64 a = 1241525; // 14:22:10:05 counted at 24 labels a second
    const QString A = "A001C003_220101_R1AB.mov";
    const QString name = "INTERVIEW A TK3";
    const qint64 hour = 86400;
    expectReads({"avid-2398.edl",
                 rate,
                 "CMX 3600 EDL",
                 "MARIA INTERVIEW ASSEMBLY",
                 rate,
                 false,
                 f(hour),
                 {
                     {"V1", name, A, f(a), f(a + 127), f(0), f(127)},
                     // The dissolve's incoming side from its start; the outgoing side has no length.
                     {"V1", name, A, f(1245600), f(1245744), f(127), f(271)},
                     {"A1", name, A, f(a), f(a + 127), f(0), f(127)},
                     {"A1", "ROOM TONE", "ROOM TONE", f(89356), f(89476), f(295), f(415)},
                     {"A2", name, A, f(a), f(a + 127), f(0), f(127)},
                     {"A3", name, A, f(a), f(a + 127), f(0), f(127)},
                     {"A4", name, A, f(a), f(a + 127), f(0), f(127)},
                 },
                 {{"CHECK NAME SPELLING", f(48)}},
                 {}});
}

TEST(ReaderSamples, PremiereEdlFromZeroWithASpeedChange) {
    const FrameRate rate{30000, 1001};
    const auto f = framesOf(rate);
    const QString wide = "interview_wide.mp4";
    expectReads({"premiere-2997.edl",
                 rate,
                 "CMX 3600 EDL",
                 "Sequence 01",
                 rate,
                 false,
                 f(0),
                 {
                     {"V1", wide, wide, f(370), f(600), f(0), f(230)},
                     {"V1", "hands close.mp4", "hands close.mp4", f(1889), f(1950), f(230), f(291)},
                     {"V1", wide, wide, f(5400), f(5535), f(291), f(426)},
                     {"A1", wide, wide, f(370), f(600), f(0), f(230)},
                     {"A1", wide, wide, f(5400), f(5535), f(291), f(426)},
                     {"A2", wide, wide, f(370), f(600), f(0), f(230)},
                     {"A2", wide, wide, f(5400), f(5535), f(291), f(426)},
                 },
                 {},
                 {"changes the speed of 1 event"}});
}

TEST(ReaderSamples, AnEdlWithoutItsRateIsReadAtTheSlowestItsLabelsAllowAndSaysSo) {
    const struct {
        QString file;
        FrameRate rate;
    } cases[] = {{"avid-2398.edl", {24, 1}}, {"premiere-2997.edl", {30, 1}}, {"reel-only-25.edl", {24, 1}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file.toStdString());
        const TimelineReading reading = readTimelineFile(kSamples + c.file);
        ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
        EXPECT_EQ(reading.timeline->rate, c.rate);
        EXPECT_FALSE(reading.timeline->rateStated);
        EXPECT_TRUE(reading.timeline->warnings.front().contains("does not say its frame rate"));
    }
    // A rate whose labels stop short of the file's frames is no reading of it.
    ReadOptions options;
    options.edlRate = FrameRate{24, 1};
    const TimelineReading wrong = readTimelineFile(kSamples + "premiere-2997.edl", options);
    ASSERT_FALSE(wrong.timeline);
    EXPECT_EQ(wrong.error, "“premiere-2997.edl” counts frames up to 29, more than 24 fps has.");
}

} // namespace
