#pragma once
// The setup page's texts and rules over the wizard: the connection's status, the timeline and
// language menus, the target's caption and the main button, which leads to the style page or, in
// an audit, straight into the run.

#include "MineView.h"

#include <QPointer>
#include <QSortFilterProxyModel>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

// "RECENT MINES" shows the first three saved projects; a row here is the same row of the wizard's list.
class RecentMinesModel : public QSortFilterProxyModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the setup page's model")
public:
    static constexpr int kShown = 3;
    using QSortFilterProxyModel::QSortFilterProxyModel;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
};

class SetupPageModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ondrel::MineView* wizard READ wizard WRITE setWizard NOTIFY wizardChanged)
    Q_PROPERTY(ondrel::RecentMinesModel* recentMines READ recentMines CONSTANT)
    Q_PROPERTY(bool hasRecentMines READ hasRecentMines NOTIFY recentMinesChanged)
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY connectionChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY connectionChanged)
    Q_PROPERTY(QString statusDetail READ statusDetail NOTIFY connectionChanged)
    Q_PROPERTY(bool hasTimelines READ hasTimelines NOTIFY timelinesChanged)
    // "Select a timeline…" (none), then the timelines' names.
    Q_PROPERTY(QStringList timelineOptions READ timelineOptions NOTIFY timelinesChanged)
    // -1 when the selected timeline is not in Resolve's list (a recent mine of another project).
    Q_PROPERTY(int timelineIndex READ timelineIndex NOTIFY selectionChanged)
    Q_PROPERTY(bool hasTimeline READ hasTimeline NOTIFY selectionChanged)
    Q_PROPERTY(QStringList languageNames READ languageNames CONSTANT)
    Q_PROPERTY(int languageIndex READ languageIndex NOTIFY languageChanged)
    Q_PROPERTY(QString targetText READ targetText NOTIFY targetChanged)
    // The slider's end: a story of up to two hours (a week of footage makes a feature).
    Q_PROPERTY(int maxTargetMinutes READ maxTargetMinutes CONSTANT)
    Q_PROPERTY(QString maxTargetText READ maxTargetText CONSTANT)
    Q_PROPERTY(QString mainActionText READ mainActionText NOTIFY modeChanged)
    Q_PROPERTY(bool canContinue READ canContinue NOTIFY selectionChanged)
    // Why the way on is closed when a source is chosen but can't be used as asked.
    Q_PROPERTY(QString blockedText READ blockedText NOTIFY selectionChanged)
    // The mode, language and length are asked once there is a source to mine.
    Q_PROPERTY(bool showsForm READ showsForm NOTIFY selectionChanged)

public:
    static QString noTimelineText() { return QStringLiteral("Select a timeline…"); }
    static constexpr int kMaxTargetMinutes = 120;
    static int maxTargetMinutes() { return kMaxTargetMinutes; }
    static QString maxTargetText() { return QStringLiteral("%1 min").arg(kMaxTargetMinutes); }

    explicit SetupPageModel(QObject* parent = nullptr);

    MineView* wizard() const { return m_wizard; }
    void setWizard(MineView* wizard);
    RecentMinesModel* recentMines() { return &m_recent; }
    bool hasRecentMines() const { return m_recent.rowCount() > 0; }
    bool isConnected() const;
    QString statusText() const;
    QString statusDetail() const;
    bool hasTimelines() const;
    QStringList timelineOptions() const;
    int timelineIndex() const;
    bool hasTimeline() const;
    static QStringList languageNames();
    int languageIndex() const;
    QString targetText() const;
    QString mainActionText() const;
    bool canContinue() const;
    QString blockedText() const;
    bool showsForm() const;

    // An entry of the timeline menu; the first stands for none.
    Q_INVOKABLE void chooseTimeline(int index);
    Q_INVOKABLE void chooseLanguage(int index);
    // "Choose Style", or "Start Audit", which starts the audit at once.
    Q_INVOKABLE void next();

signals:
    void wizardChanged();
    void recentMinesChanged();
    void connectionChanged();
    void timelinesChanged();
    void selectionChanged();
    void languageChanged();
    void targetChanged();
    void modeChanged();

private:
    QPointer<MineView> m_wizard;
    RecentMinesModel m_recent;
    QList<QMetaObject::Connection> m_connections;
};

} // namespace ondrel
