#pragma once
// `ondrel-manager --read-timeline FILE`, for support and scripts: the timeline file read as the
// window reads it, one JSON object a line per clip on standard output. Needs no display and no
// running instance, and writes no file.

#include "core/Platform.h"

#include <QString>

#include <cstdio>

namespace ondrel {

// 0 with the clips printed to `out` (warnings and missing media on `err`); 1 with the reason on
// `err` when the file cannot be read. Media whose start the file does not give (an EDL's) are
// asked of ffprobe, so source times count from each file's first frame.
int readTimelineCommand(const QString& file, const ToolPaths& tools, std::FILE* out, std::FILE* err);

} // namespace ondrel
