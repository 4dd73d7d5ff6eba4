// OpenTimelineIO JSON: a timeline whose stack holds one track per track of the record, each a
// run of clips and gaps from 0 (a track plays nothing while a moment's file lacks its kind), the
// start timecode as the timeline's global start and the chapters as markers on the stack, timed
// from the first frame as OTIO times a stack's markers.

#include "Interchange.h"
#include "WriterSupport.h"

#include "core/Json.h"

namespace ondrel::interchange {

namespace {

Json rationalTime(double value, FrameRate rate) {
    Json j = Json::object();
    j["OTIO_SCHEMA"] = "RationalTime.1";
    j["rate"] = rate.perSecond().toDouble();
    j["value"] = value;
    return j;
}

Json timeRange(double start, double duration, FrameRate rate) {
    Json j = Json::object();
    j["OTIO_SCHEMA"] = "TimeRange.1";
    j["duration"] = rationalTime(duration, rate);
    j["start_time"] = rationalTime(start, rate);
    return j;
}

// Names as the XML files carry them, so all four files name things alike.
std::string utf8(const QString& text) {
    return xmlSafe(text).toStdString();
}

Json item(const char* schema, const QString& name, const Json& sourceRange) {
    Json j = Json::object();
    j["OTIO_SCHEMA"] = schema;
    j["metadata"] = Json::object();
    j["name"] = utf8(name);
    j["source_range"] = sourceRange;
    j["effects"] = Json::array();
    j["markers"] = Json::array();
    j["enabled"] = true;
    return j;
}

Json gap(qint64 frames, FrameRate rate) {
    return item("Gap.1", QString(), timeRange(0, double(frames), rate));
}

Json clipJson(const EditTimeline& t, const Clip& clip) {
    const MediaFile& m = t.media[clip.media];
    Json reference = Json::object();
    reference["OTIO_SCHEMA"] = "ExternalReference.1";
    reference["metadata"] = Json::object();
    reference["name"] = utf8(m.name);
    reference["available_range"] =
        timeRange(framesIn(m.start, t.rate).toDouble(), framesIn(m.length, t.rate).toDouble(), t.rate);
    reference["available_image_bounds"] = nullptr;
    reference["target_url"] = utf8(fileUrl(m.path));

    Json j = item("Clip.2", m.name, timeRange(double(clip.sourceIn), double(clip.duration()), t.rate));
    Json references = Json::object();
    references["DEFAULT_MEDIA"] = reference;
    j["media_references"] = references;
    j["active_media_reference_key"] = "DEFAULT_MEDIA";
    return j;
}

} // namespace

QByteArray otioBytes(const EditTimeline& t) {
    Json tracks = Json::array();
    for (const Track& track : t.tracks) {
        Json children = Json::array();
        qint64 at = 0;
        for (const Clip& clip : track.clips) {
            if (clip.recordIn > at)
                children.push_back(gap(clip.recordIn - at, t.rate));
            children.push_back(clipJson(t, clip));
            at = clip.recordOut();
        }
        // Every track as long as the timeline, so none ends early in an editor that trims them.
        if (t.duration > at)
            children.push_back(gap(t.duration - at, t.rate));
        Json j = item("Track.1", track.name, nullptr);
        j["children"] = children;
        j["kind"] = track.kind == TrackKind::video ? "Video" : "Audio";
        tracks.push_back(j);
    }

    Json markers = Json::array();
    for (const Marker& marker : t.markers) {
        Json j = Json::object();
        j["OTIO_SCHEMA"] = "Marker.2";
        j["metadata"] = Json::object();
        j["name"] = utf8(marker.name);
        j["color"] = "RED";
        j["marked_range"] = timeRange(double(marker.record), 1, t.rate);
        j["comment"] = "";
        markers.push_back(j);
    }

    Json stack = item("Stack.1", QStringLiteral("tracks"), nullptr);
    stack["markers"] = markers;
    stack["children"] = tracks;

    Json timeline = Json::object();
    timeline["OTIO_SCHEMA"] = "Timeline.1";
    timeline["metadata"] = Json::object();
    timeline["name"] = utf8(t.name);
    timeline["global_start_time"] = rationalTime(double(t.startFrame), t.rate);
    timeline["tracks"] = stack;
    return QByteArray::fromStdString(timeline.dump(4, ' ', false, Json::error_handler_t::replace)) + '\n';
}

} // namespace ondrel::interchange
