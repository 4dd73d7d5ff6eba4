// FCPXML as Final Cut Pro's DTD (1.10 and 1.11) takes it: a format per picture, an asset per file
// with its URL in `media-rep`, the story on the spine as asset clips one after another from the
// sequence's start timecode, and each chapter marker inside the clip it falls in, timed in that
// clip's source time, after its anchored items (there are none).

#include "Interchange.h"
#include "WriterSupport.h"

#include <QXmlStreamWriter>

namespace ondrel::interchange {

namespace {

QString fcpTime(Rational seconds) {
    if (seconds.den == 1)
        return QStringLiteral("%1s").arg(seconds.num);
    return QStringLiteral("%1/%2s").arg(seconds.num).arg(seconds.den);
}

// The sequence's audio rate is one of the DTD's values; 48k where the files' is none of them.
QString audioRateName(qint64 hz) {
    switch (hz) {
    case 32000:
        return QStringLiteral("32k");
    case 44100:
        return QStringLiteral("44.1k");
    case 88200:
        return QStringLiteral("88.2k");
    case 96000:
        return QStringLiteral("96k");
    case 176400:
        return QStringLiteral("176.4k");
    case 192000:
        return QStringLiteral("192k");
    default:
        return QStringLiteral("48k");
    }
}

struct Picture {
    FrameRate rate;
    int width = 1920;
    int height = 1080;
    friend bool operator==(const Picture&, const Picture&) = default;
};

} // namespace

QByteArray fcpxmlBytes(const EditTimeline& t, FcpxmlVersion version) {
    const QString tcFormat = t.dropFrame ? QStringLiteral("DF") : QStringLiteral("NDF");
    Picture sequencePicture{t.rate};
    qint64 sequenceAudioRate = 48000;
    bool audioFound = false;
    bool pictureFound = false;
    for (const MediaFile& m : t.media) {
        if (!pictureFound && m.hasVideo && m.width > 0 && m.height > 0) {
            sequencePicture.width = m.width;
            sequencePicture.height = m.height;
            pictureFound = true;
        }
        if (!audioFound && m.hasAudio && m.sampleRate > 0) {
            sequenceAudioRate = m.sampleRate;
            audioFound = true;
        }
    }

    QByteArray out;
    QXmlStreamWriter w(&out);
    w.setAutoFormatting(true);
    w.setAutoFormattingIndent(2);
    w.writeStartDocument();
    w.writeDTD(QStringLiteral("<!DOCTYPE fcpxml>"));
    w.writeStartElement(QStringLiteral("fcpxml"));
    w.writeAttribute(QStringLiteral("version"),
                     version == FcpxmlVersion::v1_11 ? QStringLiteral("1.11") : QStringLiteral("1.10"));

    w.writeStartElement(QStringLiteral("resources"));
    QList<Picture> formats{sequencePicture};
    auto writeFormat = [&](const Picture& p, int id) {
        w.writeEmptyElement(QStringLiteral("format"));
        w.writeAttribute(QStringLiteral("id"), QStringLiteral("r%1").arg(id));
        w.writeAttribute(QStringLiteral("frameDuration"), fcpTime(p.rate.frameDuration()));
        w.writeAttribute(QStringLiteral("width"), QString::number(p.width));
        w.writeAttribute(QStringLiteral("height"), QString::number(p.height));
    };
    writeFormat(sequencePicture, 1);
    // A file's picture gets a format of its own when it differs from the sequence's, so Final Cut
    // conforms its rate instead of reading its frames at the sequence's.
    QList<QString> assetFormat(t.media.size());
    for (qsizetype i = 0; i < t.media.size(); ++i) {
        const MediaFile& m = t.media[i];
        if (!m.hasVideo)
            continue;
        Picture p{m.rate.value_or(t.rate), m.width > 0 ? m.width : 1920, m.height > 0 ? m.height : 1080};
        const qsizetype known = formats.indexOf(p);
        if (known >= 0) {
            assetFormat[i] = QStringLiteral("r%1").arg(known + 1);
            continue;
        }
        formats << p;
        writeFormat(p, int(formats.size()));
        assetFormat[i] = QStringLiteral("r%1").arg(formats.size());
    }
    int nextId = int(formats.size()) + 1;
    QList<QString> assetId(t.media.size());
    for (qsizetype i = 0; i < t.media.size(); ++i) {
        const MediaFile& m = t.media[i];
        assetId[i] = QStringLiteral("r%1").arg(nextId++);
        w.writeStartElement(QStringLiteral("asset"));
        w.writeAttribute(QStringLiteral("id"), assetId[i]);
        w.writeAttribute(QStringLiteral("name"), xmlSafe(m.name));
        w.writeAttribute(QStringLiteral("start"), fcpTime(m.start));
        w.writeAttribute(QStringLiteral("duration"), fcpTime(m.length));
        if (m.hasVideo) {
            w.writeAttribute(QStringLiteral("hasVideo"), QStringLiteral("1"));
            w.writeAttribute(QStringLiteral("format"), assetFormat[i]);
            w.writeAttribute(QStringLiteral("videoSources"), QStringLiteral("1"));
        }
        if (m.hasAudio) {
            w.writeAttribute(QStringLiteral("hasAudio"), QStringLiteral("1"));
            w.writeAttribute(QStringLiteral("audioSources"), QStringLiteral("1"));
            w.writeAttribute(QStringLiteral("audioChannels"), QString::number(m.audioChannels));
            if (m.sampleRate > 0)
                w.writeAttribute(QStringLiteral("audioRate"), QString::number(m.sampleRate));
        }
        w.writeEmptyElement(QStringLiteral("media-rep"));
        w.writeAttribute(QStringLiteral("kind"), QStringLiteral("original-media"));
        w.writeAttribute(QStringLiteral("src"), fileUrl(m.path));
        w.writeEndElement(); // asset
    }
    w.writeEndElement(); // resources

    const QString name = xmlSafe(t.name);
    const Rational tcStart = secondsOf(t.startFrame, t.rate);
    w.writeStartElement(QStringLiteral("library"));
    w.writeStartElement(QStringLiteral("event"));
    w.writeAttribute(QStringLiteral("name"), name);
    w.writeStartElement(QStringLiteral("project"));
    w.writeAttribute(QStringLiteral("name"), name);
    w.writeStartElement(QStringLiteral("sequence"));
    w.writeAttribute(QStringLiteral("format"), QStringLiteral("r1"));
    w.writeAttribute(QStringLiteral("duration"), fcpTime(secondsOf(t.duration, t.rate)));
    w.writeAttribute(QStringLiteral("tcStart"), fcpTime(tcStart));
    w.writeAttribute(QStringLiteral("tcFormat"), tcFormat);
    w.writeAttribute(QStringLiteral("audioLayout"), QStringLiteral("stereo"));
    w.writeAttribute(QStringLiteral("audioRate"), audioRateName(sequenceAudioRate));
    w.writeStartElement(QStringLiteral("spine"));
    qsizetype nextMarker = 0;
    for (const Event& e : eventsOf(t)) {
        const MediaFile& m = t.media[e.media];
        w.writeStartElement(QStringLiteral("asset-clip"));
        w.writeAttribute(QStringLiteral("ref"), assetId[e.media]);
        w.writeAttribute(QStringLiteral("offset"), fcpTime(tcStart + secondsOf(e.recordIn, t.rate)));
        w.writeAttribute(QStringLiteral("name"), xmlSafe(m.name));
        w.writeAttribute(QStringLiteral("start"), fcpTime(secondsOf(e.sourceIn, t.rate)));
        w.writeAttribute(QStringLiteral("duration"), fcpTime(secondsOf(e.duration(), t.rate)));
        if (m.hasVideo && assetFormat[e.media] != QLatin1String("r1"))
            w.writeAttribute(QStringLiteral("format"), assetFormat[e.media]);
        w.writeAttribute(QStringLiteral("tcFormat"), tcFormat);
        if (m.hasAudio)
            w.writeAttribute(QStringLiteral("audioRole"), QStringLiteral("dialogue"));
        const qint64 recordOut = e.recordIn + e.duration();
        for (; nextMarker < t.markers.size() && t.markers[nextMarker].record < recordOut; ++nextMarker) {
            const Marker& marker = t.markers[nextMarker];
            const qint64 into = std::max<qint64>(marker.record - e.recordIn, 0);
            w.writeEmptyElement(QStringLiteral("chapter-marker"));
            w.writeAttribute(QStringLiteral("start"), fcpTime(secondsOf(e.sourceIn + into, t.rate)));
            w.writeAttribute(QStringLiteral("duration"), fcpTime(t.rate.frameDuration()));
            w.writeAttribute(QStringLiteral("value"), xmlSafe(marker.name));
        }
        w.writeEndElement(); // asset-clip
    }
    w.writeEndElement(); // spine
    w.writeEndElement(); // sequence
    w.writeEndElement(); // project
    w.writeEndElement(); // event
    w.writeEndElement(); // library
    w.writeEndElement(); // fcpxml
    w.writeEndDocument();
    return out;
}

} // namespace ondrel::interchange
