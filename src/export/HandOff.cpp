#include "HandOff.h"

#include "ExportBundle.h"

#include "core/Background.h"
#include "core/Files.h"
#include "interchange/Interchange.h"

#include <QDir>
#include <QFileInfo>

#include <QCoroFuture>

namespace ondrel {

QString handOffFileList(const QStringList& names) {
    QStringList out{names.value(0)};
    for (qsizetype i = 1; i < names.size(); ++i)
        out << names[i].mid(names[i].lastIndexOf(u'.'));
    return out.join(QStringLiteral(", "));
}

QString handOffWarnings(const HandOffOutcome& outcome) {
    QStringList warnings;
    const qsizetype skipped = outcome.skippedMoments.size();
    if (skipped > 0)
        warnings << QStringLiteral(
                        "%1 moment%2 could not be placed: no readable source file plays at %3 time")
                        .arg(skipped)
                        .arg(plural(skipped))
                        .arg(skipped == 1 ? QStringLiteral("its") : QStringLiteral("their"));
    if (!outcome.offRatePaths.isEmpty()) {
        QStringList names;
        for (const QString& path : outcome.offRatePaths)
            names << QFileInfo(path).fileName();
        warnings << QStringLiteral("At another frame rate than the story (converted exactly): ") +
                        names.join(QStringLiteral(", "));
    }
    return warnings.join(u'\n');
}

QCoro::Task<HandOffOutcome> saveForEditors(LocalPipeline& pipeline, QString folder, QList<StorySegment> story,
                                           HandOffFiles which) {
    QList<interchange::SourceMedia> sources;
    for (const QString& path : pipeline.lastMediaPaths().value_or(QStringList())) {
        const Json* probe = pipeline.probeOutput(path);
        sources << interchange::sourceMediaFromProbe(path, probe ? *probe : Json::object());
    }
    const interchange::EditTimeline timeline =
        interchange::buildTimeline(QStringLiteral("Ondrel Story Edit"), story, sources);

    QList<std::pair<QString, QByteArray>> files;
    if (which != HandOffFiles::edl) {
        files << std::pair{interchange::kFcpxmlFileName, interchange::fcpxmlBytes(timeline)};
        files << std::pair{interchange::kFcpxml110FileName,
                           interchange::fcpxmlBytes(timeline, interchange::FcpxmlVersion::v1_10)};
    }
    if (which == HandOffFiles::everyEditor) {
        files << std::pair{interchange::kFcp7XmlFileName, interchange::fcp7XmlBytes(timeline)};
        files << std::pair{interchange::kOtioFileName, interchange::otioBytes(timeline)};
    }
    if (which != HandOffFiles::fcpxml)
        files << std::pair{interchange::kEdlFileName, interchange::edlBytes(timeline)};
    // The subtitles every editor imports beside the timeline, timed to its frames: each moment rounded
    // to whole frames would otherwise drift them over a long story.
    if (which == HandOffFiles::everyEditor) {
        QList<ExportBundle::PlacedMoment> placed;
        const double frame = double(timeline.rate.den) / double(timeline.rate.num);
        for (const interchange::Event& event : interchange::eventsOf(timeline)) {
            const StorySegment& moment = story[timeline.eventMoments.value(event.number - 1)];
            placed.push_back({moment, double(event.recordIn) * frame, double(event.duration()) * frame,
                              pipeline.lastWordTimes().value(moment.id())});
        }
        if (const std::optional<QString> srt = ExportBundle::subtitlesSrtOf(placed))
            files << std::pair{QStringLiteral("subtitles.srt"), srt->toUtf8()};
    }

    auto write = [folder, files] {
        QString error;
        if (!QDir().mkpath(folder))
            return QStringLiteral("the folder %1 can't be made").arg(folder);
        for (const auto& [name, bytes] : files)
            if (!writeFileAtomically(folder + u'/' + name, bytes, &error))
                return name + QStringLiteral(": ") + error;
        return QString();
    };
    QFuture<QString> written = onWorkerThread(std::move(write));
    HandOffOutcome outcome;
    outcome.error = co_await written;
    for (const auto& file : files)
        if (file.first.startsWith(QLatin1String("story_edit")) &&
            file.first != interchange::kFcpxml110FileName)
            outcome.written << file.first;
    outcome.skippedMoments = timeline.skippedMoments;
    outcome.offRatePaths = interchange::filesOffTimelineRate(timeline);
    co_return outcome;
}

} // namespace ondrel
