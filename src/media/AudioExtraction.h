#pragma once
// From a Resolve timeline to the audio the speech-to-text service is fed: the source files
// behind it, one mono 16 kHz WAV of them all, and pieces of 300 seconds.

#include "core/Json.h"
#include "core/LocalPipeline.h"
#include "core/PythonProgram.h"

#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <optional>

namespace ondrel {

constexpr double kChunkSeconds = 300.0;

// ---- the timeline's files -------------------------------------------------------------------

// The Python program that prints the timeline's file paths.
PythonProgram timelineMediaProgram(const QString& timeline, const QString& moduleDir);
// Its output read line by line; absent for an error or when no path is left.
std::optional<QStringList> parseTimelineMediaOutput(const QString& output);
QCoro::Task<std::optional<QStringList>> getTimelineMedia(LocalPipeline& pipeline, QString timeline);

// ---- extraction -----------------------------------------------------------------------------

// What ffprobe says of one source, as far as extraction cares.
struct SourceAudio {
    QString path;
    bool readable = false; // ffprobe could read it
    QString layout;        // its streams' kinds and audio formats, in order
    int audioStream = -1;  // which audio stream ffmpeg would pick (-1: none)
    double duration = 0;   // the container's length in seconds
};
SourceAudio sourceAudioFromProbe(const QString& path, const std::optional<Json>& probe);

// Files taken one by one go to ffmpeg at most this many to a run: a run holds all its inputs open
// at once, and a process may open only so many files (256 by default for a macOS app, often 1024
// on Linux), whatever the number of clips on the timeline.
constexpr int kInputsPerRun = 32;

struct ExtractionPlan {
    QList<QStringList> runs; // ffmpeg's arguments, run after run; the last one writes the output
    QString concatList;      // the text of concat.txt ("" for one file)
    QString piecesList;      // the text of pieces.txt in the pieces folder ("" for one run)
    bool perFileAudio = false;
};

// One file, or several of one stream layout: the plain arguments (ffmpeg's concat reader).
// Several files of different layouts, or with one ffprobe cannot read: each readable file's own
// audio stream, padded to its length, or silence as long as a file without audio, joined in a
// filter graph, `inputsPerRun` files at a time into pieces in `piecesDir`, which a last run
// joins. The concat reader would map streams by position and decode a camera file's video as
// sound, and it stops at the first file it cannot open.
ExtractionPlan planExtraction(const QList<SourceAudio>& sources, const QString& concatPath,
                              const QString& piecesDir, const QString& output,
                              int inputsPerRun = kInputsPerRun);

// With `transcribeIn`, each chunk of 300 s is cut as FLAC as soon as ffmpeg has written its
// samples, and its request in that language goes out while the rest is still being extracted
// (ChunkUploads); chunkAudio and transcribe of the same entry go on from there.
QCoro::Task<std::optional<QString>> extractAudio(LocalPipeline& pipeline, QStringList mediaPaths,
                                                 std::optional<QString> transcribeIn = std::nullopt);

// ---- chunking -------------------------------------------------------------------------------

// True for a WAV in the extraction's own format: PCM, 16-bit, mono, 16 kHz.
bool isExtractedPcmWav(const QString& path);

// ffmpeg's arguments for chunk `index` of a file in another layout than the extraction's own: the
// documented cut, written as FLAC (the same samples) when `output` ends in ".flac".
QStringList chunkArguments(const QString& input, int index, const QString& output, bool seekBeforeInput);
// How many chunks a duration needs (0 for an unreadable one).
int chunkCount(double duration);

// FLAC chunks of 300 s: those the entry's extraction has cut already and the rest, each encoded
// from the extraction's own WAV reading only its samples; any other file is cut by ffmpeg as
// documented, into FLAC.
QCoro::Task<QStringList> chunkAudio(LocalPipeline& pipeline, QString wavPath);

} // namespace ondrel
