// OpenTimelineIO JSON as Resolve and OTIO's own tools write it: a timeline whose stack holds
// tracks, each a run of clips, gaps and transitions from its start, with nested stacks for
// compound clips. Every time is a RationalTime of a value and a rate, both doubles; they are made
// exact fractions here (23.976023976023978 is 24000/1001). An item's source range says which part
// of its own time shows; a clip's is in its media's time, whose first frame its reference's
// available range gives. Objects of schemas the reader does not know take their range's room in
// a track and are otherwise left out.

#include "ReadSupport.h"

#include <nlohmann/json.hpp>

namespace ondrel::interchange {

namespace {

using namespace read;
using JsonValue = nlohmann::json;

// The deepest nesting of arrays and objects, strings skipped; the parser recurses once per level.
int jsonDepth(const QByteArray& bytes) {
    int depth = 0;
    int deepest = 0;
    bool inString = false;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            deepest = std::max(deepest, ++depth);
            if (deepest > kMaxTimelineNesting)
                return deepest;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return deepest;
}

const JsonValue* member(const JsonValue& j, const char* key) {
    if (!j.is_object())
        return nullptr;
    const auto it = j.find(key);
    return it == j.end() || it->is_null() ? nullptr : &*it;
}

QString textOf(const JsonValue& j, const char* key) {
    const JsonValue* m = member(j, key);
    return m && m->is_string() ? QString::fromStdString(m->get<std::string>()) : QString();
}

// "Clip.2" -> "Clip".
QString schemaOf(const JsonValue& j) {
    const QString schema = textOf(j, "OTIO_SCHEMA");
    return schema.left(schema.indexOf(u'.'));
}

struct Range {
    Rational start;
    Rational duration;
};

class OtioReading {
public:
    OtioReading(const QString& path, const ReadOptions& options)
        : m_path(path)
        , m_media(path, options) {}

    TimelineReading run(const JsonValue& root);

private:
    struct Context {
        Rational shift; // timeline seconds = the item's local time + shift
        Rational lo;
        Rational hi;
        int videoBase = 0;
        int audioBase = 0;
        int depth = 0;
    };

    std::optional<Rational> seconds(const JsonValue* time);
    std::optional<FrameRate> rateOf(const JsonValue* time) const;
    std::optional<Range> rangeOf(const JsonValue* range);
    const JsonValue* activeReference(const JsonValue& clip) const;
    Rational durationOf(const JsonValue& item, int depth);
    void stack(const JsonValue& stack, Rational at, const Context& c, TrackKind* onlyKind = nullptr);
    void track(const JsonValue& track, TrackKind kind, int number, Rational at, const Context& c);
    void clip(const JsonValue& clip, TrackKind kind, int number, Rational at, const Context& c);
    void markers(const JsonValue& item, Rational shift, Rational lo, Rational hi);
    std::optional<FrameRate> firstClipRate(const JsonValue& item, int depth) const;
    void fail(const QString& what) {
        if (m_problem.isEmpty())
            m_problem = aboutFile(m_path, what);
    }

    QString m_path;
    MediaTable m_media;
    TimeMath m_math;
    QString m_problem;
    QList<PlacedClip> m_clips;
    QList<ReadMarker> m_markers;
    int m_unknown = 0;
    int m_unreadableTimes = 0;
};

std::optional<FrameRate> OtioReading::rateOf(const JsonValue* time) const {
    const JsonValue* rate = time ? member(*time, "rate") : nullptr;
    if (!rate || !rate->is_number())
        return std::nullopt;
    return frameRateOfDouble(rate->get<double>());
}

std::optional<Rational> OtioReading::seconds(const JsonValue* time) {
    if (!time)
        return std::nullopt;
    const JsonValue* value = member(*time, "value");
    const std::optional<FrameRate> rate = rateOf(time);
    if (!value || !value->is_number() || !rate) {
        ++m_unreadableTimes;
        return std::nullopt;
    }
    const auto frames = rationalOfDouble(value->get<double>());
    if (!frames) {
        ++m_unreadableTimes;
        return std::nullopt;
    }
    return m_math.div(*frames, rate->perSecond());
}

std::optional<Range> OtioReading::rangeOf(const JsonValue* range) {
    if (!range)
        return std::nullopt;
    const auto start = seconds(member(*range, "start_time"));
    const auto duration = seconds(member(*range, "duration"));
    if (!start || !duration || duration->num < 0)
        return std::nullopt;
    return Range{*start, *duration};
}

const JsonValue* OtioReading::activeReference(const JsonValue& clip) const {
    if (const JsonValue* references = member(clip, "media_references");
        references && references->is_object()) {
        std::string key = "DEFAULT_MEDIA";
        if (const JsonValue* active = member(clip, "active_media_reference_key");
            active && active->is_string())
            key = active->get<std::string>();
        return member(*references, key.c_str());
    }
    return member(clip, "media_reference");
}

// An item's length when its source range does not give it: a clip's media, a track's items end
// to end, a stack's longest track.
Rational OtioReading::durationOf(const JsonValue& item, int depth) {
    if (const auto range = rangeOf(member(item, "source_range")))
        return range->duration;
    const QString schema = schemaOf(item);
    if (schema == QLatin1String("Clip")) {
        const JsonValue* reference = activeReference(item);
        if (const auto available = rangeOf(reference ? member(*reference, "available_range") : nullptr))
            return available->duration;
        return Rational::of(0);
    }
    const JsonValue* children = member(item, "children");
    if (!children || !children->is_array() || depth > kMaxTimelineNesting)
        return Rational::of(0);
    Rational total = Rational::of(0);
    for (const JsonValue& child : *children) {
        if (schemaOf(child) == QLatin1String("Transition"))
            continue;
        const Rational d = durationOf(child, depth + 1);
        total = schema == QLatin1String("Stack") ? std::max(total, d) : m_math.add(total, d);
    }
    return total;
}

void OtioReading::markers(const JsonValue& item, Rational shift, Rational lo, Rational hi) {
    const JsonValue* list = member(item, "markers");
    if (!list || !list->is_array())
        return;
    for (const JsonValue& marker : *list) {
        const auto range = rangeOf(member(marker, "marked_range"));
        if (!range)
            continue;
        const Rational at = m_math.add(range->start, shift);
        if (at >= lo && at < hi)
            m_markers << ReadMarker{textOf(marker, "name"), at};
    }
}

void OtioReading::clip(const JsonValue& item, TrackKind kind, int number, Rational at, const Context& c) {
    const auto range = rangeOf(member(item, "source_range"));
    const JsonValue* reference = activeReference(item);
    const auto available = rangeOf(reference ? member(*reference, "available_range") : nullptr);
    const std::optional<Range> shown = range ? range : available;
    if (!shown)
        return;
    const QString referenceSchema = reference ? schemaOf(*reference) : QString();
    if (referenceSchema == QLatin1String("GeneratorReference") ||
        referenceSchema == QLatin1String("ImageSequenceReference"))
        return; // no one media file plays
    const Rational recordIn = at;
    const Rational recordOut = m_math.add(at, shown->duration);
    const Rational visibleIn = std::max(recordIn, c.lo);
    const Rational visibleOut = std::min(recordOut, c.hi);
    const Rational shift = m_math.sub(recordIn, shown->start);
    if (visibleIn < visibleOut) {
        if (m_clips.size() >= kMaxTimelineClips) {
            fail(QStringLiteral("holds more than %1 clips, more than Ondrel Manager reads from one timeline.")
                     .arg(kMaxTimelineClips));
            return;
        }
        const QString name = textOf(item, "name");
        QString target = reference ? textOf(*reference, "target_url") : QString();
        const bool url = !target.isEmpty();
        // A missing reference still names the file; a relink may find it.
        if (target.isEmpty())
            target = reference && !textOf(*reference, "name").isEmpty() ? textOf(*reference, "name") : name;
        const int media = m_media.byReference(target, url ? Reference::url : Reference::path, name);
        ReadMedia& m = m_media.media[media];
        if (!m.start && available)
            m.start = available->start;
        if (!m.rate && kind == TrackKind::video && available && reference)
            m.rate = rateOf(member(*member(*reference, "available_range"), "duration"));
        ReadClip read;
        read.track = trackName(kind, number);
        read.kind = kind;
        read.name = name.isEmpty() ? m.name : name;
        read.media = media;
        read.sourceIn = m_math.sub(visibleIn, shift);
        read.sourceOut = m_math.sub(visibleOut, shift);
        read.recordIn = visibleIn;
        read.recordOut = visibleOut;
        m_clips << PlacedClip{read, number};
    }
    markers(item, shift, visibleIn, visibleOut);
}

void OtioReading::track(const JsonValue& item, TrackKind kind, int number, Rational at, const Context& c) {
    const auto range = rangeOf(member(item, "source_range"));
    Context inner = c;
    inner.shift = m_math.sub(at, range ? range->start : Rational::of(0));
    if (range) {
        inner.lo = std::max(c.lo, at);
        inner.hi = std::min(c.hi, m_math.add(at, range->duration));
    }
    const JsonValue* children = member(item, "children");
    if (children && children->is_array()) {
        Rational cursor = Rational::of(0);
        for (const JsonValue& child : *children) {
            if (!m_problem.isEmpty() || m_math.overflowed)
                return;
            const QString schema = schemaOf(child);
            if (schema == QLatin1String("Transition"))
                continue; // it overlaps the items either side; it takes no time of its own
            const Rational position = m_math.add(cursor, inner.shift);
            const bool enabled =
                !member(child, "enabled") || !child["enabled"].is_boolean() || child["enabled"].get<bool>();
            if (enabled && schema == QLatin1String("Clip")) {
                clip(child, kind, number, position, inner);
            } else if (enabled && (schema == QLatin1String("Stack") || schema == QLatin1String("Track"))) {
                // A compound clip: its own tracks from this one's number on.
                const auto nested = rangeOf(member(child, "source_range"));
                Context n = inner;
                n.lo = std::max(inner.lo, position);
                n.hi = std::min(inner.hi, m_math.add(position, durationOf(child, c.depth)));
                n.videoBase = kind == TrackKind::video ? number - 1 : c.videoBase;
                n.audioBase = kind == TrackKind::audio ? number - 1 : c.audioBase;
                n.depth = c.depth + 1;
                const Rational origin = m_math.sub(position, nested ? nested->start : Rational::of(0));
                if (n.depth > kMaxTimelineNesting)
                    fail(QStringLiteral("nests compound clips more than %1 deep.").arg(kMaxTimelineNesting));
                else if (schema == QLatin1String("Stack"))
                    stack(child, origin, n, &kind);
                else
                    this->track(child, kind, number, position, n);
            } else if (schema != QLatin1String("Gap") && schema != QLatin1String("Clip") &&
                       schema != QLatin1String("Stack") && schema != QLatin1String("Track")) {
                ++m_unknown;
            }
            cursor = m_math.add(cursor, durationOf(child, c.depth));
        }
    }
    markers(item, inner.shift, inner.lo, inner.hi);
}

// A stack's children all start at its own time 0, which lies at `at` on the timeline.
void OtioReading::stack(const JsonValue& item, Rational at, const Context& c, TrackKind* onlyKind) {
    const auto range = rangeOf(member(item, "source_range"));
    Context inner = c;
    inner.shift = at;
    if (range) {
        inner.lo = std::max(c.lo, m_math.add(at, range->start));
        inner.hi = std::min(c.hi, m_math.add(m_math.add(at, range->start), range->duration));
    }
    const JsonValue* children = member(item, "children");
    int video = 0;
    int audio = 0;
    if (children && children->is_array()) {
        for (const JsonValue& child : *children) {
            if (!m_problem.isEmpty() || m_math.overflowed)
                return;
            if (schemaOf(child) != QLatin1String("Track"))
                continue;
            const QString kindText = textOf(child, "kind");
            TrackKind kind = kindText.compare(QLatin1String("Audio"), Qt::CaseInsensitive) == 0
                                 ? TrackKind::audio
                                 : TrackKind::video;
            if (onlyKind && kind != *onlyKind)
                continue;
            const int number = kind == TrackKind::video ? c.videoBase + ++video : c.audioBase + ++audio;
            const bool enabled =
                !member(child, "enabled") || !child["enabled"].is_boolean() || child["enabled"].get<bool>();
            if (enabled)
                track(child, kind, number, at, inner);
        }
    }
    markers(item, inner.shift, inner.lo, inner.hi);
}

std::optional<FrameRate> OtioReading::firstClipRate(const JsonValue& item, int depth) const {
    if (depth > kMaxTimelineNesting)
        return std::nullopt;
    if (schemaOf(item) == QLatin1String("Clip")) {
        const JsonValue* range = member(item, "source_range");
        return range ? rateOf(member(*range, "duration")) : std::nullopt;
    }
    const JsonValue* children = member(item, "children");
    if (!children || !children->is_array())
        return std::nullopt;
    for (const JsonValue& child : *children)
        if (const auto rate = firstClipRate(child, depth + 1))
            return rate;
    return std::nullopt;
}

TimelineReading OtioReading::run(const JsonValue& root) {
    ReadTimeline t;
    t.file = m_path;
    t.format = TimelineFormat::otio;
    t.formatName = QStringLiteral("OTIO");
    const JsonValue* timeline = &root;
    if (schemaOf(root) == QLatin1String("SerializableCollection")) {
        timeline = nullptr;
        int count = 0;
        if (const JsonValue* children = member(root, "children"); children && children->is_array())
            for (const JsonValue& child : *children)
                if (schemaOf(child) == QLatin1String("Timeline") && count++ == 0)
                    timeline = &child;
        if (count > 1)
            t.warnings << aboutFile(m_path,
                                    QStringLiteral("holds %1 timelines; the first was read.").arg(count));
    }
    if (!timeline || schemaOf(*timeline) != QLatin1String("Timeline"))
        return failure(aboutFile(m_path, QStringLiteral("is JSON but not an OpenTimelineIO timeline (no "
                                                        "\"OTIO_SCHEMA\": \"Timeline.1\" at its top).")));
    t.name = textOf(*timeline, "name");
    const JsonValue* stackJson = member(*timeline, "tracks");
    if (!stackJson || schemaOf(*stackJson) != QLatin1String("Stack"))
        return failure(aboutFile(m_path, QStringLiteral("is an OpenTimelineIO timeline without tracks.")));
    const JsonValue* globalStart = member(*timeline, "global_start_time");
    std::optional<FrameRate> rate = rateOf(globalStart);
    if (!rate)
        rate = firstClipRate(*stackJson, 0);
    if (!rate)
        t.warnings << aboutFile(m_path, QStringLiteral("names no frame rate; it was read at 24 fps."));
    t.rate = rate.value_or(FrameRate{24, 1});
    // OTIO keeps no drop-frame flag; 29.97 and 59.94 timelines are counted drop-frame by custom.
    t.dropFrame = t.rate.allowsDropFrame();
    t.start = seconds(globalStart).value_or(Rational::of(0));

    Context c;
    c.lo = Rational::of(-(qint64(1) << 40));
    c.hi = Rational::of(qint64(1) << 40);
    stack(*stackJson, Rational::of(0), c);
    markers(*timeline, Rational::of(0), c.lo, c.hi);
    if (m_math.overflowed)
        fail(QStringLiteral("holds times too large or too fine to add up exactly."));
    if (!m_problem.isEmpty())
        return failure(m_problem);
    if (m_unknown > 0)
        t.warnings << aboutFile(
            m_path, QStringLiteral("holds %1 of kinds Ondrel Manager does not know; each was read "
                                   "as a gap of its length.")
                        .arg(counted(m_unknown, "item", "items")));
    if (m_unreadableTimes > 0)
        t.warnings << aboutFile(
            m_path, QStringLiteral("holds %1 without a readable value and rate; what they time was "
                                   "left out.")
                        .arg(counted(m_unreadableTimes, "time", "times")));
    t.media = m_media.media;
    for (const PlacedClip& p : std::as_const(m_clips))
        t.clips << p.clip;
    t.markers = m_markers;
    return finish(std::move(t));
}

} // namespace

TimelineReading readOtio(const QByteArray& bytes, const QString& path, const ReadOptions& options) {
    if (const auto problem = textProblem(bytes, path))
        return failure(*problem);
    if (jsonDepth(bytes) > kMaxTimelineNesting)
        return failure(
            aboutFile(path, QStringLiteral("nests its objects more than %1 deep; no timeline does.")
                                .arg(kMaxTimelineNesting)));
    JsonValue root;
    try {
        // Metadata can be most of a file (Resolve's own settings) and nothing here reads it.
        root = JsonValue::parse(bytes.constBegin(), bytes.constEnd(),
                                [](int, JsonValue::parse_event_t event, JsonValue& parsed) {
                                    return !(event == JsonValue::parse_event_t::key && parsed == "metadata");
                                });
    } catch (const JsonValue::parse_error& e) {
        if (e.byte >= std::size_t(bytes.size()))
            return failure(aboutFile(path, QStringLiteral("ends early: the file is cut short.")));
        return failure(
            aboutFile(path, QStringLiteral("is not valid JSON (at byte %1).").arg(qulonglong(e.byte))));
    } catch (const JsonValue::exception&) {
        return failure(aboutFile(path, QStringLiteral("is not valid JSON (a number too large to read).")));
    }
    return OtioReading(path, options).run(root);
}

} // namespace ondrel::interchange
