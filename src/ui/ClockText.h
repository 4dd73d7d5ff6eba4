#pragma once
// The screens' "m:ss" times: the exports' own form (whole seconds cut towards zero, minutes not
// carried into hours), "0:00" for a time that has none.

#include "export/ExportBundle.h"

#include <QString>

namespace ondrel {

inline QString clockText(double seconds) {
    return ExportBundle::formatTimestamp(seconds).value_or(QStringLiteral("0:00"));
}

// "[m:ss → m:ss]"
inline QString clockRangeText(double start, double end) {
    return u'[' + clockText(start) + QStringLiteral(" → ") + clockText(end) + u']';
}

} // namespace ondrel
