#include "MineView.h"

#include "Theme.h"
#include "core/Text.h"
#include "media/MediaProbe.h"
#include "media/TranscriptCache.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QQmlComponent>
#include <QQmlEngine>

#include <QCoroTask>

#include <algorithm>
#include <cmath>

namespace ondrel {

QString mineStepLabel(MineStep step) {
    static const QString labels[] = {QStringLiteral("Setup"), QStringLiteral("Style"),
                                     QStringLiteral("Mining"), QStringLiteral("Review"),
                                     QStringLiteral("Done")};
    return labels[int(step)];
}

const QList<ModeInfo>& modeInfos() {
    static const QList<ModeInfo> modes = {
        {MiningMode::fullMine, QStringLiteral("Full Mine"),
         QStringLiteral("Transcribe → Analyze → Translate → Subtitle → Timeline"), colorFromHex("e8440a")},
        {MiningMode::storyMine, QStringLiteral("Story Mine"),
         QStringLiteral("Existing transcript → Analyze → Build"), colorFromHex("0A84FF")},
        {MiningMode::structure, QStringLiteral("Structure"),
         QStringLiteral("Your selects → Organize → Subtitle"), colorFromHex("30D158")},
        {MiningMode::audit, QStringLiteral("Audit"),
         QStringLiteral("Existing timeline → Compare to transcript → Find buried gold"),
         colorFromHex("BF5AF2")},
    };
    return modes;
}

const QList<std::pair<QString, QString>>& LANGUAGES() {
    static const QList<std::pair<QString, QString>> languages = {
        {"auto", "Auto-detect"}, {"en", "English"}, {"es", "Spanish"},  {"fr", "French"},  {"de", "German"},
        {"pt", "Portuguese"},    {"it", "Italian"}, {"ja", "Japanese"}, {"zh", "Chinese"}, {"ko", "Korean"},
        {"ar", "Arabic"},        {"ru", "Russian"}, {"hi", "Hindi"},
    };
    return languages;
}

double estimatedCredits(MiningMode mode, double targetMinutes) {
    const double x = targetMinutes / 10.0;
    const double share = mode == MiningMode::fullMine    ? 1.0
                         : mode == MiningMode::storyMine ? 0.5
                         : mode == MiningMode::structure ? 0.25
                                                         : 0.3;
    return std::max(std::ceil(x * share), 1.0);
}

// ---- recent mines ----------------------------------------------------------------------------

int SavedProjectsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_projects.size());
}

QVariant SavedProjectsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const SavedProject& p = m_projects[index.row()];
    switch (role) {
    case TimelineRole:
        return p.timeline;
    case ClipsTextRole:
        return p.results ? QStringLiteral("✓ %1 clips").arg(p.results->segments.size()) : QString();
    case DetailTextRole: {
        QStringList parts;
        // Saved when its transcription ended, before any story: a re-mine costs no transcription.
        if (!p.results)
            parts << QStringLiteral("transcribed") << QStringLiteral("%1 segments").arg(p.transcript.size());
        // An audit keeps the transcript it made with no target to speak of.
        if (p.results || p.targetMinutes > 0)
            parts << QStringLiteral("%1m target").arg(qint64(std::trunc(p.targetMinutes)));
        if (p.presetId)
            parts << *p.presetId;
        return (p.results ? QStringLiteral("· ") : QString()) + parts.join(QStringLiteral(" · "));
    }
    default:
        return {};
    }
}

QHash<int, QByteArray> SavedProjectsModel::roleNames() const {
    return {{TimelineRole, "timeline"}, {ClipsTextRole, "clipsText"}, {DetailTextRole, "detailText"}};
}

void SavedProjectsModel::setProjects(QList<SavedProject> projects) {
    beginResetModel();
    m_projects = std::move(projects);
    endResetModel();
}

// ---- the wizard ------------------------------------------------------------------------------

MineView::MineView(QObject* parent)
    : QObject(parent)
    , m_pipeline(AppServices::instance().makePipeline()) {
    ResolveBridgeConfig bridge = ResolveBridgeConfig::fromPaths(m_pipeline->paths());
    bridge.environment = m_pipeline->environment().env;
    bridge.clock = &m_pipeline->clock();
    m_bridge = sharedQObject(new ResolveBridge(bridge));
    m_cloud = std::make_unique<CloudProcessor>(m_pipeline->endpoints());

    for (auto signal : {&LocalPipeline::resultsChanged, &LocalPipeline::auditReportChanged})
        QObject::connect(m_pipeline.get(), signal, this, &MineView::pageChanged);
    for (auto signal : {&LocalPipeline::stepChanged, &LocalPipeline::waitingForTurnChanged})
        QObject::connect(m_pipeline.get(), signal, this, &MineView::isWorkingChanged);
    for (auto signal : {&MineView::currentStepChanged, &MineView::selectedModeChanged})
        QObject::connect(this, signal, this, &MineView::pageChanged);
    for (auto signal : {&MineView::selectedModeChanged, &MineView::targetMinutesChanged})
        QObject::connect(this, signal, this, &MineView::estimateChanged);

    m_sourceFiles.setTools(m_pipeline->tools());
    connect(&m_sourceFiles, &SourceFilesModel::changed, this, &MineView::onSourceFilesChanged);
    m_timelineFile.setTools(m_pipeline->tools().tools());
    connect(&m_timelineFile, &TimelineFileModel::changed, this, &MineView::onSourceFilesChanged);

    refreshSavedProjects();
    refreshConnection();
}

// The pipeline outlives the view when a run holds it; everything else goes with the view.
MineView::~MineView() = default;

QCoro::Task<> MineView::connectToResolve(std::shared_ptr<ResolveBridge> bridge) {
    co_await bridge->connect();
    if (bridge->isConnected())
        co_await bridge->getTimelines();
}

void MineView::refreshConnection() {
    connectToResolve(m_bridge);
}

void MineView::setSourceKind(const QString& kind) {
    static const QStringList kinds{QStringLiteral("resolve"), QStringLiteral("files"),
                                   QStringLiteral("timelineFile")};
    if (kind == m_sourceKind || !kinds.contains(kind))
        return;
    m_sourceKind = kind;
    // Another source is another mine: what was chosen for the last one no longer holds.
    setLoadedProject(std::nullopt);
    setSelectedTimelineText(QString());
    emit sourceKindChanged();
    onSourceFilesChanged();
}

QString MineView::fileSourceName() const {
    const bool timelineFile = m_sourceKind == QLatin1String("timelineFile");
    const QStringList files = timelineFile ? m_timelineFile.mediaPaths() : m_sourceFiles.readablePaths();
    QString name;
    QString where;
    if (timelineFile) {
        name = m_timelineFile.baseName();
        where = m_timelineFile.path();
    } else {
        where = !m_sourceFiles.chosenFolder().isEmpty()
                    ? m_sourceFiles.chosenFolder()
                    : (files.isEmpty() ? QString() : QFileInfo(files.first()).absolutePath());
        name = QFileInfo(where).fileName();
    }
    if (name.isEmpty())
        name = timelineFile ? QStringLiteral("Timeline file") : QStringLiteral("Media files");
    // Another saved mine of other files under this name would be overwritten by this one.
    for (const SavedProject& p : m_savedProjects.projects()) {
        if (p.timeline == name && sortedPaths(p.mediaPaths) != sortedPaths(files)) {
            const QByteArray key = (where.isEmpty() ? files.join(u'|') : where).toUtf8();
            return name + QStringLiteral(" · ") +
                   QString::fromLatin1(
                       QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(6));
        }
    }
    return name;
}

void MineView::onSourceFilesChanged() {
    if (m_sourceKind == QLatin1String("files"))
        setSelectedTimelineText(m_sourceFiles.readablePaths().isEmpty() ? QString() : fileSourceName());
    else if (m_sourceKind == QLatin1String("timelineFile"))
        setSelectedTimelineText(m_timelineFile.isReady() ? fileSourceName() : QString());
}

MineSource MineView::chosenSource() const {
    if (m_sourceKind == QLatin1String("files")) {
        const QString folder = m_sourceFiles.chosenFolder();
        return {
            m_selectedTimeline.value_or(fileSourceName()),
            ProjectSource{QStringLiteral("files"), folder.isEmpty() ? std::nullopt : std::optional(folder)},
            m_sourceFiles.readablePaths()};
    }
    if (m_sourceKind == QLatin1String("timelineFile"))
        return {m_selectedTimeline.value_or(fileSourceName()),
                ProjectSource{QStringLiteral("timelineFile"), m_timelineFile.path()},
                m_timelineFile.mediaPaths()};
    return MineSource::resolveTimeline(m_selectedTimeline.value_or(QString()));
}

void MineView::dropUrls(const QList<QUrl>& urls) {
    static const QStringList timelineSuffixes{QStringLiteral("fcpxml"), QStringLiteral("fcpxmld"),
                                              QStringLiteral("xml"), QStringLiteral("otio"),
                                              QStringLiteral("edl")};
    if (urls.size() == 1 && urls.front().isLocalFile() &&
        timelineSuffixes.contains(QFileInfo(urls.front().toLocalFile()).suffix().toLower())) {
        setSourceKind(QStringLiteral("timelineFile"));
        m_timelineFile.openUrl(urls.front());
        return;
    }
    setSourceKind(QStringLiteral("files"));
    m_sourceFiles.addUrls(urls);
}

QString MineView::fileDialogProblem() {
    if (!m_fileDialogProblem) {
        QQmlEngine* engine = qmlEngine(this);
        if (!engine) {
            m_fileDialogProblem = QString();
        } else {
            QQmlComponent probe(engine);
            probe.setData("import QtQml\nimport Qt.labs.folderlistmodel\nQtObject {}\n", QUrl());
            m_fileDialogProblem =
                probe.isReady()
                    ? QString()
                    : QStringLiteral("The file dialog can't open: Qt's folder list module is not installed "
                                     "(Debian: qml6-module-qt-labs-folderlistmodel). Drop the files on this "
                                     "page instead.");
        }
    }
    return *m_fileDialogProblem;
}

std::optional<SavedProject> MineView::projectCovering(const QStringList& mediaPaths) const {
    // The newest first: a later mine of the same files holds the transcript last made.
    std::optional<SavedProject> best;
    for (const SavedProject& p : m_savedProjects.projects()) {
        if (p.transcript.isEmpty() || (best && best->createdAt >= p.createdAt))
            continue;
        const bool covers = std::all_of(mediaPaths.begin(), mediaPaths.end(),
                                        [&](const QString& path) { return p.mediaPaths.contains(path); });
        // Its clock lays every one of its files; one gone would move the files after it.
        const bool whole = std::all_of(p.mediaPaths.begin(), p.mediaPaths.end(),
                                       [](const QString& path) { return QFileInfo(path).isFile(); });
        if (covers && whole)
            best = p;
    }
    return best;
}

void MineView::refreshSavedProjects() {
    m_savedProjects.setProjects(listProjects(m_pipeline->paths()));
}

QStringList MineView::stepLabels() {
    QStringList labels;
    for (int i = 0; i <= int(MineStep::done); ++i)
        labels << mineStepLabel(MineStep(i));
    return labels;
}

// ---- choices ---------------------------------------------------------------------------------

void MineView::setSelectedTimelineText(const QString& name) {
    std::optional<QString> value = name.isEmpty() ? std::nullopt : std::optional<QString>(name);
    if (value == m_selectedTimeline)
        return;
    m_selectedTimeline = std::move(value);
    // Another timeline is another mine: the project loaded for the last one must not be re-mined.
    if (m_loadedProject && m_loadedProject->timeline != name)
        setLoadedProject(std::nullopt);
    emit selectedTimelineChanged();
}

void MineView::setSelectedModeValue(int mode) {
    if (mode < 0 || mode > int(MiningMode::audit) || MiningMode(mode) == m_selectedMode)
        return;
    m_selectedMode = MiningMode(mode);
    emit selectedModeChanged();
}

void MineView::setTargetMinutes(double minutes) {
    if (minutes == m_targetMinutes)
        return;
    m_targetMinutes = minutes;
    emit targetMinutesChanged();
}

void MineView::setSelectedLanguage(const QString& code) {
    if (code == m_selectedLanguage)
        return;
    m_selectedLanguage = code;
    emit selectedLanguageChanged();
}

void MineView::setStyleSliders(const StyleSliders& sliders) {
    if (sliders == m_styleSliders)
        return;
    m_styleSliders = sliders;
    emit styleChanged();
}

void MineView::setSelectedPresetId(std::optional<QString> id) {
    if (id == m_selectedPresetId)
        return;
    m_selectedPresetId = std::move(id);
    emit styleChanged();
}

void MineView::setSelectedPresetIdText(const QString& id) {
    setSelectedPresetId(id.isEmpty() ? std::nullopt : std::optional<QString>(id));
}

void MineView::setReferenceURL(const QString& url) {
    if (url == m_referenceURL)
        return;
    m_referenceURL = url;
    emit styleChanged();
}

void MineView::setMagicMode(bool on) {
    if (on == m_isMagicMode)
        return;
    m_isMagicMode = on;
    emit styleChanged();
}

void MineView::setRatingValue(int rating) {
    const std::optional<int> value = rating < 0 ? std::nullopt : std::optional<int>(rating);
    if (value == m_rating)
        return;
    m_rating = value;
    emit ratingChanged();
}

void MineView::setLoadedProject(std::optional<SavedProject> project) {
    const bool had = m_loadedProject.has_value();
    m_loadedProject = std::move(project);
    if (had != m_loadedProject.has_value())
        emit loadedProjectChanged();
}

double MineView::estimatedCredits() const {
    return ondrel::estimatedCredits(m_selectedMode, m_targetMinutes);
}

QString MineView::estimatedCreditsText() const {
    const qint64 n = qint64(estimatedCredits());
    return QStringLiteral("~%1 credit%2").arg(n).arg(n == 1 ? QString() : QStringLiteral("s"));
}

QVariantList MineView::modes() {
    QVariantList out;
    for (const ModeInfo& m : modeInfos())
        out << QVariantMap{
            {"mode", int(m.mode)}, {"label", m.label}, {"subtitle", m.subtitle}, {"color", m.color}};
    return out;
}

QVariantList MineView::languages() {
    QVariantList out;
    for (const auto& [code, name] : LANGUAGES())
        out << QVariantMap{{"code", code}, {"name", name}};
    return out;
}

QString MineView::page() const {
    switch (m_currentStep) {
    case MineStep::setup:
        return QStringLiteral("setup");
    case MineStep::style:
        return QStringLiteral("style");
    case MineStep::mining:
        return QStringLiteral("mining");
    case MineStep::review:
        if (isAudit())
            return m_pipeline->auditReport() ? QStringLiteral("audit") : QStringLiteral("noAudit");
        return m_pipeline->results() ? QStringLiteral("review") : QString();
    case MineStep::done:
        return m_pipeline->results() ? QStringLiteral("done") : QString();
    }
    return {};
}

// ---- moves -----------------------------------------------------------------------------------

bool MineView::isWorking() const {
    switch (m_pipeline->step()) {
    case PipelineStep::idle:
    case PipelineStep::complete:
    case PipelineStep::error:
        return m_pipeline->waitingForTurn();
    default:
        return true;
    }
}

void MineView::advanceTo(int step) {
    if (step < 0 || step > int(MineStep::done) || MineStep(step) == m_currentStep)
        return;
    m_currentStep = MineStep(step);
    // Mines saved since the page was last shown (a run that just ended, another window's) belong
    // in its list.
    if (m_currentStep == MineStep::setup)
        refreshSavedProjects();
    emit currentStepChanged();
}

bool MineView::canTapStep(int step) const {
    if (step < int(m_currentStep))
        return true;
    if (step == int(m_currentStep) || isWorking())
        return false;
    const bool hasStory =
        isAudit() ? m_pipeline->auditReport().has_value() : m_pipeline->results().has_value();
    return hasStory && (step == int(MineStep::review) || (step == int(MineStep::done) && !isAudit()));
}

void MineView::tapStep(int step) {
    if (canTapStep(step))
        advanceTo(step);
}

namespace {

// Waits for a run, audit or build of the wizard's pipeline; the wizard moves on to the review only
// if it is still there and the work completed.
QCoro::Task<> reviewWhenComplete(QPointer<MineView> wizard, std::shared_ptr<LocalPipeline> pipeline,
                                 QCoro::Task<> work) {
    co_await work;
    if (wizard && pipeline->step() == PipelineStep::complete && !wizard->isCancelQuestionOpen())
        wizard->advanceTo(int(MineStep::review));
}

} // namespace

void MineView::startMining() {
    if (!m_selectedTimeline)
        return;
    LocalPipeline& p = *m_pipeline;
    // Loose media files are no cut: there is nothing to audit.
    if (isAudit() && m_sourceKind == QLatin1String("files"))
        return;
    if (isAudit() && m_sourceKind == QLatin1String("timelineFile")) {
        MineSource source = chosenSource();
        const std::optional<SavedProject> saved = projectCovering(source.mediaPaths);
        std::optional<TranscriptResult> transcript;
        if (saved) {
            source.mediaPaths = saved->mediaPaths;
            transcript = LocalPipeline::loadProject(*saved);
        }
        reviewWhenComplete(this, m_pipeline,
                           p.auditCut(std::move(source), m_timelineFile.cutClips(), m_selectedLanguage,
                                      std::move(transcript)));
        return;
    }
    QCoro::Task<> work =
        isAudit()         ? p.auditTimeline(*m_selectedTimeline)
        : m_loadedProject ? p.runFromProject(*m_loadedProject, m_targetMinutes, m_styleSliders,
                                             m_selectedPresetId, m_referenceURL, m_isMagicMode)
                          : p.runSource(chosenSource(), m_selectedMode, m_targetMinutes, m_selectedLanguage,
                                        m_styleSliders, m_selectedPresetId, m_referenceURL, m_isMagicMode);
    reviewWhenComplete(this, m_pipeline, std::move(work));
}

void MineView::cancelMining() {
    // In one turn: the run never sees the flag and goes on unseen (see the pipeline's cancel).
    m_pipeline->cancel();
    m_pipeline->reset();
    advanceTo(int(MineStep::style));
}

void MineView::buildTimeline() {
    m_pipeline->buildTimelineFromSegmentsFile();
}

void MineView::buildMoments(const QList<StorySegment>& moments) {
    m_pipeline->buildMoments(moments);
}

void MineView::resetFlow() {
    advanceTo(int(MineStep::setup));
    m_pipeline->reset();
    setRatingValue(-1);
    setLoadedProject(std::nullopt);
    refreshSavedProjects();
}

void MineView::loadProject(int row) {
    if (row >= 0 && row < m_savedProjects.projects().size())
        onLoadProject(m_savedProjects.projects()[row]);
}

void MineView::onLoadProject(const SavedProject& project) {
    // A mine of files ends saved for other editors, not built in Resolve.
    if (project.source && project.source->kind != m_sourceKind) {
        m_sourceKind = project.source->kind;
        emit sourceKindChanged();
    } else if (!project.source && !speaksResolve()) {
        m_sourceKind = QStringLiteral("resolve");
        emit sourceKindChanged();
    }
    setLoadedProject(project);
    setSelectedTimelineText(project.timeline);
    setTargetMinutes(project.targetMinutes);
    // The project's language is not copied back into the form, on purpose.
    if (project.presetId)
        setSelectedPresetId(project.presetId);
    if (project.results) {
        m_pipeline->presentStory(project.results, project.mediaPaths,
                                 m_pipeline->paths().exportDirFor(project.timeline));
        advanceTo(int(MineStep::review));
    } else {
        advanceTo(int(MineStep::style));
    }
}

void MineView::onSendToResolve(const QList<StorySegment>& segments) {
    if (const std::optional<MiningResults> results = m_pipeline->results())
        m_pipeline->presentResults(withEditedSegments(*results, segments));
    if (speaksResolve()) {
        // Written and built in one turn of the work queue, so no other run's files are touched.
        m_pipeline->sendToResolve(segments);
    } else {
        // A mine reopened from its project was never probed in this process: measured first.
        [](std::shared_ptr<LocalPipeline> pipeline, QList<StorySegment> story) -> QCoro::Task<> {
            co_await probeMissing(*pipeline, pipeline->lastMediaPaths().value_or(QStringList()));
            co_await pipeline->saveForEditors(story);
        }(m_pipeline, segments);
    }
    advanceTo(int(MineStep::done));
}

// A re-mine starts from the transcript of the mine on screen: the project it was loaded from, the
// one the last run finished with, or the one saved for the timeline. Never from an empty one.
void MineView::restyle() {
    if (!m_loadedProject) {
        std::optional<SavedProject> project = m_pipeline->lastProject();
        if (!project && m_selectedTimeline)
            project = loadSavedProject(m_pipeline->paths(), *m_selectedTimeline);
        if (project && m_selectedTimeline && project->timeline == *m_selectedTimeline) {
            project->results = m_pipeline->results();
            setLoadedProject(std::move(project));
        }
    }
    advanceTo(int(MineStep::style));
}

} // namespace ondrel
