// The edit decision list: event layout to the blank, reels, track letters, the source mapping,
// and refusals that leave no file behind.
#include "export/EDLExporter.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

using namespace ondrel;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

StorySegment segment(double start, double end, QString clip, QString transcript = {},
                     std::optional<QString> chapter = std::nullopt) {
    StorySegment s;
    s.startTime = start;
    s.endTime = end;
    s.sourceClip = std::move(clip);
    s.transcript = std::move(transcript);
    s.chapter = std::move(chapter);
    return s;
}

QString edl(const QList<StorySegment>& segments, const QList<MediaFileInfo>& files = {}, double fps = 24) {
    QString error;
    const auto text = EDLExporter().exportText("Edit", segments, files, fps, &error);
    EXPECT_TRUE(text.has_value()) << error.toStdString();
    return text.value_or(QString());
}

// The event line of the only event.
QString eventLine(const QList<StorySegment>& segments, const QList<MediaFileInfo>& files = {}) {
    return edl(segments, files).split('\n').value(3);
}

TEST(EDLExporter, NoSegmentsIsTheHeaderAlone) {
    EXPECT_EQ(edl({}), "TITLE: Edit\nFCM: NON-DROP FRAME\n\n");
}

struct TrackCase {
    const char* sourceClip;
    QList<MediaFileInfo> files;
    char track;
};

class TrackLetter : public ::testing::TestWithParam<TrackCase> {};

TEST_P(TrackLetter, FollowsTheFileOrElseTheExtension) {
    const auto& c = GetParam();
    const QString line = eventLine({segment(0, 1, c.sourceClip)}, c.files);
    ASSERT_GE(line.size(), 15);
    EXPECT_EQ(line[14], QLatin1Char(c.track)) << line.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Clips, TrackLetter,
    ::testing::Values(TrackCase{"interview.WAV", {}, 'A'}, TrackCase{"interview.m4a", {}, 'V'},
                      TrackCase{"take.aiff", {}, 'A'}, TrackCase{"take.flac", {}, 'A'},
                      TrackCase{"take", {}, 'V'},
                      // a found file decides by its video flag, whatever the extension says
                      TrackCase{"cam.mov", {MediaFileInfo("/m/cam.mov", "cam.mov", 10, {}, 24, false)}, 'A'},
                      TrackCase{"cam.wav", {MediaFileInfo("/m/cam.mov", "cam.mov", 10, {}, 24, true)}, 'V'},
                      // contained in a name is no match here: the extension decides
                      TrackCase{"cam", {MediaFileInfo("/m/cam_2.wav", "cam_2.wav", 10)}, 'V'}));

TEST(EDLExporter, ReelIsPaddedOrCutToEight) {
    EXPECT_EQ(eventLine({segment(0, 1, "Abcdefg.wav")}), "001  Abcdefg  A     C        "
                                                         "00:00:00:00 00:00:01:00 00:00:00:00 00:00:01:00");
    EXPECT_TRUE(eventLine({segment(0, 1, "Interview_12.mov")}).startsWith("001  Intervie V     C        "));
    EXPECT_EQ(EDLExporter::reelName("My Clip.take2.mov"), "My Clip.");
}

TEST(EDLExporter, EventNumbersGrowPastThreeDigits) {
    QList<StorySegment> segments(1000, segment(0, 0, "a.wav"));
    const QString text = edl(segments);
    EXPECT_TRUE(text.contains("\n999  a        A     C        "));
    EXPECT_TRUE(text.contains("\n1000  a        A     C        "));
}

TEST(EDLExporter, WithoutMediaSourceTimesAreSequenceTimes) {
    const QString text = edl({segment(10.5, 12, "a.wav"), segment(100, 101, "a.wav")});
    const QStringList lines = text.split('\n');
    EXPECT_TRUE(lines[3].endsWith("00:00:10:12 00:00:12:00 00:00:00:00 00:00:01:12"));
    EXPECT_TRUE(lines[6].endsWith("00:01:40:00 00:01:41:00 00:00:01:12 00:00:02:12"));
}

TEST(EDLExporter, SegmentOverABoundaryKeepsTheFileOfItsStart) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/a.wav", "a.wav", 60, QStringLiteral("01:00:00:00")),
                                     MediaFileInfo("/m/b.wav", "b.wav", 60, QStringLiteral("02:00:00:00"))};
    EXPECT_TRUE(eventLine({segment(59, 62, "a.wav")}, files)
                    .endsWith("01:00:59:00 01:01:02:00 00:00:00:00 00:00:03:00"));
}

TEST(EDLExporter, CommentKeepsSixtyCharactersRawAndChapterMayBeEmpty) {
    const QString transcript = QString(58, 'x') + "\nyz-and-more";
    const QString text = edl({segment(0, 1, "a.wav", transcript, QString())});
    EXPECT_TRUE(text.contains("* COMMENT: " + QString(58, 'x') + "\ny\n* CHAPTER: \n\n"));
    EXPECT_FALSE(edl({segment(0, 1, "a.wav")}).contains("COMMENT"));
    EXPECT_FALSE(edl({segment(0, 1, "a.wav")}).contains("CHAPTER"));
}

TEST(EDLExporter, ZeroLengthSegmentHasEqualSourcePoints) {
    const QString line = eventLine({segment(42.5, 42.5, "a.wav")});
    EXPECT_TRUE(line.endsWith("00:00:42:12 00:00:42:12 00:00:00:00 00:00:00:00"));
}

struct Refusal {
    const char* what;
    QList<StorySegment> segments;
    QList<MediaFileInfo> files;
    double fps;
};

class EDLRefusal : public ::testing::TestWithParam<Refusal> {};

TEST_P(EDLRefusal, SaysWhyAndWritesNothing) {
    const auto& c = GetParam();
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.edl");
    QString error;
    EXPECT_FALSE(EDLExporter().exportToFile(path, "Edit", c.segments, c.files, c.fps, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
}

INSTANTIATE_TEST_SUITE_P(OutsideValues, EDLRefusal,
                         ::testing::Values(Refusal{"nan start", {segment(kNaN, 1, "a.wav")}, {}, 24},
                                           Refusal{"infinite end", {segment(0, kInf, "a.wav")}, {}, 24},
                                           Refusal{"huge start", {segment(1e300, 1e300, "a.wav")}, {}, 24},
                                           Refusal{"huge duration", {segment(0, 1e19, "a.wav")}, {}, 24},
                                           Refusal{"nan end", {segment(0, kNaN, "a.wav")}, {}, 24},
                                           Refusal{"zero fps", {segment(0, 1, "a.wav")}, {}, 0},
                                           Refusal{"negative fps", {segment(0, 1, "a.wav")}, {}, -24},
                                           Refusal{"nan fps", {}, {}, kNaN},
                                           Refusal{"huge fps", {segment(0.5, 1, "a.wav")}, {}, 1e300}),
                         [](const auto& info) {
                             QString name = QString::fromLatin1(info.param.what);
                             name.replace(' ', '_');
                             return name.toStdString();
                         });

TEST(EDLExporter, RefusalNamesTheEventAndValue) {
    QString error;
    EXPECT_FALSE(EDLExporter().exportText("Edit", {segment(0, 1, "a.wav"), segment(kNaN, 1, "b.wav")}, {}, 24,
                                          &error));
    EXPECT_EQ(error, "Event 2 has a source in point of nan seconds, which cannot be written as a timecode");
    EXPECT_FALSE(EDLExporter().exportText("Edit", {}, {}, 0, &error));
    EXPECT_EQ(error, "The frame rate must be a number above 0, not 0.0");
}

TEST(EDLExporter, RefusalLeavesAnEarlierFileWhole) {
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.edl");
    ASSERT_TRUE(EDLExporter().exportToFile(path, "Edit", {segment(0, 1, "a.wav")}));
    const QByteArray before = test::readFile(path);
    QString error;
    EXPECT_FALSE(EDLExporter().exportToFile(path, "Edit", {segment(kInf, 1, "a.wav")}, {}, 24, &error));
    EXPECT_EQ(test::readFile(path), before);
}

TEST(EDLExporter, WriteFailureReachesTheCaller) {
    QTemporaryDir dir;
    const QString path = dir.filePath("missing/folder/story_edit.edl");
    QString error;
    EXPECT_FALSE(EDLExporter().exportToFile(path, "Edit", {segment(0, 1, "a.wav")}, {}, 24, &error));
    EXPECT_TRUE(error.startsWith("Could not write " + path + ": ")) << error.toStdString();
}

TEST(EDLExporter, WritesUtf8) {
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.edl");
    ASSERT_TRUE(EDLExporter().exportToFile(path, "Édition", {segment(0, 1, "a.wav", "¿Qué tal?")}));
    const QString text = QString::fromUtf8(test::readFile(path));
    EXPECT_TRUE(text.startsWith("TITLE: Édition\n"));
    EXPECT_TRUE(text.contains("* COMMENT: ¿Qué tal?\n"));
}

} // namespace
