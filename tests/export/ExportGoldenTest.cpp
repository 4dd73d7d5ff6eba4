// One edit of three source files and six segments against EDL and FCPXML files written by hand
// (see golden/README.md). Byte for byte, and the FCPXML must also parse as XML.
#include "ExportTestSupport.h"
#include "export/EDLExporter.h"
#include "export/FCPXMLExporter.h"
#include "support/TestEnv.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ondrel;
using test::seg;

namespace {

QString golden(const QString& name) {
    return QString::fromUtf8(test::readFile(QStringLiteral(ONDREL_EXPORT_GOLDEN_DIR "/") + name));
}

const double kFps = 25;
const QString kProject = QStringLiteral("Ondrel Story Edit & Co");
const QString kNotExported = QStringLiteral("(not exported)");

struct Edit {
    QList<MediaFileInfo> files;
    QList<StorySegment> segments;
};

// Listed out of timecode order: the offset map sorts them, the assets keep this order.
Edit goldenEdit() {
    return {{MediaFileInfo("/footage/day 2/B-roll & Talk.mov", "B-roll & Talk.mov", 120,
                           QStringLiteral("10:00:00:00"), 25, true, false),
             MediaFileInfo("/footage/interview_a.wav", "interview_a.wav", 300, QStringLiteral("01:00:00:12"),
                           25, false, true),
             MediaFileInfo("/footage/room_tone.wav", "room_tone.wav", 60, std::nullopt, 25, false, true)},
            {
                seg(75.25, 82.75, "interview_a.wav",
                    "And that was the year when we first moved to the coast, the whole family in one van.",
                    QStringLiteral("Beginnings"), kNotExported),
                seg(370.5, 381.1, "B-roll & Talk", "It's <loud> & \"raw\"", QStringLiteral("Noise & Light"),
                    kNotExported),
                seg(10.0, 12.52, "room_tone.wav", "", std::nullopt, kNotExported),
                seg(200.0, 200.0, "interview_a.wav", "Yes.", QString(), kNotExported),
                seg(500.0, 503.0, "pickup.mp3", "We came back.", QStringLiteral("Coda"),
                    kNotExported), // past the last file
                seg(59.9, 61.2, "interview", "Line one\nline two", QStringLiteral("Crossing"), kNotExported),
            }};
}

TEST(GoldenExports, EdlAndFcpxmlMatchByteForByteAndTheFcpxmlParses) {
    const Edit e = goldenEdit();
    const QList<Subtitle> subtitles{{0.0, 2.5, "Hello & welcome"}, {2.5, 4.04, "It's 'quoted' <text>"}};
    QTemporaryDir dir;
    QString error;
    EXPECT_TRUE(EDLExporter().exportToFile(dir.filePath("story_edit.edl"), kProject, e.segments, e.files,
                                           kFps, &error))
        << error.toStdString();
    EXPECT_TRUE(FCPXMLExporter().exportToFile(dir.filePath("story_edit.fcpxml"), kProject, e.segments,
                                              e.files, kFps, subtitles, &error))
        << error.toStdString();
    for (const char* name : {"story_edit.edl", "story_edit.fcpxml"})
        EXPECT_EQ(QString::fromUtf8(test::readFile(dir.filePath(name))), golden(name)) << name;
    EXPECT_EQ(test::xmlProblem(QString::fromUtf8(test::readFile(dir.filePath("story_edit.fcpxml")))),
              QString());
}

} // namespace
