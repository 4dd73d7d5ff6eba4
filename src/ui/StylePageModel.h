#pragma once
// The style page over the wizard's style choice: the presets and the six sliders as lists, the
// rule that keeps a preset highlighted only while the sliders still equal it, the output estimate,
// and the page's own "Fine-tune" state, which starts closed each time the page appears.

#include "MineView.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

// Moments a story of this length is likely to hold: longer ones at a slow pace, never fewer than 3.
int estimatedSegments(double targetMinutes, double pace);
// "~{m} min · ~{n} segments".
QString estimatedOutputText(double targetMinutes, double pace);
// A slider's value as "%.0f%%" of value × 100.
QString sliderPercentText(double value);

class StylePresetsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the style page's model")
public:
    enum Role { IdRole = Qt::UserRole + 1, NameRole, DescriptionRole, IconRole, SelectedRole };
    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setSelectedId(const QString& id);

private:
    QString m_selectedId;
};

class StyleSlidersModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the style page's model")
public:
    enum Role { IdRole = Qt::UserRole + 1, LabelRole, LowRole, HighRole, ValueRole, PercentTextRole };
    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Tells the rows whose value moved.
    void setSliders(const StyleSliders& sliders);

private:
    StyleSliders m_sliders;
};

class StylePageModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ondrel::MineView* wizard READ wizard WRITE setWizard NOTIFY wizardChanged)
    Q_PROPERTY(ondrel::StylePresetsModel* presets READ presets CONSTANT)
    Q_PROPERTY(ondrel::StyleSlidersModel* sliders READ sliders CONSTANT)
    Q_PROPERTY(bool showSliders READ showSliders NOTIFY showSlidersChanged)
    Q_PROPERTY(bool isMagicMode READ isMagicMode NOTIFY styleChanged)
    Q_PROPERTY(int estimatedSegments READ estimatedSegments NOTIFY estimateChanged)
    Q_PROPERTY(QString estimatedOutput READ estimatedOutput NOTIFY estimateChanged)
    Q_PROPERTY(QString startText READ startText NOTIFY styleChanged)

public:
    explicit StylePageModel(QObject* parent = nullptr);

    MineView* wizard() const { return m_wizard; }
    void setWizard(MineView* wizard);
    StylePresetsModel* presets() { return &m_presets; }
    StyleSlidersModel* sliders() { return &m_sliders; }
    bool showSliders() const { return m_showSliders; }
    bool isMagicMode() const { return m_wizard && m_wizard->isMagicMode(); }
    int estimatedSegments() const;
    QString estimatedOutput() const;
    QString startText() const;

    // A preset's button: chooses it and takes its sliders, or, when it is the chosen one, lets it
    // go and keeps the sliders as they are.
    Q_INVOKABLE void selectPreset(const QString& id);
    // A slider by its id, clamped to 0–1.
    Q_INVOKABLE void setSlider(const QString& id, double value);
    Q_INVOKABLE void toggleSliders();
    Q_INVOKABLE void toggleMagicMode();
    Q_INVOKABLE void back();
    // "Start Mining" or "Start Magic Mine": the run starts with the style as it stands.
    Q_INVOKABLE void start();

signals:
    void wizardChanged();
    void showSlidersChanged();
    void styleChanged();
    void estimateChanged();

private:
    void syncStyle();
    void refreshEstimate();

    QPointer<MineView> m_wizard;
    StylePresetsModel m_presets;
    StyleSlidersModel m_sliders;
    bool m_showSliders = false;
    QString m_estimate;
    QList<QMetaObject::Connection> m_connections;
};

} // namespace ondrel
