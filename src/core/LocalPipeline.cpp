#include "LocalPipeline.h"

#include "Files.h"
#include "MediaClock.h"

#include <QFileInfo>
#include <QThread>

#include <algorithm>

namespace ondrel {

PipelineEnvironment PipelineEnvironment::platformDefault() {
    PipelineEnvironment e;
    e.tools = ToolPaths::platformDefault();
    e.env = QProcessEnvironment::systemEnvironment();
    e.paths = AppPaths::platformDefault(e.env);
    e.endpoints = Endpoints::fromEnvironment(e.env);
    e.clock = &Clock::system();
    return e;
}

StepOperations StepOperations::absent() {
    StepOperations s;
    s.getTimelineMedia = [](LocalPipeline&, QString) -> QCoro::Task<std::optional<QStringList>> {
        co_return std::nullopt;
    };
    s.probeAllMedia = [](LocalPipeline&, QStringList) -> QCoro::Task<void> { co_return; };
    s.loadCachedTranscript = [](LocalPipeline&, const QStringList&) -> std::optional<TranscriptResult> {
        return std::nullopt;
    };
    s.extractAudio = [](LocalPipeline&, QStringList, QString) -> QCoro::Task<std::optional<QString>> {
        co_return std::nullopt;
    };
    s.chunkAudio = [](LocalPipeline&, QString) -> QCoro::Task<QStringList> { co_return QStringList(); };
    s.transcribe = [](LocalPipeline&, QStringList, QString) -> QCoro::Task<std::optional<TranscriptResult>> {
        co_return std::nullopt;
    };
    s.saveTranscriptCache = [](LocalPipeline&, const TranscriptResult&, const QStringList&) {};
    s.buildStylePrompt = [](const StyleSliders&, const std::optional<QString>&, bool) { return QString(); };
    s.analyzeStory = [](LocalPipeline&, TranscriptResult, double, QString,
                        QString) -> QCoro::Task<std::optional<MiningResults>> { co_return std::nullopt; };
    s.assignSourceClips = [](LocalPipeline&, MiningResults r, QStringList) -> QCoro::Task<MiningResults> {
        co_return r;
    };
    s.wordLevelTranscribe = [](LocalPipeline&, MiningResults, QStringList,
                               QString) -> QCoro::Task<QList<WordSegment>> {
        co_return QList<WordSegment>();
    };
    s.saveExports = [](LocalPipeline&, const QString&, const MiningResults&, const TranscriptResult&,
                       const QList<WordSegment>&) { return QString(); };
    s.saveProject = [](LocalPipeline&, const QString&, const TranscriptResult&, const QStringList&,
                       const std::optional<MiningResults>&, const std::optional<QString>&, double) {};
    s.writeSegmentsJson = [](LocalPipeline&, const MiningResults&) {};
    s.writeSegmentsJsonPublic = [](LocalPipeline&, const QList<StorySegment>&) {};
    s.buildTimelineFromSegmentsFile = [](LocalPipeline&) -> QCoro::Task<void> { co_return; };
    s.buildResolveTimeline = [](LocalPipeline&, QString, MiningResults, QStringList) -> QCoro::Task<bool> {
        co_return false;
    };
    s.saveForEditors = [](LocalPipeline&, QString, QList<StorySegment>,
                          HandOffFiles) -> QCoro::Task<HandOffOutcome> {
        co_return HandOffOutcome{QStringLiteral("no writer for the hand-off files"), {}, {}, {}};
    };
    s.auditTranscript = [](LocalPipeline& p, qsizetype, QList<UsedSegment>,
                           TranscriptResult) -> QCoro::Task<void> {
        p.fail(QStringLiteral("Claude analysis failed"));
        co_return;
    };
    s.auditTimeline = [](LocalPipeline& p, QString) -> QCoro::Task<void> {
        p.fail(QStringLiteral("Could not read timeline clips from Resolve"));
        co_return;
    };
    return s;
}

std::shared_ptr<LocalPipeline> LocalPipeline::create(PipelineEnvironment environment) {
    return sharedQObject(new LocalPipeline(Passkey(), std::move(environment)));
}

LocalPipeline::LocalPipeline(Passkey, PipelineEnvironment environment)
    : m_env(std::move(environment))
    , m_tools(m_env.tools, m_env.paths.resolveScriptLib, m_env.env)
    , m_keys(m_env.env, m_env.paths.zshrc())
    , m_steps(StepOperations::absent()) {
    if (!m_env.clock)
        m_env.clock = &Clock::system();
    m_tools.setStopSource([this] { return m_stop; });
}

LocalPipeline::~LocalPipeline() = default;

// ---- turns ---------------------------------------------------------------------------------

struct LocalPipeline::TurnAwaiter {
    LocalPipeline& pipeline;
    WorkQueue::Awaiter inner{WorkQueue::shared().take()};
    bool waited = false;

    bool await_ready() { return inner.await_ready(); }
    void await_suspend(std::coroutine_handle<> waiting) {
        waited = true;
        pipeline.adjustWaiting(+1);
        inner.await_suspend(waiting);
    }
    WorkQueue::Turn await_resume() {
        if (waited)
            pipeline.adjustWaiting(-1);
        return inner.await_resume();
    }
};

LocalPipeline::TurnAwaiter LocalPipeline::takeTurn() {
    return TurnAwaiter{*this};
}

QCoro::Task<LocalPipeline::Entry> LocalPipeline::enter() {
    const int epoch = m_cancelEpoch;
    WorkQueue::Turn turn = co_await takeTurn();
    if (epoch != m_cancelEpoch)
        co_return Entry{WorkQueue::Turn(), nullptr}; // cancelled while it waited: it never starts
    m_runEpoch = epoch;
    m_stop = std::make_shared<StopSignal>();
    // Let go of when the entry ends, before its turn passes on (members go in reverse order).
    std::shared_ptr<void> scope(new int(0), [this](void* marker) {
        delete static_cast<int*>(marker);
        // Taken out first: what it holds may still stop work of this entry as it goes.
        const QHash<QByteArray, std::shared_ptr<void>> left = std::exchange(m_entryState, {});
        Q_UNUSED(left);
        m_stop.reset();
    });
    co_return Entry{std::move(turn), std::move(scope)};
}

void LocalPipeline::adjustWaiting(int delta) {
    const bool before = waitingForTurn();
    m_waitingForTurn += delta;
    if (before != waitingForTurn())
        emit waitingForTurnChanged();
}

const Json* LocalPipeline::probeOutput(const QString& path) const {
    const auto it = m_probeOutputs.constFind(path);
    return it == m_probeOutputs.constEnd() ? nullptr : &it.value();
}

// ---- state ---------------------------------------------------------------------------------

void LocalPipeline::setStep(PipelineStep s) {
    if (isCancelled())
        return;
    m_step = s;
    emit stepChanged();
}

void LocalPipeline::setProgress(double p) {
    if (isCancelled())
        return;
    m_progress = p;
    emit progressChanged();
}

void LocalPipeline::setResults(std::optional<MiningResults> r) {
    if (isCancelled())
        return;
    m_results = std::move(r);
    emit resultsChanged();
}

void LocalPipeline::setLastExportDir(std::optional<QString> dir) {
    if (isCancelled())
        return;
    m_lastExportDir = std::move(dir);
    emit lastExportDirChanged();
}

void LocalPipeline::setLastMediaPaths(std::optional<QStringList> paths) {
    if (isCancelled())
        return;
    m_lastMediaPaths = std::move(paths);
    emit lastMediaPathsChanged();
}

void LocalPipeline::setBuildResult(std::optional<QString> text) {
    if (isCancelled())
        return;
    m_buildResult = std::move(text);
    emit buildResultChanged();
}

void LocalPipeline::setAuditReport(std::optional<AuditReport> report) {
    if (isCancelled())
        return;
    m_auditReport = std::move(report);
    emit auditReportChanged();
}

void LocalPipeline::setProbeResults(QMap<QString, ProbeResult> probes) {
    if (isCancelled())
        return;
    m_probeResults = std::move(probes);
    emit probeResultsChanged();
}

void LocalPipeline::setLastProject(std::optional<SavedProject> project) {
    if (isCancelled())
        return;
    m_lastProject = std::move(project);
}

void LocalPipeline::setLastWordTimes(QHash<qint64, QList<WordTimestamp>> words) {
    if (isCancelled())
        return;
    m_lastWordTimes = std::move(words);
}

void LocalPipeline::presentStory(std::optional<MiningResults> results, std::optional<QStringList> mediaPaths,
                                 std::optional<QString> exportDir) {
    m_results = std::move(results);
    m_lastMediaPaths = std::move(mediaPaths);
    m_lastExportDir = std::move(exportDir);
    emit resultsChanged();
    emit lastMediaPathsChanged();
    emit lastExportDirChanged();
}

void LocalPipeline::presentResults(std::optional<MiningResults> results) {
    m_results = std::move(results);
    emit resultsChanged();
}

void LocalPipeline::markStarted() {
    m_startTime = clock().now();
}

void LocalPipeline::log(const QString& text, const QString& color) {
    if (isCancelled())
        return;
    m_logModel.append(PipelineLog::make(clock(), text, color));
}

void LocalPipeline::fail(const QString& message) {
    if (isCancelled())
        return;
    setStep(PipelineStep::error);
    m_errorMessage = message;
    emit errorMessageChanged();
    log(QStringLiteral("✗ ") + message, QStringLiteral("accent"));
}

void LocalPipeline::cancel() {
    ++m_cancelEpoch;
    // Given from the event loop: what it aborts resumes the run, and the caller (the Cancel
    // button's reset in the same turn, say) finishes first.
    if (m_stop)
        QMetaObject::invokeMethod(
            m_stop.get(), [stop = m_stop] { stop->stop(); }, Qt::QueuedConnection);
}

// Written past the guards of the setters: it is what the wizard calls right after a cancel, while
// the cancelled work may still hold the turn.
void LocalPipeline::reset() {
    m_step = PipelineStep::idle;
    emit stepChanged();
    m_progress = 0;
    emit progressChanged();
    m_logModel.clear();
    m_results.reset();
    emit resultsChanged();
    m_errorMessage.reset();
    emit errorMessageChanged();
    m_lastExportDir.reset();
    emit lastExportDirChanged();
    m_lastProject.reset();
    m_lastWordTimes.clear();
}

QString LocalPipeline::stepCaption() const {
    if (m_runSource && m_step == PipelineStep::connecting)
        return QStringLiteral("Reading media files...");
    if (m_runSource && m_step == PipelineStep::building)
        return QStringLiteral("Saving for your editor...");
    return stepText();
}

TranscriptResult LocalPipeline::loadProject(const SavedProject& project) {
    TranscriptResult t;
    t.language = project.language;
    t.segments.reserve(project.transcript.size());
    for (const auto& s : project.transcript)
        t.segments.push_back({s.start, s.end, s.text, project.language});
    return t;
}

// ---- runs ----------------------------------------------------------------------------------

// A transcript without a word would be sent to the model for nothing and come back as an empty
// story; the run ends before any request.
bool LocalPipeline::hasWords(const TranscriptResult& transcript) {
    if (countWords(transcript) > 0)
        return true;
    fail(QStringLiteral("No transcript to mine — run a Full Mine first"));
    return false;
}

QCoro::Task<> LocalPipeline::run(QString timeline, MiningMode mode, double targetMinutes, QString language,
                                 StyleSliders sliders, std::optional<QString> presetId, QString referenceURL,
                                 bool isMagicMode) {
    co_await runSource(MineSource::resolveTimeline(timeline), mode, targetMinutes, language, sliders,
                       presetId, referenceURL, isMagicMode);
}

QStringList LocalPipeline::readSourceFiles(const QStringList& paths) {
    QStringList readable;
    for (const QString& path : paths) {
        const QFileInfo file(path);
        if (!file.exists())
            log(QStringLiteral("  ✗ %1 — not found").arg(file.fileName()), QStringLiteral("accent"));
        else if (!file.isFile() || !file.isReadable())
            log(QStringLiteral("  ✗ %1 — can't be read").arg(file.fileName()), QStringLiteral("accent"));
        else
            readable << path;
    }
    return readable;
}

// The transcript of the files: the one cached, or extracted, cut and transcribed now. Absent
// when the work stops here (failed, said in the log, or cancelled).
QCoro::Task<std::optional<TranscriptResult>> LocalPipeline::transcriptFor(QStringList mediaPaths,
                                                                          QString language, QString timeline,
                                                                          std::optional<QString> presetId,
                                                                          double targetMinutes) {
    std::optional<TranscriptResult> transcript = m_steps.loadCachedTranscript(*this, mediaPaths);
    if (transcript) {
        log(QStringLiteral("✓ Found cached transcript — %1 segments · %2 words")
                .arg(transcript->segments.size())
                .arg(countWords(*transcript)),
            QStringLiteral("green"));
        log(QStringLiteral("  Skipping audio extraction + Whisper (saved ~$1)"), QStringLiteral("dim"));
        setProgress(0.45);
    } else {
        setStep(PipelineStep::extracting);
        setProgress(0.05);
        log(QStringLiteral("Extracting audio from timeline..."));

        const std::optional<QString> audio = co_await m_steps.extractAudio(*this, mediaPaths, language);
        if (!audio) {
            fail(QStringLiteral("Audio extraction failed"));
            co_return std::nullopt;
        }
        if (isCancelled())
            co_return std::nullopt;

        const QFileInfo audioInfo(*audio);
        const qint64 bytes = audioInfo.exists() ? audioInfo.size() : 0;
        log(QStringLiteral("Audio extracted — ") + QString::asprintf("%.1f", double(bytes) / 1000000.0) +
            QStringLiteral(" MB"));

        setStep(PipelineStep::chunking);
        setProgress(0.1);
        log(QStringLiteral("Preparing audio chunks..."));
        const QStringList chunks = co_await m_steps.chunkAudio(*this, *audio);
        if (isCancelled())
            co_return std::nullopt;
        log(QStringLiteral("Split into %1 chunk%2 for Whisper")
                .arg(chunks.size())
                .arg(plural(chunks.size())));

        setStep(PipelineStep::transcribing);
        setProgress(0.15);
        log(QStringLiteral("⛏ Transcribing with Whisper..."), QStringLiteral("accent"));
        transcript = co_await m_steps.transcribe(*this, chunks, language);
        if (!transcript) {
            fail(QStringLiteral("Transcription failed"));
            co_return std::nullopt;
        }
        if (isCancelled())
            co_return std::nullopt;
        log(QStringLiteral("%1 segments · %2 words")
                .arg(transcript->segments.size())
                .arg(countWords(*transcript)));
        if (!hasWords(*transcript))
            co_return std::nullopt; // kept nowhere: a cached silence would fail every later run the same way
        // The project too, before any analysis: a transcript paid for is never paid for again,
        // whatever becomes of the story (the cache is forgotten at the next launch).
        DeferredWrites writes;
        writes.collect([&] {
            m_steps.saveTranscriptCache(*this, *transcript, mediaPaths);
            m_steps.saveProject(*this, timeline, *transcript, mediaPaths, std::nullopt, presetId,
                                targetMinutes);
        });
        co_await writes.commit();
        if (isCancelled())
            co_return std::nullopt;
        setProgress(0.45);
    }

    if (!transcript) {
        fail(QStringLiteral("No transcript available"));
        co_return std::nullopt;
    }
    if (!hasWords(*transcript))
        co_return std::nullopt;
    co_return transcript;
}

QCoro::Task<> LocalPipeline::runSource(MineSource source, MiningMode mode, double targetMinutes,
                                       QString language, StyleSliders sliders,
                                       std::optional<QString> presetId, QString referenceURL,
                                       bool isMagicMode) {
    Q_UNUSED(referenceURL); // accepted and deliberately not read
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    const QString timeline = source.name;
    m_runSource = source.files;
    markStarted();
    log(QStringLiteral("$ ondrel mine --mode ") + MiningModes::rawValue(mode).toLower().replace(' ', '-'),
        QStringLiteral("dim"));

    setStep(PipelineStep::connecting);
    setProgress(0.02);
    QStringList mediaPaths;
    if (source.isResolve()) {
        log(QStringLiteral("Connecting to DaVinci Resolve..."));
        const std::optional<QStringList> found = co_await m_steps.getTimelineMedia(*this, timeline);
        if (!found) {
            fail(QStringLiteral("Could not find source media for timeline '%1'").arg(timeline));
            co_return;
        }
        if (isCancelled())
            co_return;
        mediaPaths = *found;
        log(QStringLiteral("✓ Connected — found %1 source clip%2")
                .arg(mediaPaths.size())
                .arg(plural(mediaPaths.size())),
            QStringLiteral("green"));
    } else {
        const qsizetype wanted = source.mediaPaths.size();
        log(QStringLiteral("📂 Reading %1 media file%2...").arg(wanted).arg(plural(wanted)));
        mediaPaths = readSourceFiles(source.mediaPaths);
        if (mediaPaths.isEmpty()) {
            fail(QStringLiteral("Could not read the media files"));
            co_return;
        }
        log(mediaPaths.size() == wanted
                ? QStringLiteral("✓ Read %1 media file%2").arg(wanted).arg(plural(wanted))
                : QStringLiteral("✓ Read %1 of %2 media files").arg(mediaPaths.size()).arg(wanted),
            QStringLiteral("green"));
    }
    setLastMediaPaths(mediaPaths);
    for (const QString& path : mediaPaths)
        log(QStringLiteral("  → ") + QFileInfo(path).fileName(), QStringLiteral("dim"));

    co_await m_steps.probeAllMedia(*this, mediaPaths);
    if (isCancelled())
        co_return;
    setProgress(0.05);

    const std::optional<TranscriptResult> transcript =
        co_await transcriptFor(mediaPaths, language, timeline, presetId, targetMinutes);
    if (!transcript)
        co_return;
    setStep(PipelineStep::analyzing);
    log(QStringLiteral("⛏ Claude analyzing story structure..."), QStringLiteral("accent"));
    const QString stylePrompt = m_steps.buildStylePrompt(sliders, presetId, isMagicMode);

    const std::optional<MiningResults> analysis =
        co_await m_steps.analyzeStory(*this, *transcript, targetMinutes, language, stylePrompt);
    if (!analysis) {
        fail(QStringLiteral("Story analysis failed"));
        co_return;
    }
    if (isCancelled())
        co_return;

    co_await finishStory(timeline, *analysis, *transcript, mediaPaths, language, presetId, targetMinutes,
                         /*fromProject=*/false);
}

QCoro::Task<> LocalPipeline::runFromProject(SavedProject project, double targetMinutes, StyleSliders sliders,
                                            std::optional<QString> presetId, QString referenceURL,
                                            bool isMagicMode) {
    Q_UNUSED(referenceURL); // accepted and deliberately not read
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    markStarted();
    m_runSource = project.source;
    const TranscriptResult transcript = loadProject(project);
    setLastMediaPaths(project.mediaPaths);
    log(QStringLiteral("$ ondrel mine --reload ") + project.timeline, QStringLiteral("dim"));
    log(QStringLiteral("✓ Loaded saved project — %1 segments").arg(transcript.segments.size()),
        QStringLiteral("green"));
    log(QStringLiteral("  Skipping transcription (cached)"));
    if (!hasWords(transcript))
        co_return;

    setProgress(0.5);
    setStep(PipelineStep::analyzing);
    log(QStringLiteral("⛏ Claude analyzing story structure..."), QStringLiteral("accent"));
    const QString stylePrompt = m_steps.buildStylePrompt(sliders, presetId, isMagicMode);

    const std::optional<MiningResults> analysis =
        co_await m_steps.analyzeStory(*this, transcript, targetMinutes, project.language, stylePrompt);
    if (!analysis) {
        fail(QStringLiteral("Story analysis failed"));
        co_return;
    }
    if (isCancelled())
        co_return;

    co_await finishStory(project.timeline, *analysis, transcript, project.mediaPaths, project.language,
                         presetId, targetMinutes, /*fromProject=*/true);
}

QCoro::Task<bool> LocalPipeline::finishStory(QString timeline, MiningResults analysis,
                                             TranscriptResult transcript, QStringList mediaPaths,
                                             QString language, std::optional<QString> presetId,
                                             double targetMinutes, bool fromProject) {
    // An empty story would be written over the last one and built as an empty timeline.
    if (analysis.segments.isEmpty()) {
        fail(QStringLiteral("The model chose no moments"));
        co_return false;
    }
    analysis = co_await m_steps.assignSourceClips(*this, analysis, mediaPaths);
    if (isCancelled())
        co_return false;
    log(QStringLiteral("💎 Found %1 acts · %2 moments")
            .arg(analysis.structure.acts.size())
            .arg(analysis.segments.size()),
        QStringLiteral("accent"));

    setProgress(0.7);
    setStep(PipelineStep::translating);
    log(QStringLiteral("⛏ Re-transcribing selected moments at word level..."), QStringLiteral("accent"));
    const QList<WordSegment> words =
        co_await m_steps.wordLevelTranscribe(*this, analysis, mediaPaths, language);
    if (isCancelled())
        co_return false;
    if (!words.isEmpty()) {
        qint64 count = 0;
        for (const auto& w : words)
            count += w.words.size();
        const QString format = fromProject ? QStringLiteral("✓ %1 words across %2 segments")
                                           : QStringLiteral("✓ %1 words transcribed across %2 segments");
        log(format.arg(count).arg(words.size()), QStringLiteral("green"));
    }

    setProgress(0.85);
    setStep(PipelineStep::building);
    setResults(analysis);
    SavedProject project;
    project.timeline = timeline;
    project.createdAt = double(clock().now().toMSecsSinceEpoch()) / 1000.0;
    project.language = transcript.language;
    project.mediaPaths = mediaPaths;
    for (const TranscriptSegment& segment : transcript.segments)
        project.transcript.push_back({segment.start, segment.end, segment.text});
    project.results = analysis;
    project.presetId = presetId;
    project.targetMinutes = targetMinutes;
    project.source = m_runSource;
    setLastProject(std::move(project));
    QHash<qint64, QList<WordTimestamp>> wordTimes;
    for (const WordSegment& w : words)
        if (w.segmentIndex >= 0 && w.segmentIndex < analysis.segments.size())
            wordTimes.insert(analysis.segments[w.segmentIndex].id(), w.words);
    setLastWordTimes(std::move(wordTimes));
    // The files are written before the build, which reads segments.json.
    DeferredWrites writes;
    writes.collect([&] {
        setLastExportDir(m_steps.saveExports(*this, timeline, analysis, transcript, words));
        log(QStringLiteral("✓ Exported SRT, transcript, and story brief"), QStringLiteral("green"));
        m_steps.saveProject(*this, timeline, transcript, mediaPaths, analysis, presetId, targetMinutes);
        m_steps.writeSegmentsJson(*this, analysis);
    });
    co_await writes.commit();
    if (isCancelled())
        co_return false;

    if (m_runSource) {
        co_await saveStoryForEditors(m_lastExportDir.value_or(paths().exportDirFor(timeline)),
                                     analysis.segments);
    } else {
        log(QStringLiteral("Building timeline in Resolve..."));
        co_await m_steps.buildTimelineFromSegmentsFile(*this);
    }
    if (isCancelled())
        co_return false;

    setProgress(1);
    setStep(PipelineStep::complete);
    log(fromProject ? QStringLiteral("✓ Complete — new style applied!")
                    : QStringLiteral("✓ Complete — we found gems!"),
        QStringLiteral("green"));
    co_return true;
}

QCoro::Task<> LocalPipeline::auditTimeline(QString timeline) {
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    m_runSource.reset();
    co_await m_steps.auditTimeline(*this, timeline);
}

QCoro::Task<> LocalPipeline::auditCut(MineSource source, QList<CutClip> clips, QString language,
                                      std::optional<TranscriptResult> saved) {
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    reset();
    markStarted();
    m_runSource = source.files;
    m_auditedCut = source.name;
    const QString file =
        source.files && source.files->path ? QFileInfo(*source.files->path).fileName() : source.name;
    log(QStringLiteral("$ ondrel audit --timeline ") + source.name, QStringLiteral("dim"));
    setStep(PipelineStep::connecting);
    setProgress(0.05);
    log(QStringLiteral("📂 Reading the cut in %1...").arg(file));
    const QStringList media = readSourceFiles(source.mediaPaths);
    log(QStringLiteral("✓ Found %1 clips using %2 source files").arg(clips.size()).arg(media.size()),
        QStringLiteral("green"));
    if (media.isEmpty()) {
        fail(QStringLiteral("Could not access source media"));
        co_return;
    }
    setLastMediaPaths(media);
    setProgress(0.15);
    co_await m_steps.probeAllMedia(*this, media);
    if (isCancelled())
        co_return;
    setProgress(0.25);

    std::optional<TranscriptResult> transcript = std::move(saved);
    if (!transcript) {
        // Kept as a Full Mine keeps it: the next audit or mine of these files costs nothing again.
        transcript = co_await transcriptFor(media, language, source.name, std::nullopt, 0);
        if (!transcript)
            co_return;
    }
    setStep(PipelineStep::analyzing);

    // The stretches used, on the transcript's clock: the files end to end, each its container's length.
    const QList<ClockSpan> clock = layOutClock(media, [&](const QString& path) {
        const Json* probe = probeOutput(path);
        if (!probe || !probe->is_object() || !probe->contains("format"))
            return 0.0;
        const Json& format = (*probe)["format"];
        const auto duration = format.find("duration");
        return duration != format.end() && duration->is_string()
                   ? std::max(0.0, QString::fromStdString(duration->get<std::string>()).toDouble())
                   : 0.0;
    });
    QList<UsedSegment> used;
    for (const CutClip& clip : std::as_const(clips)) {
        for (const ClockSpan& span : clock) {
            if (span.path != clip.path)
                continue;
            const double length = span.end - span.start;
            const double in = std::clamp(clip.sourceIn, 0.0, length);
            const double out = std::clamp(clip.sourceOut, 0.0, length);
            if (out > in)
                used.push_back({span.start + in, span.start + out, {}});
            break;
        }
    }
    co_await m_steps.auditTranscript(*this, clips.size(), used, *transcript);
}

QCoro::Task<std::optional<QStringList>> LocalPipeline::getMediaPaths(QString timeline) {
    const auto self = shared_from_this();
    co_return co_await m_steps.getTimelineMedia(*this, timeline);
}

QCoro::Task<> LocalPipeline::buildTimelineFromSegmentsFile() {
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    co_await m_steps.buildTimelineFromSegmentsFile(*this);
}

QCoro::Task<> LocalPipeline::sendToResolve(QList<StorySegment> segments) {
    const auto self = shared_from_this();
    // The file is rewritten only once no other work of the process can read or write it.
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    m_steps.writeSegmentsJsonPublic(*this, segments);
    co_await m_steps.buildTimelineFromSegmentsFile(*this);
}

QCoro::Task<> LocalPipeline::saveStoryForEditors(QString folder, QList<StorySegment> story) {
    log(QStringLiteral("Saving the story for your editor..."));
    const HandOffOutcome outcome =
        co_await m_steps.saveForEditors(*this, folder, story, HandOffFiles::everyEditor);
    if (isCancelled())
        co_return;
    if (!outcome.error.isEmpty()) {
        setBuildResult(QStringLiteral("✗ Could not save the story for your editor — ") + outcome.error);
        log(*m_buildResult, QStringLiteral("accent"));
        co_return;
    }
    QStringList names{outcome.written.value(0)};
    for (qsizetype i = 1; i < outcome.written.size(); ++i)
        names << outcome.written[i].mid(outcome.written[i].lastIndexOf(u'.'));
    setBuildResult(QStringLiteral("✓ Story saved for your editor: ") + names.join(QStringLiteral(", ")));
    log(*m_buildResult, QStringLiteral("green"));
}

QCoro::Task<> LocalPipeline::saveForEditors(QList<StorySegment> story) {
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry || !m_lastExportDir)
        co_return;
    co_await saveStoryForEditors(*m_lastExportDir, story);
}

QCoro::Task<> LocalPipeline::buildMoments(QList<StorySegment> moments) {
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    if (!entry)
        co_return;
    // The build lays its clips out from the probe cache, which may hold another mine's files.
    const QStringList media = m_lastMediaPaths.value_or(QStringList());
    co_await m_steps.probeAllMedia(*this, media);
    if (isCancelled())
        co_return;
    MiningResults story;
    story.segments = std::move(moments);
    story = co_await m_steps.assignSourceClips(*this, story, media);
    if (isCancelled())
        co_return;
    if (m_runSource) {
        // A cut from a file goes back to the editor as files, beside the cut's own mines.
        co_await saveStoryForEditors(paths().exportDirFor(m_auditedCut + QStringLiteral(" · buried gold")),
                                     story.segments);
        co_return;
    }
    m_steps.writeSegmentsJsonPublic(*this, story.segments);
    co_await m_steps.buildTimelineFromSegmentsFile(*this);
}

QCoro::Task<bool> LocalPipeline::rebuildTimeline(QString name, QStringList mediaPaths) {
    if (!m_results)
        co_return false;
    const auto self = shared_from_this();
    const Entry entry = co_await enter();
    // The results may have been cleared while this waited.
    if (!entry || !m_results)
        co_return false;
    log(QStringLiteral("Rebuilding timeline in Resolve..."));
    const bool ok = co_await m_steps.buildResolveTimeline(*this, name, *m_results, mediaPaths);
    if (ok)
        log(QStringLiteral("✓ Timeline rebuilt"), QStringLiteral("green"));
    else
        log(QStringLiteral("✗ Timeline rebuild failed"), QStringLiteral("accent"));
    co_return ok;
}

} // namespace ondrel
