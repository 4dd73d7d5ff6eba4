#include "AuditModel.h"

#include "ClockText.h"

#include "Theme.h"
#include "analysis/AnswerText.h"
#include "export/ExportBundle.h"

#include <cmath>

namespace ondrel {

namespace {

const QColor& green() {
    static const QColor c = colorFromHex("30D158");
    return c;
}
const QColor& orange() {
    static const QColor c = colorFromHex("FF9F0A");
    return c;
}
const QColor& red() {
    static const QColor c = colorFromHex("FF453A");
    return c;
}

} // namespace

// ---- buried gold -------------------------------------------------------------------------------

int AuditGoldModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_moments.size());
}

QVariant AuditGoldModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const GoldMoment& m = m_moments[index.row()];
    switch (role) {
    case MomentIdRole:
        return m.id();
    case TextRole:
        return m.text;
    case ReasonRole:
        return m.reason;
    case RangeTextRole:
        return clockRangeText(m.startTime, m.endTime);
    case DurationTextRole: {
        const double seconds = std::trunc(m.endTime - m.startTime);
        return QStringLiteral("%1s").arg(std::isfinite(seconds) ? qint64(seconds) : 0);
    }
    case StarsRole:
        // A runaway weight must not lay out a million stars.
        return int(std::clamp<qint64>(m.emotionalWeight, 0, 1000));
    case ExpandedRole:
        return m_expanded == m.id();
    case SelectedRole:
        return m_selected.contains(m.id());
    default:
        return {};
    }
}

QHash<int, QByteArray> AuditGoldModel::roleNames() const {
    return {{MomentIdRole, "momentId"},
            {TextRole, "text"},
            {ReasonRole, "reason"},
            {RangeTextRole, "rangeText"},
            {DurationTextRole, "durationText"},
            {StarsRole, "stars"},
            {ExpandedRole, "expanded"},
            {SelectedRole, "selected"}};
}

void AuditGoldModel::setMoments(QList<GoldMoment> moments) {
    beginResetModel();
    m_moments = std::move(moments);
    m_expanded.reset();
    m_selected.clear();
    endResetModel();
    emit selectionChanged();
}

// Moments of the same times share an id, so every row of that id changes together.
void AuditGoldModel::rowsChanged(const QString& id, const QList<int>& roles) {
    for (int i = 0; i < m_moments.size(); ++i)
        if (m_moments[i].id() == id)
            emit dataChanged(index(i), index(i), roles);
}

void AuditGoldModel::toggleExpanded(int row) {
    if (row < 0 || row >= m_moments.size())
        return;
    const QString id = m_moments[row].id();
    const std::optional<QString> before = m_expanded;
    m_expanded = before == id ? std::nullopt : std::optional<QString>(id);
    if (before)
        rowsChanged(*before, {ExpandedRole});
    if (m_expanded)
        rowsChanged(*m_expanded, {ExpandedRole});
}

void AuditGoldModel::toggleSelected(int row) {
    if (row < 0 || row >= m_moments.size())
        return;
    const QString id = m_moments[row].id();
    if (!m_selected.remove(id))
        m_selected.insert(id);
    rowsChanged(id, {SelectedRole});
    emit selectionChanged();
}

// ---- redundancies and alternates ---------------------------------------------------------------

AuditRowsModel::AuditRowsModel(QList<QByteArray> roles, QObject* parent)
    : QAbstractListModel(parent)
    , m_roles(std::move(roles)) {}

int AuditRowsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant AuditRowsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const int column = role - (Qt::UserRole + 1);
    const QStringList& row = m_rows[index.row()];
    return column >= 0 && column < row.size() ? QVariant(row[column]) : QVariant();
}

QHash<int, QByteArray> AuditRowsModel::roleNames() const {
    QHash<int, QByteArray> names;
    for (int i = 0; i < m_roles.size(); ++i)
        names.insert(Qt::UserRole + 1 + i, m_roles[i]);
    return names;
}

void AuditRowsModel::setRows(QList<QStringList> rows) {
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

// ---- the page --------------------------------------------------------------------------------

AuditModel::AuditModel(QObject* parent)
    : QObject(parent)
    , m_gold(this)
    , m_redundancies({"topic", "firstRange", "secondRange"}, this)
    , m_alternates({"alternateText", "reason", "currentRange", "betterRange"}, this) {
    connect(&m_gold, &AuditGoldModel::selectionChanged, this, &AuditModel::selectionChanged);
}

void AuditModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    if (m_wizard)
        disconnect(m_wizard->pipeline(), nullptr, this, nullptr);
    m_wizard = wizard;
    if (m_wizard) {
        connect(m_wizard->pipeline(), &LocalPipeline::auditReportChanged, this,
                &AuditModel::loadFromPipeline);
        connect(m_wizard->pipeline(), &LocalPipeline::buildResultChanged, this, &AuditModel::onBuildResult);
    }
    loadFromPipeline();
    emit wizardChanged();
}

void AuditModel::loadFromPipeline() {
    const std::optional<AuditReport>& report = m_wizard ? m_wizard->pipeline()->auditReport() : std::nullopt;
    setReport(report.value_or(AuditReport()));
}

void AuditModel::setReport(const AuditReport& report) {
    m_report = report;
    m_gold.setMoments(report.buriedGold);
    QList<QStringList> redundancies;
    for (const Redundancy& r : report.redundancies)
        redundancies.push_back(
            {r.topic, clockRangeText(r.firstStart, r.firstEnd), clockRangeText(r.secondStart, r.secondEnd)});
    m_redundancies.setRows(std::move(redundancies));
    QList<QStringList> alternates;
    for (const AlternateTake& a : report.alternates)
        alternates.push_back({a.alternateText, a.reason, clockRangeText(a.existingStart, a.existingEnd),
                              clockRangeText(a.alternateStart, a.alternateEnd)});
    m_alternates.setRows(std::move(alternates));
    emit reportChanged();
}

QString AuditModel::coverageText() const {
    return formatFixed(m_report.coveragePercent, 1) + u'%';
}

// Coverage and confidence draw their lines at different heights on purpose.
QColor AuditModel::coverageColor() const {
    const double c = m_report.coveragePercent;
    return c >= 80 ? green() : c >= 50 ? orange() : red();
}

QString AuditModel::usedText() const {
    return QStringLiteral("%1 clips").arg(m_report.usedSegments.size());
}

QString AuditModel::unusedText() const {
    return formatFixed(100.0 - m_report.coveragePercent, 1) + u'%';
}

QString AuditModel::confidenceText() const {
    const double score = std::trunc(m_report.confidenceScore);
    return QStringLiteral("%1/100").arg(std::isfinite(score) ? qint64(score) : 0);
}

QColor AuditModel::confidenceColor() const {
    const double s = m_report.confidenceScore;
    return s >= 80 ? green() : s >= 60 ? orange() : red();
}

QVariantList AuditModel::confidenceGradient() const {
    return {Theme::alpha(confidenceColor(), 0.7), confidenceColor()};
}

// Chosen by the confidence score though it speaks of coverage.
QString AuditModel::confidenceMessage() const {
    const double s = m_report.confidenceScore;
    return s >= 80   ? QStringLiteral("Excellent coverage — only minor gems missing")
           : s >= 60 ? QStringLiteral("Good coverage — some significant moments unused")
                     : QStringLiteral("Major gaps — review buried gold carefully");
}

QString AuditModel::goldCountText() const {
    return QStringLiteral("%1 moments").arg(m_report.buriedGold.size());
}

// No singular: "Add 1 moments to timeline".
QString AuditModel::addMomentsText() const {
    if (savesForEditor())
        return QStringLiteral("Save %1 moments for your editor").arg(selectedCount());
    return QStringLiteral("Add %1 moments to timeline").arg(selectedCount());
}

QString AuditModel::addingText() const {
    return savesForEditor() ? QStringLiteral("Saving for your editor...")
                            : QStringLiteral("Building in Resolve...");
}

// A cut read from a timeline file goes back as files, not into Resolve.
bool AuditModel::savesForEditor() const {
    return m_wizard && m_wizard->pipeline()->runSource().has_value();
}

void AuditModel::addMoments() {
    if (!m_wizard || m_isAdding || selectedCount() == 0)
        return;
    QList<StorySegment> moments;
    for (const GoldMoment& gold : m_report.buriedGold) {
        if (!m_gold.selectedMoments().contains(gold.id()))
            continue;
        StorySegment s;
        s.index = moments.size();
        s.startTime = gold.startTime;
        s.endTime = gold.endTime;
        s.sourceClip = QStringLiteral("source");
        s.transcript = gold.text;
        s.chapter = QStringLiteral("Buried gold");
        moments << s;
    }
    m_isAdding = true;
    m_addStatus.clear();
    emit addChanged();
    m_wizard->buildMoments(moments);
}

// Every outcome ends the wait, the same text as last time included, and carries its time.
void AuditModel::onBuildResult() {
    if (!m_isAdding || !m_wizard)
        return;
    LocalPipeline* pipeline = m_wizard->pipeline();
    m_isAdding = false;
    m_addStatus = pipeline->buildResultText() + QStringLiteral(" · ") +
                  pipeline->clock().now().time().toString(QStringLiteral("HH:mm:ss"));
    emit addChanged();
}

void AuditModel::startOver() {
    if (m_wizard)
        m_wizard->resetFlow();
}

} // namespace ondrel
