#pragma once
// The hand-off files: the edited story for Final Cut Pro, Premiere, Resolve (any edition, also
// free) and anything that reads an EDL. Each writer is a pure function of the timeline.
//
//   QList<SourceMedia> sources;                          // every file of the run, used or not:
//   for (const QString& path : mediaPaths)               // the clock lays out all of them
//       sources << sourceMediaFromProbe(path, probeOutput ? *probeOutput : Json::object());
//   const EditTimeline timeline = buildTimeline(name, editedSegments, sources);
//   writeInterchangeFiles(timeline, folder, &error);   // the five files below
//   filesOffTimelineRate(timeline);                     // for the screen's warning

#include "EditTimeline.h"

#include <QByteArray>
#include <QString>

namespace ondrel::interchange {

inline const QString kFcpxmlFileName = QStringLiteral("story_edit.fcpxml");
inline const QString kFcpxml110FileName = QStringLiteral("story_edit_1.10.fcpxml");
inline const QString kFcp7XmlFileName = QStringLiteral("story_edit.xml");
inline const QString kOtioFileName = QStringLiteral("story_edit.otio");
inline const QString kEdlFileName = QStringLiteral("story_edit.edl");

// Final Cut Pro 10.7 reads 1.11; Resolve 18.5 reads up to 1.10. Same content in both.
enum class FcpxmlVersion { v1_10, v1_11 };

QByteArray fcpxmlBytes(const EditTimeline& timeline, FcpxmlVersion version = FcpxmlVersion::v1_11);
// Final Cut Pro 7 XML (xmeml 4), as Premiere Pro imports it.
QByteArray fcp7XmlBytes(const EditTimeline& timeline);
// OpenTimelineIO JSON, as Resolve 18.5 and later import it.
QByteArray otioBytes(const EditTimeline& timeline);
// CMX 3600.
QByteArray edlBytes(const EditTimeline& timeline);

// Makes the folder when missing and writes the five files, each replaced whole or left as it was.
// On failure *error names the file and the reason; files already written stay.
bool writeInterchangeFiles(const EditTimeline& timeline, const QString& folder, QString* error = nullptr);

} // namespace ondrel::interchange
