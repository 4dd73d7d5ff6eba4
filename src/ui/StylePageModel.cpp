#include "StylePageModel.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ondrel {

namespace {

const StylePreset* presetById(const QString& id) {
    for (const StylePreset& p : STYLE_PRESETS())
        if (p.id == id)
            return &p;
    return nullptr;
}

const SliderDefinition* sliderById(const QString& id) {
    for (const SliderDefinition& d : SLIDER_DEFINITIONS())
        if (d.id == id)
            return &d;
    return nullptr;
}

} // namespace

int estimatedSegments(double targetMinutes, double pace) {
    const double averageSeconds = (1.0 - pace) * 50.0 + 10.0;
    return std::max(3, int(std::trunc(targetMinutes * 60.0 / averageSeconds)));
}

QString estimatedOutputText(double targetMinutes, double pace) {
    return QStringLiteral("~%1 min · ~%2 segments")
        .arg(qint64(std::trunc(targetMinutes)))
        .arg(estimatedSegments(targetMinutes, pace));
}

QString sliderPercentText(double value) {
    return QString::asprintf("%.0f%%", value * 100.0);
}

// ---- presets ---------------------------------------------------------------------------------

int StylePresetsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(STYLE_PRESETS().size());
}

QVariant StylePresetsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const StylePreset& p = STYLE_PRESETS()[index.row()];
    switch (role) {
    case IdRole:
        return p.id;
    case NameRole:
        return p.name;
    case DescriptionRole:
        return p.description;
    case IconRole:
        return p.icon;
    case SelectedRole:
        return p.id == m_selectedId;
    default:
        return {};
    }
}

QHash<int, QByteArray> StylePresetsModel::roleNames() const {
    return {{IdRole, "id"},
            {NameRole, "name"},
            {DescriptionRole, "description"},
            {IconRole, "icon"},
            {SelectedRole, "selected"}};
}

void StylePresetsModel::setSelectedId(const QString& id) {
    if (id == m_selectedId)
        return;
    m_selectedId = id;
    if (rowCount() > 0)
        emit dataChanged(index(0), index(rowCount() - 1), {SelectedRole});
}

// ---- sliders ---------------------------------------------------------------------------------

int StyleSlidersModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(SLIDER_DEFINITIONS().size());
}

QVariant StyleSlidersModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const SliderDefinition& d = SLIDER_DEFINITIONS()[index.row()];
    switch (role) {
    case IdRole:
        return d.id;
    case LabelRole:
        return d.label;
    case LowRole:
        return d.low;
    case HighRole:
        return d.high;
    case ValueRole:
        return m_sliders.*d.keyPath;
    case PercentTextRole:
        return sliderPercentText(m_sliders.*d.keyPath);
    default:
        return {};
    }
}

QHash<int, QByteArray> StyleSlidersModel::roleNames() const {
    return {{IdRole, "id"},     {LabelRole, "label"}, {LowRole, "low"},
            {HighRole, "high"}, {ValueRole, "value"}, {PercentTextRole, "percentText"}};
}

void StyleSlidersModel::setSliders(const StyleSliders& sliders) {
    const StyleSliders old = std::exchange(m_sliders, sliders);
    const auto& definitions = SLIDER_DEFINITIONS();
    for (qsizetype row = 0; row < definitions.size(); ++row)
        if (old.*definitions[row].keyPath != sliders.*definitions[row].keyPath)
            emit dataChanged(index(int(row)), index(int(row)), {ValueRole, PercentTextRole});
}

// ---- the page --------------------------------------------------------------------------------

StylePageModel::StylePageModel(QObject* parent)
    : QObject(parent) {}

void StylePageModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    for (const QMetaObject::Connection& c : std::as_const(m_connections))
        disconnect(c);
    m_connections.clear();
    m_wizard = wizard;
    if (wizard)
        m_connections = {
            connect(wizard, &MineView::styleChanged, this, &StylePageModel::syncStyle),
            connect(wizard, &MineView::targetMinutesChanged, this, &StylePageModel::refreshEstimate),
        };
    syncStyle();
    emit wizardChanged();
}

void StylePageModel::syncStyle() {
    m_presets.setSelectedId(m_wizard ? m_wizard->selectedPresetIdText() : QString());
    m_sliders.setSliders(m_wizard ? m_wizard->styleSliders() : StyleSliders());
    emit styleChanged();
    refreshEstimate();
}

void StylePageModel::refreshEstimate() {
    const QString estimate = estimatedOutput();
    if (estimate == m_estimate)
        return;
    m_estimate = estimate;
    emit estimateChanged();
}

int StylePageModel::estimatedSegments() const {
    if (!m_wizard)
        return ondrel::estimatedSegments(0, StyleSliders().pace);
    return ondrel::estimatedSegments(m_wizard->targetMinutes(), m_wizard->styleSliders().pace);
}

QString StylePageModel::estimatedOutput() const {
    if (!m_wizard)
        return estimatedOutputText(0, StyleSliders().pace);
    return estimatedOutputText(m_wizard->targetMinutes(), m_wizard->styleSliders().pace);
}

QString StylePageModel::startText() const {
    return isMagicMode() ? QStringLiteral("Start Magic Mine") : QStringLiteral("Start Mining");
}

void StylePageModel::selectPreset(const QString& id) {
    const StylePreset* preset = presetById(id);
    if (!m_wizard || !preset)
        return;
    if (m_wizard->selectedPresetId() == id) {
        m_wizard->setSelectedPresetId(std::nullopt);
        return;
    }
    m_wizard->setSelectedPresetId(id);
    m_wizard->setStyleSliders(preset->sliders);
}

void StylePageModel::setSlider(const QString& id, double value) {
    const SliderDefinition* definition = sliderById(id);
    if (!m_wizard || !definition || std::isnan(value))
        return;
    StyleSliders sliders = m_wizard->styleSliders();
    sliders.*definition->keyPath = std::clamp(value, 0.0, 1.0);
    m_wizard->setStyleSliders(sliders);
    // A preset stays chosen only while the values match it exactly; an id no preset has stays.
    if (const std::optional<QString>& chosen = m_wizard->selectedPresetId())
        if (const StylePreset* preset = presetById(*chosen); preset && preset->sliders != sliders)
            m_wizard->setSelectedPresetId(std::nullopt);
}

void StylePageModel::toggleSliders() {
    m_showSliders = !m_showSliders;
    emit showSlidersChanged();
}

void StylePageModel::toggleMagicMode() {
    if (m_wizard)
        m_wizard->setMagicMode(!m_wizard->isMagicMode());
}

void StylePageModel::back() {
    if (m_wizard)
        m_wizard->advanceTo(int(MineStep::setup));
}

void StylePageModel::start() {
    if (!m_wizard)
        return;
    m_wizard->advanceTo(int(MineStep::mining));
    m_wizard->startMining();
}

} // namespace ondrel
