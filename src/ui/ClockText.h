#pragma once
// The screens' "m:ss" times: the exports' own form (whole seconds cut towards zero), "0:00" for a
// time that has none; from an hour on "h:mm:ss", since a week of footage puts moments at
// "2400:00" and a story runs past an hour.

#include "export/ExportBundle.h"

#include <QString>

namespace ondrel {

inline QString clockText(double seconds) {
    const std::optional<QString> minutesText = ExportBundle::formatTimestamp(seconds);
    if (!minutesText)
        return QStringLiteral("0:00");
    const qsizetype colon = minutesText->indexOf(u':');
    const qint64 minutes = minutesText->left(colon).toLongLong();
    if (minutes < 60)
        return *minutesText;
    return QString::number(minutes / 60) + u':' +
           QStringLiteral("%1").arg(minutes % 60, 2, 10, QLatin1Char('0')) + minutesText->mid(colon);
}

// "[m:ss → m:ss]"
inline QString clockRangeText(double start, double end) {
    return u'[' + clockText(start) + QStringLiteral(" → ") + clockText(end) + u']';
}

} // namespace ondrel
