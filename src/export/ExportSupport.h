#pragma once
// Small pieces the export writers share: checked whole numbers, characters as the user sees
// them, path extensions, and the one atomic file write.

#include "core/Files.h"
#include "core/Text.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ondrel {

// Thrown inside a writer when a value cannot be turned into text; caught at the writer's entry
// and handed to the caller as its failure text. It never leaves this library.
struct Unwritable {
    QString reason;
};

// The integer part of `v`, or absent when `v` is not finite or lies outside a signed 64-bit
// integer: the conversion has no other honest outcome.
std::optional<qint64> wholeNumber(double v);

// "%02lld" and friends, with C's sign handling (-1 stays "-1").
QString zeroPadded(qint64 v, int width);

// The text after the last dot of the last path component ("" when there is none; a leading
// dot marks a hidden name, not an extension), and the path without ".{extension}".
QString pathExtension(const QString& path);
QString deletingPathExtension(const QString& path);

// Parses an optional sign and ASCII digits only, as a strict integer reader does.
std::optional<qint64> parseDecimalInteger(const QString& text);

} // namespace ondrel
