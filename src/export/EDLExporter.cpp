#include "EDLExporter.h"

#include "ExportSupport.h"
#include "SourceTime.h"
#include "Timecode.h"

#include <cmath>

namespace ondrel {

namespace {

const int kReelWidth = 8;

Timecode timecodeOf(double seconds, double fps, qsizetype event, const char* what) {
    if (auto tc = Timecode::fromSeconds(seconds, fps))
        return *tc;
    throw Unwritable{QStringLiteral("Event %1 has a %2 of %3 seconds, which cannot be written as a timecode")
                         .arg(event)
                         .arg(QLatin1String(what), formatDouble(seconds))};
}

bool isAudioExtension(const QString& ext) {
    static const QStringList audio{QStringLiteral("wav"), QStringLiteral("aif"), QStringLiteral("aiff"),
                                   QStringLiteral("mp3"), QStringLiteral("flac")};
    return audio.contains(ext.toLower());
}

QString buildText(const QString& projectName, const QList<StorySegment>& segments,
                  const QList<MediaFileInfo>& mediaFiles, double fps) {
    if (!std::isfinite(fps) || fps <= 0)
        throw Unwritable{
            QStringLiteral("The frame rate must be a number above 0, not %1").arg(formatDouble(fps))};

    const QList<OffsetEntry> offsetMap = buildOffsetMap(mediaFiles);
    QStringList fileStems;
    fileStems.reserve(mediaFiles.size());
    for (const MediaFileInfo& f : mediaFiles)
        fileStems.push_back(deletingPathExtension(f.filename));

    QString text = QStringLiteral("TITLE: ") + projectName + QStringLiteral("\nFCM: NON-DROP FRAME\n\n");
    Timecode cursor = Timecode::zero(fps);
    qsizetype event = 0;
    for (const StorySegment& seg : segments) {
        ++event;
        const double duration = seg.endTime - seg.startTime;
        double sourceIn = seg.startTime;
        double sourceOut = seg.endTime;
        if (!offsetMap.isEmpty()) {
            if (auto resolved = resolveSourceTime(seg.startTime, offsetMap)) {
                sourceIn = resolved->seconds;
                sourceOut = sourceIn + duration;
            }
        }
        const Timecode srcIn = timecodeOf(sourceIn, fps, event, "source in point");
        const Timecode srcOut = timecodeOf(sourceOut, fps, event, "source out point");
        const Timecode recIn = cursor;
        const Timecode recOut = timecodeOf(cursor.totalSeconds() + duration, fps, event, "record out point");

        const QString reel = EDLExporter::reelName(seg.sourceClip);
        const QString clipStem = deletingPathExtension(seg.sourceClip);
        const MediaFileInfo* file = nullptr;
        for (qsizetype k = 0; k < mediaFiles.size() && !file; ++k)
            if (mediaFiles[k].filename == seg.sourceClip || fileStems[k] == clipStem)
                file = &mediaFiles[k];
        const bool audioTrack = file ? !file->hasVideo : isAudioExtension(pathExtension(seg.sourceClip));

        text += zeroPadded(event, 3) + QStringLiteral("  ");
        text += reel + QString(qMax<qsizetype>(0, kReelWidth - characterCount(reel)), u' ') + u' ';
        text += audioTrack ? u'A' : u'V';
        text += QStringLiteral("     C        ");
        text += srcIn.description() + u' ' + srcOut.description() + u' ' + recIn.description() + u' ' +
                recOut.description() + u'\n';
        text += QStringLiteral("* FROM CLIP NAME: ") + seg.sourceClip + u'\n';
        if (!seg.transcript.isEmpty())
            text += QStringLiteral("* COMMENT: ") + leadingCharacters(seg.transcript, 60) + u'\n';
        if (seg.chapter)
            text += QStringLiteral("* CHAPTER: ") + *seg.chapter + u'\n';
        text += u'\n';
        cursor = recOut;
    }
    return text;
}

} // namespace

QString EDLExporter::reelName(const QString& sourceClip) {
    return leadingCharacters(deletingPathExtension(sourceClip), kReelWidth);
}

std::optional<QString> EDLExporter::exportText(const QString& projectName,
                                               const QList<StorySegment>& segments,
                                               const QList<MediaFileInfo>& mediaFiles, double fps,
                                               QString* error) const {
    try {
        return buildText(projectName, segments, mediaFiles, fps);
    } catch (const Unwritable& u) {
        if (error)
            *error = u.reason;
        return std::nullopt;
    }
}

bool EDLExporter::exportToFile(const QString& path, const QString& projectName,
                               const QList<StorySegment>& segments, const QList<MediaFileInfo>& mediaFiles,
                               double fps, QString* error) const {
    const auto text = exportText(projectName, segments, mediaFiles, fps, error);
    return text && writeFileAtomically(path, text->toUtf8(), error);
}

} // namespace ondrel
