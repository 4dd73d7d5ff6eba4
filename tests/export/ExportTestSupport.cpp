#include "ExportTestSupport.h"

#include "core/Platform.h"

#include <QProcess>

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

} // namespace ondrel::test
