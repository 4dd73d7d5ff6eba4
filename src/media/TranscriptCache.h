#pragma once
// What outlives a run: the transcript cache (spares the service a repeat within one launch), the
// older stand-alone tool's cache, and the saved projects a re-mine starts from.

#include "core/LocalPipeline.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel {

// The cache key of a set of files: their sorted paths joined with "|", hashed with this process's
// seed, as a signed number in lower-case base 16. Stable within a launch, new at the next.
QString transcriptCacheKey(const QStringList& mediaPaths);
QString transcriptCacheDir(const AppPaths& paths, const QStringList& mediaPaths);

std::optional<TranscriptResult> loadCachedTranscript(LocalPipeline& pipeline, const QStringList& mediaPaths);
std::optional<TranscriptResult> loadLegacyTaleQuarryCache(LocalPipeline& pipeline,
                                                          const QStringList& mediaPaths);
void saveTranscriptCache(LocalPipeline& pipeline, const TranscriptResult& transcript,
                         const QStringList& mediaPaths);

// Where saved projects live: beside the export bundles, one folder a timeline.
QString projectsDir(const AppPaths& paths);
void saveProject(LocalPipeline& pipeline, const QString& timeline, const TranscriptResult& transcript,
                 const QStringList& mediaPaths, const std::optional<MiningResults>& results,
                 const std::optional<QString>& presetId, double targetMinutes);
// Every project that decodes, newest first.
QList<SavedProject> listProjects(const AppPaths& paths);
// The timeline's own saved project, when there is one that decodes.
std::optional<SavedProject> loadSavedProject(const AppPaths& paths, const QString& timeline);

} // namespace ondrel
