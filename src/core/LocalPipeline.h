#pragma once
// The object of a mining run: walks the steps in their fixed order on the main thread and
// publishes where it stands. The work of each step is plugged in by the subsystem that owns it
// (media, analysis, export, resolve) through StepOperations, so this layer depends on none of
// them; until a subsystem installs its step, the step gives its absent or false outcome.
//
// A pipeline is always shared-owned (create()): every run, audit and build holds it until it
// ends, so a screen that lets go of it mid-run never leaves a step resuming into freed memory.
// Runs, audits and builds of the whole process take turns through WorkQueue.

#include "Clock.h"
#include "Http.h"
#include "PipelineLogModel.h"
#include "Platform.h"
#include "Records.h"
#include "StopSignal.h"
#include "ToolRunner.h"
#include "WorkQueue.h"

#include <QHash>
#include <QMap>
#include <QNetworkAccessManager>
#include <QObject>
#include <QProcessEnvironment>

#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>

namespace ondrel {

class LocalPipeline;

// Everything a pipeline needs from the outside world, injectable for tests.
struct PipelineEnvironment {
    ToolPaths tools;
    AppPaths paths;
    Endpoints endpoints;
    QProcessEnvironment env;
    const Clock* clock = nullptr; // not owned; the system clock when null
    // Most requests of one step open at once (see RequestsAhead: it starts with four and grows
    // with the answers up to this). 1 sends each request only at its turn.
    int maxOpenRequests = 8;
    // Chunks and moments go up as lossless FLAC, about half the bytes; false sends them as WAV, as
    // first designed (the benchmark compares the two).
    bool flacUploads = true;

    static PipelineEnvironment platformDefault();
};

// A clip of an editor's cut: its file and the stretch of it used, in seconds from the file's first
// sample.
struct CutClip {
    QString path;
    double sourceIn = 0;
    double sourceOut = 0;
};

// The hand-off files for other editors: all of them (with subtitles laid on their frames), or the
// FCPXML or the EDL alone.
enum class HandOffFiles { everyEditor, fcpxml, edl };
struct HandOffOutcome {
    QString error;                // empty when every file was written
    QStringList written;          // "story_edit.fcpxml", … (the 1.10 variant and the SRT not named)
    QList<qint64> skippedMoments; // StorySegment::index of moments no file plays at
    QStringList offRatePaths;     // files whose picture rate is not the timeline's
};

// The step operations. Every one takes the pipeline as its first argument and must copy what it
// keeps: a wrapper that returns a task should call a coroutine whose parameters are values.
struct StepOperations {
    template <class Sig> using Fn = std::function<Sig>;

    Fn<QCoro::Task<std::optional<QStringList>>(LocalPipeline&, QString timeline)> getTimelineMedia;
    Fn<QCoro::Task<void>(LocalPipeline&, QStringList paths)> probeAllMedia;
    Fn<std::optional<TranscriptResult>(LocalPipeline&, const QStringList& mediaPaths)> loadCachedTranscript;
    // `language` is the one the chunks will be transcribed in, so their requests may leave while
    // the extraction goes on.
    Fn<QCoro::Task<std::optional<QString>>(LocalPipeline&, QStringList mediaPaths, QString language)>
        extractAudio;
    Fn<QCoro::Task<QStringList>(LocalPipeline&, QString wavPath)> chunkAudio;
    Fn<QCoro::Task<std::optional<TranscriptResult>>(LocalPipeline&, QStringList chunks, QString language)>
        transcribe;
    Fn<void(LocalPipeline&, const TranscriptResult&, const QStringList& mediaPaths)> saveTranscriptCache;
    Fn<QString(const StyleSliders&, const std::optional<QString>& presetId, bool isMagicMode)>
        buildStylePrompt;
    Fn<QCoro::Task<std::optional<MiningResults>>(LocalPipeline&, TranscriptResult, double targetMinutes,
                                                 QString language, QString stylePrompt)>
        analyzeStory;
    Fn<QCoro::Task<MiningResults>(LocalPipeline&, MiningResults, QStringList mediaPaths)> assignSourceClips;
    Fn<QCoro::Task<QList<WordSegment>>(LocalPipeline&, MiningResults, QStringList mediaPaths,
                                       QString language)>
        wordLevelTranscribe;
    Fn<QString(LocalPipeline&, const QString& timeline, const MiningResults&, const TranscriptResult&,
               const QList<WordSegment>&)>
        saveExports;
    // The project of the timeline with its transcript and, once there is one, its story.
    Fn<void(LocalPipeline&, const QString& timeline, const TranscriptResult&, const QStringList& mediaPaths,
            const std::optional<MiningResults>& results, const std::optional<QString>& presetId,
            double targetMinutes)>
        saveProject;
    Fn<void(LocalPipeline&, const MiningResults&)> writeSegmentsJson;
    Fn<void(LocalPipeline&, const QList<StorySegment>&)> writeSegmentsJsonPublic; // logs nothing
    Fn<QCoro::Task<void>(LocalPipeline&)> buildTimelineFromSegmentsFile;
    Fn<QCoro::Task<bool>(LocalPipeline&, QString name, MiningResults, QStringList mediaPaths)>
        buildResolveTimeline;
    Fn<QCoro::Task<void>(LocalPipeline&, QString timeline)> auditTimeline;
    Fn<QCoro::Task<void>(LocalPipeline&, qsizetype clipCount, QList<UsedSegment> used,
                         TranscriptResult transcript)>
        auditTranscript;
    // The story for other editors, written into the folder from the last media paths.
    Fn<QCoro::Task<HandOffOutcome>(LocalPipeline&, QString folder, QList<StorySegment> story,
                                   HandOffFiles which)>
        saveForEditors;

    // Steps nobody installed yet: absent, empty or false outcomes.
    static StepOperations absent();
};

class LocalPipeline : public QObject, public std::enable_shared_from_this<LocalPipeline> {
    Q_OBJECT
    Q_PROPERTY(QString stepText READ stepText NOTIFY stepChanged)
    // The step in words for the screen: a run from files neither connects to nor builds in Resolve.
    Q_PROPERTY(QString stepCaption READ stepCaption NOTIFY stepChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(PipelineLogModel* logs READ logModel CONSTANT)
    Q_PROPERTY(bool hasResults READ hasResults NOTIFY resultsChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(QString lastExportDir READ lastExportDirText NOTIFY lastExportDirChanged)
    Q_PROPERTY(QString buildResult READ buildResultText NOTIFY buildResultChanged)
    Q_PROPERTY(bool waitingForTurn READ waitingForTurn NOTIFY waitingForTurnChanged)

    struct Passkey {
        explicit Passkey() = default;
    };

public:
    // The only way to make one. The last owner's release deletes it from the event loop when one
    // runs, since that release may come from inside a signal of an object the pipeline owns.
    static std::shared_ptr<LocalPipeline>
    create(PipelineEnvironment environment = PipelineEnvironment::platformDefault());
    LocalPipeline(Passkey, PipelineEnvironment environment);
    ~LocalPipeline() override;

    StepOperations& steps() { return m_steps; }

    // ---- entries ----
    QCoro::Task<> run(QString timeline, MiningMode mode, double targetMinutes, QString language,
                      StyleSliders sliders, std::optional<QString> presetId, QString referenceURL,
                      bool isMagicMode);
    // A run whose media are files (chosen by hand, or named by an editor's timeline file): it reads
    // them instead of asking Resolve, and ends by saving the story for other editors instead of a
    // build in Resolve.
    QCoro::Task<> runSource(MineSource source, MiningMode mode, double targetMinutes, QString language,
                            StyleSliders sliders, std::optional<QString> presetId, QString referenceURL,
                            bool isMagicMode);
    QCoro::Task<> runFromProject(SavedProject project, double targetMinutes, StyleSliders sliders,
                                 std::optional<QString> presetId, QString referenceURL, bool isMagicMode);
    QCoro::Task<> auditTimeline(QString timeline);
    // The audit of a cut read from an editor's timeline file: the clips' stretches laid on the
    // transcript's clock of their files. The transcript is `saved` (the files' saved project), or
    // the cached one, or made now as a Full Mine makes it, and then kept in a project.
    QCoro::Task<> auditCut(MineSource source, QList<CutClip> clips, QString language,
                           std::optional<TranscriptResult> saved);
    QCoro::Task<std::optional<QStringList>> getMediaPaths(QString timeline);
    QCoro::Task<bool> rebuildTimeline(QString name, QStringList mediaPaths);
    // The wizard's builds: the segments file as it stands, or first rewritten with an edited list.
    QCoro::Task<> buildTimelineFromSegmentsFile();
    QCoro::Task<> sendToResolve(QList<StorySegment> segments);
    // The edited story of a mine from files, saved for other editors in its export folder; the
    // outcome lands in buildResult as a build's would.
    QCoro::Task<> saveForEditors(QList<StorySegment> story);
    // A timeline of these moments alone (the audit's buried gold), each placed in its own source
    // clip: the last run's media are measured, the moments assigned and built; the outcome lands
    // in buildResult.
    QCoro::Task<> buildMoments(QList<StorySegment> moments);

    // Stops the work of this pipeline that is under way or waiting for its turn: what it awaits is
    // aborted (requests, ffmpeg and ffprobe children), it returns at once, and from then on it
    // neither writes a file nor changes a field nor logs a line. A reset() in the same turn does
    // not undo it; later work is not affected.
    void cancel();
    void reset();

    static TranscriptResult loadProject(const SavedProject& project);

    // ---- observable state ----
    PipelineStep step() const { return m_step; }
    QString stepText() const { return PipelineSteps::rawValue(m_step); }
    QString stepCaption() const;
    // Where the media of the work under way (or the last) came from; absent for a Resolve timeline.
    const std::optional<ProjectSource>& runSource() const { return m_runSource; }
    double progress() const { return m_progress; }
    const QList<PipelineLog>& logs() const { return m_logModel.lines(); }
    PipelineLogModel* logModel() { return &m_logModel; }
    const std::optional<MiningResults>& results() const { return m_results; }
    bool hasResults() const { return m_results.has_value(); }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorMessageText() const { return m_errorMessage.value_or(QString()); }
    const std::optional<QString>& lastExportDir() const { return m_lastExportDir; }
    QString lastExportDirText() const { return m_lastExportDir.value_or(QString()); }
    const std::optional<QStringList>& lastMediaPaths() const { return m_lastMediaPaths; }
    const std::optional<QString>& buildResult() const { return m_buildResult; }
    QString buildResultText() const { return m_buildResult.value_or(QString()); }
    const std::optional<AuditReport>& auditReport() const { return m_auditReport; }
    const QMap<QString, ProbeResult>& probeResults() const { return m_probeResults; }
    // True from a cancel() until the next entry starts: the work it cancelled must return at its
    // next test, and everything it still writes is dropped. (Step operations called outside an
    // entry, as tests do, see the cancel the same way.)
    bool isCancelled() const { return m_runEpoch != m_cancelEpoch; }
    // Stopped by cancel(): requests and children of the work under way go out with it. Null when
    // no work holds the turn.
    std::shared_ptr<StopSignal> stopSignal() const { return m_stop; }
    // The story the last run finished with and the transcript it came from, as saved in its
    // project: what a re-mine starts from.
    const std::optional<SavedProject>& lastProject() const { return m_lastProject; }
    // The spoken words' times of the last run's moments, by the moment's id (the edited story
    // keeps ids, not places), for subtitles laid out anew.
    const QHash<qint64, QList<WordTimestamp>>& lastWordTimes() const { return m_lastWordTimes; }
    QDateTime startTime() const { return m_startTime; }
    // True while an entry waits for another run, audit or build of the process to end.
    bool waitingForTurn() const { return m_waitingForTurn > 0; }

    // ffprobe's whole answer for each full path of the last probing, for steps that need more
    // than a ProbeResult (two files of one name in different folders keep their own).
    void rememberProbeOutput(const QString& path, const Json& output) { m_probeOutputs.insert(path, output); }
    const Json* probeOutput(const QString& path) const;
    void clearProbeOutputs() { m_probeOutputs.clear(); }

    // What a subsystem's step leaves for a later step of the same entry (requests that went out
    // ahead of their step), by a key of its own; let go of when the entry ends.
    std::shared_ptr<void>& entryState(const QByteArray& key) { return m_entryState[key]; }

    // ---- for the wizard: a story it shows without a run (a saved project, the edited list) ----
    void presentStory(std::optional<MiningResults> results, std::optional<QStringList> mediaPaths,
                      std::optional<QString> exportDir);
    void presentResults(std::optional<MiningResults> results);

    // ---- for step operations (dropped while the work is cancelled) ----
    void setStep(PipelineStep s);
    void setProgress(double p);
    void setResults(std::optional<MiningResults> r);
    void setLastExportDir(std::optional<QString> dir);
    void setLastMediaPaths(std::optional<QStringList> paths);
    void setBuildResult(std::optional<QString> text);
    void setAuditReport(std::optional<AuditReport> report);
    void setProbeResults(QMap<QString, ProbeResult> probes);
    void setLastProject(std::optional<SavedProject> project);
    void setLastWordTimes(QHash<qint64, QList<WordTimestamp>> words);
    void markStarted();

    // The only writer of the visible log; colour words "dim", "muted", "green", "accent".
    void log(const QString& text, const QString& color = QStringLiteral("muted"));
    // Ends the run in error with the message; the caller returns right after.
    void fail(const QString& message);

    const PipelineEnvironment& environment() const { return m_env; }
    const AppPaths& paths() const { return m_env.paths; }
    const ToolPaths& toolPaths() const { return m_env.tools; }
    const Endpoints& endpoints() const { return m_env.endpoints; }
    const Clock& clock() const { return *m_env.clock; }
    const ToolRunner& tools() const { return m_tools; }
    QNetworkAccessManager& network() { return m_network; }

    // Read at each use; nothing is cached.
    QString openaiKey() const { return m_keys.openaiKey(); }
    QString anthropicKey() const { return m_keys.anthropicKey(); }
    const KeyLookup& keys() const { return m_keys; }

signals:
    void stepChanged();
    void progressChanged();
    void resultsChanged();
    void errorMessageChanged();
    void lastExportDirChanged();
    void lastMediaPathsChanged();
    void buildResultChanged();
    void auditReportChanged();
    void probeResultsChanged();
    void waitingForTurnChanged();

private:
    struct TurnAwaiter;
    TurnAwaiter takeTurn();
    // An entry's hold on the pipeline: its turn of the process's work, and its cancel epoch and
    // stop signal while it runs. Empty when the entry was cancelled while it waited.
    struct Entry {
        WorkQueue::Turn turn;
        std::shared_ptr<void> scope;
        explicit operator bool() const { return scope != nullptr; }
    };
    QCoro::Task<Entry> enter();
    void adjustWaiting(int delta);

    bool hasWords(const TranscriptResult& transcript);
    // A transcript made now is kept at once, with the project named `timeline`.
    QCoro::Task<std::optional<TranscriptResult>> transcriptFor(QStringList mediaPaths, QString language,
                                                               QString timeline,
                                                               std::optional<QString> presetId,
                                                               double targetMinutes);
    // The files of a file source that can be read, with a line for each that can't.
    QStringList readSourceFiles(const QStringList& paths);
    // The end of a run from files: the story saved for other editors, said in the log and as the
    // outcome the Done page shows.
    QCoro::Task<> saveStoryForEditors(QString folder, QList<StorySegment> story);
    // The shared tail of both runs: from source-clip assignment to the end of the build.
    QCoro::Task<bool> finishStory(QString timeline, MiningResults analysis, TranscriptResult transcript,
                                  QStringList mediaPaths, QString language, std::optional<QString> presetId,
                                  double targetMinutes, bool fromProject);

    PipelineEnvironment m_env;
    ToolRunner m_tools;
    KeyLookup m_keys;
    QNetworkAccessManager m_network;
    StepOperations m_steps;
    PipelineLogModel m_logModel;

    PipelineStep m_step = PipelineStep::idle;
    double m_progress = 0;
    std::optional<MiningResults> m_results;
    std::optional<QString> m_errorMessage;
    std::optional<QString> m_lastExportDir;
    QString m_auditedCut; // the name of the cut last audited from a file
    std::optional<QStringList> m_lastMediaPaths;
    std::optional<QString> m_buildResult;
    std::optional<AuditReport> m_auditReport;
    QMap<QString, ProbeResult> m_probeResults;
    int m_cancelEpoch = 0; // bumped by every cancel()
    int m_runEpoch = 0;    // the epoch the last entry started in
    std::shared_ptr<StopSignal> m_stop;
    std::optional<SavedProject> m_lastProject;
    std::optional<ProjectSource> m_runSource;
    QHash<qint64, QList<WordTimestamp>> m_lastWordTimes;
    QDateTime m_startTime;
    int m_waitingForTurn = 0;
    QHash<QString, Json> m_probeOutputs;
    QHash<QByteArray, std::shared_ptr<void>> m_entryState;
};

// "s" when the count is not 1.
inline QString plural(qint64 n) {
    return n == 1 ? QString() : QStringLiteral("s");
}

} // namespace ondrel
