#include "DoneModel.h"

#include "ClockText.h"

#include "AppServices.h"
#include "Theme.h"
#include "export/EDLExporter.h"
#include "export/ExportBundle.h"
#include "export/FCPXMLExporter.h"

#include <QDebug>
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

QList<MediaFileInfo> DoneModel::createDummyMediaInfo(const MiningResults& results) {
    QList<MediaFileInfo> out;
    QSet<QString> seen;
    for (const StorySegment& s : results.segments) {
        if (seen.contains(s.sourceClip))
            continue;
        seen.insert(s.sourceClip);
        out.push_back({QStringLiteral("/path/to/") + s.sourceClip, s.sourceClip, 3600.0, std::nullopt, 24.0,
                       true, true, std::nullopt});
    }
    return out;
}

QList<MediaFileInfo> DoneModel::generateMediaFileInfo(const MiningResults& results,
                                                      const std::optional<QStringList>& mediaPaths,
                                                      const QMap<QString, ProbeResult>& probes) {
    if (!mediaPaths || mediaPaths->isEmpty())
        return createDummyMediaInfo(results);
    QList<MediaFileInfo> out;
    for (const QString& path : *mediaPaths) {
        const QString name = QFileInfo(path).fileName();
        const auto probe = probes.constFind(name);
        if (probe != probes.constEnd()) {
            out.push_back({path, name, probe->duration, probe->startTimecode, probe->fps.value_or(24.0),
                           probe->hasVideo, probe->hasAudio, probe->codec});
        } else {
            const QString lower = name.toLower();
            const bool video = lower.endsWith(QLatin1String(".mov")) || lower.endsWith(QLatin1String(".mp4"));
            out.push_back({path, name, 3600.0, std::nullopt, 24.0, video, true, std::nullopt});
        }
    }
    return out;
}

void DoneModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    if (m_pipeline)
        disconnect(m_pipeline, nullptr, this, nullptr);
    m_wizard = wizard;
    m_pipeline = wizard ? wizard->pipeline() : nullptr;
    if (m_pipeline) {
        connect(m_pipeline, &LocalPipeline::buildResultChanged, this, &DoneModel::onBuildResult);
        connect(m_pipeline, &LocalPipeline::resultsChanged, this, &DoneModel::onResults);
        connect(m_pipeline, &LocalPipeline::lastExportDirChanged, this, &DoneModel::onExportDir);
    }
    onResults();
    onExportDir();
    emit wizardChanged();
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
// one before it must still end.
void DoneModel::onBuildResult() {
    const std::optional<QString> status = m_pipeline ? m_pipeline->buildResult() : std::nullopt;
    if (!m_isBuilding && status == m_buildStatus)
        return;
    m_isBuilding = false;
    m_buildStatus = status;
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
        AppServices::opener().showInFileViewer(path);
}

QList<MediaFileInfo> DoneModel::mediaFiles() const {
    return generateMediaFileInfo(results(), m_pipeline->lastMediaPaths(), m_pipeline->probeResults());
}

// Written in the press, on the main thread: a long story holds the page for as long as it takes.
// A failure is for the console only; the editor sees no file appear.
void DoneModel::exportFcpxml() {
    const std::optional<QString> dir = exportDir();
    if (!dir)
        return;
    const QString path = *dir + QStringLiteral("/story_edit.fcpxml");
    const MiningResults& r = results();
    QString error;
    if (FCPXMLExporter().exportToFile(path, QLatin1String(kProjectName), r.segments, mediaFiles(), kExportFps,
                                      r.subtitles, &error))
        AppServices::opener().showInFileViewer(path);
    else
        qInfo().noquote() << QStringLiteral("FCPXML export failed: ") + error;
}

void DoneModel::exportEdl() {
    const std::optional<QString> dir = exportDir();
    if (!dir)
        return;
    const QString path = *dir + QStringLiteral("/story_edit.edl");
    QString error;
    if (EDLExporter().exportToFile(path, QLatin1String(kProjectName), results().segments, mediaFiles(),
                                   kExportFps, &error))
        AppServices::opener().showInFileViewer(path);
    else
        qInfo().noquote() << QStringLiteral("EDL export failed: ") + error;
}

void DoneModel::openExportFolder() {
    if (const std::optional<QString> dir = exportDir())
        AppServices::opener().openUrl(QUrl::fromLocalFile(*dir));
}

} // namespace ondrel
