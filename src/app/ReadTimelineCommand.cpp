#include "ReadTimelineCommand.h"

#include "core/Json.h"
#include "interchange/TimelineReaders.h"

#include <QFileInfo>
#include <QHash>
#include <QProcess>

namespace ondrel {

using namespace interchange;

namespace {

// ffprobe's answer for one file, as the pipeline asks it; nothing when it cannot tell.
std::optional<SourceMedia> probe(const ToolPaths& tools, const QString& path) {
    QProcess p;
    p.start(tools.ffprobe,
            {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-print_format"),
             QStringLiteral("json"), QStringLiteral("-show_format"), QStringLiteral("-show_streams"), path});
    // A file on a sleeping network share may keep ffprobe waiting; the command still ends.
    if (!p.waitForStarted(5000) || !p.waitForFinished(30000)) {
        p.kill();
        p.waitForFinished(1000);
        return std::nullopt;
    }
    const std::optional<Json> json = parseJson(p.readAllStandardOutput());
    if (!json || !json->is_object() || json->empty())
        return std::nullopt;
    return sourceMediaFromProbe(path, *json);
}

void print(std::FILE* to, const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), to);
}

} // namespace

int readTimelineCommand(const QString& file, const ToolPaths& tools, std::FILE* out, std::FILE* err) {
    TimelineReading reading = readTimelineFile(file);
    if (!reading.timeline) {
        print(err, reading.error);
        return 1;
    }
    ReadTimeline timeline = *reading.timeline;

    // Only the files the timeline does not place on their own timecode are asked.
    QHash<QString, std::optional<SourceMedia>> probes;
    auto probed = [&](const ReadMedia& m) -> std::optional<SourceMedia> {
        if (!m.found)
            return std::nullopt;
        auto it = probes.find(m.path);
        if (it == probes.end())
            it = probes.insert(m.path, probe(tools, m.path));
        return *it;
    };
    if (!timeline.rateStated) {
        // An EDL's labels do not tell 23.976 from 24: the first picture it cuts does.
        for (const ReadMedia& m : timeline.media) {
            const std::optional<SourceMedia> source = probed(m);
            if (!source || !source->frameRate)
                continue;
            ReadOptions options;
            options.edlRate = nearestStoryRate(*source->frameRate);
            TimelineReading again = readTimelineFile(file, options);
            if (again.timeline) {
                timeline = *again.timeline;
                timeline.warnings.prepend(
                    QStringLiteral("“%1” does not say its frame rate; it was read at %2 fps, the rate of %3.")
                        .arg(QFileInfo(file).fileName(), timeline.rate.label(), m.name));
            }
            break;
        }
    }
    settleMediaStarts(timeline, [&](const ReadMedia& m) -> std::optional<Rational> {
        const std::optional<SourceMedia> source = probed(m);
        if (!source)
            return std::nullopt;
        return mediaStartOf(*source, timeline.rate);
    });

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
