#pragma once
// The story handed to other editors: the four interchange files (FCPXML 1.11 and 1.10, FCP 7 XML,
// OTIO, the EDL) written from the story as edited, and subtitles.srt laid out on the same frames.

#include "core/LocalPipeline.h"

#include <QCoroTask>

namespace ondrel {

// Writes into `folder` what `which` names, from `story` and the pipeline's last media paths, whose
// ffprobe answers the pipeline must hold (probed by the run, or asked by the caller). The files are
// made on the main thread (milliseconds) and written on a pool thread, each replaced whole.
QCoro::Task<HandOffOutcome> saveForEditors(LocalPipeline& pipeline, QString folder, QList<StorySegment> story,
                                           HandOffFiles which);

// "story_edit.fcpxml, .xml, .otio, .edl": the shared stem once.
QString handOffFileList(const QStringList& names);
// What the editor should know of a hand-off that was written: moments left out, files at another
// rate; one line each, empty when there is nothing.
QString handOffWarnings(const HandOffOutcome& outcome);

} // namespace ondrel
