#pragma once
// What the editor takes away at the end of a run: one folder per timeline with the subtitles,
// the full transcript, a story brief and the raw results. Each file is made and written on its
// own; one that cannot be made or written is left out and the rest still appear.

#include "core/Records.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

namespace ondrel {

class LocalPipeline;

namespace ExportBundle {

// Seconds cut to a whole number toward zero, then laid out. Absent for a value that is not
// finite or does not fit a signed 64-bit integer.
std::optional<QString> formatTimestamp(double seconds); // "%d:%02d", minutes not carried into hours
std::optional<QString> formatDuration(double seconds);  // the same form
std::optional<QString> srtTime(double seconds);         // "hh:mm:ss,mmm", milliseconds cut, not rounded

// The SRT on the clock of the new edit: 0 is the start of the first segment. Cards follow the
// word times of a segment's WordSegment when it has words, else they are spread evenly. Every
// word of a segment shows, in order, on cards inside that segment's time; a segment of no length
// shows none.
// Each file's text is absent, with the reason in *error, when a time in it cannot be written.
std::optional<QString> subtitlesSrt(const MiningResults& analysis, const QList<WordSegment>& wordSegments,
                                    QString* error = nullptr);
// A moment as it lies on an edit: where it starts on the edit's clock, how long it runs there, and
// its spoken words' times from its own start.
struct PlacedMoment {
    StorySegment segment;
    double start = 0;
    double duration = 0;
    QList<WordTimestamp> words;
};
// The SRT of moments laid on an edit's clock (an editor's timeline, in order), cards as above.
std::optional<QString> subtitlesSrtOf(const QList<PlacedMoment>& moments, QString* error = nullptr);
std::optional<QString> transcriptText(const TranscriptResult& transcript, QString* error = nullptr);
std::optional<QString> storyBrief(const QString& timeline, const MiningResults& analysis,
                                  const QDateTime& now, QString* error = nullptr);

// Writes subtitles.srt, transcript.txt, story_brief.md and mining_results.json into the
// timeline's export folder, overwriting an earlier run, and returns the folder. Never fails:
// a file that cannot be made or written is skipped with a console note.
QString saveExports(LocalPipeline& pipeline, const QString& timeline, const MiningResults& analysis,
                    const TranscriptResult& transcript, const QList<WordSegment>& wordSegments);

} // namespace ExportBundle

} // namespace ondrel
