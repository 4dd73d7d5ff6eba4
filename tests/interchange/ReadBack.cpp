#include "ReadBack.h"

#include "interchange/Timecode.h"

#include "core/Json.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>
#include <QUrl>
#include <QXmlStreamReader>

#include <functional>

namespace ondrel::interchange::test {

namespace {

ReadBack failed(const QString& problem) {
    ReadBack r;
    r.problem = problem;
    return r;
}

} // namespace

// ---- XML --------------------------------------------------------------------------------------

const XmlNode* XmlNode::child(const QString& childName) const {
    for (const auto& c : children)
        if (c->name == childName)
            return c.get();
    return nullptr;
}

QList<const XmlNode*> XmlNode::all(const QString& childName) const {
    QList<const XmlNode*> found;
    for (const auto& c : children)
        if (c->name == childName)
            found << c.get();
    return found;
}

QString XmlNode::childText(const QString& childName) const {
    const XmlNode* c = child(childName);
    return c ? c->text : QString();
}

std::shared_ptr<XmlNode> parseXml(const QByteArray& bytes, QString* error) {
    QXmlStreamReader reader(bytes);
    std::shared_ptr<XmlNode> root;
    QList<XmlNode*> open;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            auto node = std::make_shared<XmlNode>();
            node->name = reader.name().toString();
            for (const QXmlStreamAttribute& a : reader.attributes())
                node->attributes.insert(a.name().toString(), a.value().toString());
            if (open.isEmpty())
                root = node;
            else
                open.back()->children << node;
            open << node.get();
        } else if (reader.isEndElement()) {
            open.removeLast();
        } else if (reader.isCharacters() && !open.isEmpty()) {
            open.back()->text += reader.text();
        }
    }
    if (reader.hasError()) {
        *error = QStringLiteral("line %1: %2").arg(reader.lineNumber()).arg(reader.errorString());
        return nullptr;
    }
    return root;
}

namespace {

std::optional<Rational> fcpTime(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(\\d+)(?:/(\\d+))?s$"));
    const auto m = form.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    return Rational::of(m.captured(1).toLongLong(), m.captured(2).isEmpty() ? 1 : m.captured(2).toLongLong());
}

// "file://localhost/x" is the local "/x" as Final Cut Pro 7 wrote it.
QString pathOfUrl(const QString& text) {
    QUrl url(text, QUrl::StrictMode);
    if (url.host() == QLatin1String("localhost"))
        url.setHost(QString());
    return url.toLocalFile();
}

std::optional<qint64> wholeFrames(Rational frames) {
    if (frames.den != 1)
        return std::nullopt;
    return frames.num;
}

FrameRate rateOf(const XmlNode* rate) {
    const qint64 base = rate ? rate->childText("timebase").toLongLong() : 0;
    const bool ntsc = rate && rate->childText("ntsc") == QLatin1String("TRUE");
    return ntsc ? FrameRate{base * 1000, 1001} : FrameRate{base, 1};
}

} // namespace

ReadBack readFcpxml(const QByteArray& bytes) {
    ReadBack r;
    QString error;
    const auto root = parseXml(bytes, &error);
    if (!root)
        return failed(error);
    QHash<QString, Rational> frameDurations;
    QHash<QString, QString> assetPaths;
    if (const XmlNode* resources = root->child("resources")) {
        for (const XmlNode* f : resources->all("format"))
            frameDurations.insert(f->attributes.value("id"),
                                  fcpTime(f->attributes.value("frameDuration")).value());
        for (const XmlNode* a : resources->all("asset"))
            assetPaths.insert(a->attributes.value("id"),
                              pathOfUrl(a->child("media-rep")->attributes.value("src")));
    }
    const XmlNode* project = root->child("library")->child("event")->child("project");
    const XmlNode* sequence = project->child("sequence");
    r.name = project->attributes.value("name");
    const Rational frame = frameDurations.value(sequence->attributes.value("format"));
    r.rate = FrameRate{frame.den, frame.num};
    r.dropFrame = sequence->attributes.value("tcFormat") == QLatin1String("DF");
    const Rational tcStart = fcpTime(sequence->attributes.value("tcStart")).value();
    r.startFrame = wholeFrames(framesIn(tcStart, r.rate)).value_or(-1);
    for (const XmlNode* clip : sequence->child("spine")->all("asset-clip")) {
        const auto offset = fcpTime(clip->attributes.value("offset"));
        const auto start = fcpTime(clip->attributes.value("start"));
        const auto duration = fcpTime(clip->attributes.value("duration"));
        if (!offset || !start || !duration)
            return failed(QStringLiteral("a clip's time is not a rational time"));
        const auto in = wholeFrames(framesIn(*start, r.rate));
        const auto length = wholeFrames(framesIn(*duration, r.rate));
        const auto record = wholeFrames(framesIn(*offset - tcStart, r.rate));
        if (!in || !length || !record)
            return failed(QStringLiteral("a clip is off the sequence's frames"));
        r.clips << ReadClip{QString(), assetPaths.value(clip->attributes.value("ref")), *in, *in + *length,
                            *record};
        for (const XmlNode* marker : clip->all("chapter-marker")) {
            const auto at = wholeFrames(framesIn(fcpTime(marker->attributes.value("start")).value(), r.rate));
            if (!at || *at < *in || *at >= *in + *length)
                return failed(QStringLiteral("a marker lies outside its clip"));
            r.markers << ReadMarker{marker->attributes.value("value"), *record + (*at - *in)};
        }
    }
    return r;
}

ReadBack readFcp7Xml(const QByteArray& bytes) {
    ReadBack r;
    QString error;
    const auto root = parseXml(bytes, &error);
    if (!root)
        return failed(error);
    if (root->name != QLatin1String("xmeml") || root->attributes.value("version") != QLatin1String("4"))
        return failed(QStringLiteral("not xmeml 4"));
    const XmlNode* sequence = root->child("sequence");
    r.name = sequence->childText("name");
    r.rate = rateOf(sequence->child("rate"));
    const XmlNode* timecode = sequence->child("timecode");
    r.startFrame = timecode->childText("frame").toLongLong();
    r.dropFrame = timecode->childText("displayformat") == QLatin1String("DF");
    struct Known {
        QString path;
        qint64 origin;
    };
    QHash<QString, Known> files;
    const XmlNode* media = sequence->child("media");
    for (const char* kind : {"video", "audio"}) {
        int trackNumber = 0;
        for (const XmlNode* track : media->child(kind)->all("track")) {
            const QString trackName =
                (kind == QByteArrayView("video") ? QStringLiteral("V%1") : QStringLiteral("A%1"))
                    .arg(++trackNumber);
            for (const XmlNode* item : track->all("clipitem")) {
                const XmlNode* file = item->child("file");
                const QString id = file->attributes.value("id");
                if (file->child("pathurl")) {
                    if (files.contains(id))
                        return failed(QStringLiteral("file %1 described twice").arg(id));
                    // `in` counts from the media's first frame; its timecode says which that is.
                    const XmlNode* tc = file->child("timecode");
                    const FrameRate fileRate = rateOf(tc->child("rate"));
                    const Rational start = secondsOf(tc->childText("frame").toLongLong(), fileRate);
                    files.insert(id, {pathOfUrl(file->childText("pathurl")), framesIn(start, r.rate).ceil()});
                } else if (!files.contains(id)) {
                    return failed(QStringLiteral("file %1 used before it is described").arg(id));
                }
                if (rateOf(item->child("rate")) != r.rate)
                    return failed(QStringLiteral("a clip item counts another rate"));
                const qint64 in = item->childText("in").toLongLong();
                const qint64 out = item->childText("out").toLongLong();
                const qint64 start = item->childText("start").toLongLong();
                const qint64 end = item->childText("end").toLongLong();
                if (end - start != out - in)
                    return failed(QStringLiteral("a clip item's source and record lengths differ"));
                const Known& known = files[id];
                r.clips << ReadClip{trackName, known.path, known.origin + in, known.origin + out, start};
            }
        }
    }
    for (const XmlNode* marker : sequence->all("marker"))
        r.markers << ReadMarker{marker->childText("name"), marker->childText("in").toLongLong()};
    return r;
}

// ---- OTIO -------------------------------------------------------------------------------------

namespace {

QString otioProblem(const Json& j, const QString& where) {
    if (j.is_object()) {
        if (!j.contains("OTIO_SCHEMA"))
            return QStringLiteral("no OTIO_SCHEMA at %1").arg(where);
        for (auto it = j.begin(); it != j.end(); ++it) {
            if (it.key() == "metadata")
                continue;
            if (it.key() == "media_references") {
                for (auto ref = it->begin(); ref != it->end(); ++ref)
                    if (const QString p = otioProblem(*ref, where + "/media"); !p.isEmpty())
                        return p;
                continue;
            }
            if (const QString p = otioProblem(*it, where + '/' + QString::fromStdString(it.key()));
                !p.isEmpty())
                return p;
        }
    } else if (j.is_array()) {
        for (const Json& e : j)
            if (const QString p = otioProblem(e, where); !p.isEmpty())
                return p;
    }
    return {};
}

} // namespace

ReadBack readOtio(const QByteArray& bytes) {
    ReadBack r;
    const auto parsed = parseJson(bytes);
    if (!parsed)
        return failed(QStringLiteral("not JSON"));
    const Json& t = *parsed;
    if (const QString p = otioProblem(t, QStringLiteral("timeline")); !p.isEmpty())
        return failed(p);
    if (t["OTIO_SCHEMA"] != "Timeline.1" || t["tracks"]["OTIO_SCHEMA"] != "Stack.1")
        return failed(QStringLiteral("not a timeline of a stack"));
    r.name = QString::fromStdString(t["name"].get<std::string>());
    const double rate = t["global_start_time"]["rate"].get<double>();
    for (const FrameRate& known : storyRates())
        if (known.perSecond().toDouble() == rate)
            r.rate = known;
    r.startFrame = qint64(t["global_start_time"]["value"].get<double>());
    auto frames = [&](const Json& time) -> std::optional<qint64> {
        const double value = time["value"].get<double>();
        if (time["rate"].get<double>() != rate || value != double(qint64(value)))
            return std::nullopt;
        return qint64(value);
    };
    for (const Json& track : t["tracks"]["children"]) {
        if (track["OTIO_SCHEMA"] != "Track.1")
            return failed(QStringLiteral("a stack child is no track"));
        qint64 at = 0;
        for (const Json& item : track["children"]) {
            const auto start = frames(item["source_range"]["start_time"]);
            const auto duration = frames(item["source_range"]["duration"]);
            if (!start || !duration)
                return failed(QStringLiteral("a range off the timeline's frames"));
            if (item["OTIO_SCHEMA"] == "Clip.2") {
                const Json& ref =
                    item["media_references"][item["active_media_reference_key"].get<std::string>()];
                if (ref["OTIO_SCHEMA"] != "ExternalReference.1")
                    return failed(QStringLiteral("a clip without an external reference"));
                r.clips << ReadClip{QString::fromStdString(track["name"].get<std::string>()),
                                    pathOfUrl(QString::fromStdString(ref["target_url"].get<std::string>())),
                                    *start, *start + *duration, at};
            } else if (item["OTIO_SCHEMA"] != "Gap.1") {
                return failed(QStringLiteral("a track holds neither clip nor gap"));
            }
            at += *duration;
        }
    }
    for (const Json& marker : t["tracks"]["markers"]) {
        if (marker["OTIO_SCHEMA"] != "Marker.2")
            return failed(QStringLiteral("a marker is no Marker.2"));
        r.markers << ReadMarker{QString::fromStdString(marker["name"].get<std::string>()),
                                frames(marker["marked_range"]["start_time"]).value_or(-1)};
    }
    return r;
}

// ---- EDL --------------------------------------------------------------------------------------

ReadBack readEdl(const QByteArray& bytes, FrameRate rate) {
    ReadBack r;
    r.rate = rate;
    const QStringList lines = QString::fromUtf8(bytes).split(u'\n');
    if (lines.size() < 2 || !lines[0].startsWith(QLatin1String("TITLE: ")) ||
        !lines[1].startsWith(QLatin1String("FCM: ")))
        return failed(QStringLiteral("no TITLE and FCM header"));
    r.name = lines[0].mid(7);
    r.dropFrame = lines[1] == QLatin1String("FCM: DROP FRAME");
    const TimecodeFormat format{rate, r.dropFrame};
    r.startFrame = *timecodeFrame(r.dropFrame ? u"01:00:00;00" : u"01:00:00:00", format);
    // The columns of CMX 3600: event, reel (8), channels (5), transition, four timecodes.
    static const QRegularExpression event(
        QStringLiteral("^(\\d{3,})  (.{8}) (.{5}) C {8}(\\S{11}) (\\S{11}) (\\S{11}) (\\S{11})$"));
    static const QRegularExpression reelForm(QStringLiteral("^[A-Za-z0-9]{1,8} *$"));
    static const QStringList channelFields{"V    ", "A    ", "B    ", "AA   ", "AA/V "};
    // A reel names one file: a conformer finds the media by it.
    QHash<QString, QString> pathOfReel;
    QString reel;
    int expectedNumber = 1;
    for (qsizetype i = 2; i < lines.size(); ++i) {
        const QString& line = lines[i];
        if (line.isEmpty())
            continue;
        if (line.startsWith(QLatin1String("* SOURCE FILE: "))) {
            if (r.clips.isEmpty())
                return failed(QStringLiteral("a comment before any event"));
            r.clips.back().path = line.mid(15);
            if (pathOfReel.value(reel, r.clips.back().path) != r.clips.back().path)
                return failed(QStringLiteral("reel %1 names two files").arg(reel));
            pathOfReel.insert(reel, r.clips.back().path);
            continue;
        }
        if (line.startsWith(QLatin1String("* LOC: "))) {
            const auto at = timecodeFrame(QStringView(line).mid(7, 11), format);
            const QString name = line.mid(26);
            if (!at || line.mid(18, 8) != QLatin1String(" YELLOW "))
                return failed(QStringLiteral("a locator that does not read: ") + line);
            r.markers << ReadMarker{name, *at - r.startFrame};
            continue;
        }
        if (line.startsWith(QLatin1String("* ")))
            continue;
        const auto m = event.match(line);
        if (!m.hasMatch())
            return failed(QStringLiteral("not an event line: ") + line);
        if (m.captured(1).toInt() != expectedNumber++)
            return failed(QStringLiteral("events out of order"));
        if (!reelForm.match(m.captured(2)).hasMatch() || !channelFields.contains(m.captured(3)))
            return failed(QStringLiteral("not a reel and channels: ") + line);
        const auto si = timecodeFrame(m.captured(4), format);
        const auto so = timecodeFrame(m.captured(5), format);
        const auto ri = timecodeFrame(m.captured(6), format);
        const auto ro = timecodeFrame(m.captured(7), format);
        if (!si || !so || !ri || !ro)
            return failed(QStringLiteral("a timecode that does not read: ") + line);
        if (*so - *si != *ro - *ri)
            return failed(QStringLiteral("source and record durations differ: ") + line);
        r.clips << ReadClip{m.captured(3).trimmed(), QString(), *si, *so, *ri - r.startFrame};
        reel = m.captured(2).trimmed().toUpper();
    }
    return r;
}

// ---- expectations -----------------------------------------------------------------------------

QList<ReadClip> expectedTrackClips(const EditTimeline& t) {
    QList<ReadClip> clips;
    for (const Track& track : t.tracks)
        for (const Clip& c : track.clips)
            clips << ReadClip{track.name, t.media[c.media].path, c.sourceIn, c.sourceOut, c.recordIn};
    return clips;
}

QList<ReadClip> expectedEventClips(const EditTimeline& t, bool withChannels) {
    QList<ReadClip> clips;
    for (const Event& e : eventsOf(t)) {
        QString channels;
        if (withChannels) {
            const QString sound = e.audioChannels >= 2 ? QStringLiteral("AA")
                                  : e.audioChannels    ? QStringLiteral("A")
                                                       : QString();
            channels = !e.video                       ? sound
                       : sound == QLatin1String("AA") ? QStringLiteral("AA/V")
                       : sound.isEmpty()              ? QStringLiteral("V")
                                                      : QStringLiteral("B");
        }
        clips << ReadClip{channels, t.media[e.media].path, e.sourceIn, e.sourceOut, e.recordIn};
    }
    return clips;
}

QList<ReadMarker> expectedMarkers(const EditTimeline& t) {
    QList<ReadMarker> markers;
    for (const Marker& m : t.markers)
        markers << ReadMarker{m.name, m.record};
    return markers;
}

// ---- FCPXML structure -------------------------------------------------------------------------

namespace {

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

const QStringList kTimeAttributes{"start", "duration", "offset", "tcStart", "frameDuration", "posterOffset"};
const QStringList kIdRefs{"format", "ref"};

} // namespace

QString fcpxmlStructureProblem(const QByteArray& bytes) {
    if (!bytes.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE fcpxml>"))
        return QStringLiteral("no XML declaration and fcpxml doctype");
    QString error;
    const auto root = parseXml(bytes, &error);
    if (!root)
        return error;
    if (root->name != QLatin1String("fcpxml"))
        return QStringLiteral("the root is not fcpxml");
    QSet<QString> ids;
    QList<QString> refs;
    std::function<QString(const XmlNode&)> check = [&](const XmlNode& node) -> QString {
        const auto rule = fcpxmlRules().constFind(node.name);
        if (rule == fcpxmlRules().constEnd())
            return QStringLiteral("<%1> is not an element the writer may use").arg(node.name);
        QString sequence;
        for (const auto& c : node.children)
            sequence += c->name + u' ';
        if (!QRegularExpression(QStringLiteral("^(?:%1)$").arg(rule->content)).match(sequence).hasMatch())
            return QStringLiteral("<%1> may not hold: %2").arg(node.name, sequence.trimmed());
        if (!node.text.trimmed().isEmpty())
            return QStringLiteral("<%1> holds text").arg(node.name);
        for (const QString& required : rule->required)
            if (!node.attributes.contains(required))
                return QStringLiteral("<%1> lacks %2").arg(node.name, required);
        for (auto it = node.attributes.begin(); it != node.attributes.end(); ++it) {
            if (!rule->attributes.contains(it.key()))
                return QStringLiteral("<%1> has no attribute %2").arg(node.name, it.key());
            if (rule->values.contains(it.key()) && !rule->values[it.key()].contains(it.value()))
                return QStringLiteral("<%1 %2=\"%3\"> is not one of its values")
                    .arg(node.name, it.key(), it.value());
            if (kTimeAttributes.contains(it.key()) && !fcpTime(it.value()))
                return QStringLiteral("<%1 %2=\"%3\"> is not a time").arg(node.name, it.key(), it.value());
            if (it.key() == QLatin1String("id")) {
                if (ids.contains(it.value()))
                    return QStringLiteral("id %1 twice").arg(it.value());
                ids.insert(it.value());
            }
            if (kIdRefs.contains(it.key()) && node.name != QLatin1String("format"))
                refs << it.value();
        }
        for (const auto& c : node.children)
            if (const QString p = check(*c); !p.isEmpty())
                return p;
        return {};
    };
    if (const QString p = check(*root); !p.isEmpty())
        return p;
    for (const QString& ref : refs)
        if (!ids.contains(ref))
            return QStringLiteral("a reference to no id: %1").arg(ref);
    return {};
}

std::ostream& operator<<(std::ostream& os, const ReadClip& c) {
    return os << '{' << c.track.toStdString() << ' ' << c.path.toStdString() << ' ' << c.sourceIn << '-'
              << c.sourceOut << " @" << c.recordIn << '}';
}

std::ostream& operator<<(std::ostream& os, const ReadMarker& m) {
    return os << '{' << m.name.toStdString() << " @" << m.record << '}';
}

} // namespace ondrel::interchange::test
