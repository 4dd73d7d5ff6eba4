#include "SetupPageModel.h"

#include <cmath>

namespace ondrel {

bool RecentMinesModel::filterAcceptsRow(int sourceRow, const QModelIndex&) const {
    return sourceRow < kShown;
}

SetupPageModel::SetupPageModel(QObject* parent)
    : QObject(parent) {
    connect(&m_recent, &QAbstractItemModel::modelReset, this, &SetupPageModel::recentMinesChanged);
    connect(&m_recent, &QAbstractItemModel::rowsInserted, this, &SetupPageModel::recentMinesChanged);
    connect(&m_recent, &QAbstractItemModel::rowsRemoved, this, &SetupPageModel::recentMinesChanged);
}

void SetupPageModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    for (const QMetaObject::Connection& c : std::as_const(m_connections))
        disconnect(c);
    m_connections.clear();
    m_wizard = wizard;
    m_recent.setSourceModel(wizard ? wizard->savedProjects() : nullptr);
    if (wizard) {
        ResolveBridge* bridge = wizard->resolveBridge();
        m_connections = {
            connect(bridge, &ResolveBridge::isConnectedChanged, this, &SetupPageModel::connectionChanged),
            connect(bridge, &ResolveBridge::projectNameChanged, this, &SetupPageModel::connectionChanged),
            connect(bridge, &ResolveBridge::timelinesChanged, this, &SetupPageModel::timelinesChanged),
            // The selection's index moves with the list as well as with the choice.
            connect(bridge, &ResolveBridge::timelinesChanged, this, &SetupPageModel::selectionChanged),
            connect(wizard, &MineView::selectedTimelineChanged, this, &SetupPageModel::selectionChanged),
            connect(wizard, &MineView::selectedLanguageChanged, this, &SetupPageModel::languageChanged),
            connect(wizard, &MineView::targetMinutesChanged, this, &SetupPageModel::targetChanged),
            connect(wizard, &MineView::selectedModeChanged, this, &SetupPageModel::modeChanged),
            connect(wizard, &MineView::selectedModeChanged, this, &SetupPageModel::selectionChanged),
            connect(wizard, &MineView::sourceKindChanged, this, &SetupPageModel::selectionChanged),
            connect(bridge, &ResolveBridge::isConnectedChanged, this, &SetupPageModel::selectionChanged),
        };
    }
    emit wizardChanged();
    emit recentMinesChanged();
    emit connectionChanged();
    emit timelinesChanged();
    emit selectionChanged();
    emit languageChanged();
    emit targetChanged();
    emit modeChanged();
}

bool SetupPageModel::isConnected() const {
    return m_wizard && m_wizard->resolveBridge()->isConnected();
}

QString SetupPageModel::statusText() const {
    return isConnected() ? QStringLiteral("Connected") : QStringLiteral("Not Connected");
}

QString SetupPageModel::statusDetail() const {
    const std::optional<QString> name =
        m_wizard ? m_wizard->resolveBridge()->projectName() : std::optional<QString>();
    return name.value_or(QStringLiteral("DaVinci Resolve not detected"));
}

bool SetupPageModel::hasTimelines() const {
    return m_wizard && !m_wizard->resolveBridge()->timelines().isEmpty();
}

QStringList SetupPageModel::timelineOptions() const {
    QStringList options{noTimelineText()};
    if (m_wizard)
        options << m_wizard->resolveBridge()->timelines();
    return options;
}

int SetupPageModel::timelineIndex() const {
    if (!hasTimeline())
        return 0;
    const qsizetype at = m_wizard->resolveBridge()->timelines().indexOf(*m_wizard->selectedTimeline());
    return at < 0 ? -1 : int(at) + 1;
}

bool SetupPageModel::hasTimeline() const {
    return m_wizard && m_wizard->selectedTimeline().has_value();
}

QStringList SetupPageModel::languageNames() {
    QStringList names;
    for (const auto& [code, name] : LANGUAGES())
        names << name;
    return names;
}

int SetupPageModel::languageIndex() const {
    if (!m_wizard)
        return -1;
    const auto& languages = LANGUAGES();
    for (qsizetype i = 0; i < languages.size(); ++i)
        if (languages[i].first == m_wizard->selectedLanguage())
            return int(i);
    return -1;
}

QString SetupPageModel::targetText() const {
    return QStringLiteral("%1 min").arg(qint64(std::trunc(m_wizard ? m_wizard->targetMinutes() : 0.0)));
}

QString SetupPageModel::mainActionText() const {
    return m_wizard && m_wizard->isAudit() ? QStringLiteral("Start Audit") : QStringLiteral("Choose Style");
}

bool SetupPageModel::canContinue() const {
    return hasTimeline() && blockedText().isEmpty();
}

QString SetupPageModel::blockedText() const {
    if (m_wizard && m_wizard->isAudit() && m_wizard->sourceKind() == QLatin1String("files"))
        return QStringLiteral(
            "An audit reads a cut: choose a Resolve timeline or an editor's timeline file.");
    // A saved mine of a timeline file keeps its transcript, not the cut.
    if (m_wizard && m_wizard->isAudit() && m_wizard->sourceKind() == QLatin1String("timelineFile") &&
        m_wizard->hasLoadedProject() && !m_wizard->timelineFile()->isReady())
        return QStringLiteral("An audit reads the cut itself: choose its timeline file again.");
    return {};
}

bool SetupPageModel::showsForm() const {
    if (!m_wizard)
        return false;
    if (m_wizard->speaksResolve())
        return isConnected();
    return hasTimeline();
}

void SetupPageModel::chooseTimeline(int index) {
    const QStringList options = timelineOptions();
    if (!m_wizard || index < 0 || index >= options.size())
        return;
    m_wizard->setSelectedTimelineText(index == 0 ? QString() : options[index]);
}

void SetupPageModel::chooseLanguage(int index) {
    if (m_wizard && index >= 0 && index < LANGUAGES().size())
        m_wizard->setSelectedLanguage(LANGUAGES()[index].first);
}

void SetupPageModel::next() {
    if (!canContinue())
        return;
    if (m_wizard->isAudit()) {
        m_wizard->advanceTo(int(MineStep::mining));
        m_wizard->startMining();
    } else {
        m_wizard->advanceTo(int(MineStep::style));
    }
}

} // namespace ondrel
