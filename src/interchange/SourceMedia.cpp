#include "SourceMedia.h"

#include "Timecode.h"

#include <cmath>

namespace ondrel::interchange {

namespace {

const Json* member(const Json& object, const char* key) {
    if (!object.is_object())
        return nullptr;
    const auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

// Tag names differ in case between containers (MOV "timecode", MXF "TIMECODE").
std::optional<QString> tag(const Json& holder, const QString& name) {
    const Json* tags = member(holder, "tags");
    if (!tags || !tags->is_object())
        return std::nullopt;
    for (auto it = tags->begin(); it != tags->end(); ++it) {
        if (it.value().is_string() &&
            QString::fromStdString(it.key()).compare(name, Qt::CaseInsensitive) == 0)
            return QString::fromStdString(it.value().get<std::string>());
    }
    return std::nullopt;
}

QString text(const Json& holder, const char* key) {
    const Json* value = member(holder, key);
    if (!value)
        return {};
    if (value->is_string())
        return QString::fromStdString(value->get<std::string>());
    if (value->is_number_integer())
        return QString::number(value->get<qint64>());
    return {};
}

qint64 integer(const Json& holder, const char* key) {
    const Json* value = member(holder, key);
    if (value && value->is_number_integer())
        return value->get<qint64>();
    bool ok = false;
    const qint64 parsed = text(holder, key).toLongLong(&ok);
    return ok ? parsed : 0;
}

bool isCoverArt(const Json& stream) {
    const Json* disposition = member(stream, "disposition");
    return disposition && integer(*disposition, "attached_pic") == 1;
}

// ffprobe's r_frame_rate is the stream's base rate, which a phone's variable-rate video reports
// as 90000/1 or 120/1; its average is then the truthful one. Whichever names a story rate wins.
std::optional<Rational> pictureRate(const Json& stream) {
    const auto real = parseRational(text(stream, "r_frame_rate"));
    const auto average = parseRational(text(stream, "avg_frame_rate"));
    if (real && standardRate(*real))
        return real;
    if (average && standardRate(*average))
        return average;
    return real ? real : average;
}

} // namespace

SourceMedia sourceMediaFromProbe(const QString& path, const Json& ffprobe) {
    SourceMedia media;
    media.path = path;
    const Json* format = member(ffprobe, "format");
    if (format) {
        bool ok = false;
        const double length = text(*format, "duration").toDouble(&ok);
        media.length = ok && std::isfinite(length) && length > 0 ? length : 0.0;
    }
    std::optional<QString> streamTimecode;
    const Json* streams = member(ffprobe, "streams");
    if (streams && streams->is_array()) {
        for (const Json& stream : *streams) {
            if (!stream.is_object())
                continue;
            const QString type = text(stream, "codec_type");
            if (type == QLatin1String("video") && !isCoverArt(stream) && !media.hasVideo) {
                media.hasVideo = true;
                media.frameRate = pictureRate(stream);
                media.width = int(integer(stream, "width"));
                media.height = int(integer(stream, "height"));
            } else if (type == QLatin1String("audio")) {
                if (!media.hasAudio)
                    media.sampleRate = integer(stream, "sample_rate");
                media.hasAudio = true;
                media.audioChannels += int(std::max<qint64>(integer(stream, "channels"), 0));
            }
            if (!streamTimecode)
                streamTimecode = tag(stream, QStringLiteral("timecode"));
        }
    }
    std::optional<QString> timecode = format ? tag(*format, QStringLiteral("timecode")) : std::nullopt;
    if (!timecode)
        timecode = streamTimecode;
    if (timecode && !timecode->trimmed().isEmpty()) {
        media.startTimecode = timecode->trimmed();
        media.dropFrame = looksDropFrame(*media.startTimecode);
    } else if (format) {
        bool ok = false;
        const qint64 samples =
            tag(*format, QStringLiteral("time_reference")).value_or(QString()).toLongLong(&ok);
        if (ok && samples >= 0 && media.sampleRate > 0)
            media.timeReference = samples;
    }
    return media;
}

} // namespace ondrel::interchange
