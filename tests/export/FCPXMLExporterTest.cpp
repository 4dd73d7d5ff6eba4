// The FCPXML document: rational times, escaping, which file a clip refers to, and refusals that
// leave no file behind. Every document made here must parse as XML.
#include "export/FCPXMLExporter.h"
#include "ExportTestSupport.h"
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

QString fcpxml(const QList<StorySegment>& segments, const QList<MediaFileInfo>& files, double fps = 24,
               const QList<Subtitle>& subtitles = {}) {
    QString error;
    const auto text = FCPXMLExporter().exportText("Edit", segments, files, fps, subtitles, &error);
    EXPECT_TRUE(text.has_value()) << error.toStdString();
    EXPECT_EQ(test::xmlProblem(text.value_or(QString())), QString());
    return text.value_or(QString());
}

// The asset-clip lines of a document.
QStringList clipLines(const QString& doc) {
    QStringList clips;
    for (const QString& line : doc.split('\n'))
        if (line.trimmed().startsWith("<asset-clip "))
            clips << line.trimmed();
    return clips;
}

struct RateCase {
    double fps;
    const char* frameDuration;
    double denominator;
};

class FrameRates : public ::testing::TestWithParam<RateCase> {};

TEST_P(FrameRates, ComeFromTheTableByExactValue) {
    const auto& c = GetParam();
    EXPECT_EQ(FCPXMLTime::frameDuration(c.fps), QString::fromLatin1(c.frameDuration));
    EXPECT_EQ(FCPXMLTime::standardDenominator(c.fps), c.denominator);
}

INSTANTIATE_TEST_SUITE_P(
    Table, FrameRates,
    ::testing::Values(RateCase{23.976, "1001/24000s", 24000}, RateCase{24, "100/2400s", 2400},
                      RateCase{25, "100/2500s", 2500}, RateCase{29.97, "1001/30000s", 30000},
                      RateCase{30, "100/3000s", 3000}, RateCase{50, "100/5000s", 5000},
                      RateCase{59.94, "1001/60000s", 60000}, RateCase{60, "100/6000s", 6000},
                      RateCase{23.98, "100/2398s", 2398}, RateCase{12, "100/1200s", 1200},
                      RateCase{23.976 * 1.0000001, "100/2397s", 23.976 * 1.0000001 * 100}));

struct RationalCase {
    double seconds;
    double fps;
    const char* text;
};

class Rationals : public ::testing::TestWithParam<RationalCase> {};

TEST_P(Rationals, RoundToTheUnitAndStayUnreduced) {
    const auto& c = GetParam();
    EXPECT_EQ(FCPXMLTime::rational(c.seconds, c.fps), QString::fromLatin1(c.text));
    EXPECT_EQ(FCPXMLTime::offset(c.seconds, c.fps), QString::fromLatin1(c.text));
}

INSTANTIATE_TEST_SUITE_P(
    Values, Rationals,
    ::testing::Values(RationalCase{1.5, 24, "3600/2400s"}, RationalCase{2, 24, "2s"},
                      RationalCase{10.01, 29.97, "300300/30000s"}, // a unit of 1/30000, not a frame
                      RationalCase{0, 24, "0s"}, RationalCase{-1.5, 24, "-3600/2400s"},
                      RationalCase{0.005, 1, "1/100s"},   // half a unit rounds away from zero
                      RationalCase{-0.005, 1, "-1/100s"}, // on both sides
                      RationalCase{0.004, 1, "0s"}, RationalCase{3600.48, 25, "9001200/2500s"},
                      RationalCase{1.0 / 3, 23.976, "8000/24000s"}));

TEST(Rationals, NoTextForOutsideValues) {
    for (double seconds : {kNaN, kInf, -kInf, 1e300})
        EXPECT_FALSE(FCPXMLTime::rational(seconds, 24)) << seconds;
    EXPECT_FALSE(FCPXMLTime::rational(1, 0.001)); // a unit of 1/0
    EXPECT_FALSE(FCPXMLTime::rational(1, 0));
    EXPECT_FALSE(FCPXMLTime::rational(1, -24));
    EXPECT_FALSE(FCPXMLTime::rational(1, kNaN));
    EXPECT_FALSE(FCPXMLTime::frameDuration(0.001));
    EXPECT_FALSE(FCPXMLTime::frameDuration(kInf));
}

TEST(FCPXMLExporter, EscapesAmpersandFirst) {
    EXPECT_EQ(FCPXMLExporter::escape("a & <b> \"c\" 'd' &amp;"),
              "a &amp; &lt;b&gt; &quot;c&quot; &apos;d&apos; &amp;amp;");
}

TEST(FCPXMLExporter, WithoutMediaHasNoAssetsNoClipsButTheWholeDuration) {
    const QString doc =
        fcpxml({segment(0, 2, "a.wav"), segment(5, 6.5, "b.wav", {}, QStringLiteral("Two"))}, {});
    EXPECT_EQ(test::countElements(doc, "asset"), 0);
    EXPECT_EQ(test::countElements(doc, "format"), 1);
    EXPECT_EQ(test::countElements(doc, "asset-clip"), 0);
    EXPECT_TRUE(doc.contains("<sequence format=\"r1\" duration=\"8400/2400s\""));
    EXPECT_TRUE(doc.contains("<chapter-marker start=\"0s\" duration=\"100/2400s\" value=\"Chapter 1\"/>"));
    EXPECT_TRUE(doc.contains("<chapter-marker start=\"2s\" duration=\"100/2400s\" value=\"Two\"/>"));
    EXPECT_FALSE(doc.contains("caption-lane"));
}

TEST(FCPXMLExporter, PartOfANameMatchesTheFirstSuchFile) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/other.wav", "other.wav", 10),
                                     MediaFileInfo("/m/take_interview_1.wav", "take_interview_1.wav", 10),
                                     MediaFileInfo("/m/interview_2.wav", "interview_2.wav", 10)};
    const QStringList clips = clipLines(fcpxml({segment(0, 1, "interview")}, files));
    ASSERT_EQ(clips.size(), 1);
    EXPECT_TRUE(clips[0].startsWith("<asset-clip ref=\"r3\" ")) << clips[0].toStdString();
}

TEST(FCPXMLExporter, UnknownClipTakesTheResolvedFileThenTheFirst) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/b.wav", "b.wav", 10, QStringLiteral("02:00:00:00")),
                                     MediaFileInfo("/m/a.wav", "a.wav", 10, QStringLiteral("01:00:00:00"))};
    // 12 s on the laid-out clock is 2 s into b.wav, which sorts second.
    const QStringList clips =
        clipLines(fcpxml({segment(12, 13, "zzz.mov"), segment(-5, -4, "zzz.mov")}, files));
    ASSERT_EQ(clips.size(), 2);
    EXPECT_TRUE(clips[0].startsWith("<asset-clip ref=\"r2\" offset=\"0s\" name=\"\" start=\"7202s\""))
        << clips[0].toStdString();
    // Before the first file nothing resolves: the first file of the list, timed from its own timecode.
    EXPECT_TRUE(clips[1].startsWith("<asset-clip ref=\"r2\" offset=\"1s\" name=\"\" start=\"7195s\""))
        << clips[1].toStdString();
}

TEST(FCPXMLExporter, FallbackStartCountsFileFramesAtTheExportRate) {
    // Nothing resolves before the first file, so the file's own timecode is read at 25 fps.
    const QList<MediaFileInfo> files{MediaFileInfo("/m/a.wav", "a.wav", 10, QStringLiteral("00:00:01:12"))};
    const QStringList clips = clipLines(fcpxml({segment(-0.5, 0, "a.wav")}, files, 25));
    ASSERT_EQ(clips.size(), 1);
    EXPECT_TRUE(clips[0].contains("start=\"2450/2500s\"")) << clips[0].toStdString(); // 1.48 - 0.5
}

TEST(FCPXMLExporter, EscapesNamesPathsAndTranscripts) {
    const QList<MediaFileInfo> files{MediaFileInfo("/my media/Q&A.wav", "Q&A.wav", 10)};
    const QString doc = fcpxml({segment(0, 1, "Q&A.wav", QString(46, 'x') + "it's here")}, files);
    EXPECT_TRUE(doc.contains("name=\"Q&amp;A.wav\" src=\"file:///my media/Q&amp;A.wav\" start=\"0s\""));
    EXPECT_TRUE(doc.contains("<media-rep kind=\"original-media\" src=\"file:///my media/Q&amp;A.wav\"/>"));
    EXPECT_TRUE(doc.contains("name=\"" + QString(46, 'x') + "it&apos;s\""));
}

TEST(FCPXMLExporter, ZeroLengthClipDoesNotShiftTheNext) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/a.wav", "a.wav", 100)};
    const QStringList clips =
        clipLines(fcpxml({segment(1, 2, "a.wav"), segment(3, 3, "a.wav"), segment(4, 5, "a.wav")}, files));
    ASSERT_EQ(clips.size(), 3);
    EXPECT_TRUE(clips[1].contains("offset=\"1s\" name=\"\" start=\"3s\" duration=\"0s\""));
    EXPECT_TRUE(clips[2].contains("offset=\"1s\" name=\"\" start=\"4s\" duration=\"1s\""));
}

TEST(FCPXMLExporter, AudioFlagsDecideAttributes) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/v.mov", "v.mov", 10, {}, 24, true, false)};
    const QString doc = fcpxml({segment(0, 1, "v.mov")}, files);
    EXPECT_TRUE(doc.contains("duration=\"10s\" hasVideo=\"1\" videoSources=\"1\">"));
    EXPECT_FALSE(doc.contains("audioRole"));
}

TEST(FCPXMLExporter, CaptionsComeAfterClipsInsideTheSpine) {
    const QList<MediaFileInfo> files{MediaFileInfo("/m/a.wav", "a.wav", 100)};
    const QString doc = fcpxml({segment(0, 1, "a.wav")}, files, 24, {{0, 1.5, "Hi <there>"}});
    EXPECT_TRUE(doc.contains("\n            <caption-lane>\n          <caption startOffset=\"0s\" "
                             "duration=\"3600/2400s\" role=\"closedCaption\">\n            <text>Hi "
                             "&lt;there&gt;</text>\n          </caption>\n            </caption-lane>\n"
                             "            <chapter-marker "));
    EXPECT_EQ(test::countElements(doc, "caption"), 1);
}

struct Refusal {
    const char* what;
    QList<StorySegment> segments;
    QList<MediaFileInfo> files;
    double fps;
    QList<Subtitle> subtitles;
};

class FCPXMLRefusal : public ::testing::TestWithParam<Refusal> {};

TEST_P(FCPXMLRefusal, SaysWhyAndWritesNothing) {
    const auto& c = GetParam();
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.fcpxml");
    QString error;
    EXPECT_FALSE(
        FCPXMLExporter().exportToFile(path, "Edit", c.segments, c.files, c.fps, c.subtitles, &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
}

const QList<MediaFileInfo> kOneFile{MediaFileInfo("/m/a.wav", "a.wav", 100)};

INSTANTIATE_TEST_SUITE_P(
    OutsideValues, FCPXMLRefusal,
    ::testing::Values(Refusal{"nan start", {segment(kNaN, 1, "a.wav")}, kOneFile, 24, {}},
                      Refusal{"infinite end", {segment(0, kInf, "a.wav")}, kOneFile, 24, {}},
                      Refusal{"huge start", {segment(1e300, 1e300, "a.wav")}, kOneFile, 24, {}},
                      Refusal{"nan without media", {segment(0, kNaN, "a.wav")}, {}, 24, {}},
                      Refusal{"nan file length", {}, {MediaFileInfo("/m/a.wav", "a.wav", kNaN)}, 24, {}},
                      Refusal{"nan subtitle", {}, {}, 24, {{0, kNaN, "x"}}},
                      Refusal{"zero fps", {segment(0, 1, "a.wav")}, kOneFile, 0, {}},
                      Refusal{"negative fps", {segment(0, 1, "a.wav")}, kOneFile, -24, {}},
                      Refusal{"tiny fps", {}, {}, 0.001, {}}, Refusal{"nan fps", {}, {}, kNaN, {}},
                      Refusal{"huge fps", {}, {}, 1e300, {}}),
    [](const auto& info) {
        QString name = QString::fromLatin1(info.param.what);
        name.replace(' ', '_');
        return name.toStdString();
    });

TEST(FCPXMLExporter, RefusalNamesWhatCannotBeWritten) {
    QString error;
    EXPECT_FALSE(FCPXMLExporter().exportText("Edit", {segment(0, 1, "a.wav"), segment(2, kInf, "a.wav")},
                                             kOneFile, 24, {}, &error));
    EXPECT_EQ(error, "The sequence's duration is inf seconds, which cannot be written as an FCPXML time");
    EXPECT_FALSE(FCPXMLExporter().exportText("Edit", {}, {}, 0.001, {}, &error));
    EXPECT_EQ(error,
              "The frame rate must be a number above 0 that gives a whole-number time unit, not 0.001");
}

TEST(FCPXMLExporter, WriteFailureReachesTheCaller) {
    QTemporaryDir dir;
    const QString path = dir.filePath("no/such/folder/story_edit.fcpxml");
    QString error;
    EXPECT_FALSE(FCPXMLExporter().exportToFile(path, "Edit", {}, {}, 24, {}, &error));
    EXPECT_TRUE(error.startsWith("Could not write " + path + ": ")) << error.toStdString();
}

} // namespace
