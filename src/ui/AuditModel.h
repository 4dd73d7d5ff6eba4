#pragma once
// The Audit page's view state and every figure and text it shows of an audit report: coverage and
// confidence with their colours, the buried gold the editor may open and mark, redundancies,
// better alternate takes and missing themes. Made by the page when it appears, so nothing starts
// open or marked.

#include "MineView.h"
#include "core/Records.h"

#include <QAbstractListModel>
#include <QColor>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

// The buried gold, one card per moment in the report's order.
class AuditGoldModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the Audit page's model")

public:
    enum Role {
        MomentIdRole = Qt::UserRole + 1,
        TextRole,
        ReasonRole,
        RangeTextRole,
        DurationTextRole,
        StarsRole,
        ExpandedRole,
        SelectedRole,
    };

    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setMoments(QList<GoldMoment> moments);
    // A tap on a card: it opens, or closes when it was the open one; one is open at a time.
    Q_INVOKABLE void toggleExpanded(int row);
    // The card's "Select"/"Selected"; it neither opens nor closes the card.
    Q_INVOKABLE void toggleSelected(int row);

    const std::optional<QString>& expandedGold() const { return m_expanded; }
    const QSet<QString>& selectedMoments() const { return m_selected; }

signals:
    void selectionChanged();
    void addChanged();

private:
    void rowsChanged(const QString& id, const QList<int>& roles);

    QList<GoldMoment> m_moments;
    std::optional<QString> m_expanded;
    QSet<QString> m_selected;
};

// Rows of texts with named roles, for the report's redundancies and alternate takes.
class AuditRowsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the Audit page's model")

public:
    explicit AuditRowsModel(QList<QByteArray> roles = {}, QObject* parent = nullptr);
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Each row's texts in the order of the roles.
    void setRows(QList<QStringList> rows);

private:
    QList<QByteArray> m_roles;
    QList<QStringList> m_rows;
};

class AuditModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ondrel::MineView* wizard READ wizard WRITE setWizard NOTIFY wizardChanged REQUIRED)

    Q_PROPERTY(QString summary READ summary NOTIFY reportChanged)
    Q_PROPERTY(QString coverageText READ coverageText NOTIFY reportChanged)
    Q_PROPERTY(QColor coverageColor READ coverageColor NOTIFY reportChanged)
    // The used part of the bar as a share of its width, not clamped to the bar.
    Q_PROPERTY(double coverageShare READ coverageShare NOTIFY reportChanged)
    Q_PROPERTY(QString usedText READ usedText NOTIFY reportChanged)
    Q_PROPERTY(QString unusedText READ unusedText NOTIFY reportChanged)

    Q_PROPERTY(QString confidenceText READ confidenceText NOTIFY reportChanged)
    Q_PROPERTY(QColor confidenceColor READ confidenceColor NOTIFY reportChanged)
    Q_PROPERTY(QVariantList confidenceGradient READ confidenceGradient NOTIFY reportChanged)
    Q_PROPERTY(double confidenceShare READ confidenceShare NOTIFY reportChanged)
    Q_PROPERTY(QString confidenceMessage READ confidenceMessage NOTIFY reportChanged)

    Q_PROPERTY(ondrel::AuditGoldModel* gold READ gold CONSTANT)
    Q_PROPERTY(int goldCount READ goldCount NOTIFY reportChanged)
    Q_PROPERTY(QString goldCountText READ goldCountText NOTIFY reportChanged)
    Q_PROPERTY(ondrel::AuditRowsModel* redundancies READ redundancies CONSTANT)
    Q_PROPERTY(int redundancyCount READ redundancyCount NOTIFY reportChanged)
    Q_PROPERTY(ondrel::AuditRowsModel* alternates READ alternates CONSTANT)
    Q_PROPERTY(int alternateCount READ alternateCount NOTIFY reportChanged)
    Q_PROPERTY(QStringList themeGaps READ themeGaps NOTIFY reportChanged)

    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(QString addMomentsText READ addMomentsText NOTIFY selectionChanged)
    // "Building in Resolve...", or for a cut read from a file "Saving for your editor...".
    Q_PROPERTY(QString addingText READ addingText NOTIFY selectionChanged)
    // The timeline of the chosen moments: under way, and how it ended (with the time it did).
    Q_PROPERTY(bool isAdding READ isAdding NOTIFY addChanged)
    Q_PROPERTY(QString addStatus READ addStatus NOTIFY addChanged)
    Q_PROPERTY(bool addFailed READ addFailed NOTIFY addChanged)

public:
    explicit AuditModel(QObject* parent = nullptr);

    MineView* wizard() const { return m_wizard; }
    void setWizard(MineView* wizard);
    // The report on show; the wizard's page sets it from the pipeline.
    void setReport(const AuditReport& report);
    const AuditReport& report() const { return m_report; }

    QString summary() const { return m_report.summary; }
    QString coverageText() const;
    QColor coverageColor() const;
    double coverageShare() const { return m_report.coveragePercent / 100.0; }
    QString usedText() const;
    QString unusedText() const;
    QString confidenceText() const;
    QColor confidenceColor() const;
    QVariantList confidenceGradient() const;
    double confidenceShare() const { return m_report.confidenceScore / 100.0; }
    QString confidenceMessage() const;

    AuditGoldModel* gold() { return &m_gold; }
    int goldCount() const { return int(m_report.buriedGold.size()); }
    QString goldCountText() const;
    AuditRowsModel* redundancies() { return &m_redundancies; }
    int redundancyCount() const { return int(m_report.redundancies.size()); }
    AuditRowsModel* alternates() { return &m_alternates; }
    int alternateCount() const { return int(m_report.alternates.size()); }
    QStringList themeGaps() const { return m_report.themeGaps; }

    int selectedCount() const { return int(m_gold.selectedMoments().size()); }
    QString addMomentsText() const;
    QString addingText() const;

    // "Add {n} moments to timeline": a new timeline of the chosen moments, in the report's order,
    // each in its own source clip.
    Q_INVOKABLE void addMoments();
    bool isAdding() const { return m_isAdding; }
    QString addStatus() const { return m_addStatus; }
    bool addFailed() const { return m_addStatus.contains(QStringLiteral("✗")); }
    Q_INVOKABLE void startOver();

signals:
    void wizardChanged();
    void reportChanged();
    void selectionChanged();
    void addChanged();

private:
    void loadFromPipeline();
    void onBuildResult();

    QPointer<MineView> m_wizard;
    AuditReport m_report;
    AuditGoldModel m_gold;
    AuditRowsModel m_redundancies;
    AuditRowsModel m_alternates;
    bool savesForEditor() const;
    bool m_isAdding = false;
    QString m_addStatus;
};

} // namespace ondrel
