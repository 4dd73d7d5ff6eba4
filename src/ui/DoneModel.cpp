#include "DoneModel.h"

#include "ClockText.h"

#include "AppServices.h"
#include "Theme.h"
#include "export/HandOff.h"
#include "media/MediaProbe.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QTimer>

#include <cmath>

namespace ondrel {

// ---- the structure bar -------------------------------------------------------------------------

int DoneActsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_acts.size());
}

QVariant DoneActsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Act& act = m_acts[index.row()];
    switch (role) {
    case NameRole:
        return act.name;
    case CountRole:
        return act.count;
    case ColorRole:
        return act.color;
    case BlockWidthRole:
        return m_widths.value(index.row());
    case TicksRole:
        return int(std::min<qint64>(act.count, kMaxTicks));
    case OverflowTextRole:
        return act.count > kMaxTicks ? QStringLiteral("+%1").arg(act.count - kMaxTicks) : QString();
    default:
        return {};
    }
}

QHash<int, QByteArray> DoneActsModel::roleNames() const {
    return {{NameRole, "name"},   {CountRole, "count"},
            {ColorRole, "color"}, {BlockWidthRole, "blockWidth"},
            {TicksRole, "ticks"}, {OverflowTextRole, "overflowText"}};
}

QList<DoneActsModel::Act> DoneActsModel::actsOf(const MiningResults& results) {
    static const QList<QColor> colors = {colorFromHex("e8440a"), colorFromHex("0A84FF"),
                                         colorFromHex("30D158"), colorFromHex("FFD60A"),
                                         colorFromHex("BF5AF2")};
    QList<Act> out;
    const QList<StorySegment>& segments = results.segments;
    for (const ondrel::Act& act : results.structure.acts) {
        double duration = 0;
        // The indices are places in the story's list; the model may name places it doesn't have.
        for (qint64 i : act.segments)
            if (i >= 0 && i < segments.size())
                duration += segments[i].endTime - segments[i].startTime;
        out.push_back({act.name, act.segments.size(), duration, colors[out.size() % colors.size()]});
    }
    return out;
}

QList<qreal> DoneActsModel::blockWidths(const QList<Act>& acts, qreal available) {
    double total = 0;
    for (const Act& a : acts)
        total += a.duration;
    total = std::max(total, 1.0);
    QList<qreal> widths;
    for (const Act& a : acts)
        widths.push_back(std::max(kLeastWidth, available * a.duration / total));
    return widths;
}

void DoneActsModel::setResults(const MiningResults& results) {
    beginResetModel();
    m_acts = actsOf(results);
    m_widths = blockWidths(m_acts, m_availableWidth);
    endResetModel();
}

void DoneActsModel::setAvailableWidth(qreal width) {
    if (width == m_availableWidth)
        return;
    m_availableWidth = width;
    m_widths = blockWidths(m_acts, width);
    emit availableWidthChanged();
    if (!m_acts.isEmpty())
        emit dataChanged(index(0), index(int(m_acts.size()) - 1), {BlockWidthRole});
}

// ---- the export files --------------------------------------------------------------------------

const QList<DoneExportFilesModel::File>& DoneExportFilesModel::files() {
    static const QList<File> files = {
        {QStringLiteral("doc.text"), QStringLiteral("SRT"), QStringLiteral("subtitles.srt")},
        {QStringLiteral("doc.plaintext"), QStringLiteral("Transcript"), QStringLiteral("transcript.txt")},
        {QStringLiteral("doc.richtext"), QStringLiteral("Story Brief"), QStringLiteral("story_brief.md")},
    };
    return files;
}

int DoneExportFilesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(files().size());
}

QVariant DoneExportFilesModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const File& file = files()[index.row()];
    switch (role) {
    case SymbolRole:
        return file.symbol;
    case LabelRole:
        return file.label;
    case FileNameRole:
        return file.fileName;
    case ExistsRole:
        return m_exists[index.row()];
    default:
        return {};
    }
}

QHash<int, QByteArray> DoneExportFilesModel::roleNames() const {
    return {{SymbolRole, "symbol"}, {LabelRole, "label"}, {FileNameRole, "fileName"}, {ExistsRole, "exists"}};
}

void DoneExportFilesModel::setFolder(const std::optional<QString>& folder) {
    for (int i = 0; i < files().size(); ++i) {
        const bool exists = folder && QFileInfo::exists(*folder + u'/' + files()[i].fileName);
        if (exists != m_exists[i]) {
            m_exists[i] = exists;
            emit dataChanged(index(i), index(i), {ExistsRole});
        }
    }
}

// ---- the page --------------------------------------------------------------------------------

DoneModel::DoneModel(QObject* parent)
    : QObject(parent)
    , m_acts(this)
    , m_exportFiles(this) {}

void DoneModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    if (m_pipeline)
        disconnect(m_pipeline, nullptr, this, nullptr);
    m_wizard = wizard;
    m_pipeline = wizard ? wizard->pipeline() : nullptr;
    if (wizard) {
        connect(wizard->resolveBridge(), &ResolveBridge::isConnectedChanged, this,
                &DoneModel::resolveConnectedChanged);
        connect(wizard, &MineView::sourceKindChanged, this, &DoneModel::resolveConnectedChanged);
    }
    if (m_pipeline) {
        connect(m_pipeline, &LocalPipeline::buildResultChanged, this, &DoneModel::onBuildResult);
        connect(m_pipeline, &LocalPipeline::resultsChanged, this, &DoneModel::onResults);
        connect(m_pipeline, &LocalPipeline::lastExportDirChanged, this, &DoneModel::onExportDir);
    }
    onResults();
    onExportDir();
    // A mine of files ended by saving the story for other editors: how each takes it in shows.
    const std::optional<QString> dir = exportDir();
    m_handedOff = wizard && !wizard->speaksResolve() && dir &&
                  QFileInfo::exists(*dir + QStringLiteral("/story_edit.fcpxml"));
    emit wizardChanged();
    emit resolveConnectedChanged();
    emit savedChanged();
    // The burst waits for the page's entrance to get under way.
    QTimer::singleShot(kConfettiDelayMs, this, [this] {
        if (!m_showConfetti) {
            m_showConfetti = true;
            emit showConfettiChanged();
        }
    });
}

const MiningResults& DoneModel::results() const {
    static const MiningResults none;
    return m_pipeline && m_pipeline->results() ? *m_pipeline->results() : none;
}

std::optional<QString> DoneModel::exportDir() const {
    return m_pipeline ? m_pipeline->lastExportDir() : std::nullopt;
}

bool DoneModel::hasExportDir() const {
    return exportDir().has_value();
}

QString DoneModel::summaryText() const {
    const MiningResults& r = results();
    return QStringLiteral("%1 story moments · %2").arg(r.segments.size()).arg(clockText(r.estimatedDuration));
}

// Every assignment ends the wait, the same text as last time included: a rebuild that ends as the
// one before it must still end, and says when it ended so the two can be told apart.
void DoneModel::onBuildResult() {
    const std::optional<QString> status = m_pipeline ? m_pipeline->buildResult() : std::nullopt;
    if (!m_isBuilding && status && m_buildStatus && m_buildStatus->startsWith(*status))
        return;
    m_isBuilding = false;
    m_buildStatus = status;
    if (m_buildStatus)
        *m_buildStatus +=
            QStringLiteral(" · ") + m_pipeline->clock().now().time().toString(QStringLiteral("HH:mm:ss"));
    emit buildChanged();
}

void DoneModel::onResults() {
    m_acts.setResults(results());
    emit resultsChanged();
}

void DoneModel::onExportDir() {
    m_exportFiles.setFolder(exportDir());
    emit exportDirChanged();
}

void DoneModel::build() {
    if (m_isBuilding || !m_wizard)
        return;
    m_isBuilding = true;
    m_buildStatus.reset();
    emit buildChanged();
    m_wizard->buildTimeline();
}

void DoneModel::backToReview() {
    if (m_wizard)
        m_wizard->advanceTo(int(MineStep::review));
}

void DoneModel::showExportFile(int row) {
    const std::optional<QString> dir = exportDir();
    if (!dir || row < 0 || row >= DoneExportFilesModel::files().size())
        return;
    const QString path = *dir + u'/' + DoneExportFilesModel::files()[row].fileName;
    if (QFileInfo::exists(path))
        reveal(path, false, QStringLiteral("export"));
}

void DoneModel::reveal(const QString& path, bool openFolder, const QString& where) {
    setFolderMessage(QString(), where);
    const QString folder = openFolder ? path : QFileInfo(path).absolutePath();
    // A desktop with no file manager would leave the press with no outcome, and the editor without
    // the files: say where they are.
    auto failed = [self = QPointer<DoneModel>(this), folder, where] {
        if (self)
            self->setFolderMessage(
                QStringLiteral("Could not open a file manager — the files are in ") + folder, where);
    };
    if (openFolder)
        AppServices::opener().openUrl(QUrl::fromLocalFile(path), std::move(failed));
    else
        AppServices::opener().showInFileViewer(path, std::move(failed));
}

void DoneModel::setFolderMessage(const QString& message, const QString& where) {
    if (message == m_folderMessage && where == m_folderMessageFor)
        return;
    m_folderMessage = message;
    m_folderMessageFor = where;
    emit folderMessageChanged();
}

bool DoneModel::resolveConnected() const {
    return m_wizard && m_wizard->speaksResolve() && m_wizard->resolveBridge()->isConnected();
}

QVariantList DoneModel::editorLines() {
    static const QVariantList lines = {
        QVariantMap{
            {"editor", "Final Cut Pro"}, {"how", "File ▸ Import ▸ XML…"}, {"file", "story_edit.fcpxml"}},
        QVariantMap{{"editor", "Premiere Pro"}, {"how", "File ▸ Import…"}, {"file", "story_edit.xml"}},
        QVariantMap{{"editor", "DaVinci Resolve (any edition)"},
                    {"how", "File ▸ Import ▸ Timeline…"},
                    {"file", "story_edit.otio"}},
        QVariantMap{{"editor", "Avid"}, {"how", "import the EDL"}, {"file", "story_edit.edl"}},
    };
    return lines;
}

void DoneModel::openInEditor() {
    save(HandOffFiles::everyEditor);
}

void DoneModel::exportFcpxml() {
    save(HandOffFiles::fcpxml);
}

void DoneModel::exportEdl() {
    save(HandOffFiles::edl);
}

void DoneModel::save(HandOffFiles what) {
    const std::optional<QString> dir = exportDir();
    if (m_isSaving || !dir || !m_wizard)
        return;
    m_isSaving = true;
    m_savedNote.clear();
    m_savedPath.clear();
    m_savedFor = what == HandOffFiles::everyEditor ? QStringLiteral("editor") : QStringLiteral("export");
    m_savedFailed = false;
    emit savedChanged();
    saveFiles(this, m_wizard->sharedPipeline(), what, *dir, results().segments);
}

// Measures what was never probed in this process (a reopened mine), builds the timeline of the
// story as edited, and writes the files on a pool thread: the page keeps moving meanwhile.
QCoro::Task<> DoneModel::saveFiles(QPointer<DoneModel> self, std::shared_ptr<LocalPipeline> pipeline,
                                   HandOffFiles what, QString folder, QList<StorySegment> story) {
    // A reopened mine was never probed in this process: its files are measured first.
    co_await probeMissing(*pipeline, pipeline->lastMediaPaths().value_or(QStringList()));
    const HandOffOutcome outcome = co_await saveForEditors(*pipeline, folder, story, what);
    if (!self)
        co_return;
    self->m_isSaving = false;
    self->m_savedFailed = !outcome.error.isEmpty();
    const QString names = handOffFileList(outcome.written);
    if (self->m_savedFailed) {
        self->m_savedNote = QStringLiteral("Could not save %1 — %2").arg(names, outcome.error);
    } else {
        self->m_savedNote = QStringLiteral("Saved ") + names;
        self->m_savedPath = folder + u'/' + outcome.written.value(0);
        self->m_handedOff = self->m_handedOff || what == HandOffFiles::everyEditor;
        self->m_handOffWarning = handOffWarnings(outcome);
    }
    emit self->savedChanged();
}

void DoneModel::showSaved() {
    if (canShowSaved())
        reveal(m_savedPath, false, m_savedFor);
}

void DoneModel::openExportFolder() {
    if (const std::optional<QString> dir = exportDir())
        reveal(*dir, true, QStringLiteral("export"));
}

} // namespace ondrel
