// Final Cut Pro 7 XML (xmeml 4), the form Premiere Pro imports. Clip items count frames of the
// sequence's rate: `start`/`end` on the sequence from its first frame, `in`/`out` from the
// media's first whole frame. Each file is described once, in the first clip item that uses it,
// and named by its id afterwards.

#include "Interchange.h"
#include "WriterSupport.h"

#include <QXmlStreamWriter>

#include <algorithm>

namespace ondrel::interchange {

namespace {

void writeRate(QXmlStreamWriter& w, FrameRate rate) {
    w.writeStartElement(QStringLiteral("rate"));
    w.writeTextElement(QStringLiteral("timebase"), QString::number(rate.timecodeBase()));
    w.writeTextElement(QStringLiteral("ntsc"),
                       rate.isNtsc() ? QStringLiteral("TRUE") : QStringLiteral("FALSE"));
    w.writeEndElement();
}

void writeTimecode(QXmlStreamWriter& w, qint64 frame, const TimecodeFormat& format, const QString& reel) {
    w.writeStartElement(QStringLiteral("timecode"));
    writeRate(w, format.rate);
    w.writeTextElement(QStringLiteral("string"), timecodeText(frame, format));
    w.writeTextElement(QStringLiteral("frame"), QString::number(frame));
    w.writeTextElement(QStringLiteral("displayformat"),
                       format.countsDropFrame() ? QStringLiteral("DF") : QStringLiteral("NDF"));
    if (!reel.isEmpty()) {
        w.writeStartElement(QStringLiteral("reel"));
        w.writeTextElement(QStringLiteral("name"), reel);
        w.writeEndElement();
    }
    w.writeEndElement();
}

bool isStoryRate(FrameRate rate) {
    const auto rates = storyRates();
    return std::find(rates.begin(), rates.end(), rate) != rates.end();
}

struct ItemRef {
    QString id;
    TrackKind kind;
    int trackIndex; // among the tracks of its kind, from 1
    int clipIndex;  // in its track, from 1
};

} // namespace

QByteArray fcp7XmlBytes(const EditTimeline& t) {
    const TimecodeFormat sequenceFormat = t.timecodeFormat();

    // Ids first, so each clip item can link to the others of its moment.
    QList<QList<ItemRef>> byEvent;
    QList<QList<QString>> itemIds;
    int nextItem = 1;
    int videoTracks = 0;
    int audioTracks = 0;
    for (const Track& track : t.tracks) {
        const int trackIndex = track.kind == TrackKind::video ? ++videoTracks : ++audioTracks;
        QList<QString> ids;
        for (qsizetype c = 0; c < track.clips.size(); ++c) {
            const Clip& clip = track.clips[c];
            const QString id = QStringLiteral("clipitem-%1").arg(nextItem++);
            ids << id;
            if (byEvent.size() < clip.event)
                byEvent.resize(clip.event);
            byEvent[clip.event - 1].push_back({id, track.kind, trackIndex, int(c + 1)});
        }
        itemIds << ids;
    }

    QByteArray out;
    QXmlStreamWriter w(&out);
    w.setAutoFormatting(true);
    w.setAutoFormattingIndent(2);
    w.writeStartDocument();
    w.writeDTD(QStringLiteral("<!DOCTYPE xmeml>"));
    w.writeStartElement(QStringLiteral("xmeml"));
    w.writeAttribute(QStringLiteral("version"), QStringLiteral("4"));
    w.writeStartElement(QStringLiteral("sequence"));
    w.writeAttribute(QStringLiteral("id"), QStringLiteral("sequence-1"));
    w.writeTextElement(QStringLiteral("name"), xmlSafe(t.name));
    w.writeTextElement(QStringLiteral("duration"), QString::number(t.duration));
    writeRate(w, t.rate);
    writeTimecode(w, t.startFrame, sequenceFormat, {});

    QList<bool> described(t.media.size(), false);
    auto writeFile = [&](int index) {
        const MediaFile& m = t.media[index];
        w.writeStartElement(QStringLiteral("file"));
        w.writeAttribute(QStringLiteral("id"), QStringLiteral("file-%1").arg(index + 1));
        if (described[index]) {
            w.writeEndElement();
            return;
        }
        described[index] = true;
        // The file's own timecode where its rate is one an editor knows and its start one of its
        // frames; else the sequence's count from the first whole frame, which `in` 0 names.
        const bool ownRate = m.rate && isStoryRate(*m.rate) && framesIn(m.start, *m.rate).den == 1;
        const TimecodeFormat fileFormat = ownRate ? TimecodeFormat{*m.rate, m.dropFrame} : sequenceFormat;
        const qint64 startFrame = ownRate ? framesIn(m.start, *m.rate).num : firstWholeFrame(m, t.rate);
        w.writeTextElement(QStringLiteral("name"), xmlSafe(m.name));
        w.writeTextElement(QStringLiteral("pathurl"), localhostFileUrl(m.path));
        writeRate(w, fileFormat.rate);
        w.writeTextElement(QStringLiteral("duration"),
                           QString::number(framesIn(m.length, fileFormat.rate).floor()));
        writeTimecode(w, startFrame, fileFormat, m.reel);
        w.writeStartElement(QStringLiteral("media"));
        if (m.hasVideo) {
            w.writeStartElement(QStringLiteral("video"));
            w.writeStartElement(QStringLiteral("samplecharacteristics"));
            writeRate(w, fileFormat.rate);
            if (m.width > 0 && m.height > 0) {
                w.writeTextElement(QStringLiteral("width"), QString::number(m.width));
                w.writeTextElement(QStringLiteral("height"), QString::number(m.height));
            }
            w.writeEndElement();
            w.writeEndElement();
        }
        if (m.hasAudio) {
            w.writeStartElement(QStringLiteral("audio"));
            w.writeStartElement(QStringLiteral("samplecharacteristics"));
            w.writeTextElement(QStringLiteral("depth"), QStringLiteral("16"));
            w.writeTextElement(QStringLiteral("samplerate"),
                               QString::number(m.sampleRate > 0 ? m.sampleRate : 48000));
            w.writeEndElement();
            w.writeTextElement(QStringLiteral("channelcount"), QString::number(m.audioChannels));
            w.writeEndElement();
        }
        w.writeEndElement(); // media
        w.writeEndElement(); // file
    };

    auto writeTrack = [&](const Track& track, const QList<QString>& ids) {
        w.writeStartElement(QStringLiteral("track"));
        for (qsizetype c = 0; c < track.clips.size(); ++c) {
            const Clip& clip = track.clips[c];
            const MediaFile& m = t.media[clip.media];
            const qint64 origin = firstWholeFrame(m, t.rate);
            w.writeStartElement(QStringLiteral("clipitem"));
            w.writeAttribute(QStringLiteral("id"), ids[c]);
            w.writeTextElement(QStringLiteral("masterclipid"),
                               QStringLiteral("masterclip-%1").arg(clip.media + 1));
            w.writeTextElement(QStringLiteral("name"), xmlSafe(m.name));
            w.writeTextElement(QStringLiteral("enabled"), QStringLiteral("TRUE"));
            w.writeTextElement(QStringLiteral("duration"),
                               QString::number(lastWholeFrame(m, t.rate) - origin));
            writeRate(w, t.rate);
            w.writeTextElement(QStringLiteral("start"), QString::number(clip.recordIn));
            w.writeTextElement(QStringLiteral("end"), QString::number(clip.recordOut()));
            w.writeTextElement(QStringLiteral("in"), QString::number(clip.sourceIn - origin));
            w.writeTextElement(QStringLiteral("out"), QString::number(clip.sourceOut - origin));
            writeFile(clip.media);
            w.writeStartElement(QStringLiteral("sourcetrack"));
            if (track.kind == TrackKind::video) {
                w.writeTextElement(QStringLiteral("mediatype"), QStringLiteral("video"));
            } else {
                w.writeTextElement(QStringLiteral("mediatype"), QStringLiteral("audio"));
                w.writeTextElement(QStringLiteral("trackindex"), QString::number(clip.channel));
            }
            w.writeEndElement();
            // Linked items move and trim together in Premiere, keeping picture and sound in sync.
            const QList<ItemRef>& linked = byEvent[clip.event - 1];
            if (linked.size() > 1) {
                for (const ItemRef& ref : linked) {
                    w.writeStartElement(QStringLiteral("link"));
                    w.writeTextElement(QStringLiteral("linkclipref"), ref.id);
                    w.writeTextElement(QStringLiteral("mediatype"), ref.kind == TrackKind::video
                                                                        ? QStringLiteral("video")
                                                                        : QStringLiteral("audio"));
                    w.writeTextElement(QStringLiteral("trackindex"), QString::number(ref.trackIndex));
                    w.writeTextElement(QStringLiteral("clipindex"), QString::number(ref.clipIndex));
                    w.writeEndElement();
                }
            }
            w.writeEndElement(); // clipitem
        }
        w.writeEndElement(); // track
    };

    const int width = [&] {
        for (const MediaFile& m : t.media)
            if (m.hasVideo && m.width > 0 && m.height > 0)
                return m.width;
        return 1920;
    }();
    const int height = [&] {
        for (const MediaFile& m : t.media)
            if (m.hasVideo && m.width > 0 && m.height > 0)
                return m.height;
        return 1080;
    }();
    w.writeStartElement(QStringLiteral("media"));
    w.writeStartElement(QStringLiteral("video"));
    w.writeStartElement(QStringLiteral("format"));
    w.writeStartElement(QStringLiteral("samplecharacteristics"));
    writeRate(w, t.rate);
    w.writeTextElement(QStringLiteral("width"), QString::number(width));
    w.writeTextElement(QStringLiteral("height"), QString::number(height));
    w.writeEndElement();
    w.writeEndElement(); // format
    for (qsizetype i = 0; i < t.tracks.size(); ++i) {
        if (t.tracks[i].kind == TrackKind::video)
            writeTrack(t.tracks[i], itemIds[i]);
    }
    w.writeEndElement(); // video
    w.writeStartElement(QStringLiteral("audio"));
    for (qsizetype i = 0; i < t.tracks.size(); ++i) {
        if (t.tracks[i].kind == TrackKind::audio)
            writeTrack(t.tracks[i], itemIds[i]);
    }
    w.writeEndElement(); // audio
    w.writeEndElement(); // media

    for (const Marker& marker : t.markers) {
        w.writeStartElement(QStringLiteral("marker"));
        w.writeTextElement(QStringLiteral("comment"), QString());
        w.writeTextElement(QStringLiteral("name"), xmlSafe(marker.name));
        w.writeTextElement(QStringLiteral("in"), QString::number(marker.record));
        w.writeTextElement(QStringLiteral("out"), QStringLiteral("-1"));
        w.writeEndElement();
    }
    w.writeEndElement(); // sequence
    w.writeEndElement(); // xmeml
    w.writeEndDocument();
    return out;
}

} // namespace ondrel::interchange
