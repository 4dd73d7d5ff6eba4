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
    disconnect(m_progressConnection);
    m_wizard = wizard;
    if (wizard)
        m_progressConnection = connect(wizard->pipeline(), &LocalPipeline::progressChanged, this,
                                       &ProcessingModel::creditsTextChanged);
    emit wizardChanged();
    emit creditsTextChanged();
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

void ProcessingModel::askCancel() {
    setShowCancelConfirm(true);
}

void ProcessingModel::keepMining() {
    setShowCancelConfirm(false);
}

void ProcessingModel::confirmCancel() {
    setShowCancelConfirm(false);
    if (m_wizard)
        m_wizard->cancelMining();
}

} // namespace ondrel
