#pragma once
// Editors' timeline files read back into one record: FCPXML (a file or a .fcpxmld bundle), FCP 7
// XML (xmeml), OpenTimelineIO JSON and CMX 3600 EDLs. The record keeps every time exact (a fraction
// of seconds), so clips cut at 23.976 and 25 in one timeline both land on their own frames.
//
//   const TimelineReading reading = readTimelineFile(path);
//   if (!reading.timeline) { show(reading.error); return; }        // one message naming the file
//   ReadTimeline t = *reading.timeline;
//   if (!missingMedia(t).isEmpty()) show(missingMediaMessage(t));  // "Locate folder…":
//   relinkByFileName(t, filesUnder(folder));
//   t.warnings                                                     // mixed rates and the like

#include "EditTimeline.h"
#include "Rational.h"
#include "SourceMedia.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace ondrel::interchange {

// Past these a file is refused as no editor's timeline: memory and time stay bounded whatever
// the file holds.
inline constexpr qint64 kMaxTimelineFileBytes = 200LL * 1024 * 1024;
inline constexpr int kMaxTimelineNesting = 64;
inline constexpr int kMaxTimelineClips = 100000;

enum class TimelineFormat { fcpxml, fcp7Xml, otio, edl };

// A media file as the timeline names it.
struct ReadMedia {
    // The file's name ("A001_C002.mov"), which a relink looks for; the reel when that is all an
    // EDL gives.
    QString name;
    // Where the timeline says the file is, absolute and clean (relative references resolved
    // against the timeline's folder); empty when the timeline names no file, only a reel.
    QString path;
    bool found = false;
    QString reel;
    // The media's first frame on its own timecode, in seconds; absent when the timeline does not
    // say (an EDL, an OTIO reference without its available range) until `settleMediaStarts`.
    std::optional<Rational> start;
    // The picture's rate when the timeline gives it.
    std::optional<FrameRate> rate;

    friend bool operator==(const ReadMedia&, const ReadMedia&) = default;
};

struct ReadClip {
    QString track; // "V1", "A2"
    TrackKind kind = TrackKind::video;
    QString name;
    int media = 0; // index into ReadTimeline::media
    // Seconds on the media's own timecode (0 is its midnight); see `sourceFromFirstFrame`.
    Rational sourceIn;
    Rational sourceOut;
    // Seconds from the timeline's first frame.
    Rational recordIn;
    Rational recordOut;

    friend bool operator==(const ReadClip&, const ReadClip&) = default;
};

struct ReadMarker {
    QString name;
    Rational record; // seconds from the timeline's first frame
    friend bool operator==(const ReadMarker&, const ReadMarker&) = default;
};

struct ReadTimeline {
    QString file; // the path read
    TimelineFormat format = TimelineFormat::fcpxml;
    QString formatName; // "FCPXML 1.11", "FCP 7 XML", "OTIO", "CMX 3600 EDL"
    QString name;
    FrameRate rate;
    bool dropFrame = false;
    // An EDL does not name its rate: false when `rate` was guessed from its frame counts.
    bool rateStated = true;
    // The timecode of the timeline's first frame, in seconds.
    Rational start;
    QList<ReadMedia> media;
    // By track (V1, V2, …, then A1, A2, …), each in record order.
    QList<ReadClip> clips;
    QList<ReadMarker> markers; // in record order
    // What was read other than as written, in the program's words, each naming the file.
    QStringList warnings;

    friend bool operator==(const ReadTimeline&, const ReadTimeline&) = default;
};

// Either a timeline or, when the file cannot be read, one message that names it and says why.
struct TimelineReading {
    std::optional<ReadTimeline> timeline;
    QString error;
};

struct ReadOptions {
    // The rate an EDL counts; guessed from its highest frame label when absent.
    std::optional<FrameRate> edlRate;
    // Whether a path names a file (the file system's answer when empty); the readers never open
    // media themselves.
    std::function<bool(const QString& path)> isFile;
};

// A file, or a .fcpxmld bundle folder (its Info.fcpxml); the format is told from the content.
TimelineReading readTimelineFile(const QString& path, ReadOptions options = {});
// The same reading over bytes already in memory: `path` is the file they came from, for the
// messages and for relative references. Reads nothing but through options.isFile.
TimelineReading readTimelineBytes(const QByteArray& bytes, const QString& path, ReadOptions options = {});

// Each format's reader alone (the dispatch above picks one from the content).
TimelineReading readFcpxml(const QByteArray& bytes, const QString& path, const ReadOptions& options);
TimelineReading readFcp7Xml(const QByteArray& bytes, const QString& path, const ReadOptions& options);
TimelineReading readOtio(const QByteArray& bytes, const QString& path, const ReadOptions& options);
TimelineReading readEdl(const QByteArray& bytes, const QString& path, const ReadOptions& options);

// Indexes into media of the files not found.
QList<int> missingMedia(const ReadTimeline& timeline);
// True when the timeline names some media by no file, only a reel or a clip's name (an EDL without
// source comments): the screen then asks for the folder they are in.
bool namesMediaWithoutFiles(const ReadTimeline& timeline);
// One message for the screen listing every file not found; empty when none is missing.
QString missingMediaMessage(const ReadTimeline& timeline);

// Every file under the folder (its subfolders too, links not followed), at most `limit` of them:
// what a relink searches.
QStringList filesUnder(const QString& folder, int limit = 200000);
// Points each missing medium at the file of its name among `files` (exactly, else ignoring case);
// a medium named without a file (a reel, a clip's name) at the one file whose name without its
// extension is that name, or for a reel, starts with it (reels are cut to 8 characters). A name
// that several files share stays missing. Gives how many were found.
int relinkByFileName(ReadTimeline& timeline, const QStringList& files);

// Fills the media starts the timeline did not give (`startOf` answers from the file itself,
// such as `mediaStartOf` over ffprobe's answer). Clips keep their source times.
void settleMediaStarts(ReadTimeline& timeline,
                       const std::function<std::optional<Rational>(const ReadMedia&)>& startOf);
// A clip's source time from the media's first frame, when the media's start is known.
std::optional<Rational> sourceFromFirstFrame(const ReadTimeline& timeline, const ReadClip& clip, Rational at);

// Paths of the media whose picture rate is not the timeline's.
QStringList mediaOffTimelineRate(const ReadTimeline& timeline);

// One JSON object a line per clip, in the clips' order: track, name, path (null unless found),
// rate ("24000/1001"), sourceIn/sourceOut (seconds from the media's first frame, null while its
// start is unknown) and recordIn/recordOut (seconds from the timeline's first frame).
QByteArray clipLinesJson(const ReadTimeline& timeline);

// "24000/1001", "25/1".
QString rateText(FrameRate rate);

} // namespace ondrel::interchange
