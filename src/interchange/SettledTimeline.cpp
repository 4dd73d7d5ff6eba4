#include "SettledTimeline.h"

#include "core/Json.h"
#include "core/Text.h"

#include <QFileInfo>
#include <QProcess>
#include <QSet>

namespace ondrel::interchange {

std::optional<SourceMedia> MediaProbes::of(const QString& path) {
    auto it = m_answers.find(path);
    if (it != m_answers.end())
        return *it;
    std::optional<SourceMedia> answer;
    QProcess p;
    p.start(m_tools.ffprobe,
            {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-print_format"),
             QStringLiteral("json"), QStringLiteral("-show_format"), QStringLiteral("-show_streams"), path});
    // A file on a sleeping network share may keep ffprobe waiting; the reading still ends.
    if (p.waitForStarted(5000) && p.waitForFinished(30000)) {
        const std::optional<Json> json = parseJson(p.readAllStandardOutput());
        if (json && json->is_object() && !json->empty())
            answer = sourceMediaFromProbe(path, *json);
    } else {
        p.kill();
        p.waitForFinished(1000);
    }
    m_answers.insert(path, answer);
    return answer;
}

TimelineReading readSettledTimeline(const QString& file, MediaProbes& probes,
                                    const QStringList& relinkFolders) {
    TimelineReading reading = readTimelineFile(file);
    if (!reading.timeline)
        return reading;

    auto relink = [&](ReadTimeline& timeline) {
        for (const QString& folder : relinkFolders) {
            if (missingMedia(timeline).isEmpty())
                break;
            relinkByFileName(timeline, filesUnder(folder));
        }
    };
    relink(*reading.timeline);

    if (!reading.timeline->rateStated) {
        // An EDL's labels do not tell 23.976 from 24: the first picture it cuts does.
        for (const ReadMedia& m : std::as_const(reading.timeline->media)) {
            if (!m.found)
                continue;
            const std::optional<SourceMedia> source = probes.of(m.path);
            if (!source || !source->frameRate)
                continue;
            ReadOptions options;
            options.edlRate = nearestStoryRate(*source->frameRate);
            TimelineReading again = readTimelineFile(file, options);
            if (again.timeline) {
                relink(*again.timeline);
                again.timeline->warnings.prepend(
                    QStringLiteral("“%1” does not say its frame rate; it was read at %2 fps, the rate of %3.")
                        .arg(QFileInfo(file).fileName(), again.timeline->rate.label(), m.name));
                reading = std::move(again);
            }
            break;
        }
    }
    ReadTimeline& timeline = *reading.timeline;
    const FrameRate rate = timeline.rate;
    settleMediaStarts(timeline, [&](const ReadMedia& m) -> std::optional<Rational> {
        if (!m.found)
            return std::nullopt;
        const std::optional<SourceMedia> source = probes.of(m.path);
        if (!source)
            return std::nullopt;
        return mediaStartOf(*source, rate);
    });
    return reading;
}

QStringList usedMediaPaths(const ReadTimeline& timeline) {
    QSet<int> used;
    for (const ReadClip& clip : timeline.clips)
        used.insert(clip.media);
    QStringList paths;
    for (int index : std::as_const(used)) {
        const ReadMedia& m = timeline.media[index];
        if (m.found && !paths.contains(m.path))
            paths << m.path;
    }
    return sortedPaths(paths);
}

} // namespace ondrel::interchange
