// CMX 3600: one event per moment, cutting picture and sound together, its source and record
// ranges the same number of frames because both come from one clip. Record times run from
// 01:00:00:00. The file's name follows each event as the conformers read it, and a chapter as
// a locator.

#include "Interchange.h"
#include "WriterSupport.h"

#include "core/Text.h"

namespace ondrel::interchange {

namespace {

// The channel field: picture, one or two channels of sound, or both.
QString channels(const Event& e) {
    if (e.video)
        return e.audioChannels >= 2   ? QStringLiteral("AA/V")
               : e.audioChannels == 1 ? QStringLiteral("B")
                                      : QStringLiteral("V");
    return e.audioChannels >= 2 ? QStringLiteral("AA") : QStringLiteral("A");
}

} // namespace

QByteArray edlBytes(const EditTimeline& t) {
    const TimecodeFormat format = t.timecodeFormat();
    // The title line is at most 70 characters in CMX 3600.
    QString text = QStringLiteral("TITLE: ") + leadingCharacters(oneLine(t.name), 70).trimmed() + u'\n';
    text += format.countsDropFrame() ? QStringLiteral("FCM: DROP FRAME\n")
                                     : QStringLiteral("FCM: NON-DROP FRAME\n");
    qsizetype nextMarker = 0;
    for (const Event& e : eventsOf(t)) {
        const MediaFile& m = t.media[e.media];
        const qint64 recordIn = t.startFrame + e.recordIn;
        text += u'\n';
        text += QStringLiteral("%1  %2 %3 C        %4 %5 %6 %7\n")
                    .arg(e.number, 3, 10, QLatin1Char('0'))
                    .arg(m.reel, -8)
                    .arg(channels(e), -5)
                    .arg(timecodeText(e.sourceIn, format), timecodeText(e.sourceOut, format),
                         timecodeText(recordIn, format), timecodeText(recordIn + e.duration(), format));
        text += QStringLiteral("* FROM CLIP NAME: ") + oneLine(m.name) + u'\n';
        text += QStringLiteral("* SOURCE FILE: ") + oneLine(m.path) + u'\n';
        const qint64 recordOut = e.recordIn + e.duration();
        for (; nextMarker < t.markers.size() && t.markers[nextMarker].record < recordOut; ++nextMarker) {
            const Marker& marker = t.markers[nextMarker];
            text += QStringLiteral("* LOC: %1 YELLOW  %2\n")
                        .arg(timecodeText(t.startFrame + marker.record, format), oneLine(marker.name));
        }
    }
    return text.toUtf8();
}

} // namespace ondrel::interchange
