#pragma once
// The Processing page's view state: the animated dots, the rotating fact, the credits line, the log
// colours and the cancel question. Made by the page when it appears; its timers end with it.

#include "MineView.h"

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

// The ten lines the page rotates through, in this order.
const QStringList& FUN_FACTS();
// ".", "..", "...", then "." again; never empty.
QString nextDots(const QString& dots);
int nextFactIndex(int current);
// A log line's colour word as drawn; an unknown word is muted.
QColor logColor(const QString& name);
// The bar's progress read as credits: deliberately not the account's figure.
QString creditsUsedText(double progress);

class ProcessingModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ondrel::MineView* wizard READ wizard WRITE setWizard NOTIFY wizardChanged)
    Q_PROPERTY(QString dots READ dots NOTIFY dotsChanged)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    // "" while the work goes on (or waits for its turn), "complete" or "failed" once it has ended.
    Q_PROPERTY(QString outcome READ outcome NOTIFY outcomeChanged)
    // The page's way on once the work has ended: on to the story, or back to try again.
    Q_PROPERTY(QString nextText READ nextText NOTIFY outcomeChanged)
    Q_PROPERTY(int currentFact READ currentFact NOTIFY currentFactChanged)
    Q_PROPERTY(QString factText READ factText NOTIFY currentFactChanged)
    Q_PROPERTY(QString creditsText READ creditsText NOTIFY creditsTextChanged)
    Q_PROPERTY(bool showCancelConfirm READ showCancelConfirm NOTIFY showCancelConfirmChanged)
    Q_PROPERTY(QString waitingText READ waitingText CONSTANT)

public:
    explicit ProcessingModel(QObject* parent = nullptr);
    ~ProcessingModel() override;

    MineView* wizard() const { return m_wizard; }
    void setWizard(MineView* wizard);
    QString dots() const { return m_dots; }
    QString title() const;
    QString outcome() const;
    QString nextText() const;
    int currentFact() const { return m_currentFact; }
    QString factText() const { return FUN_FACTS().at(m_currentFact); }
    QString creditsText() const;
    bool showCancelConfirm() const { return m_showCancelConfirm; }
    // Shown while the run waits for another run, audit or build of the application to end.
    static QString waitingText();

    Q_INVOKABLE static QColor colorOf(const QString& name) { return logColor(name); }

    // What the timers do (every 0.5 s and every 5 s).
    Q_INVOKABLE void tickDots();
    Q_INVOKABLE void tickFact();

    // After the end: on to the review (or the audit), or back to where the work was started.
    Q_INVOKABLE void goOn();

    Q_INVOKABLE void askCancel();
    // "Keep Mining": the question goes, the run was never touched.
    Q_INVOKABLE void keepMining();
    Q_INVOKABLE void confirmCancel();

signals:
    void wizardChanged();
    void dotsChanged();
    void currentFactChanged();
    void creditsTextChanged();
    void showCancelConfirmChanged();
    void titleChanged();
    void outcomeChanged();

private:
    void setShowCancelConfirm(bool on);
    void holdWizard(bool hold);

    QPointer<MineView> m_wizard;
    QList<QMetaObject::Connection> m_pipelineConnections;
    QString m_dots;
    int m_currentFact = 0;
    bool m_showCancelConfirm = false;
    QTimer m_dotsTimer;
    QTimer m_factTimer;
};

} // namespace ondrel
