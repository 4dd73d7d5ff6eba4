#pragma once
// The reviewed story edit as a CMX3600-style edit decision list: each segment's place on the
// concatenated clock mapped back to its source file's timecode, the events laid end to end on
// a record track from zero.

#include "core/Records.h"

#include <QList>
#include <QString>

#include <optional>

namespace ondrel {

class EDLExporter {
public:
    // The list as text, or absent with the reason in *error: a rate that is not a number above
    // 0, or a time that is not finite or does not fit a timecode.
    std::optional<QString> exportText(const QString& projectName, const QList<StorySegment>& segments,
                                      const QList<MediaFileInfo>& mediaFiles = {}, double fps = 24,
                                      QString* error = nullptr) const;

    // Writes the list as UTF-8, atomically. On failure nothing is written and *error says why.
    bool exportToFile(const QString& path, const QString& projectName, const QList<StorySegment>& segments,
                      const QList<MediaFileInfo>& mediaFiles = {}, double fps = 24,
                      QString* error = nullptr) const;

    // The source name without its extension, cut to 8 characters; otherwise untouched.
    static QString reelName(const QString& sourceClip);
};

} // namespace ondrel
