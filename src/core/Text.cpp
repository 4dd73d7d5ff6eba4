#include "Text.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace ondrel {

namespace {
// Plain ASCII without CR has one grapheme per code unit: no boundary search needed.
bool isPlainAscii(const QString& s) {
    for (QChar c : s)
        if (c.unicode() >= 0x80 || c == u'\r')
            return false;
    return true;
}
} // namespace

std::optional<QString> strictUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

qsizetype characterCount(const QString& text) {
    if (isPlainAscii(text))
        return text.size();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() > 0)
        ++count;
    return count;
}

QString leadingCharacters(const QString& text, qsizetype count) {
    if (count <= 0)
        return QString();
    if (text.size() <= count)
        return text;
    if (isPlainAscii(text))
        return text.left(count);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0)
            return text;
        end = next;
    }
    return text.left(end);
}

QString redactSecret(QString text, const QString& secret) {
    if (!secret.isEmpty())
        text.replace(secret, QStringLiteral("[redacted]"));
    return text;
}

QStringList sortedPaths(QStringList paths) {
    // UTF-8 bytes order as code points do; UTF-16 units would not, past the surrogates.
    std::stable_sort(paths.begin(), paths.end(),
                     [](const QString& a, const QString& b) { return a.toUtf8() < b.toUtf8(); });
    return paths;
}

} // namespace ondrel
