// One edit of three source files and six segments against EDL and FCPXML files written by hand
// (see golden/README.md). Byte for byte, and the FCPXML must also parse as XML.
#include "ExportTestSupport.h"
#include "export/EDLExporter.h"
#include "export/FCPXMLExporter.h"
#include "support/TestEnv.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ondrel;

namespace {

QString golden(const QString& name) {
    return QStringLiteral(ONDREL_EXPORT_GOLDEN_DIR "/") + name;
}

StorySegment segment(double start, double end, QString clip, QString transcript,
                     std::optional<QString> chapter) {
    StorySegment s;
    s.startTime = start;
    s.endTime = end;
    s.sourceClip = std::move(clip);
    s.transcript = std::move(transcript);
    s.translation = QStringLiteral("(not exported)");
    s.chapter = std::move(chapter);
    return s;
}

struct Edit {
    QList<MediaFileInfo> files;
    QList<StorySegment> segments;
    QList<Subtitle> subtitles;
};

Edit goldenEdit() {
    Edit e;
    // Listed out of timecode order: the offset map sorts them, the assets keep this order.
    e.files = {MediaFileInfo("/footage/day 2/B-roll & Talk.mov", "B-roll & Talk.mov", 120,
                             QStringLiteral("10:00:00:00"), 25, true, false),
               MediaFileInfo("/footage/interview_a.wav", "interview_a.wav", 300,
                             QStringLiteral("01:00:00:12"), 25, false, true),
               MediaFileInfo("/footage/room_tone.wav", "room_tone.wav", 60, std::nullopt, 25, false, true)};
    e.segments = {
        segment(75.25, 82.75, "interview_a.wav",
                "And that was the year when we first moved to the coast, the whole family in one van.",
                QStringLiteral("Beginnings")),
        segment(370.5, 381.1, "B-roll & Talk", "It's <loud> & \"raw\"", QStringLiteral("Noise & Light")),
        segment(10.0, 12.52, "room_tone.wav", "", std::nullopt),
        segment(200.0, 200.0, "interview_a.wav", "Yes.", QString()),
        segment(500.0, 503.0, "pickup.mp3", "We came back.", QStringLiteral("Coda")), // past the last file
        segment(59.9, 61.2, "interview", "Line one\nline two", QStringLiteral("Crossing")),
    };
    e.subtitles = {{0.0, 2.5, "Hello & welcome"}, {2.5, 4.04, "It's 'quoted' <text>"}};
    return e;
}

const double kFps = 25;
const QString kProject = QStringLiteral("Ondrel Story Edit & Co");

TEST(GoldenExports, EdlMatchesByteForByte) {
    const Edit e = goldenEdit();
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.edl");
    QString error;
    ASSERT_TRUE(EDLExporter().exportToFile(path, kProject, e.segments, e.files, kFps, &error))
        << error.toStdString();
    EXPECT_EQ(QString::fromUtf8(test::readFile(path)),
              QString::fromUtf8(test::readFile(golden("story_edit.edl"))));
}

TEST(GoldenExports, FcpxmlMatchesByteForByteAndParses) {
    const Edit e = goldenEdit();
    QTemporaryDir dir;
    const QString path = dir.filePath("story_edit.fcpxml");
    QString error;
    ASSERT_TRUE(FCPXMLExporter().exportToFile(path, kProject, e.segments, e.files, kFps, e.subtitles, &error))
        << error.toStdString();
    const QString written = QString::fromUtf8(test::readFile(path));
    EXPECT_EQ(written, QString::fromUtf8(test::readFile(golden("story_edit.fcpxml"))));

    EXPECT_EQ(test::xmlProblem(written), QString());
    EXPECT_EQ(test::countElements(written, "asset"), 3);
    EXPECT_EQ(test::countElements(written, "asset-clip"), 6);
    EXPECT_EQ(test::countElements(written, "caption"), 2);
    EXPECT_EQ(test::countElements(written, "chapter-marker"), 6);
}

TEST(GoldenExports, HandWrittenFilesAreThemselvesSound) {
    // Guards the expectations: the golden FCPXML must be XML, and the EDL's event lines must
    // keep the fixed column layout.
    EXPECT_EQ(test::xmlProblem(QString::fromUtf8(test::readFile(golden("story_edit.fcpxml")))), QString());
    int events = 0;
    for (const QString& line : QString::fromUtf8(test::readFile(golden("story_edit.edl"))).split('\n')) {
        if (line.size() == 76 && line.mid(15, 14) == "     C        ") {
            ++events;
            EXPECT_EQ(line.mid(3, 2), "  ");
        }
    }
    EXPECT_EQ(events, 6);
}

} // namespace
