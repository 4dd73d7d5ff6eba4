#include "MediaSupport.h"

#include <QSaveFile>

#include <cmath>

namespace ondrel::media {

std::optional<double> readDouble(const QString& text) {
    if (text.isEmpty() || text.front().isSpace() || text.back().isSpace())
        return std::nullopt;
    bool ok = false;
    const double v = text.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        return std::nullopt;
    return v;
}

std::optional<qint64> readInteger(const QString& text) {
    if (text.isEmpty() || text.front().isSpace() || text.back().isSpace())
        return std::nullopt;
    bool ok = false;
    const qint64 v = text.toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return v;
}

} // namespace ondrel::media
