#pragma once
// The reviewed story edit as an FCPXML 1.11 document: one format, an asset per source file, a
// project whose spine holds a clip per segment, then the captions and a chapter marker per
// segment. The text is assembled by hand in a fixed layout, indentation included.

#include "core/Records.h"

#include <QList>
#include <QString>

#include <optional>

namespace ondrel {

// Times as FCPXML rationals. Absent where the value cannot be written: a rate that is not a
// finite number above 0 or too small for a whole-number unit, or a time that is not finite
// or whose count of units does not fit a signed 64-bit integer.
namespace FCPXMLTime {
std::optional<QString> frameDuration(double fps);
// The unit of every rational: 1/denominator of a second. Common rates by table, exactly.
double standardDenominator(double fps);
// Rounded to the nearest unit, halves away from zero; whole seconds as "{n}s", otherwise the
// unreduced "{n}/{d}s". Not snapped to frames.
std::optional<QString> rational(double seconds, double fps);
inline std::optional<QString> offset(double seconds, double fps) {
    return rational(seconds, fps);
}
} // namespace FCPXMLTime

class FCPXMLExporter {
public:
    // The document, or absent with the reason in *error.
    std::optional<QString> exportText(const QString& projectName, const QList<StorySegment>& segments,
                                      const QList<MediaFileInfo>& mediaFiles, double fps = 24,
                                      const QList<Subtitle>& subtitles = {}, QString* error = nullptr) const;

    // Writes the document as UTF-8, atomically. On failure nothing is written and *error says why.
    bool exportToFile(const QString& path, const QString& projectName, const QList<StorySegment>& segments,
                      const QList<MediaFileInfo>& mediaFiles, double fps = 24,
                      const QList<Subtitle>& subtitles = {}, QString* error = nullptr) const;

    // & < > " ' as entities, ampersand first; for attributes and text alike.
    static QString escape(const QString& text);
};

} // namespace ondrel
