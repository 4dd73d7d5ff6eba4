#include "ReadTimelineCommand.h"

#include "interchange/SettledTimeline.h"

namespace ondrel {

using namespace interchange;

namespace {

void print(std::FILE* to, const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), to);
}

} // namespace

int readTimelineCommand(const QString& file, const ToolPaths& tools, std::FILE* out, std::FILE* err) {
    MediaProbes probes(tools);
    const TimelineReading reading = readSettledTimeline(file, probes);
    if (!reading.timeline) {
        print(err, reading.error);
        return 1;
    }
    const ReadTimeline& timeline = *reading.timeline;
    for (const QString& warning : std::as_const(timeline.warnings))
        print(err, warning);
    if (const QString missing = missingMediaMessage(timeline); !missing.isEmpty())
        print(err, missing);
    const QByteArray lines = clipLinesJson(timeline);
    std::fwrite(lines.constData(), 1, std::size_t(lines.size()), out);
    std::fflush(out);
    return 0;
}

} // namespace ondrel
