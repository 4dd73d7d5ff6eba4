// What reaches the readers from outside: files that are no timeline or a hostile one, each
// refused with one message that names the file; media references in every form editors write;
// missing media, found again by name under a folder; and the record as the command line prints it.
#include "InterchangeTestSupport.h"

#include "interchange/Interchange.h"
#include "interchange/ReadSupport.h"
#include "interchange/TimelineReaders.h"

#include "core/Json.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::interchange;
using namespace ondrel::interchange::test;

namespace {

const QString kSamples = QStringLiteral(ONDREL_SOURCE_DIR "/tests/interchange/samples/");

EditTimeline smallTimeline() {
    return buildTimeline("Story", {moment(0, 1, 5, "One"), moment(1, 20, 24)},
                         {camera("/m/cam.mov", 60, {25, 1}, "10:00:00:00")});
}

QByteArray fcpxmlAround(const QString& resources, const QString& spine) {
    return (QStringLiteral(
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE fcpxml>\n<fcpxml version=\"1.11\">"
                "<resources><format id=\"r1\" frameDuration=\"1/25s\"/>"
                "<asset id=\"a\" name=\"a\" start=\"0s\" duration=\"100s\" hasVideo=\"1\" format=\"r1\">"
                "<media-rep kind=\"original-media\" src=\"file:///m/a.mov\"/></asset>") +
            resources +
            QStringLiteral(
                "</resources><library><event name=\"e\"><project name=\"p\"><sequence format=\"r1\" "
                "tcStart=\"0s\"><spine>") +
            spine + QStringLiteral("</spine></sequence></project></event></library></fcpxml>"))
        .toUtf8();
}

// Compound c0 shows `count` whole clips of compound c1, c1 of c2, and so on down to gaps: each
// level multiplies the work, and no clip plays to stop it sooner.
QByteArray compoundsOfCompounds(int levels, int count) {
    QString resources;
    for (int level = 0; level < levels; ++level) {
        qint64 length = 1;
        for (int l = level + 1; l < levels; ++l)
            length *= count;
        QString spine;
        for (int i = 0; i < count; ++i) {
            spine += level + 1 < levels
                         ? QStringLiteral("<ref-clip ref=\"c%1\" offset=\"%2s\" duration=\"%3s\"/>")
                               .arg(level + 1)
                               .arg(i * length)
                               .arg(length)
                         : QStringLiteral("<gap offset=\"%1s\" duration=\"1s\"/>").arg(i);
        }
        resources +=
            QStringLiteral("<media id=\"c%1\" name=\"c\"><sequence format=\"r1\"><spine>%2</spine></sequence>"
                           "</media>")
                .arg(level)
                .arg(spine);
    }
    qint64 total = 1;
    for (int l = 0; l < levels; ++l)
        total *= count;
    return fcpxmlAround(resources,
                        QStringLiteral("<ref-clip ref=\"c0\" offset=\"0s\" duration=\"%1s\"/>").arg(total));
}

// Sequence s0 nests `count` items of s1, s1 of s2, and so on, each described once and named by id
// after; the last holds items whose file is never described, so no clip stops the work sooner.
QByteArray sequencesOfSequences(int levels, int count) {
    QString sequences;
    for (int level = 0; level <= levels; ++level) {
        qint64 length = 1;
        for (int l = level + 1; l <= levels; ++l)
            length *= count;
        QString items;
        for (int i = 0; i < count; ++i)
            items +=
                QStringLiteral("<clipitem><start>%1</start><end>%2</end><in>0</in><out>%3</out>%4</clipitem>")
                    .arg(i * length)
                    .arg((i + 1) * length)
                    .arg(length)
                    .arg(level < levels ? QStringLiteral("<sequence id=\"s%1\"/>").arg(level + 1)
                                        : QStringLiteral("<file id=\"never\"/>"));
        sequences +=
            QStringLiteral("<sequence id=\"s%1\"><rate><timebase>25</timebase></rate><media><video><track>%2"
                           "</track></video></media></sequence>")
                .arg(level)
                .arg(items);
    }
    return ("<xmeml version=\"4\">" + sequences + "</xmeml>").toUtf8();
}

QByteArray nested(const QByteArray& open, const QByteArray& close, int depth, const QByteArray& inside = {}) {
    return open.repeated(depth) + inside + close.repeated(depth);
}

QByteArray edlEvents(int count) {
    QByteArray edl = "TITLE: many\nFCM: NON-DROP FRAME\n";
    for (int i = 0; i < count; ++i) {
        const QString tc = timecodeText(i, {{25, 1}, false});
        const QString next = timecodeText(i + 1, {{25, 1}, false});
        edl += QStringLiteral("%1  A001     V     C        %2 %3 %2 %3\n")
                   .arg(i + 1, 6, 10, QLatin1Char('0'))
                   .arg(tc, next)
                   .toUtf8();
    }
    return edl;
}

TEST(ReaderInputs, AFileThatCannotBeReadGivesOneMessageNamingIt) {
    const QByteArray fcpxml = fcpxmlBytes(smallTimeline());
    const QByteArray xmeml = fcp7XmlBytes(smallTimeline());
    const QByteArray otio = otioBytes(smallTimeline());
    QByteArray utf16("\xFF\xFE", 2);
    for (const QChar c : QStringLiteral("<xmeml version=\"4\"/>")) {
        utf16 += char(c.unicode());
        utf16 += '\0';
    }
    const QByteArray overflowing = fcpxmlAround(
        {}, "<asset-clip ref=\"a\" offset=\"1/1099511627689s\" start=\"1/1099511627759s\" "
            "duration=\"1/1099511627773s\"/>"
            "<asset-clip ref=\"a\" offset=\"1/1099511627563s\" start=\"1/1099511627401s\" duration=\"1s\"/>");
    struct Case {
        const char* what;
        QString file;
        QByteArray bytes;
        QString message; // the message, or its start when it ends in "…"
    };
    const Case cases[] = {
        {"plain notes", "notes.txt", "call Maria back\nask about 1974\n",
         "“notes.txt” is none of the timeline formats Ondrel Manager reads: FCPXML, FCP 7 XML, "
         "OpenTimelineIO or a "
         "CMX 3600 EDL."},
        {"nothing", "cut.edl", "  \n", "“cut.edl” is empty."},
        {"NUL bytes", "cut.edl", QByteArray("TITLE: x\n\0\0", 11),
         "“cut.edl” holds NUL bytes (the first at byte 9), so it is no timeline file but binary data."},
        {"Latin-1", "cut.edl", "TITLE: Caf\xE9\n",
         "“cut.edl” is not UTF-8 text (byte 10 is not UTF-8); timeline files are written in UTF-8."},
        {"UTF-16", "cut.xml", utf16,
         "“cut.xml” is UTF-16 text, not UTF-8; timeline files are written in UTF-8."},
        {"another encoding declared", "cut.fcpxml",
         "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><fcpxml/>",
         "“cut.fcpxml” declares the encoding “ISO-8859-1”; timeline files are UTF-8."},
        {"FCPXML cut short", "cut.fcpxml", fcpxml.left(fcpxml.size() / 2), "“cut.fcpxml” ends early (line …"},
        {"xmeml cut short", "cut.xml", xmeml.left(xmeml.size() / 2), "“cut.xml” ends early (line …"},
        {"OTIO cut short", "cut.otio", otio.left(otio.size() / 2),
         "“cut.otio” ends early: the file is cut short."},
        {"entity expansion", "cut.fcpxml",
         "<?xml version=\"1.0\"?><!DOCTYPE fcpxml [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b "
         "\"&a;&a;&a;&a;&a;&a;\">]>"
         "<fcpxml version=\"1.11\"><library><event name=\"&b;\"/></library></fcpxml>",
         "“cut.fcpxml” declares entities of its own in its DOCTYPE (line 1), which no editor writes; it was "
         "not read."},
        {"external entity", "cut.xml",
         "<?xml version=\"1.0\"?><!DOCTYPE xmeml [<!ENTITY x SYSTEM "
         "\"file:///etc/passwd\">]><xmeml>&x;</xmeml>",
         "“cut.xml” declares entities of its own in its DOCTYPE (line 1)…"},
        {"entity from an outside DTD", "cut.fcpxml",
         "<?xml version=\"1.0\"?>\n<!DOCTYPE fcpxml SYSTEM "
         "\"http://example.com/fcpxml.dtd\">\n<fcpxml>&name;</fcpxml>",
         "“cut.fcpxml” uses the entity “&name;” (line 3), which is not XML's own; it was not read."},
        {"XML nested deep", "cut.fcpxml",
         "<fcpxml version=\"1.11\">" + nested("<spine>", "</spine>", 100) + "</fcpxml>",
         "“cut.fcpxml” nests elements more than 64 deep (line 1); no timeline does."},
        {"JSON nested deep", "cut.otio",
         "{\"OTIO_SCHEMA\": \"Timeline.1\", \"metadata\": " + nested("[", "]", 100) + "}",
         "“cut.otio” nests its objects more than 64 deep; no timeline does."},
        {"FCPXML without clips", "cut.fcpxml", fcpxmlAround({}, {}),
         "“cut.fcpxml” holds no clip that plays a media file."},
        {"FCPXML of clips only", "cut.fcpxml",
         "<fcpxml version=\"1.11\"><event name=\"e\"><asset-clip ref=\"a\" "
         "duration=\"1s\"/></event></fcpxml>",
         "“cut.fcpxml” holds no project, only clips or events: export a project (a timeline) from Final Cut "
         "Pro."},
        {"xmeml without clips", "cut.xml",
         "<xmeml "
         "version=\"4\"><sequence><name>s</name><rate><timebase>25</timebase></rate><media><video><track/>"
         "</video></media></sequence></xmeml>",
         "“cut.xml” holds no clip that plays a media file."},
        {"OTIO without clips", "cut.otio",
         "{\"OTIO_SCHEMA\": \"Timeline.1\", \"tracks\": {\"OTIO_SCHEMA\": \"Stack.1\", \"children\": "
         "[{\"OTIO_SCHEMA\": \"Track.1\", \"kind\": \"Video\", \"children\": []}]}}",
         "“cut.otio” holds no clip that plays a media file."},
        {"EDL without events", "cut.edl", "TITLE: empty\nFCM: NON-DROP FRAME\n",
         "“cut.edl” holds no CMX 3600 event."},
        {"EDL cut short", "cut.edl",
         "TITLE: x\n001  AX       V     C        01:00:00:00 01:00:01:00 01:00:00:00 01:00:01:00\n003  AX  V "
         " C  01:00:0",
         "“cut.edl” has a line that is not a CMX 3600 event (line 3: “003 AX V C 01:00:0”)."},
        {"EDL channels", "cut.edl",
         "001  AX       XYZ   C        01:00:00:00 01:00:01:00 01:00:00:00 01:00:01:00\n",
         "“cut.edl” cuts channels “XYZ” it cannot read (line 1)."},
        {"EDL backwards", "cut.edl",
         "TITLE: x\n\n001  AX       V     C        01:00:01:00 01:00:00:00 01:00:00:00 01:00:01:00\n",
         "“cut.edl” has an event whose out comes before its in (line 3)."},
        {"other XML", "page.xml", "<html><body/></html>",
         "“page.xml” is XML but neither FCPXML nor FCP 7 XML (its root is <html>)."},
        {"other JSON", "data.json", "{\"a\": 1}",
         "“data.json” is JSON but not an OpenTimelineIO timeline (no \"OTIO_SCHEMA\": \"Timeline.1\" at its "
         "top)."},
        {"broken JSON", "cut.otio", "{\"OTIO_SCHEMA\": \"Timeline.1\", x}",
         "“cut.otio” is not valid JSON (at byte 31)."},
        {"unreadable time", "cut.fcpxml",
         fcpxmlAround({}, "<asset-clip ref=\"a\" offset=\"ten\" duration=\"1s\"/>"),
         "“cut.fcpxml” has a time it cannot read: offset=\"ten\" on <asset-clip> (line 3)."},
        {"times past 64 bits", "cut.fcpxml", overflowing,
         "“cut.fcpxml” holds times too large or too fine to add up exactly."},
        {"a compound inside itself", "cut.fcpxml",
         fcpxmlAround(
             "<media id=\"c\" name=\"loop\"><sequence format=\"r1\"><spine><ref-clip ref=\"c\" offset=\"0s\" "
             "duration=\"1s\" name=\"again\"/></spine></sequence></media>",
             "<ref-clip ref=\"c\" offset=\"0s\" duration=\"1s\" name=\"loop\"/>"),
         "“cut.fcpxml” holds a compound clip inside itself (“again”, line 3)."},
        {"compounds multiplying", "cut.fcpxml", compoundsOfCompounds(9, 10),
         "“cut.fcpxml” nests compound clips so often that its clips cannot all be read."},
        {"sequences multiplying", "cut.xml", sequencesOfSequences(8, 10),
         "“cut.xml” nests sequences so often that its clips cannot all be read."},
        {"too many clips", "cut.edl", edlEvents(kMaxTimelineClips + 1),
         "“cut.edl” holds more than 100000 clips, more than Ondrel Manager reads from one timeline."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const TimelineReading reading = readTimelineBytes(c.bytes, "/in/" + c.file);
        ASSERT_FALSE(reading.timeline);
        if (c.message.endsWith(u'…'))
            EXPECT_TRUE(reading.error.startsWith(c.message.chopped(1))) << reading.error.toStdString();
        else
            EXPECT_EQ(reading.error, c.message) << reading.error.toStdString();
    }
}

TEST(ReaderInputs, EdlsReadAlikeWhateverTheirLineEndsMarksAndSpacing) {
    const QByteArray event = "002  A001C003 V     C        10:00:01:00 10:00:03:00 01:00:00:00 01:00:02:00";
    struct Case {
        const char* what;
        QByteArray bytes;
    };
    const Case cases[] = {
        {"line feeds", "TITLE: Cut\nFCM: NON-DROP FRAME\n" + event + "\n"},
        {"Windows line ends", "TITLE: Cut\r\nFCM: NON-DROP FRAME\r\n" + event + "\r\n"},
        {"old Mac line ends", "TITLE: Cut\rFCM: NON-DROP FRAME\r" + event + "\r"},
        {"a byte order mark", "\xEF\xBB\xBFTITLE: Cut\n" + event},
        {"tabs", "title: Cut\n002\tA001C003\tV\tC\t10:00:01:00\t10:00:03:00\t01:00:00:00\t01:00:02:00\n"},
        {"a wipe and its length",
         "TITLE: Cut\n002  A001C003 V     W001 020 10:00:01:00 10:00:03:00 01:00:00:00 01:00:02:00"},
        {"a spaced key",
         "TITLE: Cut\n002  A001C003 V     K B  030 10:00:01:00 10:00:03:00 01:00:00:00 01:00:02:00"},
        {"no channel field",
         "TITLE: Cut\n002  A001C003 C        10:00:01:00 10:00:03:00 01:00:00:00 01:00:02:00"},
    };
    ReadOptions options;
    options.edlRate = FrameRate{25, 1};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const TimelineReading reading = readTimelineBytes(c.bytes, "/in/cut.edl", options);
        ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
        const ReadTimeline& t = *reading.timeline;
        EXPECT_EQ(t.name, "Cut");
        ASSERT_EQ(t.clips.size(), 1);
        EXPECT_EQ(t.clips[0].track, "V1");
        EXPECT_EQ(t.clips[0].sourceIn, Rational::of(36001));
        EXPECT_EQ(t.clips[0].recordOut, Rational::of(2));
        EXPECT_EQ(t.media[0].name, "A001C003");
    }
}

TEST(ReaderInputs, ABundleIsReadThroughItsInfoAndNamedAsTheEditorChoseIt) {
    QTemporaryDir dir;
    const QDir root(dir.path());
    ASSERT_TRUE(root.mkpath("Cut.fcpxmld/media"));
    ASSERT_TRUE(root.mkpath("beside"));
    for (const char* file : {"Cut.fcpxmld/media/a b.mov", "beside/c.mov"}) {
        QFile f(root.filePath(file));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    }
    const QByteArray info = fcpxmlAround(
        "<asset id=\"b\" name=\"b\" start=\"0s\" duration=\"9s\" hasVideo=\"1\" format=\"r1\">"
        "<media-rep kind=\"original-media\" src=\"media/a%20b.mov\"/></asset>"
        "<asset id=\"c\" name=\"c\" start=\"0s\" duration=\"9s\" hasVideo=\"1\" format=\"r1\">"
        "<media-rep kind=\"original-media\" src=\"beside/c.mov\"/></asset>",
        "<asset-clip ref=\"b\" offset=\"0s\" duration=\"1s\"/><asset-clip ref=\"c\" offset=\"1s\" "
        "duration=\"1s\"/><asset-clip ref=\"a\" offset=\"2s\" duration=\"1s\"/>");
    QFile f(root.filePath("Cut.fcpxmld/Info.fcpxml"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(info);
    f.close();

    const TimelineReading reading = readTimelineFile(root.filePath("Cut.fcpxmld"));
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    const ReadTimeline& t = *reading.timeline;
    ASSERT_EQ(t.media.size(), 3);
    EXPECT_EQ(t.media[0].path, root.filePath("Cut.fcpxmld/media/a b.mov"));
    EXPECT_TRUE(t.media[0].found);
    // Relative media beside the bundle are found too.
    EXPECT_EQ(t.media[1].path, root.filePath("beside/c.mov"));
    EXPECT_TRUE(t.media[1].found);
    EXPECT_FALSE(t.media[2].found);
    EXPECT_EQ(missingMediaMessage(t), "“Cut.fcpxmld” uses a media file that was not found: a.mov.");
    // "Locate folder…": the editor points at where the file went.
    ASSERT_TRUE(root.mkpath("moved/deeper"));
    QFile moved(root.filePath("moved/deeper/a.mov"));
    ASSERT_TRUE(moved.open(QIODevice::WriteOnly));
    moved.close();
    ReadTimeline relinked = t;
    EXPECT_EQ(relinkByFileName(relinked, filesUnder(root.filePath("moved"))), 1);
    EXPECT_EQ(relinked.media[2].path, root.filePath("moved/deeper/a.mov"));
    EXPECT_TRUE(missingMediaMessage(relinked).isEmpty());

    ASSERT_TRUE(root.mkpath("Plain folder"));
    EXPECT_EQ(readTimelineFile(root.filePath("Plain folder")).error,
              "“Plain folder” is a folder, not a timeline file (a .fcpxmld bundle holds an Info.fcpxml).");
    EXPECT_EQ(readTimelineFile(root.filePath("gone.edl")).error, "“gone.edl” was not found.");
    // Far past any timeline: refused before a byte is read (a sparse file costs no disk).
    QFile huge(root.filePath("huge.xml"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly));
    ASSERT_TRUE(huge.resize(kMaxTimelineFileBytes + 1));
    huge.close();
    EXPECT_EQ(readTimelineFile(root.filePath("huge.xml")).error,
              "“huge.xml” is larger than 200 MB, larger than any timeline file; it was not read.");
}

TEST(ReaderInputs, MediaReferencesInEveryFormEditorsWriteBecomeCleanPaths) {
    using read::Reference;
    struct Case {
        QString reference;
        Reference kind;
        QString path;
    };
    const Case cases[] = {
        {"file:///Volumes/Day%201/a.mov", Reference::url, "/Volumes/Day 1/a.mov"},
        {"file://localhost/Users/e/caf%C3%A9%20%231.mov", Reference::url, "/Users/e/café #1.mov"},
        {"FILE://LOCALHOST/x/y.mov", Reference::url, "/x/y.mov"},
        // Windows editors: a drive as Premiere escapes it, and as others write it.
        {"file://localhost/D%3a/Footage/A.mov", Reference::url, "D:/Footage/A.mov"},
        {"file:///C:/Media/b.mxf", Reference::url, "C:/Media/b.mxf"},
        {"C:\\Footage\\Day 1\\A.mov", Reference::path, "C:/Footage/Day 1/A.mov"},
        {"file://server/share/a.mov", Reference::url, "//server/share/a.mov"},
        {"/Volumes/x/./y/../z.mov", Reference::path, "/Volumes/x/z.mov"},
        {"media/a%20b.mov", Reference::url, "/in/proj/media/a b.mov"},
        {"media/a%20b.mov", Reference::path, "/in/proj/media/a%20b.mov"},
        {"My Media/a b.mov", Reference::url, "/in/proj/My Media/a b.mov"},
        {"../media/c.mov", Reference::path, "/in/media/c.mov"},
        {"../../../../../../etc/passwd", Reference::path, "/etc/passwd"},
        // Nothing on this disk, or no file at all.
        {"http://example.com/a.mov", Reference::url, ""},
        {"file:///a/..", Reference::url, ""},
        {"file:///a/%00b.mov", Reference::url, ""},
        {"   ", Reference::path, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(read::pathOfReference(c.reference, "/in/proj", c.kind), c.path)
            << c.reference.toStdString();
}

TEST(ReaderInputs, NamesWithDotsAndSlashesStayNamesAndPathsStayClean) {
    const QByteArray bytes = fcpxmlAround(
        "<asset id=\"b\" name=\"../../b\" start=\"0s\" duration=\"9s\" hasVideo=\"1\" format=\"r1\">"
        "<media-rep kind=\"original-media\" src=\"../../../../../../../etc/../x/b.mov\"/></asset>",
        "<asset-clip ref=\"b\" offset=\"0s\" duration=\"1s\" name=\"../../../clip\"/>");
    QByteArray named = bytes;
    named.replace("<project name=\"p\">", "<project name=\"../../exports/evil\">");
    const TimelineReading reading = readTimelineBytes(named, "/home/e/cuts/cut.fcpxml");
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    const ReadTimeline& t = *reading.timeline;
    EXPECT_EQ(t.name, "../../exports/evil");
    EXPECT_EQ(t.clips.front().name, "../../../clip");
    EXPECT_EQ(t.media.front().path, "/x/b.mov");
    EXPECT_EQ(t.media.front().name, "b.mov");
}

TEST(ReaderInputs, MissingMediaAreListedOnceAndFoundAgainByName) {
    ReadOptions nothingThere;
    nothingThere.isFile = [](const QString&) { return false; };
    TimelineReading reading = readTimelineFile(kSamples + "fcp-1.11-interview.fcpxml", nothingThere);
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    ReadTimeline t = *reading.timeline;
    EXPECT_EQ(missingMedia(t), (QList<int>{0, 1, 2}));
    EXPECT_FALSE(namesMediaWithoutFiles(t));
    EXPECT_EQ(missingMediaMessage(t), "“fcp-1.11-interview.fcpxml” uses 3 media files that were not found: "
                                      "A001_C003.mov, street night.mov and room tone.wav.");
    // Exactly, then without case; a name two files share stays missing rather than guessed.
    const QStringList files{"/new/Day 1/A001_C003.mov", "/new/b/STREET NIGHT.MOV", "/new/c/room tone.wav",
                            "/new/d/room tone.wav", "/new/A001_C003.mov.xmp"};
    EXPECT_EQ(relinkByFileName(t, files), 2);
    EXPECT_EQ(t.media[0].path, "/new/Day 1/A001_C003.mov");
    EXPECT_EQ(t.media[1].path, "/new/b/STREET NIGHT.MOV");
    EXPECT_EQ(missingMedia(t), QList<int>{2});
    EXPECT_EQ(missingMediaMessage(t),
              "“fcp-1.11-interview.fcpxml” uses a media file that was not found: room tone.wav.");

    // An EDL naming files by reel or clip name only: the folder the editor picks finds them.
    reading = readTimelineFile(kSamples + "reel-only-25.edl", nothingThere);
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    t = *reading.timeline;
    EXPECT_TRUE(namesMediaWithoutFiles(t));
    EXPECT_TRUE(
        missingMediaMessage(t).endsWith("It names some only by reel or clip name: choose the folder they "
                                        "are in."));
    EXPECT_EQ(relinkByFileName(t, {"/m/a001.MOV", "/m/B0020031_220101_R1AB.mxf", "/m/B0020032.mxf"}), 2);
    EXPECT_EQ(t.media[0].path, "/m/a001.MOV");
    EXPECT_EQ(t.media[1].path, "/m/B0020031_220101_R1AB.mxf");

    reading = readTimelineFile(kSamples + "avid-2398.edl", nothingThere);
    ASSERT_TRUE(reading.timeline);
    t = *reading.timeline;
    // A reel cut to eight characters that starts two files' names is no answer.
    EXPECT_EQ(relinkByFileName(t, {"/m/Room Tone.wav", "/m/A001C003_220101_R1AB.mov.bak"}), 1);
    EXPECT_EQ(t.media[1].path, "/m/Room Tone.wav");
    EXPECT_EQ(missingMedia(t), QList<int>{0});
}

TEST(ReaderInputs, LinesForTheCommandLineGiveSecondsFromTheMediaFirstFrame) {
    ReadOptions options;
    options.edlRate = FrameRate{30000, 1001};
    options.isFile = [](const QString& path) { return path.endsWith("interview_wide.mp4"); };
    TimelineReading reading = readTimelineFile(kSamples + "premiere-2997.edl", options);
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    ReadTimeline t = *reading.timeline;
    // Until a file says where it starts, its clips have no source seconds to give.
    QList<QByteArray> lines = clipLinesJson(t).split('\n');
    ASSERT_EQ(lines.size(), t.clips.size() + 1);
    Json first = Json::parse(lines[0].toStdString());
    EXPECT_TRUE(first["sourceIn"].is_null());
    settleMediaStarts(t, [](const ReadMedia& m) {
        return m.name == "interview_wide.mp4" ? std::optional<Rational>(Rational::of(10)) : std::nullopt;
    });
    lines = clipLinesJson(t).split('\n');
    first = Json::parse(lines[0].toStdString());
    EXPECT_EQ(first["track"], "V1");
    EXPECT_EQ(first["name"], "interview_wide.mp4");
    EXPECT_EQ(first["path"], (kSamples + "interview_wide.mp4").toStdString());
    EXPECT_EQ(first["rate"], "30000/1001");
    EXPECT_DOUBLE_EQ(first["sourceIn"].get<double>(), 370 * 1001 / 30000.0 - 10);
    EXPECT_DOUBLE_EQ(first["sourceOut"].get<double>(), 600 * 1001 / 30000.0 - 10);
    EXPECT_DOUBLE_EQ(first["recordIn"].get<double>(), 0);
    EXPECT_DOUBLE_EQ(first["recordOut"].get<double>(), 230 * 1001 / 30000.0);
    const Json second = Json::parse(lines[1].toStdString());
    EXPECT_TRUE(second["path"].is_null());
    EXPECT_TRUE(second["sourceIn"].is_null());
    EXPECT_EQ(first.size(), 8u);
}

} // namespace
