#include "Interchange.h"

#include "core/Files.h"

#include <QDir>

#include <utility>

namespace ondrel::interchange {

bool writeInterchangeFiles(const EditTimeline& timeline, const QString& folder, QString* error) {
    if (!QDir().mkpath(folder)) {
        if (error)
            *error = QStringLiteral("Could not make the folder %1").arg(folder);
        return false;
    }
    const QDir dir(folder);
    const std::pair<QString, QByteArray> files[] = {
        {kFcpxmlFileName, fcpxmlBytes(timeline, FcpxmlVersion::v1_11)},
        {kFcpxml110FileName, fcpxmlBytes(timeline, FcpxmlVersion::v1_10)},
        {kFcp7XmlFileName, fcp7XmlBytes(timeline)},
        {kOtioFileName, otioBytes(timeline)},
        {kEdlFileName, edlBytes(timeline)},
    };
    for (const auto& [name, bytes] : files) {
        if (!writeFileAtomically(dir.filePath(name), bytes, error))
            return false;
    }
    return true;
}

} // namespace ondrel::interchange
