// What the hand-off files hold that a reader would not check: the structure Final Cut's DTD
// allows, the lines an editor reads in an EDL, the file URLs and the folder they are written to.
// Their clips read back to the frame in ReadersRoundTripTest.
#include "InterchangeTestSupport.h"

#include "interchange/Interchange.h"
#include "interchange/WriterSupport.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <utility>

using namespace ondrel;
using namespace ondrel::interchange;
using namespace ondrel::interchange::test;

namespace {

const FrameRate k2997{30000, 1001};
const FrameRate k25{25, 1};

// Final Cut refuses a file its DTD does not allow, which no reader of ours would notice: Apple's
// content models and attribute lists for the elements the writer uses.
struct ElementRule {
    QString content; // a pattern over the child names, each followed by a blank
    QStringList attributes;
    QStringList required;
    QMap<QString, QStringList> values; // enumerated attributes
};

const QString kAnchor =
    QStringLiteral("audio|video|clip|title|caption|mc-clip|ref-clip|sync-clip|asset-clip|audition|spine");
const QString kStory =
    QStringLiteral("audio|video|clip|title|mc-clip|ref-clip|sync-clip|asset-clip|audition|gap");
const QString kEventItem = QStringLiteral("clip|audition|mc-clip|ref-clip|sync-clip|asset-clip|collection-"
                                          "folder|keyword-collection|smart-collection|project");
const QString kMarkerItem = QStringLiteral("marker|chapter-marker|rating|keyword|analysis-marker");

const QHash<QString, ElementRule>& fcpxmlRules() {
    static const QHash<QString, ElementRule> rules{
        {"fcpxml",
         {QStringLiteral("(import-options )?(resources )?((library )|(event )*|((%1) )*)").arg(kEventItem),
          {"version"},
          {"version"},
          {{"version", {"1.10", "1.11"}}}}},
        {"resources", {"((asset|effect|format|media|locator) )*", {}, {}, {}}},
        {"format",
         {"",
          {"id", "name", "frameDuration", "fieldOrder", "width", "height", "paspH", "paspV", "colorSpace",
           "projection", "stereoscopic"},
          {"id"},
          {}}},
        {"asset",
         {"(media-rep )+(metadata )?",
          {"id", "name", "uid", "start", "duration", "hasVideo", "format", "hasAudio", "videoSources",
           "audioSources", "audioChannels", "audioRate", "customLUTOverride", "colorSpaceOverride",
           "projectionOverride", "stereoscopicOverride", "auxVideoFlags"},
          {"id"},
          {}}},
        {"media-rep",
         {"(bookmark )?",
          {"kind", "sig", "src", "suggestedFilename"},
          {"src"},
          {{"kind", {"original-media", "proxy-media"}}}}},
        {"library", {"((event|smart-collection) )*", {"location", "colorProcessing"}, {}, {}}},
        {"event", {QStringLiteral("((%1) )*").arg(kEventItem), {"name", "uid"}, {}, {}}},
        {"project", {"sequence ", {"name", "uid", "id", "modDate"}, {}, {}}},
        {"sequence",
         {"(note )?spine (metadata )?",
          {"format", "duration", "tcStart", "tcFormat", "audioLayout", "audioRate", "renderFormat",
           "keywords"},
          {"format"},
          {{"tcFormat", {"DF", "NDF"}},
           {"audioLayout", {"mono", "stereo", "surround"}},
           {"audioRate", {"32k", "44.1k", "48k", "88.2k", "96k", "176.4k", "192k"}}}}},
        {"spine",
         {QStringLiteral("((%1|transition) )*").arg(kStory), {"lane", "offset", "name", "format"}, {}, {}}},
        {"asset-clip",
         {QStringLiteral(
              "(note )?(conform-rate )?(timeMap )?((object-tracker|adjust-[A-Za-z0-9-]+) )*((%1) )*((%2) )*"
              "(audio-channel-source )*((filter-video|filter-video-mask) )*(filter-audio )*(metadata )?")
              .arg(kAnchor, kMarkerItem),
          {"ref", "lane", "offset", "name", "start", "duration", "enabled", "srcEnable", "audioStart",
           "audioDuration", "format", "tcStart", "tcFormat", "modDate", "audioRole", "videoRole"},
          {"ref"},
          {{"enabled", {"0", "1"}}, {"srcEnable", {"all", "audio", "video"}}, {"tcFormat", {"DF", "NDF"}}}}},
        {"chapter-marker",
         {"", {"start", "duration", "value", "note", "posterOffset"}, {"start", "value"}, {}}},
    };
    return rules;
}

// The first breach of those rules in a document, or empty.
QString fcpxmlStructureProblem(const QByteArray& bytes) {
    if (!bytes.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE fcpxml>"))
        return QStringLiteral("no XML declaration and fcpxml doctype");
    static const QRegularExpression time(QStringLiteral("^\\d+(/\\d+)?s$"));
    const QStringList timeAttributes{"start",   "duration",      "offset",
                                     "tcStart", "frameDuration", "posterOffset"};
    QXmlStreamReader reader(bytes);
    QList<std::pair<QString, QString>> open; // element, its children's names so far
    QHash<QString, bool> ids;
    QStringList refs;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QString name = reader.name().toString();
            if (open.isEmpty() && name != QLatin1String("fcpxml"))
                return QStringLiteral("the root is not fcpxml");
            const auto rule = fcpxmlRules().constFind(name);
            if (rule == fcpxmlRules().constEnd())
                return QStringLiteral("<%1> is not an element the writer may use").arg(name);
            for (const QString& required : rule->required)
                if (!reader.attributes().hasAttribute(required))
                    return QStringLiteral("<%1> lacks %2").arg(name, required);
            for (const QXmlStreamAttribute& a : reader.attributes()) {
                const QString key = a.name().toString(), value = a.value().toString();
                if (!rule->attributes.contains(key))
                    return QStringLiteral("<%1> has no attribute %2").arg(name, key);
                if (rule->values.contains(key) && !rule->values[key].contains(value))
                    return QStringLiteral("<%1 %2=\"%3\"> is not one of its values").arg(name, key, value);
                if (timeAttributes.contains(key) && !time.match(value).hasMatch())
                    return QStringLiteral("<%1 %2=\"%3\"> is not a time").arg(name, key, value);
                if (key == QLatin1String("id") && std::exchange(ids[value], true))
                    return QStringLiteral("id %1 twice").arg(value);
                if ((key == QLatin1String("format") || key == QLatin1String("ref")) &&
                    name != QLatin1String("format"))
                    refs << value;
            }
            if (!open.isEmpty())
                open.back().second += name + u' ';
            open.push_back({name, {}});
        } else if (reader.isEndElement()) {
            const auto [name, children] = open.takeLast();
            const QString model = fcpxmlRules().value(name).content;
            if (!QRegularExpression(QStringLiteral("^(?:%1)$").arg(model)).match(children).hasMatch())
                return QStringLiteral("<%1> may not hold: %2").arg(name, children.trimmed());
        } else if (reader.isCharacters() && !reader.isWhitespace()) {
            return QStringLiteral("<%1> holds text").arg(open.back().first);
        }
    }
    if (reader.hasError())
        return QStringLiteral("line %1: %2").arg(reader.lineNumber()).arg(reader.errorString());
    for (const QString& ref : refs)
        if (!ids.contains(ref))
            return QStringLiteral("a reference to no id: %1").arg(ref);
    return {};
}

TEST(Writers, FcpxmlKeepsToTheDtdAtEveryRateLengthAndName) {
    QList<EditTimeline> timelines;
    for (const FrameRate& rate : storyRates()) {
        timelines << buildTimeline("Story", storyOf(10), shootAt(rate, false));
        if (rate.allowsDropFrame())
            timelines << buildTimeline("Story", storyOf(10), shootAt(rate, true));
    }
    for (const int count : {0, 1, 500})
        timelines << buildTimeline("Story", storyOf(count), shootAt(k25, false));
    timelines << buildTimeline("Story", storyOf(10), shootAt(k2997, true, k25));
    timelines << buildTimeline(
        QString("Tom's \"Story\" & <Friends> ]]> --\x01\n") + QChar(0xD83D), storyOf(10),
        shootAt(k25, false, {}, {"/V/Day #1/100% & 'best'.mov", "/U/josé/<lav>.wav", "/V/日本/C?x=1.mov"}));
    for (const EditTimeline& t : timelines) {
        SCOPED_TRACE(testing::Message() << t.rate.label().toStdString() << " " << eventsOf(t).size() << " "
                                        << t.name.toStdString());
        for (const FcpxmlVersion version : {FcpxmlVersion::v1_11, FcpxmlVersion::v1_10})
            EXPECT_EQ(fcpxmlStructureProblem(fcpxmlBytes(t, version)), QString());
    }
    // A story with nothing in it still makes files an editor can open.
    const EditTimeline empty = buildTimeline("Story", {}, shootAt(k25, false));
    EXPECT_EQ(edlBytes(empty), "TITLE: Story\nFCM: NON-DROP FRAME\n");
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
