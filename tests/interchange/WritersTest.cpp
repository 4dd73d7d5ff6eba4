// The four hand-off files read back as an editor's program would: the same clips to the frame
// at every rate, the structure Apple's DTD allows, and outside names and paths kept intact.
#include "InterchangeTestSupport.h"
#include "ReadBack.h"

#include "interchange/Interchange.h"
#include "interchange/WriterSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::interchange;
using namespace ondrel::interchange::test;

namespace {

const FrameRate k2997{30000, 1001};
const FrameRate k25{25, 1};

struct Shoot {
    QString camA = "/Volumes/Day 1/cam A.mov";
    QString lav = "/Volumes/Day 1/lav B.wav";
    QString camC = "/Volumes/Day 2/cam C.mov";
};

// Two cameras and a sound recorder whose start is no frame of any rate (3600 s and 1234 samples).
QList<SourceMedia> shootAt(FrameRate rate, bool dropFrame, const Shoot& names = {},
                           std::optional<FrameRate> secondCamera = {}) {
    const QString sep = dropFrame ? QStringLiteral(";") : QStringLiteral(":");
    return {camera(names.camA, 600, rate, "10:00:00" + sep + "00"),
            recorder(names.lav, 600, 3600LL * 48000 + 1234, 1),
            camera(names.camC, 600, secondCamera.value_or(rate), "00:59:50" + sep + "00", 0)};
}

// Moments over all three files in an edited order, at their starts and ends and across an end.
QList<StorySegment> storyOf(int count) {
    QList<StorySegment> story;
    const double spots[][2] = {{0, 4.5},      {650.25, 661},  {1200, 1203.3}, {595.5, 600}, {1790, 1800},
                               {30.01, 41.7}, {1000, 1000.2}, {610, 612.5},   {1500, 1530}, {599, 640}};
    for (int i = 0; i < count; ++i) {
        const auto& spot = spots[i % 10];
        const double shift = (i / 10 % 20) * 0.37;
        std::optional<QString> chapter;
        if (i % 4 == 0)
            chapter = QStringLiteral("Chapter %1").arg(i / 4 + 1);
        story << moment(i, spot[0] + shift, spot[1] + shift, chapter);
    }
    return story;
}

void expectReadsBack(const EditTimeline& t) {
    const QList<ReadClip> tracks = expectedTrackClips(t);
    const QList<ReadMarker> markers = expectedMarkers(t);
    // OTIO has no drop-frame flag: readers infer it from the rate.
    auto common = [&](const ReadBack& r, const char* what, bool hasDropFrame = true) {
        SCOPED_TRACE(what);
        ASSERT_EQ(r.problem, QString());
        EXPECT_EQ(r.rate, t.rate);
        EXPECT_EQ(r.dropFrame, hasDropFrame && t.dropFrame);
        EXPECT_EQ(r.startFrame, t.startFrame);
        EXPECT_EQ(r.markers, markers);
    };
    for (const FcpxmlVersion version : {FcpxmlVersion::v1_11, FcpxmlVersion::v1_10}) {
        const QByteArray bytes = fcpxmlBytes(t, version);
        EXPECT_EQ(fcpxmlStructureProblem(bytes), QString());
        const ReadBack r = readFcpxml(bytes);
        common(r, "FCPXML");
        EXPECT_EQ(r.name, xmlSafe(t.name));
        EXPECT_EQ(r.clips, expectedEventClips(t, false));
    }
    const ReadBack xml = readFcp7Xml(fcp7XmlBytes(t));
    common(xml, "FCP 7 XML");
    EXPECT_EQ(xml.name, xmlSafe(t.name));
    EXPECT_EQ(xml.clips, tracks);
    const ReadBack otio = readOtio(otioBytes(t));
    common(otio, "OTIO", false);
    EXPECT_EQ(otio.name, xmlSafe(t.name));
    EXPECT_EQ(otio.clips, tracks);
    ReadBack edl = readEdl(edlBytes(t), t.rate);
    for (ReadMarker& m : edl.markers)
        m.name = m.name.trimmed();
    common(edl, "EDL");
    EXPECT_EQ(edl.clips, expectedEventClips(t, true));
}

TEST(Writers, EveryFileGivesTheSameClipsAtEveryRate) {
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
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate.label().toStdString() << (c.dropFrame ? " DF" : ""));
        const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(c.rate, c.dropFrame));
        ASSERT_EQ(eventsOf(t).size(), 10);
        ASSERT_EQ(t.markers.size(), 3);
        expectReadsBack(t);
    }
}

TEST(Writers, AnotherRateKeepsItsOwnFormatAndTheStoryRate) {
    const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(k2997, true, {}, k25));
    EXPECT_EQ(filesOffTimelineRate(t), QStringList{"/Volumes/Day 2/cam C.mov"});
    expectReadsBack(t);
    // Final Cut conforms the 25 fps camera by its own format.
    QString error;
    const auto root = parseXml(fcpxmlBytes(t), &error);
    QHash<QString, QString> frameDuration;
    for (const XmlNode* f : root->child("resources")->all("format"))
        frameDuration.insert(f->attributes.value("id"), f->attributes.value("frameDuration"));
    QHash<QString, QString> assetRate;
    for (const XmlNode* a : root->child("resources")->all("asset"))
        assetRate.insert(a->attributes.value("name"), frameDuration.value(a->attributes.value("format")));
    EXPECT_EQ(assetRate.value("cam C.mov"), "1/25s");
    EXPECT_EQ(assetRate.value("cam A.mov"), "1001/30000s");
    EXPECT_EQ(assetRate.value("lav B.wav"), "");
}

TEST(Writers, StoriesOfAnyLengthStayValid) {
    for (const int count : {0, 1, 500}) {
        SCOPED_TRACE(count);
        const EditTimeline t = buildTimeline("Story", storyOf(count), shootAt(k25, false));
        EXPECT_EQ(eventsOf(t).size(), count);
        expectReadsBack(t);
    }
    const EditTimeline empty = buildTimeline("Story", {}, shootAt(k25, false));
    EXPECT_EQ(edlBytes(empty), "TITLE: Story\nFCM: NON-DROP FRAME\n");
}

TEST(Writers, OutsideNamesAndPathsSurviveEveryFormat) {
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
        const EditTimeline t = buildTimeline(c.name, storyOf(10), shootAt(k2997, true, c.files));
        ASSERT_EQ(eventsOf(t).size(), 10);
        expectReadsBack(t);
        const QStringList edl = QString::fromUtf8(edlBytes(t)).split(u'\n');
        EXPECT_TRUE(edl[0].startsWith("TITLE: ")) << edl[0].toStdString();
        EXPECT_EQ(edl[1], "FCM: DROP FRAME");
        // Paths reach the XML files as percent-encoded URLs only.
        for (const QByteArray& bytes : {fcpxmlBytes(t), fcp7XmlBytes(t)}) {
            for (const MediaFile& m : t.media)
                EXPECT_TRUE(bytes.contains(fileUrl(m.path).mid(8).toUtf8())) << m.path.toStdString();
        }
    }
}

TEST(Writers, DescribeEachFileOnceAndCutPictureWithSound) {
    const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(k25, false));
    const QByteArray xml = fcp7XmlBytes(t);
    EXPECT_EQ(xml.count("<pathurl>"), t.media.size());
    EXPECT_TRUE(xml.contains("<pathurl>file://localhost/Volumes/Day%201/cam%20A.mov</pathurl>"));
    const QString edl = QString::fromUtf8(edlBytes(t));
    EXPECT_TRUE(edl.contains("001  camA     AA/V  C        10:00:00:00 10:00:04:13 01:00:00:00 01:00:04:13\n"
                             "* FROM CLIP NAME: cam A.mov\n"
                             "* SOURCE FILE: /Volumes/Day 1/cam A.mov\n"
                             "* LOC: 01:00:00:00 YELLOW  Chapter 1\n"))
        << edl.toStdString();
    EXPECT_TRUE(edl.contains(" camC     V     C        ")) << edl.toStdString();
    EXPECT_TRUE(edl.contains(" lavB     A     C        ")) << edl.toStdString();
    // Final Cut's chapter markers sit inside their clips, never on the spine.
    const QByteArray fcpxml = fcpxmlBytes(t);
    EXPECT_FALSE(fcpxml.contains("caption"));
    EXPECT_EQ(fcpxml.count("<chapter-marker"), 3);
    EXPECT_TRUE(
        fcpxml.contains("<media-rep kind=\"original-media\" src=\"file:///Volumes/Day%201/cam%20A.mov\"/>"));
}

TEST(Writers, FileUrlsEscapeWhatWouldEndAPath) {
    struct Case {
        QString path, url;
    };
    const Case cases[] = {
        {"/a b/c.mov", "file:///a%20b/c.mov"},
        {"/x/#1 100%?.wav", "file:///x/%231%20100%25%3F.wav"},
        {"/é/日.mov", "file:///%C3%A9/%E6%97%A5.mov"},
        {"/a&b/'q'\"r\".mov", "file:///a%26b/%27q%27%22r%22.mov"},
        {"/keep-._~/A9.mov", "file:///keep-._~/A9.mov"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(fileUrl(c.path), c.url);
        EXPECT_EQ(localhostFileUrl(c.path), QString(c.url).replace("file://", "file://localhost"));
    }
}

TEST(Writers, WriteAllFilesIntoAFolder) {
    QTemporaryDir dir;
    const EditTimeline t = buildTimeline("Story", storyOf(10), shootAt(k25, false));
    const QString folder = dir.filePath("exports/Story");
    QString error;
    ASSERT_TRUE(writeInterchangeFiles(t, folder, &error)) << error.toStdString();
    const std::pair<QString, QByteArray> expected[] = {
        {"story_edit.fcpxml", fcpxmlBytes(t)},
        {"story_edit_1.10.fcpxml", fcpxmlBytes(t, FcpxmlVersion::v1_10)},
        {"story_edit.xml", fcp7XmlBytes(t)},
        {"story_edit.otio", otioBytes(t)},
        {"story_edit.edl", edlBytes(t)},
    };
    for (const auto& [name, bytes] : expected) {
        QFile file(QDir(folder).filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        EXPECT_EQ(file.readAll(), bytes) << name.toStdString();
    }
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 5);

    // A file where the folder should be: refused with a reason.
    QFile blocker(dir.filePath("blocked"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    EXPECT_FALSE(writeInterchangeFiles(t, dir.filePath("blocked"), &error));
    EXPECT_TRUE(error.contains(dir.filePath("blocked"))) << error.toStdString();
}

} // namespace
