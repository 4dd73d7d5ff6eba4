// The EDL and FCPXML exporters beyond the golden edit: event layout, which file a clip refers
// to, and outside values refused with a reason and no file left behind.
#include "ExportTestSupport.h"
#include "export/EDLExporter.h"
#include "export/FCPXMLExporter.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

using namespace ondrel;
using test::seg;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

QString edl(const QList<StorySegment>& segments, const QList<MediaFileInfo>& files = {}) {
    QString error;
    const auto text = EDLExporter().exportText("Edit", segments, files, 24, &error);
    EXPECT_TRUE(text) << error.toStdString();
    return text.value_or(QString());
}

QString fcpxml(const QList<StorySegment>& segments, const QList<MediaFileInfo>& files, double fps = 24) {
    QString error;
    const auto text = FCPXMLExporter().exportText("Edit", segments, files, fps, {}, &error);
    EXPECT_TRUE(text) << error.toStdString();
    EXPECT_EQ(test::xmlProblem(text.value_or(QString())), QString());
    return text.value_or(QString());
}

TEST(EDLExporter, EventLineTakesReelTrackAndSourceTimes) {
    const auto line = [](const StorySegment& s, const QList<MediaFileInfo>& files = {}) {
        return edl({s}, files).split('\n').value(3);
    };
    const QString firstSecond = "00:00:00:00 00:00:01:00 00:00:00:00 00:00:01:00";
    EXPECT_EQ(line(seg(0, 1, "interview.WAV")), "001  intervie A     C        " + firstSecond);
    EXPECT_EQ(line(seg(0, 1, "Take_12.m4a")), "001  Take_12  V     C        " + firstSecond);
    EXPECT_EQ(line(seg(0, 1, "My Clip.take2.flac")), "001  My Clip. A     C        " + firstSecond);
    // A found file decides by its video flag, whatever the extension says; contained in a name
    // is no match here.
    const MediaFileInfo audioMov("/m/cam.mov", "cam.mov", 10, {}, 24, false);
    const MediaFileInfo videoMov("/m/cam.mov", "cam.mov", 10, {}, 24, true);
    EXPECT_EQ(line(seg(0, 1, "cam.mov"), {audioMov}), "001  cam      A     C        " + firstSecond);
    EXPECT_EQ(line(seg(0, 1, "cam.wav"), {videoMov}), "001  cam      V     C        " + firstSecond);
    EXPECT_EQ(line(seg(0, 1, "cam"), {MediaFileInfo("/m/cam_2.wav", "cam_2.wav", 10)}),
              "001  cam      V     C        " + firstSecond);
    // Without media the source times are the sequence's. A segment over a boundary keeps the file
    // of its start; one starting on a boundary belongs to the next file.
    EXPECT_EQ(line(seg(10.5, 12, "a.wav")),
              "001  a        A     C        00:00:10:12 00:00:12:00 00:00:00:00 00:00:01:12");
    const QList<MediaFileInfo> twoFiles{
        MediaFileInfo("/m/a.wav", "a.wav", 60, QStringLiteral("01:00:00:00")),
        MediaFileInfo("/m/b.wav", "b.wav", 60, QStringLiteral("02:00:00:00"))};
    EXPECT_EQ(line(seg(59, 62, "a.wav"), twoFiles),
              "001  a        A     C        01:00:59:00 01:01:02:00 00:00:00:00 00:00:03:00");
    EXPECT_EQ(line(seg(60, 61, "b.wav"), twoFiles),
              "001  b        A     C        02:00:00:00 02:00:01:00 00:00:00:00 00:00:01:00");
}

TEST(EDLExporter, NumbersGrowPastThreeDigitsAndCommentsKeepSixtyCharactersRaw) {
    EXPECT_EQ(edl({}), "TITLE: Edit\nFCM: NON-DROP FRAME\n\n");
    const QString many = edl(QList<StorySegment>(1000, seg(0, 0, "a.wav")));
    EXPECT_TRUE(many.contains("\n999  a        A     C        "));
    EXPECT_TRUE(many.contains("\n1000  a        A     C        "));
    // e and a combining acute are one character; the line break is kept and counted.
    const QString x57(57, 'x');
    const QString text = edl({seg(0, 1, "a.wav", x57 + QStringLiteral("e\u0301\nyz-and-more"), "")});
    EXPECT_TRUE(text.contains("* COMMENT: " + x57 + QStringLiteral("e\u0301\ny\n* CHAPTER: \n\n")));
}

TEST(FCPXMLExporter, WithoutMediaHasNoClipsButTheWholeDuration) {
    const QString doc = fcpxml({seg(0, 2, "a.wav"), seg(5, 6.5, "b.wav", {}, QStringLiteral("Two"))}, {});
    EXPECT_FALSE(doc.contains("<asset") || doc.contains("caption-lane"));
    EXPECT_TRUE(doc.contains("<sequence format=\"r1\" duration=\"8400/2400s\""));
    EXPECT_TRUE(doc.contains("<chapter-marker start=\"2s\" duration=\"100/2400s\" value=\"Two\"/>"));
}

TEST(FCPXMLExporter, ClipTakesTheFirstFileHoldingItsNameElseTheFirstFile) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/b.wav", "b.wav", 10, QStringLiteral("00:00:01:12")),
                                     MediaFileInfo("/m/other.wav", "other.wav", 10),
                                     MediaFileInfo("/m/take_interview_1.wav", "take_interview_1.wav", 10),
                                     MediaFileInfo("/m/interview_2.wav", "interview_2.wav", 10)};
    const QString doc = fcpxml({seg(-0.5, 0, "zzz.mov"), seg(0, 1, "interview")}, files, 25);
    // Nothing resolves before the first file: the first file listed, its own timecode read at the
    // export rate (1.48 s) less half a second.
    EXPECT_TRUE(doc.contains(R"(<asset-clip ref="r2" offset="0s" name="" start="2450/2500s")"))
        << doc.toStdString();
    EXPECT_TRUE(doc.contains(R"(<asset-clip ref="r4" offset="1250/2500s" name="")")) << doc.toStdString();
}

TEST(Exporters, OutsideValuesAreRefusedWithAReasonAndNoFile) {
    const QList<MediaFileInfo> oneFile{MediaFileInfo("/m/a.wav", "a.wav", 100)};
    const auto refused = [](const char* what, const QList<StorySegment>& segments,
                            const QList<MediaFileInfo>& files, double fps, bool edlToo = true,
                            const QList<Subtitle>& subtitles = {}) {
        SCOPED_TRACE(what);
        QTemporaryDir dir;
        QString fcpError;
        QString edlError = "not asked";
        EXPECT_FALSE(FCPXMLExporter().exportToFile(dir.filePath("e.fcpxml"), "Edit", segments, files, fps,
                                                   subtitles, &fcpError));
        if (edlToo) {
            EXPECT_FALSE(
                EDLExporter().exportToFile(dir.filePath("e.edl"), "Edit", segments, files, fps, &edlError));
        }
        EXPECT_FALSE(fcpError.isEmpty() || edlError.isEmpty());
        EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    };
    refused("nan start", {seg(kNaN, 1, "a.wav")}, oneFile, 24);
    refused("infinite end", {seg(0, kInf, "a.wav")}, oneFile, 24);
    refused("huge start", {seg(1e300, 1e300, "a.wav")}, oneFile, 24);
    refused("huge duration", {seg(0, 1e19, "a.wav")}, {}, 24);
    refused("zero fps", {seg(0, 1, "a.wav")}, oneFile, 0);
    refused("negative fps", {seg(0, 1, "a.wav")}, oneFile, -24);
    refused("nan fps", {}, {}, kNaN);
    refused("huge fps", {seg(0.5, 1, "a.wav")}, {}, 1e300);
    refused("tiny fps", {}, {}, 0.001, false);
    refused("nan file length", {}, {MediaFileInfo("/m/a.wav", "a.wav", kNaN)}, 24, false);
    refused("nan subtitle", {}, {}, 24, false, {{0, kNaN, "x"}});

    QString error;
    EXPECT_FALSE(
        EDLExporter().exportText("Edit", {seg(0, 1, "a.wav"), seg(kNaN, 1, "b.wav")}, {}, 24, &error));
    EXPECT_EQ(error, "Event 2 has a source in point of nan seconds, which cannot be written as a timecode");
    EXPECT_FALSE(FCPXMLExporter().exportText("Edit", {}, {}, 0.001, {}, &error));
    EXPECT_EQ(error,
              "The frame rate must be a number above 0 that gives a whole-number time unit, not 0.001");
}

TEST(Exporters, ARefusalLeavesAnEarlierFileWholeAndWriteErrorsReachTheCaller) {
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.edl");
    ASSERT_TRUE(EDLExporter().exportToFile(path, "Édition", {seg(0, 1, "a.wav", "¿Qué tal?")}));
    const QByteArray before = test::readFile(path);
    EXPECT_TRUE(before.startsWith("TITLE: Édition\n"));
    EXPECT_FALSE(EDLExporter().exportToFile(path, "Edit", {seg(kInf, 1, "a.wav")}));
    EXPECT_EQ(test::readFile(path), before);

    const QString missing = dir.filePath("no/such/folder/story_edit");
    QString edlError;
    QString fcpError;
    EXPECT_FALSE(EDLExporter().exportToFile(missing, "Edit", {seg(0, 1, "a.wav")}, {}, 24, &edlError));
    EXPECT_FALSE(FCPXMLExporter().exportToFile(missing, "Edit", {}, {}, 24, {}, &fcpError));
    EXPECT_TRUE(edlError.startsWith("Could not write " + missing + ": ")) << edlError.toStdString();
    EXPECT_TRUE(fcpError.startsWith("Could not write " + missing + ": ")) << fcpError.toStdString();
}

} // namespace
