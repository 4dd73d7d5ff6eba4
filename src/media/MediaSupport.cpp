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

bool writeFileAtomically(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

} // namespace ondrel::media
