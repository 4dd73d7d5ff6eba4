#include "Files.h"

#include <QSaveFile>

namespace ondrel {

bool writeFileAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    QSaveFile file(path);
    auto fail = [&](const QString& why) {
        if (error)
            *error = QStringLiteral("Could not write %1: %2").arg(path, why);
        file.cancelWriting();
        return false;
    };
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    if (file.write(bytes) != bytes.size())
        return fail(file.errorString());
    if (!file.commit())
        return fail(file.errorString());
    return true;
}

} // namespace ondrel
