#pragma once
// The plain records of a mining run. Immutable-by-convention value types; no I/O here.

#include "Json.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace ondrel {

// Shortest decimal text that reads back as the same double, always with a decimal part
// ("3.0", "0.1", "1e-05", "1e+16"); "nan", "inf", "-inf" for the rest.
QString formatDouble(double v);

// ---- MiningMode ----------------------------------------------------------------------------

enum class MiningMode { fullMine, storyMine, structure, audit };

namespace MiningModes {
const QList<MiningMode>& allCases();
std::optional<MiningMode> fromRaw(const QString& raw);
QString rawValue(MiningMode m);
QString modeLabel(MiningMode m);
QString description(MiningMode m);
QString subtitle(MiningMode m);
// A colour word for the screens: "accent", "blue", "green" or "purple".
QString color(MiningMode m);
} // namespace MiningModes

// ---- PipelineStep --------------------------------------------------------------------------

enum class PipelineStep {
    idle,
    connecting,
    extracting,
    chunking,
    transcribing,
    analyzing,
    translating,
    building,
    complete,
    error
};

namespace PipelineSteps {
std::optional<PipelineStep> fromRaw(const QString& raw);
QString rawValue(PipelineStep s);
} // namespace PipelineSteps

// ---- PipelineLog ---------------------------------------------------------------------------

class Clock;

struct PipelineLog {
    QUuid id;
    QString timestamp;
    QString text;
    QString color;

    static PipelineLog make(const QString& text, const QString& color = QStringLiteral("muted"));
    static PipelineLog make(const Clock& clock, const QString& text,
                            const QString& color = QStringLiteral("muted"));
};

// ---- Story ---------------------------------------------------------------------------------

struct StorySegment {
    qint64 index = 0;
    double startTime = 0;
    double endTime = 0;
    QString sourceClip;
    QString transcript;
    QString translation;
    std::optional<QString> chapter;

    qint64 id() const { return index; }
    bool operator==(const StorySegment&) const = default;
};

struct Subtitle {
    double startTime = 0;
    double endTime = 0;
    QString text;

    QString id() const { return formatDouble(startTime) + '-' + formatDouble(endTime); }
    bool operator==(const Subtitle&) const = default;
};

struct Act {
    QString name;
    QList<qint64> segments;

    QString id() const { return name; }
    bool operator==(const Act&) const = default;
};

struct StoryStructure {
    QList<Act> acts;
    double totalDuration = 0;
    bool operator==(const StoryStructure&) const = default;
};

struct MiningResults {
    QList<StorySegment> segments;
    StoryStructure structure;
    QList<Subtitle> subtitles;
    double estimatedDuration = 0;
    bool operator==(const MiningResults&) const = default;
};

// The story as the editor left it on the review: these moments in this order; each act points at
// the new places of its moments still there (an act left without any goes), the subtitles are
// those that overlap a kept moment, and the duration is the moments' sum.
MiningResults withEditedSegments(MiningResults results, const QList<StorySegment>& segments);

// ---- Audit ---------------------------------------------------------------------------------

struct UsedSegment {
    double startTime = 0;
    double endTime = 0;
    QString text;

    QString id() const { return formatDouble(startTime) + '-' + formatDouble(endTime); }
    bool operator==(const UsedSegment&) const = default;
};

struct GoldMoment {
    double startTime = 0;
    double endTime = 0;
    QString text;
    QString reason;
    qint64 emotionalWeight = 0;

    QString id() const { return formatDouble(startTime) + '-' + formatDouble(endTime); }
    bool operator==(const GoldMoment&) const = default;
};

struct Redundancy {
    double firstStart = 0;
    double firstEnd = 0;
    double secondStart = 0;
    double secondEnd = 0;
    QString topic;

    QString id() const { return formatDouble(firstStart) + '-' + formatDouble(secondStart); }
    bool operator==(const Redundancy&) const = default;
};

struct AlternateTake {
    double existingStart = 0;
    double existingEnd = 0;
    double alternateStart = 0;
    double alternateEnd = 0;
    QString alternateText;
    QString reason;

    // Alternate first, against the field order: the screens key on it this way.
    QString id() const { return formatDouble(alternateStart) + '-' + formatDouble(existingStart); }
    bool operator==(const AlternateTake&) const = default;
};

struct AuditReport {
    double coveragePercent = 0;
    QList<UsedSegment> usedSegments;
    QList<GoldMoment> buriedGold;
    QList<Redundancy> redundancies;
    QList<AlternateTake> alternates;
    QStringList themeGaps;
    double confidenceScore = 0;
    QString summary;
    bool operator==(const AuditReport&) const = default;
};

// ---- Media ---------------------------------------------------------------------------------

struct ProbeResult {
    QString path;
    QString filename;
    double duration = 0;
    std::optional<QString> startTimecode;
    std::optional<double> startTimecodeSeconds;
    std::optional<qint64> sampleRate;
    std::optional<double> fps;
    std::optional<QString> codec;
    bool hasVideo = false;
    bool hasAudio = false;
    std::optional<qint64> channels;
    std::optional<qint64> bitDepth;
    bool operator==(const ProbeResult&) const = default;
};

struct MediaFileInfo {
    QString path;
    QString filename;
    double duration = 0;
    std::optional<QString> startTimecode;
    double fps = 24;
    bool hasVideo = false;
    bool hasAudio = true;
    std::optional<QString> codec;

    MediaFileInfo() = default;
    MediaFileInfo(QString path, QString filename, double duration,
                  std::optional<QString> startTimecode = std::nullopt, double fps = 24, bool hasVideo = false,
                  bool hasAudio = true, std::optional<QString> codec = std::nullopt)
        : path(std::move(path))
        , filename(std::move(filename))
        , duration(duration)
        , startTimecode(std::move(startTimecode))
        , fps(fps)
        , hasVideo(hasVideo)
        , hasAudio(hasAudio)
        , codec(std::move(codec)) {}
    bool operator==(const MediaFileInfo&) const = default;
};

// ---- Server protocol -----------------------------------------------------------------------

struct UploadResponse {
    QString jobId;
};

struct ProcessRequest {
    QString jobId;
    QString mode;
};

struct JobStatusResponse {
    QString status;
    double progress = 0;
    std::optional<MiningResults> result;
};

// ---- Transcripts ---------------------------------------------------------------------------

struct WhisperSegment {
    double start = 0;
    double end = 0;
    QString text;
};

struct WhisperResponse {
    QString text;
    std::optional<QString> language;
    QList<WhisperSegment> segments;
};

struct TranscriptSegment {
    double start = 0;
    double end = 0;
    QString text;
    QString language;
    bool operator==(const TranscriptSegment&) const = default;
};

struct TranscriptResult {
    QList<TranscriptSegment> segments;
    QString language;
    bool operator==(const TranscriptResult&) const = default;
};

// Word count as the log lines count it: pieces split at single blanks, empty pieces left out.
qint64 countWords(const TranscriptResult& transcript);

struct CachedSegment {
    double start = 0;
    double end = 0;
    QString text;
    bool operator==(const CachedSegment&) const = default;
};

struct CachedTranscript {
    QString language;
    QList<CachedSegment> segments;
    QStringList mediaPaths;
    double createdAt = 0;
};

// Where a mine's media came from when not from a Resolve timeline: media files chosen by hand
// ("files", `path` the folder they were picked in) or the clips of an editor's timeline file
// ("timelineFile", `path` that file). A project without one came from Resolve.
struct ProjectSource {
    QString kind;
    std::optional<QString> path;
    bool operator==(const ProjectSource&) const = default;
};

struct SavedProject {
    QString timeline;
    double createdAt = 0;
    QString language;
    QStringList mediaPaths;
    QList<CachedSegment> transcript;
    std::optional<MiningResults> results;
    std::optional<QString> presetId;
    double targetMinutes = 0;
    std::optional<ProjectSource> source;

    QString id() const;
};

// The source of a mine: the name it goes by (the Resolve timeline's, or the one a file source is
// given), and for a file source where its files came from and the files themselves.
struct MineSource {
    QString name;
    std::optional<ProjectSource> files; // absent: a Resolve timeline
    QStringList mediaPaths;             // a file source's files

    bool isResolve() const { return !files.has_value(); }
    static MineSource resolveTimeline(QString timeline) { return {std::move(timeline), std::nullopt, {}}; }
};

struct WordTimestamp {
    QString word;
    double start = 0;
    double end = 0;
    bool operator==(const WordTimestamp&) const = default;
};

struct WordSegment {
    qint64 segmentIndex = 0;
    QList<WordTimestamp> words;
    bool operator==(const WordSegment&) const = default;
};

// ---- Style ---------------------------------------------------------------------------------

struct StyleSliders {
    double pace = 0.5;
    double structure = 0.5;
    double emotion = 0.5;
    double length = 0.5;
    double boldness = 0.3; // deliberately lower than the rest
    double silence = 0.5;
    bool operator==(const StyleSliders&) const = default;
};

// ---- JSON field tables ---------------------------------------------------------------------

#define ONDREL_FIELDS(R, ...)                                                                                \
    template <> struct JsonFields<R> {                                                                       \
        using Self = R;                                                                                      \
        static constexpr auto fields = std::make_tuple(__VA_ARGS__);                                         \
    };
#define F(name) field(#name, &Self::name)

ONDREL_FIELDS(StorySegment, F(index), F(startTime), F(endTime), F(sourceClip), F(transcript), F(translation),
              F(chapter))
ONDREL_FIELDS(Subtitle, F(startTime), F(endTime), F(text))
ONDREL_FIELDS(Act, F(name), F(segments))
ONDREL_FIELDS(StoryStructure, F(acts), F(totalDuration))
ONDREL_FIELDS(MiningResults, F(segments), F(structure), F(subtitles), F(estimatedDuration))
ONDREL_FIELDS(UsedSegment, F(startTime), F(endTime), F(text))
ONDREL_FIELDS(GoldMoment, F(startTime), F(endTime), F(text), F(reason), F(emotionalWeight))
ONDREL_FIELDS(Redundancy, F(firstStart), F(firstEnd), F(secondStart), F(secondEnd), F(topic))
ONDREL_FIELDS(AlternateTake, F(existingStart), F(existingEnd), F(alternateStart), F(alternateEnd),
              F(alternateText), F(reason))
ONDREL_FIELDS(AuditReport, F(coveragePercent), F(usedSegments), F(buriedGold), F(redundancies), F(alternates),
              F(themeGaps), F(confidenceScore), F(summary))
ONDREL_FIELDS(ProbeResult, F(path), F(filename), F(duration), F(startTimecode), F(startTimecodeSeconds),
              F(sampleRate), F(fps), F(codec), F(hasVideo), F(hasAudio), F(channels), F(bitDepth))
ONDREL_FIELDS(MediaFileInfo, F(path), F(filename), F(duration), F(startTimecode), F(fps), F(hasVideo),
              F(hasAudio), F(codec))
ONDREL_FIELDS(UploadResponse, F(jobId))
ONDREL_FIELDS(ProcessRequest, F(jobId), F(mode))
ONDREL_FIELDS(JobStatusResponse, F(status), F(progress), F(result))
ONDREL_FIELDS(WhisperSegment, F(start), F(end), F(text))
ONDREL_FIELDS(WhisperResponse, F(text), F(language), F(segments))
ONDREL_FIELDS(CachedSegment, F(start), F(end), F(text))
ONDREL_FIELDS(CachedTranscript, F(language), F(segments), F(mediaPaths), F(createdAt))
ONDREL_FIELDS(ProjectSource, F(kind), F(path))
ONDREL_FIELDS(SavedProject, F(timeline), F(createdAt), F(language), F(mediaPaths), F(transcript), F(results),
              F(presetId), F(targetMinutes), F(source))
ONDREL_FIELDS(StyleSliders, F(pace), F(structure), F(emotion), F(length), F(boldness), F(silence))

#undef F
#undef ONDREL_FIELDS

} // namespace ondrel
