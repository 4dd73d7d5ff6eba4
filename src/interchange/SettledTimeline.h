#pragma once
// A timeline file read as far as the media on disk let it be: the EDL's rate taken from the first
// picture it cuts, each file's first frame from the file itself where the timeline does not give
// it, and missing media looked for by name under folders the editor pointed at. The command line
// and the setup page read a file this one way. Blocking (ffprobe runs per file): call it off the
// window's thread.

#include "TimelineReaders.h"

#include "core/Platform.h"

#include <QHash>

namespace ondrel::interchange {

// ffprobe's answer for each file asked, kept so a relink or a second reading asks no file twice.
class MediaProbes {
public:
    explicit MediaProbes(ToolPaths tools)
        : m_tools(std::move(tools)) {}
    // Nothing when ffprobe cannot tell (not media, not there, no answer within 30 s).
    std::optional<SourceMedia> of(const QString& path);

private:
    ToolPaths m_tools;
    QHash<QString, std::optional<SourceMedia>> m_answers;
};

// `relinkFolders`: searched by file name, in order, for the media not found where the file says.
TimelineReading readSettledTimeline(const QString& file, MediaProbes& probes,
                                    const QStringList& relinkFolders = {});

// The found media the clips use, each once, in path order (the order a mine lays its files).
QStringList usedMediaPaths(const ReadTimeline& timeline);

} // namespace ondrel::interchange
