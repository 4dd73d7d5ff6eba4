#pragma once
// Text measured the way a reader sees it: one character per grapheme, so an accented letter or an
// emoji is never counted twice nor cut in half.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel {

// The bytes as UTF-8, or nothing when they are not valid UTF-8.
std::optional<QString> strictUtf8(const QByteArray& bytes);

qsizetype characterCount(const QString& text);
// The first `count` characters (all of the text when it is shorter).
QString leadingCharacters(const QString& text, qsizetype count);

// Sorted code point by code point, as Python's sorted() orders them: the one order of paths
// everywhere (the transcript's clock is the files laid end to end in this order).
QStringList sortedPaths(QStringList paths);

// The text with every occurrence of the secret (an API key a service echoed back) masked.
QString redactSecret(QString text, const QString& secret);

} // namespace ondrel
