#include "WriterSupport.h"

namespace ondrel::interchange {

namespace {

QString percentEncodedPath(const QString& path) {
    const QByteArray utf8 = (path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path).toUtf8();
    QString out;
    out.reserve(utf8.size() * 3);
    static const char hex[] = "0123456789ABCDEF";
    for (const char byte : utf8) {
        const auto b = static_cast<unsigned char>(byte);
        const bool plain = (b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z') || (b >= '0' && b <= '9') ||
                           b == '-' || b == '.' || b == '_' || b == '~' || b == '/';
        if (plain) {
            out += QLatin1Char(char(b));
        } else {
            out += QLatin1Char('%');
            out += QLatin1Char(hex[b >> 4]);
            out += QLatin1Char(hex[b & 0xF]);
        }
    }
    return out;
}

} // namespace

QString fileUrl(const QString& path) {
    return QStringLiteral("file://") + percentEncodedPath(path);
}

QString localhostFileUrl(const QString& path) {
    return QStringLiteral("file://localhost") + percentEncodedPath(path);
}

QString xmlSafe(const QString& text) {
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            out += c;
            out += text[++i];
        } else if (c.isSurrogate()) {
            out += QChar(QChar::ReplacementCharacter);
        } else if ((c.unicode() < 0x20 && c != u'\t' && c != u'\n' && c != u'\r') || c.unicode() == 0xFFFE ||
                   c.unicode() == 0xFFFF) {
            continue;
        } else {
            out += c;
        }
    }
    return out;
}

QString oneLine(const QString& text) {
    QString out = xmlSafe(text);
    for (QChar& c : out) {
        if (c.unicode() < 0x20 || c == QChar(0x2028) || c == QChar(0x2029) || c == QChar(0x85))
            c = QLatin1Char(' ');
    }
    return out;
}

} // namespace ondrel::interchange
