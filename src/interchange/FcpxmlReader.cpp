// FCPXML as Final Cut Pro and Resolve write it (1.8 to 1.13; older and newer versions are read as
// far as they go): resources (formats, assets, compound and multicam media), then one project's
// sequence, whose spine lays clips end to end from its tcStart. Anchored items (a lane) hang off a
// clip in that clip's local time. Each element maps its local time onto the timeline by one shift
// (its offset less its start), so storylines, compound clips and multicam angles all come down to
// the same step; what a container shows is cut to its own span, what hangs off it is not.

#include "ReadSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace ondrel::interchange {

namespace {

using namespace read;

bool keepElement(QStringView name) {
    static const QSet<QString> kept{"fcpxml",         "resources",    "format",   "asset",      "media-rep",
                                    "media",          "sequence",     "multicam", "mc-angle",   "library",
                                    "event",          "project",      "spine",    "asset-clip", "clip",
                                    "ref-clip",       "sync-clip",    "mc-clip",  "mc-source",  "gap",
                                    "title",          "video",        "audio",    "audition",   "marker",
                                    "chapter-marker", "conform-rate", "timeMap",  "timept",     "transition"};
    return kept.contains(name.toString());
}

// Rational seconds as the DTD writes them ("1001/30000s", "5s"); decimals ("0.5s") as some tools
// write them.
std::optional<Rational> parseTime(QStringView text) {
    text = text.trimmed();
    if (!text.endsWith(u's'))
        return std::nullopt;
    text.chop(1);
    const qsizetype slash = text.indexOf(u'/');
    bool ok = false;
    if (slash >= 0) {
        const qint64 num = text.left(slash).toLongLong(&ok);
        if (!ok)
            return std::nullopt;
        const qint64 den = text.mid(slash + 1).toLongLong(&ok);
        if (!ok || den <= 0 || den > (qint64(1) << 40) || num > (qint64(1) << 61) || num < -(qint64(1) << 61))
            return std::nullopt;
        return Rational::of(num, den);
    }
    const qsizetype dot = text.indexOf(u'.');
    if (dot < 0) {
        const qint64 num = text.toLongLong(&ok);
        if (!ok || num > (qint64(1) << 40) || num < -(qint64(1) << 40))
            return std::nullopt;
        return Rational::of(num);
    }
    const QStringView whole = text.left(dot);
    const QStringView fraction = text.mid(dot + 1);
    if (fraction.isEmpty() || fraction.size() > 9)
        return std::nullopt;
    for (const QChar c : fraction)
        if (!c.isDigit())
            return std::nullopt;
    const bool negative = whole.startsWith(u'-');
    const qint64 w = whole == u"-" || whole.isEmpty() ? 0 : whole.toLongLong(&ok);
    if ((!ok && !(whole == u"-" || whole.isEmpty())) || w > (qint64(1) << 40) || w < -(qint64(1) << 40))
        return std::nullopt;
    qint64 scale = 1;
    for (qsizetype i = 0; i < fraction.size(); ++i)
        scale *= 10;
    const qint64 f = fraction.toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    const qint64 magnitude = (w < 0 ? -w : w) * scale + f;
    return Rational::of(negative ? -magnitude : magnitude, scale);
}

// "FFVideoFormat1080p2398": a format that names its rate instead of giving its frame duration.
std::optional<FrameRate> rateFromFormatName(const QString& name) {
    static const QRegularExpression form(QStringLiteral("(\\d+)([pi])(\\d+)$"));
    const auto m = form.match(name);
    if (!m.hasMatch())
        return std::nullopt;
    const QString digits = m.captured(3);
    const bool interlaced = m.captured(2) == QLatin1String("i");
    Rational fields;
    if (digits == QLatin1String("2398"))
        fields = Rational::of(24000, 1001);
    else if (digits == QLatin1String("2997"))
        fields = Rational::of(30000, 1001);
    else if (digits == QLatin1String("5994"))
        fields = Rational::of(60000, 1001);
    else if (digits.size() <= 3)
        fields = Rational::of(digits.toLongLong());
    else
        return std::nullopt;
    if (fields.num <= 0)
        return std::nullopt;
    // An interlaced format names fields; a frame holds two.
    return frameRateOf(interlaced ? fields * Rational::of(1, 2) : fields);
}

// conform-rate's srcFrameRate values ("23.98", "29.97") as the rates they stand for.
std::optional<FrameRate> conformRate(const QString& text) {
    bool ok = false;
    const double fps = text.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return frameRateOfDouble(fps);
}

bool isTimed(QStringView name) {
    static const QSet<QString> timed{"asset-clip", "clip",  "ref-clip", "sync-clip", "mc-clip", "gap",
                                     "title",      "video", "audio",    "spine",     "audition"};
    return timed.contains(name.toString());
}

// Each element a reading enters counts; compound clips inside compound clips could otherwise
// multiply the work far past the clips a timeline may hold.
constexpr qint64 kMaxVisits = 10LL * kMaxTimelineClips;

struct Asset {
    QString name;
    QString src;
    Rational start;
    bool video = false;
    bool audio = false;
    std::optional<FrameRate> rate;
};

class FcpxmlReading {
public:
    FcpxmlReading(const XmlTree& tree, const QString& path, const ReadOptions& options)
        : m_tree(tree)
        , m_path(path)
        , m_media(path, options) {
        // Inside a .fcpxmld bundle, relative media may lie beside the bundle as well as in it.
        const QFileInfo info(path);
        if (info.dir().dirName().endsWith(QLatin1String(".fcpxmld"), Qt::CaseInsensitive))
            m_media.addBaseFolder(QDir::cleanPath(info.absolutePath() + QStringLiteral("/..")));
    }

    TimelineReading run();

private:
    struct Context {
        Rational shift; // timeline seconds = local time + shift
        Rational lo;    // what may show, in timeline seconds
        Rational hi;
        int lane = 0;
        bool video = true;
        bool audio = true;
        int compounds = 0; // compound and multicam media entered on the way here
        QString clipName;  // a clip's name, which its picture and sound inside it go by
    };

    const XmlElement& el(int i) const { return m_tree.at(i); }
    Rational timeOf(int element, QStringView attribute, Rational fallback);
    void readResources(int resources);
    void story(int element, const Context& parent, std::optional<Rational> spineOffset = {});
    void storyline(int element, const Context& c);
    void hung(int element, const Context& inner, const Context& anchored, bool contained);
    void compound(int element, const QString& ref, const Context& inner);
    void markers(int element, const Context& local, Rational lo, Rational hi);
    void leaf(int element, const QString& ref, const Context& context, Rational local0, Rational local1,
              TrackKind kind, const QString& name, int timing);
    Rational sourceAt(int timing, Rational local, Rational clipStart);
    bool problem() const { return !m_problem.isEmpty() || m_math.overflowed; }
    void fail(const QString& what) {
        if (m_problem.isEmpty())
            m_problem = aboutFile(m_path, what);
    }

    const XmlTree& m_tree;
    QString m_path;
    MediaTable m_media;
    TimeMath m_math;
    QString m_problem;
    QHash<QString, std::optional<FrameRate>> m_formats;
    QHash<QString, Asset> m_assets;
    QHash<QString, int> m_compounds; // media id -> its sequence or multicam element
    QStringList m_entered;           // compound media being read, to refuse one inside itself
    QList<PlacedClip> m_clips;
    QList<ReadMarker> m_markers;
    FrameRate m_rate;
    qint64 m_visits = 0;
    bool m_retimed = false;
    bool m_conformed = false;
    bool m_retimedContents = false;
};

Rational FcpxmlReading::timeOf(int element, QStringView attribute, Rational fallback) {
    const XmlElement& e = el(element);
    if (!e.hasAttribute(attribute))
        return fallback;
    const QString text = e.attribute(attribute);
    const auto t = parseTime(text);
    if (!t) {
        fail(QStringLiteral("has a time it cannot read: %1=\"%2\" on <%3> (line %4).")
                 .arg(attribute.toString(), text.left(40), e.name)
                 .arg(e.line));
        return fallback;
    }
    return *t;
}

void FcpxmlReading::readResources(int resources) {
    for (const int r : el(resources).children) {
        const XmlElement& e = el(r);
        const QString id = e.attribute(u"id");
        if (e.name == QLatin1String("format")) {
            std::optional<FrameRate> rate;
            if (e.hasAttribute(u"frameDuration")) {
                const Rational frame = timeOf(r, u"frameDuration", Rational::of(0));
                if (frame.num > 0)
                    rate = frameRateOf(Rational::of(frame.den, frame.num));
            }
            if (!rate)
                rate = rateFromFormatName(e.attribute(u"name"));
            m_formats.insert(id, rate);
        } else if (e.name == QLatin1String("asset")) {
            Asset a;
            a.name = e.attribute(u"name");
            a.start = timeOf(r, u"start", Rational::of(0));
            // The original media over a proxy; asset's own src before 1.9.
            QString proxy;
            for (const int rep : m_tree.children(r, u"media-rep")) {
                const QString kind = el(rep).attribute(u"kind");
                if (kind.isEmpty() || kind == QLatin1String("original-media")) {
                    a.src = el(rep).attribute(u"src");
                    break;
                }
                if (proxy.isEmpty())
                    proxy = el(rep).attribute(u"src");
            }
            if (a.src.isEmpty())
                a.src = e.hasAttribute(u"src") ? e.attribute(u"src") : proxy;
            const bool says = e.hasAttribute(u"hasVideo") || e.hasAttribute(u"hasAudio");
            a.video = says ? e.attribute(u"hasVideo") == QLatin1String("1") : e.hasAttribute(u"format");
            a.audio = says ? e.attribute(u"hasAudio") == QLatin1String("1")
                           : e.hasAttribute(u"audioSources") || e.hasAttribute(u"audioChannels");
            if (!a.video && !a.audio)
                a.video = true;
            if (a.video)
                a.rate = m_formats.value(e.attribute(u"format"));
            m_assets.insert(id, a);
        } else if (e.name == QLatin1String("media")) {
            const int sequence = m_tree.child(r, u"sequence");
            const int multicam = m_tree.child(r, u"multicam");
            if (sequence >= 0)
                m_compounds.insert(id, sequence);
            else if (multicam >= 0)
                m_compounds.insert(id, multicam);
        }
    }
}

Rational FcpxmlReading::sourceAt(int timing, Rational local, Rational clipStart) {
    const int map = m_tree.child(timing, u"timeMap");
    if (map >= 0) {
        // Clip time to source time, straight between points and on along the end segments.
        QList<std::pair<Rational, Rational>> points;
        for (const int p : m_tree.children(map, u"timept"))
            points.push_back({timeOf(p, u"time", Rational::of(0)), timeOf(p, u"value", Rational::of(0))});
        std::stable_sort(points.begin(), points.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        if (!points.isEmpty()) {
            m_retimed = true;
            if (points.size() == 1)
                return points.front().second; // a freeze frame
            qsizetype i = 1;
            while (i + 1 < points.size() && points[i].first < local)
                ++i;
            const auto& [t0, v0] = points[i - 1];
            const auto& [t1, v1] = points[i];
            if (t1 == t0)
                return v1;
            return m_math.add(
                v0, m_math.mul(m_math.sub(local, t0), m_math.div(m_math.sub(v1, v0), m_math.sub(t1, t0))));
        }
    }
    const int conform = m_tree.child(timing, u"conform-rate");
    if (conform >= 0 && el(conform).attribute(u"scaleEnabled") != QLatin1String("0")) {
        // A conformed clip plays each of its frames for one of the timeline's: its source runs at
        // the ratio of the two rates from where the clip starts.
        const auto from = conformRate(el(conform).attribute(u"srcFrameRate"));
        if (from && *from != m_rate) {
            m_conformed = true;
            return m_math.add(clipStart, m_math.mul(m_math.sub(local, clipStart),
                                                    m_math.div(m_rate.perSecond(), from->perSecond())));
        }
    }
    return local;
}

void FcpxmlReading::leaf(int element, const QString& ref, const Context& c, Rational local0, Rational local1,
                         TrackKind kind, const QString& name, int timing) {
    const auto asset = m_assets.constFind(ref);
    if (asset == m_assets.constEnd())
        return; // a generator or title's effect: no media file
    if (kind == TrackKind::video ? !(asset->video && c.video) : !(asset->audio && c.audio))
        return;
    const Rational in = std::max(m_math.add(local0, c.shift), c.lo);
    const Rational out = std::min(m_math.add(local1, c.shift), c.hi);
    if (out <= in || problem())
        return;
    if (m_clips.size() >= kMaxTimelineClips) {
        fail(QStringLiteral("holds more than %1 clips, more than Ondrel Manager reads from one timeline.")
                 .arg(kMaxTimelineClips));
        return;
    }
    const Rational clipStart = timeOf(element, u"start", Rational::of(0));
    Rational sourceIn = sourceAt(timing, m_math.sub(in, c.shift), clipStart);
    Rational sourceOut = sourceAt(timing, m_math.sub(out, c.shift), clipStart);
    if (sourceOut < sourceIn)
        std::swap(sourceIn, sourceOut); // played backwards
    const int media = m_media.byReference(asset->src, Reference::url, asset->name);
    ReadMedia& m = m_media.media[media];
    if (!m.start)
        m.start = asset->start;
    if (!m.rate && asset->video)
        m.rate = asset->rate;
    ReadClip clip;
    clip.kind = kind;
    clip.name = name.isEmpty() ? asset->name : name;
    clip.media = media;
    clip.sourceIn = sourceIn;
    clip.sourceOut = sourceOut;
    clip.recordIn = in;
    clip.recordOut = out;
    m_clips << PlacedClip{clip, c.lane};
}

void FcpxmlReading::markers(int element, const Context& local, Rational lo, Rational hi) {
    for (const int child : el(element).children) {
        const XmlElement& e = el(child);
        if (e.name != QLatin1String("marker") && e.name != QLatin1String("chapter-marker"))
            continue;
        const Rational at = m_math.add(timeOf(child, u"start", Rational::of(0)), local.shift);
        if (at >= lo && at < hi && !problem())
            m_markers << ReadMarker{e.attribute(u"value"), at};
    }
}

void FcpxmlReading::hung(int element, const Context& inner, const Context& anchored, bool contained) {
    for (const int child : el(element).children) {
        if (problem())
            return;
        const XmlElement& e = el(child);
        if (e.hasAttribute(u"lane")) {
            bool ok = false;
            const int lane = e.attribute(u"lane").toInt(&ok);
            Context c = anchored;
            if (ok && std::abs(lane) <= kMaxTimelineNesting)
                c.lane += lane;
            story(child, c);
        } else if (contained) {
            story(child, inner);
        }
    }
}

void FcpxmlReading::storyline(int element, const Context& c) {
    // Items follow one another; one without an offset starts where the one before it ended.
    Rational cursor = Rational::of(0);
    for (const int child : el(element).children) {
        if (problem())
            return;
        story(child, c, cursor);
        const XmlElement& item = el(child);
        if (item.name != QLatin1String("transition") && isTimed(item.name) && !item.hasAttribute(u"lane"))
            cursor =
                m_math.add(timeOf(child, u"offset", cursor), timeOf(child, u"duration", Rational::of(0)));
    }
}

void FcpxmlReading::story(int element, const Context& c, std::optional<Rational> spineOffset) {
    if (problem())
        return;
    if (++m_visits > kMaxVisits) {
        fail(QStringLiteral("nests compound clips so often that its clips cannot all be read."));
        return;
    }
    const XmlElement& e = el(element);
    const QString& kind = e.name;
    if (!isTimed(kind) || e.attribute(u"enabled") == QLatin1String("0"))
        return; // markers are read by their owner; transitions take no time of their own
    if (kind == QLatin1String("audition")) {
        // The pick is the first item; the others are alternatives the editor did not use.
        for (const int child : e.children) {
            if (isTimed(el(child).name)) {
                story(child, c, spineOffset);
                return;
            }
        }
        return;
    }
    const Rational offset = timeOf(element, u"offset", spineOffset.value_or(Rational::of(0)));
    if (kind == QLatin1String("spine")) {
        // A storyline starts at its offset in its parent's local time and shows all it holds.
        Context inner = c;
        inner.shift = m_math.add(c.shift, offset);
        storyline(element, inner);
        return;
    }

    const Rational start = timeOf(element, u"start", Rational::of(0));
    const Rational duration = timeOf(element, u"duration", Rational::of(0));
    const Rational end = m_math.add(start, duration);
    // What the element holds shows within its span; what hangs off it only within its parent's.
    Context inner = c;
    inner.shift = m_math.add(m_math.sub(c.shift, start), offset);
    inner.lo = std::max(c.lo, m_math.add(offset, c.shift));
    inner.hi = std::min(c.hi, m_math.add(m_math.add(offset, duration), c.shift));
    Context anchored = c;
    anchored.shift = inner.shift;
    const QString srcEnable = e.attribute(u"srcEnable");
    if (srcEnable == QLatin1String("video"))
        inner.audio = false;
    else if (srcEnable == QLatin1String("audio"))
        inner.video = false;
    const QString name = e.attribute(u"name");
    const QString ref = e.attribute(u"ref");

    if (kind == QLatin1String("asset-clip")) {
        leaf(element, ref, inner, start, end, TrackKind::video, name, element);
        if (e.hasAttribute(u"audioStart") || e.hasAttribute(u"audioDuration")) {
            // A split edit gives the sound a range of its own, which may reach past the picture.
            const Rational audioStart = timeOf(element, u"audioStart", start);
            const Rational audioEnd =
                m_math.add(audioStart, timeOf(element, u"audioDuration", m_math.sub(end, audioStart)));
            Context sound = inner;
            sound.lo = c.lo;
            sound.hi = c.hi;
            leaf(element, ref, sound, audioStart, audioEnd, TrackKind::audio, name, element);
        } else {
            leaf(element, ref, inner, start, end, TrackKind::audio, name, element);
        }
    } else if (kind == QLatin1String("video") || kind == QLatin1String("audio")) {
        // Inside a clip: the part it plays of an asset, in the clip's local time.
        const TrackKind k = kind == QLatin1String("video") ? TrackKind::video : TrackKind::audio;
        leaf(element, ref, inner, start, end, k, name.isEmpty() ? c.clipName : name, element);
    } else if (kind == QLatin1String("ref-clip") || kind == QLatin1String("mc-clip")) {
        compound(element, ref, inner);
    }
    if (kind != QLatin1String("asset-clip") && kind != QLatin1String("video") &&
        kind != QLatin1String("audio") &&
        (m_tree.child(element, u"timeMap") >= 0 || m_tree.child(element, u"conform-rate") >= 0))
        m_retimedContents = true;
    markers(element, inner, inner.lo, inner.hi);
    if (kind == QLatin1String("clip")) {
        inner.clipName = name;
        anchored.clipName = name;
    }
    const bool holdsItems = kind == QLatin1String("clip") || kind == QLatin1String("sync-clip");
    hung(element, inner, anchored, holdsItems);
}

void FcpxmlReading::compound(int element, const QString& ref, const Context& inner) {
    const auto found = m_compounds.constFind(ref);
    if (found == m_compounds.constEnd() || !(inner.lo < inner.hi))
        return;
    if (m_entered.contains(ref) || inner.compounds >= kMaxTimelineNesting) {
        fail(QStringLiteral("holds a compound clip inside itself (“%1”, line %2).")
                 .arg(el(element).attribute(u"name"))
                 .arg(el(element).line));
        return;
    }
    m_entered << ref;
    Context content = inner;
    content.compounds = inner.compounds + 1;
    if (el(*found).name == QLatin1String("sequence")) {
        // A compound clip's `start` counts on its own sequence's clock, as its spine's offsets do.
        if (const int spine = m_tree.child(*found, u"spine"); spine >= 0)
            story(spine, content);
    } else {
        // A multicam clip plays the angle the editor switched to for picture, and those for sound.
        QList<std::pair<QString, QString>> sources;
        for (const int s : m_tree.children(element, u"mc-source"))
            sources.push_back({el(s).attribute(u"angleID"), el(s).attribute(u"srcEnable")});
        const QList<int> angles = m_tree.children(*found, u"mc-angle");
        for (qsizetype a = 0; a < angles.size(); ++a) {
            const QString id = el(angles[a]).attribute(u"angleID");
            bool video = sources.isEmpty() && a == 0;
            bool audio = video;
            for (const auto& [angle, enable] : sources) {
                if (angle != id)
                    continue;
                video = video || enable == QLatin1String("all") || enable == QLatin1String("video");
                audio = audio || enable == QLatin1String("all") || enable == QLatin1String("audio");
            }
            Context angle = content;
            angle.video = content.video && video;
            angle.audio = content.audio && audio;
            if (angle.video || angle.audio)
                storyline(angles[a], angle);
        }
    }
    m_entered.removeLast();
}

TimelineReading FcpxmlReading::run() {
    const XmlElement& root = el(0);
    if (root.name != QLatin1String("fcpxml"))
        return failure(aboutFile(m_path, QStringLiteral("is not FCPXML (its root is <%1>).").arg(root.name)));
    ReadTimeline t;
    t.file = m_path;
    t.format = TimelineFormat::fcpxml;
    const QString version = root.attribute(u"version");
    t.formatName =
        QStringLiteral("FCPXML %1").arg(version.isEmpty() ? QStringLiteral("(no version)") : version);
    const QStringList parts = version.split(u'.');
    if (parts.size() == 2 && parts[0] == QLatin1String("1") && parts[1].toInt() > 13)
        t.warnings << aboutFile(m_path, QStringLiteral("is FCPXML %1, newer than the 1.13 Ondrel Manager "
                                                       "knows; it was read as 1.13.")
                                            .arg(version));

    for (const int r : m_tree.children(0, u"resources"))
        readResources(r);
    // Projects in a library's events, in bare events, or (before 1.3) at the root.
    QList<int> projects;
    auto gather = [&](int parent) {
        for (const int child : el(parent).children) {
            if (el(child).name == QLatin1String("project"))
                projects << child;
            else if (el(child).name == QLatin1String("event"))
                projects << m_tree.children(child, u"project");
        }
    };
    gather(0);
    for (const int library : m_tree.children(0, u"library"))
        gather(library);
    QList<int> sequences;
    for (const int p : projects)
        if (m_tree.child(p, u"sequence") >= 0)
            sequences << p;
    if (sequences.isEmpty())
        return failure(aboutFile(m_path, QStringLiteral("holds no project, only clips or events: export a "
                                                        "project (a timeline) from Final Cut Pro.")));
    const int project = sequences.front();
    if (sequences.size() > 1)
        t.warnings << aboutFile(m_path, QStringLiteral("holds %1 projects; the first, “%2”, was read.")
                                            .arg(sequences.size())
                                            .arg(el(project).attribute(u"name")));
    for (const int r : m_tree.children(project, u"resources"))
        readResources(r);
    const int sequence = m_tree.child(project, u"sequence");
    t.name = el(project).attribute(u"name");

    std::optional<FrameRate> rate = m_formats.value(el(sequence).attribute(u"format"));
    if (!rate) {
        // A sound-only project names no rate; its pictures' rate, else 24 as the writers take.
        for (const Asset& a : std::as_const(m_assets))
            if (a.video && a.rate && !rate)
                rate = a.rate;
        if (!rate)
            t.warnings << aboutFile(m_path, QStringLiteral("names no frame rate; it was read at 24 fps."));
    }
    m_rate = rate.value_or(FrameRate{24, 1});
    t.rate = m_rate;
    t.dropFrame = el(sequence).attribute(u"tcFormat") == QLatin1String("DF") && m_rate.allowsDropFrame();
    t.start = timeOf(sequence, u"tcStart", Rational::of(0));

    const int spine = m_tree.child(sequence, u"spine");
    if (spine >= 0) {
        Context top;
        top.shift = Rational::of(0) - t.start;
        top.lo = Rational::of(-(qint64(1) << 40));
        top.hi = Rational::of(qint64(1) << 40);
        story(spine, top);
    }
    if (m_math.overflowed)
        fail(QStringLiteral("holds times too large or too fine to add up exactly."));
    if (!m_problem.isEmpty())
        return failure(m_problem);
    if (m_retimed)
        t.warnings << aboutFile(m_path,
                                QStringLiteral("retimes clips; their source times follow each time map."));
    if (m_retimedContents)
        t.warnings << aboutFile(m_path,
                                QStringLiteral("retimes compound, multicam or synchronized clips; what "
                                               "they hold was read at its own speed."));
    if (m_conformed)
        t.warnings << aboutFile(m_path,
                                QStringLiteral("conforms clips of another rate to the timeline's, so "
                                               "they play at another speed; their source times follow it."));
    t.media = m_media.media;
    t.clips = tracksFromLanes(m_clips);
    t.markers = m_markers;
    return finish(std::move(t));
}

} // namespace

TimelineReading readFcpxml(const QByteArray& bytes, const QString& path, const ReadOptions& options) {
    if (const auto problem = textProblem(bytes, path))
        return failure(*problem);
    QString error;
    const auto tree = parseXml(bytes, path, keepElement, &error);
    if (!tree)
        return failure(error);
    return FcpxmlReading(*tree, path, options).run();
}

} // namespace ondrel::interchange
