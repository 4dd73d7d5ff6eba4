#include "ProcessingModel.h"

#include "Theme.h"

namespace ondrel {

const QStringList& FUN_FACTS() {
    static const QStringList facts = {
        QStringLiteral("Whisper supports 97 languages and dialects"),
        QStringLiteral("The average interview has 3 stories hiding inside"),
        QStringLiteral("Your footage is never stored — deleted after processing"),
        QStringLiteral("Word-level timestamps are accurate to 20ms"),
        QStringLiteral("Claude reads your entire transcript in one pass"),
        QStringLiteral("The longest interview we've processed was 8 hours"),
        QStringLiteral("Subtitles are synced to actual spoken words, not estimates"),
        QStringLiteral("Magic Mode lets the AI be your assistant editor"),
        QStringLiteral("Each gem represents a story moment worth keeping"),
        QStringLiteral("Our translations come from the real transcript, never hallucinated"),
    };
    return facts;
}

QString nextDots(const QString& dots) {
    return QString(dots.size() % 3 + 1, u'.');
}

int nextFactIndex(int current) {
    return (current + 1) % int(FUN_FACTS().size());
}

QColor logColor(const QString& name) {
    if (name == QLatin1String("accent"))
        return colorFromHex("e8440a");
    if (name == QLatin1String("green"))
        return colorFromHex("30D158");
    if (name == QLatin1String("blue"))
        return colorFromHex("0A84FF");
    if (name == QLatin1String("dim"))
        return QColor::fromRgbF(0.35f, 0.35f, 0.35f);
    return colorFromHex("8E8E93");
}

QString creditsUsedText(double progress) {
    return QString::asprintf("%.1f credits used", progress);
}

ProcessingModel::~ProcessingModel() {
    holdWizard(false);
}

ProcessingModel::ProcessingModel(QObject* parent)
    : QObject(parent) {
    m_dotsTimer.setInterval(500);
    m_factTimer.setInterval(5000);
    connect(&m_dotsTimer, &QTimer::timeout, this, &ProcessingModel::tickDots);
    connect(&m_factTimer, &QTimer::timeout, this, &ProcessingModel::tickFact);
    m_dotsTimer.start();
    m_factTimer.start();
}

void ProcessingModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    for (const auto& c : std::as_const(m_pipelineConnections))
        disconnect(c);
    m_pipelineConnections.clear();
    m_wizard = wizard;
    if (wizard) {
        m_pipelineConnections << connect(wizard->pipeline(), &LocalPipeline::progressChanged, this,
                                         &ProcessingModel::creditsTextChanged);
        m_pipelineConnections << connect(wizard, &MineView::isWorkingChanged, this, [this] {
            // The question is moot once the work has ended: it goes, and the page says how it ended.
            if (!outcome().isEmpty())
                setShowCancelConfirm(false);
            emit outcomeChanged();
            emit titleChanged();
        });
    }
    emit wizardChanged();
    emit creditsTextChanged();
    emit outcomeChanged();
    emit titleChanged();
}

QString ProcessingModel::outcome() const {
    if (!m_wizard || m_wizard->isWorking())
        return {};
    const LocalPipeline& p = *m_wizard->pipeline();
    if (p.step() == PipelineStep::error)
        return QStringLiteral("failed");
    const bool finished = m_wizard->isAudit() ? p.auditReport().has_value() : p.results().has_value();
    return p.step() == PipelineStep::complete || finished ? QStringLiteral("complete") : QString();
}

QString ProcessingModel::title() const {
    const QString ended = outcome();
    const bool audit = m_wizard && m_wizard->isAudit();
    if (ended == QLatin1String("complete"))
        return audit ? QStringLiteral("Audit complete") : QStringLiteral("Mining complete");
    if (ended == QLatin1String("failed"))
        return audit ? QStringLiteral("The audit stopped") : QStringLiteral("Mining stopped");
    return QStringLiteral("Mining in progress") + m_dots;
}

QString ProcessingModel::nextText() const {
    const QString ended = outcome();
    const bool audit = m_wizard && m_wizard->isAudit();
    if (ended == QLatin1String("complete"))
        return audit ? QStringLiteral("See the audit →") : QStringLiteral("Review the story →");
    if (ended == QLatin1String("failed"))
        return audit ? QStringLiteral("← Back to Setup") : QStringLiteral("← Back to Style");
    return {};
}

void ProcessingModel::goOn() {
    const QString ended = outcome();
    if (!m_wizard || ended.isEmpty())
        return;
    holdWizard(false);
    if (ended == QLatin1String("complete"))
        m_wizard->advanceTo(int(MineStep::review));
    else
        m_wizard->advanceTo(int(m_wizard->isAudit() ? MineStep::setup : MineStep::style));
}

QString ProcessingModel::creditsText() const {
    return creditsUsedText(m_wizard ? m_wizard->pipeline()->progress() : 0.0);
}

QString ProcessingModel::waitingText() {
    return QStringLiteral("Waiting for the previous run, audit or build to finish…");
}

void ProcessingModel::tickDots() {
    m_dots = nextDots(m_dots);
    emit dotsChanged();
    if (outcome().isEmpty())
        emit titleChanged();
}

void ProcessingModel::tickFact() {
    m_currentFact = nextFactIndex(m_currentFact);
    emit currentFactChanged();
}

void ProcessingModel::setShowCancelConfirm(bool on) {
    if (on == m_showCancelConfirm)
        return;
    m_showCancelConfirm = on;
    emit showCancelConfirmChanged();
}

// The wizard holds still from the question until the user's next choice on this page, also when
// the work ends meanwhile and the question goes by itself: the page then says how it ended, and
// nothing moves under the pointer that was on its way to the question's buttons.
void ProcessingModel::holdWizard(bool hold) {
    if (m_wizard)
        m_wizard->setCancelQuestionOpen(hold);
}

void ProcessingModel::askCancel() {
    // Nothing to cancel once the work has ended.
    if (!outcome().isEmpty())
        return;
    holdWizard(true);
    setShowCancelConfirm(true);
}

void ProcessingModel::keepMining() {
    setShowCancelConfirm(false);
    holdWizard(false);
}

void ProcessingModel::confirmCancel() {
    setShowCancelConfirm(false);
    holdWizard(false);
    // The work may have ended while the question was up: then there is nothing left to cancel.
    if (m_wizard && outcome().isEmpty())
        m_wizard->cancelMining();
}

} // namespace ondrel
