#include "ExportTestSupport.h"

#include "core/Platform.h"

#include <QProcess>
#include <QXmlStreamReader>

namespace ondrel::test {

std::optional<qsizetype> ffmpegCueCount(const QString& srtPath) {
    QProcess probe;
    probe.start(ToolPaths::platformDefault().ffprobe,
                {"-v", "error", "-f", "srt", "-show_entries", "packet=pts_time", "-of", "csv=p=0", srtPath});
    if (!probe.waitForFinished(-1) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return std::nullopt;
    qsizetype cues = 0;
    for (const QByteArray& line : probe.readAllStandardOutput().split('\n'))
        cues += !line.trimmed().isEmpty();
    return cues;
}

QString xmlProblem(const QString& text) {
    QXmlStreamReader reader(text);
    while (!reader.atEnd())
        reader.readNext();
    return reader.hasError() ? QStringLiteral("line %1: ").arg(reader.lineNumber()) + reader.errorString()
                             : QString();
}

} // namespace ondrel::test
