#include "ExportTestSupport.h"

#include "core/Platform.h"

#include <QProcess>
#include <QXmlStreamReader>

#include <algorithm>

namespace ondrel::test {

std::optional<QList<Cue>> cuesReadByFfmpeg(const QString& srtPath) {
    QProcess probe;
    probe.start(ToolPaths::platformDefault().ffprobe,
                {"-v", "error", "-f", "srt", "-show_entries", "packet=pts_time,duration_time", "-of",
                 "csv=p=0", srtPath});
    if (!probe.waitForFinished(-1) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return std::nullopt;
    QList<Cue> cues;
    for (const QByteArray& line : probe.readAllStandardOutput().split('\n')) {
        if (line.trimmed().isEmpty())
            continue;
        const QList<QByteArray> parts = line.trimmed().split(',');
        bool okStart = false;
        bool okDuration = false;
        Cue cue{parts.value(0).toDouble(&okStart), parts.value(1).toDouble(&okDuration)};
        if (parts.size() != 2 || !okStart || !okDuration)
            return std::nullopt;
        cues.push_back(cue);
    }
    std::stable_sort(cues.begin(), cues.end(), [](const Cue& a, const Cue& b) { return a.start < b.start; });
    return cues;
}

QString xmlProblem(const QString& text) {
    QXmlStreamReader reader(text);
    while (!reader.atEnd())
        reader.readNext();
    if (!reader.hasError())
        return QString();
    return QStringLiteral("%1 at line %2, column %3")
        .arg(reader.errorString())
        .arg(reader.lineNumber())
        .arg(reader.columnNumber());
}

int countElements(const QString& xml, const QString& name) {
    QXmlStreamReader reader(xml);
    int n = 0;
    while (!reader.atEnd())
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == name)
            ++n;
    return n;
}

} // namespace ondrel::test
