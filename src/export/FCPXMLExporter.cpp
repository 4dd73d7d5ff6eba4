#include "FCPXMLExporter.h"

#include "ExportSupport.h"
#include "SourceTime.h"

#include <QHash>

#include <cmath>

namespace ondrel {

namespace FCPXMLTime {

namespace {
struct KnownRate {
    double fps;
    const char* frameDuration;
    double denominator;
};

// Compared by exact equality: 23.98 is not 23.976.
const KnownRate kKnownRates[] = {
    {23.976, "1001/24000s", 24000}, {24, "100/2400s", 2400}, {25, "100/2500s", 2500},
    {29.97, "1001/30000s", 30000},  {30, "100/3000s", 3000}, {50, "100/5000s", 5000},
    {59.94, "1001/60000s", 60000},  {60, "100/6000s", 6000},
};

const KnownRate* knownRate(double fps) {
    for (const KnownRate& r : kKnownRates)
        if (r.fps == fps)
            return &r;
    return nullptr;
}

bool usableRate(double fps) {
    return std::isfinite(fps) && fps > 0;
}
} // namespace

std::optional<QString> frameDuration(double fps) {
    if (!usableRate(fps))
        return std::nullopt;
    if (const KnownRate* r = knownRate(fps))
        return QString::fromLatin1(r->frameDuration);
    const auto n = wholeNumber(fps * 100);
    if (!n || *n <= 0)
        return std::nullopt;
    return QStringLiteral("100/%1s").arg(*n);
}

double standardDenominator(double fps) {
    if (const KnownRate* r = knownRate(fps))
        return r->denominator;
    return fps * 100;
}

std::optional<QString> rational(double seconds, double fps) {
    if (seconds == 0)
        return QStringLiteral("0s");
    if (!usableRate(fps))
        return std::nullopt;
    const double d = standardDenominator(fps);
    const auto n = wholeNumber(std::round(seconds * d));
    const auto den = wholeNumber(d);
    if (!n || !den || *den <= 0)
        return std::nullopt;
    if (*n % *den == 0)
        return QString::number(*n / *den) + u's';
    return QString::number(*n) + u'/' + QString::number(*den) + u's';
}

} // namespace FCPXMLTime

namespace {

QString rationalOf(double seconds, double fps, const QString& what) {
    if (auto r = FCPXMLTime::rational(seconds, fps))
        return *r;
    throw Unwritable{QStringLiteral("%1 is %2 seconds, which cannot be written as an FCPXML time")
                         .arg(what, formatDouble(seconds))};
}

QString segmentLabel(qsizetype i) {
    return QStringLiteral("Segment %1").arg(i + 1);
}

class Builder {
public:
    Builder(const QList<StorySegment>& segments, const QList<MediaFileInfo>& mediaFiles, double fps,
            const QList<Subtitle>& subtitles)
        : m_segments(segments)
        , m_files(mediaFiles)
        , m_fps(fps)
        , m_subtitles(subtitles)
        , m_offsetMap(buildOffsetMap(mediaFiles)) {
        for (qsizetype k = 0; k < m_files.size(); ++k) {
            m_fileStems.push_back(deletingPathExtension(m_files[k].filename));
            if (!m_firstIndex.contains(m_files[k].filename))
                m_firstIndex.insert(m_files[k].filename, k);
        }
    }

    QString build(const QString& projectName) {
        const auto frame = FCPXMLTime::frameDuration(m_fps);
        if (!frame || !wholeNumber(FCPXMLTime::standardDenominator(m_fps)).value_or(0))
            throw Unwritable{
                QStringLiteral("The frame rate must be a number above 0 that gives a whole-number "
                               "time unit, not %1")
                    .arg(formatDouble(m_fps))};
        m_frameDuration = *frame;

        QString out;
        out += QStringLiteral(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE fcpxml>\n<fcpxml version=\"1.11\">");
        out += QStringLiteral("\n  <resources>");
        generateResources(out);
        out += QStringLiteral("\n  </resources>");
        out += QStringLiteral("\n  <library>");
        out += QStringLiteral("\n    <event name=\"Ondrel Export\">");
        generateProject(out, projectName);
        out += QStringLiteral("\n    </event>");
        out += QStringLiteral("\n  </library>");
        out += QStringLiteral("\n</fcpxml>\n");
        return out;
    }

private:
    void generateResources(QString& out) {
        out += QStringLiteral("\n    <format id=\"r1\" frameDuration=\"") + m_frameDuration +
               QStringLiteral("\" width=\"1920\" height=\"1080\" colorSpace=\"1-1-1 (Rec. 709)\"/>");
        for (qsizetype i = 0; i < m_files.size(); ++i)
            generateAsset(out, m_files[i], QStringLiteral("r%1").arg(i + 2));
    }

    void generateAsset(QString& out, const MediaFileInfo& file, const QString& assetId) {
        const QString label = QStringLiteral("Media file \"%1\"").arg(file.filename);
        const QString duration = rationalOf(file.duration, m_fps, label + QStringLiteral("'s duration"));
        const QString start = rationalOf(timecodeToSeconds(file.startTimecode, m_fps).value_or(0.0), m_fps,
                                         label + QStringLiteral("'s start timecode"));
        const QString src = QStringLiteral("file://") + FCPXMLExporter::escape(file.path);
        out += QStringLiteral("\n    <asset id=\"") + assetId + QStringLiteral("\" name=\"") +
               FCPXMLExporter::escape(file.filename) + QStringLiteral("\" src=\"") + src +
               QStringLiteral("\" start=\"") + start + QStringLiteral("\" duration=\"") + duration + u'"';
        if (file.hasVideo)
            out += QStringLiteral(" hasVideo=\"1\" videoSources=\"1\"");
        if (file.hasAudio)
            out += QStringLiteral(" hasAudio=\"1\" audioSources=\"1\" audioChannels=\"2\"");
        out += QStringLiteral(">\n      <media-rep kind=\"original-media\" src=\"") + src +
               QStringLiteral("\"/>\n    </asset>");
    }

    void generateProject(QString& out, const QString& projectName) {
        double total = 0;
        for (const StorySegment& seg : m_segments)
            total += seg.endTime - seg.startTime;
        out += QStringLiteral("\n      <project name=\"") + FCPXMLExporter::escape(projectName) +
               QStringLiteral("\">\n        <sequence format=\"r1\" duration=\"") +
               rationalOf(total, m_fps, QStringLiteral("The sequence's duration")) +
               QStringLiteral("\" tcStart=\"0s\" tcFormat=\"NDF\" audioLayout=\"stereo\" "
                              "audioRate=\"48k\">\n          <spine>");

        double timelineOffset = 0;
        for (qsizetype i = 0; i < m_segments.size(); ++i) {
            generateClip(out, i, timelineOffset);
            timelineOffset += m_segments[i].endTime - m_segments[i].startTime;
        }
        if (!m_subtitles.isEmpty())
            generateCaptions(out);
        double markerOffset = 0;
        for (qsizetype i = 0; i < m_segments.size(); ++i) {
            const StorySegment& seg = m_segments[i];
            generateChapterMarker(out, seg.chapter.value_or(QStringLiteral("Chapter %1").arg(i + 1)),
                                  markerOffset, segmentLabel(i));
            markerOffset += seg.endTime - seg.startTime;
        }
        out += QStringLiteral("\n          </spine>\n        </sequence>\n      </project>");
    }

    const MediaFileInfo* findFile(const StorySegment& seg) const {
        const QString clipStem = deletingPathExtension(seg.sourceClip);
        for (qsizetype k = 0; k < m_files.size(); ++k) {
            const QString& name = m_files[k].filename;
            if (name == seg.sourceClip || name.contains(seg.sourceClip) || m_fileStems[k] == clipStem)
                return &m_files[k];
        }
        if (!m_offsetMap.isEmpty()) {
            if (auto resolved = resolveSourceTime(seg.startTime, m_offsetMap)) {
                const auto it = m_firstIndex.constFind(resolved->filename);
                return it == m_firstIndex.cend() ? nullptr : &m_files[*it];
            }
        }
        return m_files.isEmpty() ? nullptr : &m_files.first();
    }

    void generateClip(QString& out, qsizetype i, double timelineOffset) {
        const StorySegment& seg = m_segments[i];
        const MediaFileInfo* file = findFile(seg);
        if (!file)
            return; // no clip; its time still counts on the spine
        const qsizetype k = m_firstIndex.value(file->filename, 0);
        const QString label = segmentLabel(i);
        const QString offset =
            rationalOf(timelineOffset, m_fps, label + QStringLiteral("'s place on the timeline"));
        const QString duration =
            rationalOf(seg.endTime - seg.startTime, m_fps, label + QStringLiteral("'s duration"));
        std::optional<ResolvedSourceTime> resolved;
        if (!m_offsetMap.isEmpty())
            resolved = resolveSourceTime(seg.startTime, m_offsetMap);
        const double sourceStart =
            resolved ? resolved->seconds
                     : timecodeToSeconds(file->startTimecode, m_fps).value_or(0.0) + seg.startTime;
        const QString start = rationalOf(sourceStart, m_fps, label + QStringLiteral("'s source start"));

        out += QStringLiteral("\n            <asset-clip ref=\"r%1\" offset=\"").arg(k + 2) + offset +
               QStringLiteral("\" name=\"") + FCPXMLExporter::escape(leadingCharacters(seg.transcript, 50)) +
               QStringLiteral("\" start=\"") + start + QStringLiteral("\" duration=\"") + duration +
               QStringLiteral("\" tcFormat=\"NDF\"");
        if (file->hasAudio)
            out += QStringLiteral(" audioRole=\"dialogue\"");
        out += QStringLiteral("/>");
    }

    void generateCaptions(QString& out) {
        out += QStringLiteral("\n            <caption-lane>");
        for (qsizetype i = 0; i < m_subtitles.size(); ++i) {
            const Subtitle& sub = m_subtitles[i];
            const QString label = QStringLiteral("Subtitle %1").arg(i + 1);
            out += QStringLiteral("\n          <caption startOffset=\"") +
                   rationalOf(sub.startTime, m_fps, label + QStringLiteral("'s start")) +
                   QStringLiteral("\" duration=\"") +
                   rationalOf(sub.endTime - sub.startTime, m_fps, label + QStringLiteral("'s duration")) +
                   QStringLiteral("\" role=\"closedCaption\">\n            <text>") +
                   FCPXMLExporter::escape(sub.text) + QStringLiteral("</text>\n          </caption>");
        }
        out += QStringLiteral("\n            </caption-lane>");
    }

    void generateChapterMarker(QString& out, const QString& title, double offset, const QString& label) {
        out += QStringLiteral("\n            <chapter-marker start=\"") +
               rationalOf(offset, m_fps, label + QStringLiteral("'s chapter marker")) +
               QStringLiteral("\" duration=\"") + m_frameDuration + QStringLiteral("\" value=\"") +
               FCPXMLExporter::escape(title) + QStringLiteral("\"/>");
    }

    const QList<StorySegment>& m_segments;
    const QList<MediaFileInfo>& m_files;
    const double m_fps;
    const QList<Subtitle>& m_subtitles;
    const QList<OffsetEntry> m_offsetMap;
    QStringList m_fileStems;
    QHash<QString, qsizetype> m_firstIndex;
    QString m_frameDuration;
};

} // namespace

QString FCPXMLExporter::escape(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (QChar c : text) {
        switch (c.unicode()) {
        case u'&':
            out += QStringLiteral("&amp;");
            break;
        case u'<':
            out += QStringLiteral("&lt;");
            break;
        case u'>':
            out += QStringLiteral("&gt;");
            break;
        case u'"':
            out += QStringLiteral("&quot;");
            break;
        case u'\'':
            out += QStringLiteral("&apos;");
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::optional<QString> FCPXMLExporter::exportText(const QString& projectName,
                                                  const QList<StorySegment>& segments,
                                                  const QList<MediaFileInfo>& mediaFiles, double fps,
                                                  const QList<Subtitle>& subtitles, QString* error) const {
    try {
        return Builder(segments, mediaFiles, fps, subtitles).build(projectName);
    } catch (const Unwritable& u) {
        if (error)
            *error = u.reason;
        return std::nullopt;
    }
}

bool FCPXMLExporter::exportToFile(const QString& path, const QString& projectName,
                                  const QList<StorySegment>& segments, const QList<MediaFileInfo>& mediaFiles,
                                  double fps, const QList<Subtitle>& subtitles, QString* error) const {
    const auto text = exportText(projectName, segments, mediaFiles, fps, subtitles, error);
    return text && writeFileAtomically(path, text->toUtf8(), error);
}

} // namespace ondrel
