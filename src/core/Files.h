#pragma once
#include <QByteArray>
#include <QString>

namespace ondrel {

// Replaces the file in one step (temporary file + rename), so a reader never sees half of it and
// a failed write leaves the old file whole. On failure *error says why, in the program's words.
bool writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error = nullptr);

} // namespace ondrel
