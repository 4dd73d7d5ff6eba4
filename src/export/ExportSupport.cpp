#include "ExportSupport.h"

#include <QSaveFile>

#include <cmath>
#include <cstdio>

namespace ondrel {

std::optional<qint64> wholeNumber(double v) {
    if (!std::isfinite(v))
        return std::nullopt;
    const double t = std::trunc(v);
    // 2^63 is exact as a double; anything at or past it does not fit.
    if (t < -9223372036854775808.0 || t >= 9223372036854775808.0)
        return std::nullopt;
    return static_cast<qint64>(t);
}

QString zeroPadded(qint64 v, int width) {
    char buf[32];
    const int n = std::snprintf(buf, sizeof buf, "%0*lld", width, static_cast<long long>(v));
    return QString::fromLatin1(buf, n);
}

namespace {
// Start of the last component's extension dot, or -1.
qsizetype extensionDot(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    const qsizetype dot = path.lastIndexOf(u'.');
    if (dot < 0 || dot <= slash + 1)
        return -1;
    return dot;
}
} // namespace

QString pathExtension(const QString& path) {
    const qsizetype dot = extensionDot(path);
    return dot < 0 ? QString() : path.mid(dot + 1);
}

QString deletingPathExtension(const QString& path) {
    const qsizetype dot = extensionDot(path);
    return dot < 0 ? path : path.left(dot);
}

std::optional<qint64> parseDecimalInteger(const QString& text) {
    qsizetype i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        negative = text[i] == u'-';
        ++i;
    }
    if (i == text.size())
        return std::nullopt;
    // Accumulate negatively so the most negative value still fits.
    qint64 value = 0;
    for (; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c < u'0' || c > u'9')
            return std::nullopt;
        const int digit = c - u'0';
        if (value < (INT64_MIN + digit) / 10)
            return std::nullopt;
        value = value * 10 - digit;
    }
    if (negative)
        return value;
    if (value == INT64_MIN)
        return std::nullopt;
    return -value;
}

} // namespace ondrel
