// FCP 7 XML (xmeml) as Premiere Pro and Resolve write it: a sequence of video and audio tracks of
// clip items, each with `start`/`end` on the sequence (frames of its rate, from its first frame)
// and `in`/`out` in the media (frames of the item's rate, from the media's first frame). A file
// is described once, the first time an item uses it, and named by its id afterwards; a nested
// sequence likewise. Items under a transition give -1 for the edge the transition covers.

#include "ReadSupport.h"

#include "Timecode.h"

#include <QSet>

namespace ondrel::interchange {

namespace {

using namespace read;

bool keepElement(QStringView name) {
    static const QSet<QString> kept{"xmeml",    "project", "children",      "bin",    "sequence", "name",
                                    "duration", "rate",    "timebase",      "ntsc",   "timecode", "string",
                                    "frame",    "media",   "displayformat", "video",  "audio",    "track",
                                    "clipitem", "enabled", "start",         "end",    "in",       "out",
                                    "file",     "pathurl", "marker",        "comment"};
    return kept.contains(name.toString());
}

// Frames as xmeml counts them; a bound far past any timeline keeps their products exact.
std::optional<qint64> frameCount(const QString& text) {
    bool ok = false;
    const qint64 v = text.trimmed().toLongLong(&ok);
    if (!ok || v > (qint64(1) << 40) || v < -(qint64(1) << 40))
        return std::nullopt;
    return v;
}

class Fcp7Reading {
public:
    Fcp7Reading(const XmlTree& tree, const QString& path, const ReadOptions& options)
        : m_tree(tree)
        , m_path(path)
        , m_media(path, options) {}

    TimelineReading run();

private:
    struct Context {
        Rational shift; // timeline seconds = the sequence's seconds + shift
        Rational lo;
        Rational hi;
        int videoBase = 0; // a nested sequence's tracks go from its item's track on
        int audioBase = 0;
        bool video = true;
        bool audio = true;
        int depth = 0;
    };

    const XmlElement& el(int i) const { return m_tree.at(i); }
    std::optional<FrameRate> rateOf(int parent) const;
    Rational timecodeStart(int timecode, FrameRate fallback, bool* dropFrame = nullptr) const;
    void sequence(int element, const Context& c);
    void clipItem(int item, TrackKind kind, int number, FrameRate sequenceRate, const Context& c);
    int definition(int element, const QHash<QString, int>& definitions) const;
    void fail(const QString& what) {
        if (m_problem.isEmpty())
            m_problem = aboutFile(m_path, what);
    }

    const XmlTree& m_tree;
    QString m_path;
    MediaTable m_media;
    TimeMath m_math;
    QString m_problem;
    QHash<QString, int> m_files;     // id -> the file element that describes it
    QHash<QString, int> m_sequences; // id -> the sequence element that holds its media
    QStringList m_entered;
    QList<PlacedClip> m_clips;
    QList<ReadMarker> m_markers;
    qint64 m_visits = 0;
    int m_undescribed = 0;
    int m_untimed = 0;
};

std::optional<FrameRate> Fcp7Reading::rateOf(int parent) const {
    const int rate = m_tree.child(parent, u"rate");
    if (rate < 0)
        return std::nullopt;
    const auto base = frameCount(m_tree.childText(rate, u"timebase"));
    if (!base || *base <= 0 || *base > 1000)
        return std::nullopt;
    // NTSC rates are named by the labels they count a second: timebase 30 is 29.97.
    const bool ntsc =
        m_tree.childText(rate, u"ntsc").compare(QLatin1String("TRUE"), Qt::CaseInsensitive) == 0;
    return ntsc ? FrameRate{*base * 1000, 1001} : FrameRate{*base, 1};
}

Rational Fcp7Reading::timecodeStart(int timecode, FrameRate fallback, bool* dropFrame) const {
    if (timecode < 0)
        return Rational::of(0);
    const FrameRate rate = rateOf(timecode).value_or(fallback);
    const bool df = m_tree.childText(timecode, u"displayformat") == QLatin1String("DF");
    if (dropFrame)
        *dropFrame = df;
    // The frame count is the frames since midnight; the label is only its display.
    if (const auto frame = frameCount(m_tree.childText(timecode, u"frame")); frame && *frame >= 0)
        return secondsOf(*frame, rate);
    if (const auto frame = timecodeFrame(m_tree.childText(timecode, u"string"), {rate, df}))
        return secondsOf(*frame, rate);
    return Rational::of(0);
}

int Fcp7Reading::definition(int element, const QHash<QString, int>& definitions) const {
    if (!el(element).children.isEmpty())
        return element;
    return definitions.value(el(element).attribute(u"id"), -1);
}

void Fcp7Reading::clipItem(int item, TrackKind kind, int number, FrameRate sequenceRate, const Context& c) {
    if (!m_problem.isEmpty() || m_math.overflowed)
        return;
    // A sequence nested by id may be nested again and again: each item read counts.
    if (++m_visits > 10LL * kMaxTimelineClips) {
        fail(QStringLiteral("nests sequences so often that its clips cannot all be read."));
        return;
    }
    if (m_tree.childText(item, u"enabled").compare(QLatin1String("FALSE"), Qt::CaseInsensitive) == 0)
        return;
    const FrameRate itemRate = rateOf(item).value_or(sequenceRate);
    auto start = frameCount(m_tree.childText(item, u"start"));
    auto end = frameCount(m_tree.childText(item, u"end"));
    const auto in = frameCount(m_tree.childText(item, u"in"));
    const auto out = frameCount(m_tree.childText(item, u"out"));
    if (!start || !end || !in || !out || *out < *in || (*start == -1 && *end == -1)) {
        ++m_untimed;
        return;
    }
    // An edge under a transition is -1: the item then reaches as far as its media does.
    const Rational length = secondsOf(*out - *in, itemRate);
    Rational recordIn = m_math.add(secondsOf(*start, sequenceRate), c.shift);
    Rational recordOut = m_math.add(secondsOf(*end, sequenceRate), c.shift);
    if (*start == -1)
        recordIn = m_math.sub(recordOut, length);
    if (*end == -1)
        recordOut = m_math.add(recordIn, length);
    const Rational visibleIn = std::max(recordIn, c.lo);
    const Rational visibleOut = std::min(recordOut, c.hi);
    if (!(visibleIn < visibleOut))
        return;
    const Rational sourceAtRecordIn = secondsOf(*in, itemRate);

    const int nested = m_tree.child(item, u"sequence");
    if (nested >= 0) {
        const int inner = definition(nested, m_sequences);
        const QString id = el(nested).attribute(u"id");
        if (inner < 0)
            return;
        if ((!id.isEmpty() && m_entered.contains(id)) || c.depth >= kMaxTimelineNesting) {
            fail(QStringLiteral("holds a nested sequence inside itself (line %1).").arg(el(item).line));
            return;
        }
        m_entered << id;
        Context n = c;
        n.shift = m_math.sub(recordIn, sourceAtRecordIn);
        n.lo = visibleIn;
        n.hi = visibleOut;
        n.video = kind == TrackKind::video;
        n.audio = kind == TrackKind::audio;
        n.videoBase = number - 1;
        n.audioBase = number - 1;
        n.depth = c.depth + 1;
        sequence(inner, n);
        m_entered.removeLast();
        return;
    }

    const int fileElement = m_tree.child(item, u"file");
    if (fileElement < 0)
        return; // a generator or a title
    const int file = definition(fileElement, m_files);
    if (file < 0) {
        ++m_undescribed;
        return;
    }
    if (m_clips.size() >= kMaxTimelineClips) {
        fail(QStringLiteral("holds more than %1 clips, more than Ondrel Manager reads from one timeline.")
                 .arg(kMaxTimelineClips));
        return;
    }
    const QString fileName = m_tree.childText(file, u"name");
    const QString pathurl = m_tree.childText(file, u"pathurl");
    const int media = pathurl.isEmpty() ? m_media.byReference(fileName, Reference::path, fileName)
                                        : m_media.byReference(pathurl, Reference::url, fileName);
    ReadMedia& m = m_media.media[media];
    const std::optional<FrameRate> fileRate = rateOf(file);
    const int fileMedia = m_tree.child(file, u"media");
    const bool hasVideo = fileMedia >= 0 && m_tree.child(fileMedia, u"video") >= 0;
    // `in` counts from the media's first frame; its timecode says where that frame is.
    const Rational fileStart = timecodeStart(m_tree.child(file, u"timecode"), fileRate.value_or(itemRate));
    if (!m.start)
        m.start = fileStart;
    if (!m.rate && hasVideo)
        m.rate = fileRate;

    ReadClip clip;
    clip.track = trackName(kind, number);
    clip.kind = kind;
    clip.name = m_tree.childText(item, u"name");
    if (clip.name.isEmpty())
        clip.name = m.name;
    clip.media = media;
    const Rational sourceIn = m_math.add(fileStart, sourceAtRecordIn);
    clip.sourceIn = m_math.add(sourceIn, m_math.sub(visibleIn, recordIn));
    clip.sourceOut = m_math.add(sourceIn, m_math.sub(visibleOut, recordIn));
    clip.recordIn = visibleIn;
    clip.recordOut = visibleOut;
    m_clips << PlacedClip{clip, number};

    for (const int marker : m_tree.children(item, u"marker")) {
        const auto at = frameCount(m_tree.childText(marker, u"in"));
        if (!at)
            continue;
        const Rational record = m_math.add(recordIn, m_math.sub(secondsOf(*at, itemRate), sourceAtRecordIn));
        QString name = m_tree.childText(marker, u"name");
        if (name.isEmpty())
            name = m_tree.childText(marker, u"comment");
        if (record >= visibleIn && record < visibleOut)
            m_markers << ReadMarker{name, record};
    }
}

void Fcp7Reading::sequence(int element, const Context& c) {
    const FrameRate rate = rateOf(element).value_or(FrameRate{24, 1});
    const int media = m_tree.child(element, u"media");
    if (media < 0)
        return;
    for (const TrackKind kind : {TrackKind::video, TrackKind::audio}) {
        if (kind == TrackKind::video ? !c.video : !c.audio)
            continue;
        const int group = m_tree.child(media, kind == TrackKind::video ? u"video" : u"audio");
        if (group < 0)
            continue;
        const QList<int> tracks = m_tree.children(group, u"track");
        for (qsizetype i = 0; i < tracks.size(); ++i) {
            if (m_tree.childText(tracks[i], u"enabled")
                    .compare(QLatin1String("FALSE"), Qt::CaseInsensitive) == 0)
                continue;
            const int number = int(i) + 1 + (kind == TrackKind::video ? c.videoBase : c.audioBase);
            for (const int item : m_tree.children(tracks[i], u"clipitem"))
                clipItem(item, kind, number, rate, c);
        }
    }
}

TimelineReading Fcp7Reading::run() {
    const XmlElement& root = el(0);
    if (root.name != QLatin1String("xmeml"))
        return failure(
            aboutFile(m_path, QStringLiteral("is not FCP 7 XML (its root is <%1>).").arg(root.name)));
    // Descriptions first: a file or nested sequence may be named before the item that describes it.
    QList<int> topSequences;
    for (int i = 0; i < int(m_tree.elements.size()); ++i) {
        const XmlElement& e = el(i);
        const QString id = e.attribute(u"id");
        if (e.name == QLatin1String("file") && !id.isEmpty() && !e.children.isEmpty() &&
            !m_files.contains(id))
            m_files.insert(id, i);
        if (e.name == QLatin1String("sequence") && !id.isEmpty() && m_tree.child(i, u"media") >= 0 &&
            !m_sequences.contains(id))
            m_sequences.insert(id, i);
    }
    // Sequences at the top, or in a project's or bin's children, not those nested in items.
    std::function<void(int, int)> gather = [&](int parent, int depth) {
        for (const int child : el(parent).children) {
            const QString& name = el(child).name;
            if (name == QLatin1String("sequence") && m_tree.child(child, u"media") >= 0)
                topSequences << child;
            else if ((name == QLatin1String("project") || name == QLatin1String("bin") ||
                      name == QLatin1String("children")) &&
                     depth < kMaxTimelineNesting)
                gather(child, depth + 1);
        }
    };
    gather(0, 0);
    if (topSequences.isEmpty())
        return failure(
            aboutFile(m_path, QStringLiteral("holds no sequence: export a sequence (a timeline), not "
                                             "only clips.")));
    ReadTimeline t;
    t.file = m_path;
    t.format = TimelineFormat::fcp7Xml;
    const QString version = root.attribute(u"version");
    t.formatName =
        version.isEmpty() ? QStringLiteral("FCP 7 XML") : QStringLiteral("FCP 7 XML (xmeml %1)").arg(version);
    const int top = topSequences.front();
    t.name = m_tree.childText(top, u"name");
    if (topSequences.size() > 1)
        t.warnings << aboutFile(m_path, QStringLiteral("holds %1 sequences; the first, “%2”, was read.")
                                            .arg(topSequences.size())
                                            .arg(t.name));
    const std::optional<FrameRate> rate = rateOf(top);
    if (!rate)
        t.warnings << aboutFile(m_path, QStringLiteral("names no frame rate; it was read at 24 fps."));
    t.rate = rate.value_or(FrameRate{24, 1});
    t.start = timecodeStart(m_tree.child(top, u"timecode"), t.rate, &t.dropFrame);
    t.dropFrame = t.dropFrame && t.rate.allowsDropFrame();

    Context c;
    c.lo = Rational::of(-(qint64(1) << 40));
    c.hi = Rational::of(qint64(1) << 40);
    if (el(top).hasAttribute(u"id"))
        m_entered << el(top).attribute(u"id");
    sequence(top, c);
    for (const int marker : m_tree.children(top, u"marker")) {
        const auto at = frameCount(m_tree.childText(marker, u"in"));
        if (!at || *at < 0)
            continue;
        QString name = m_tree.childText(marker, u"name");
        if (name.isEmpty())
            name = m_tree.childText(marker, u"comment");
        m_markers << ReadMarker{name, secondsOf(*at, t.rate)};
    }
    if (m_math.overflowed)
        fail(QStringLiteral("holds times too large to add up exactly."));
    if (!m_problem.isEmpty())
        return failure(m_problem);
    if (m_undescribed > 0)
        t.warnings << aboutFile(m_path,
                                QStringLiteral("has %1 whose file is named by an id it never describes, left "
                                               "out.")
                                    .arg(counted(m_undescribed, "clip item", "clip items")));
    if (m_untimed > 0)
        t.warnings << aboutFile(m_path,
                                QStringLiteral("has %1 without a readable start, end, in and out, left out.")
                                    .arg(counted(m_untimed, "clip item", "clip items")));
    t.media = m_media.media;
    for (const PlacedClip& p : std::as_const(m_clips))
        t.clips << p.clip;
    t.markers = m_markers;
    return finish(std::move(t));
}

} // namespace

TimelineReading readFcp7Xml(const QByteArray& bytes, const QString& path, const ReadOptions& options) {
    if (const auto problem = textProblem(bytes, path))
        return failure(*problem);
    QString error;
    const auto tree = parseXml(bytes, path, keepElement, &error);
    if (!tree)
        return failure(error);
    return Fcp7Reading(*tree, path, options).run();
}

} // namespace ondrel::interchange
