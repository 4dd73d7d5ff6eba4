#include "Timecode.h"

#include <QList>

namespace ondrel::interchange {

namespace {

struct DropCount {
    qint64 base;      // labels per second
    qint64 dropped;   // labels skipped at each minute but every tenth
    qint64 perMinute; // frames in a minute that skips labels
    qint64 perTenMin; // frames in ten minutes
    qint64 perDay;
};

DropCount dropCount(const TimecodeFormat& format) {
    const qint64 base = format.rate.timecodeBase();
    const qint64 dropped = format.countsDropFrame() ? base / 15 : 0;
    const qint64 perMinute = base * 60 - dropped;
    const qint64 perTenMin = base * 600 - dropped * 9;
    return {base, dropped, perMinute, perTenMin, perTenMin * 6 * 24};
}

bool isSeparator(QChar c) {
    return c == QLatin1Char(':') || c == QLatin1Char(';') || c == QLatin1Char('.') || c == QLatin1Char(',');
}

} // namespace

QString timecodeText(qint64 frame, const TimecodeFormat& format) {
    const DropCount d = dropCount(format);
    qint64 f = frame % d.perDay;
    if (f < 0)
        f += d.perDay;
    if (d.dropped > 0) {
        // Put back the labels skipped before this frame; the count is then read as non-drop.
        const qint64 tens = f / d.perTenMin;
        const qint64 rest = f % d.perTenMin;
        f += d.dropped * 9 * tens;
        if (rest > d.dropped)
            f += d.dropped * ((rest - d.dropped) / d.perMinute);
    }
    const qint64 frames = f % d.base;
    const qint64 seconds = (f / d.base) % 60;
    const qint64 minutes = (f / (d.base * 60)) % 60;
    const qint64 hours = f / (d.base * 3600);
    const QLatin1Char last(d.dropped > 0 ? ';' : ':');
    const QLatin1Char zero('0');
    return QStringLiteral("%1:%2:%3%4%5")
        .arg(hours, 2, 10, zero)
        .arg(minutes, 2, 10, zero)
        .arg(seconds, 2, 10, zero)
        .arg(last)
        .arg(frames, 2, 10, zero);
}

std::optional<qint64> timecodeFrame(QStringView text, const TimecodeFormat& format) {
    QList<qint64> fields;
    qsizetype begin = 0;
    const QStringView t = text.trimmed();
    for (qsizetype i = 0; i <= t.size(); ++i) {
        if (i < t.size() && !isSeparator(t[i]))
            continue;
        bool ok = false;
        const QStringView part = t.mid(begin, i - begin);
        const qint64 value = part.toLongLong(&ok);
        if (!ok || part.isEmpty() || value < 0 || !part.front().isDigit())
            return std::nullopt;
        fields << value;
        begin = i + 1;
    }
    if (fields.size() != 4)
        return std::nullopt;
    const DropCount d = dropCount(format);
    const qint64 hours = fields[0], minutes = fields[1], seconds = fields[2], frames = fields[3];
    if (hours > 23 || minutes > 59 || seconds > 59 || frames >= d.base)
        return std::nullopt;
    const qint64 totalMinutes = hours * 60 + minutes;
    if (d.dropped > 0 && seconds == 0 && frames < d.dropped && minutes % 10 != 0)
        return std::nullopt;
    return (hours * 3600 + minutes * 60 + seconds) * d.base + frames -
           d.dropped * (totalMinutes - totalMinutes / 10);
}

bool looksDropFrame(QStringView text) {
    const QStringView t = text.trimmed();
    for (qsizetype i = t.size() - 1; i >= 0; --i) {
        if (isSeparator(t[i]))
            return t[i] != QLatin1Char(':');
    }
    return false;
}

} // namespace ondrel::interchange
