#pragma once
// The Done page's view state and every figure and text it shows: the celebration, the build in
// Resolve and its outcome, the story's structure bar, the quick stats and the export files. Made by
// the page each time it appears, so the build status and the burst start afresh.

#include "ClockText.h"
#include "MineView.h"
#include "core/Records.h"

#include <QAbstractListModel>
#include <QColor>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <QCoroTask>

#include <memory>

#include <optional>

namespace ondrel {

// The acts of the story as the structure bar and its legend draw them.
class DoneActsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the Done page's model")
    // The width the blocks share, gaps left out; the page sets it as it lays out.
    Q_PROPERTY(qreal availableWidth READ availableWidth WRITE setAvailableWidth NOTIFY availableWidthChanged)

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        CountRole,
        ColorRole,
        BlockWidthRole,
        TicksRole,
        OverflowTextRole
    };

    struct Act {
        QString name;
        qint64 count = 0;    // the act's segment indices, those past the story's end included
        double duration = 0; // of the segments it really points at
        QColor color;
    };
    // Narrow acts still get a block wide enough for their count.
    static constexpr qreal kLeastWidth = 22;
    static constexpr int kMaxTicks = 30;

    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    static QList<Act> actsOf(const MiningResults& results);
    // Each block's share of the width by its duration, over at least one second in all.
    static QList<qreal> blockWidths(const QList<Act>& acts, qreal available);

    void setResults(const MiningResults& results);
    const QList<Act>& acts() const { return m_acts; }
    qreal availableWidth() const { return m_availableWidth; }
    void setAvailableWidth(qreal width);

signals:
    void availableWidthChanged();

private:
    QList<Act> m_acts;
    QList<qreal> m_widths;
    qreal m_availableWidth = 0;
};

// The three files of the export folder the page offers to show.
class DoneExportFilesModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the Done page's model")

public:
    enum Role { SymbolRole = Qt::UserRole + 1, LabelRole, FileNameRole, ExistsRole };
    struct File {
        QString symbol;
        QString label;
        QString fileName;
    };
    static const QList<File>& files();

    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Looks at the folder again; no folder, no files.
    void setFolder(const std::optional<QString>& folder);

private:
    QList<bool> m_exists = QList<bool>(3, false);
};

class DoneModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ondrel::MineView* wizard READ wizard WRITE setWizard NOTIFY wizardChanged REQUIRED)
    Q_PROPERTY(bool showConfetti READ showConfetti NOTIFY showConfettiChanged)

    Q_PROPERTY(bool isBuilding READ isBuilding NOTIFY buildChanged)
    Q_PROPERTY(bool hasBuildStatus READ hasBuildStatus NOTIFY buildChanged)
    Q_PROPERTY(QString buildStatus READ buildStatusText NOTIFY buildChanged)
    Q_PROPERTY(bool buildFailed READ buildFailed NOTIFY buildChanged)

    Q_PROPERTY(QString summaryText READ summaryText NOTIFY resultsChanged)
    Q_PROPERTY(bool hasStructure READ hasStructure NOTIFY resultsChanged)
    Q_PROPERTY(ondrel::DoneActsModel* acts READ acts CONSTANT)
    Q_PROPERTY(int segmentCount READ segmentCount NOTIFY resultsChanged)
    Q_PROPERTY(int subtitleCount READ subtitleCount NOTIFY resultsChanged)
    Q_PROPERTY(QString durationText READ durationText NOTIFY resultsChanged)
    Q_PROPERTY(int actCount READ actCount NOTIFY resultsChanged)

    Q_PROPERTY(bool hasExportDir READ hasExportDir NOTIFY exportDirChanged)
    Q_PROPERTY(ondrel::DoneExportFilesModel* exportFiles READ exportFiles CONSTANT)

    // The hand-off files: being written, what was written last ("Saved …"), whether that failed.
    Q_PROPERTY(bool isSaving READ isSaving NOTIFY savedChanged)
    Q_PROPERTY(QString savedNote READ savedNote NOTIFY savedChanged)
    Q_PROPERTY(bool savedFailed READ savedFailed NOTIFY savedChanged)
    Q_PROPERTY(bool canShowSaved READ canShowSaved NOTIFY savedChanged)
    // Where the note belongs: "editor" (the hand-off button) or "export" (the FCPXML and EDL tiles).
    Q_PROPERTY(QString savedFor READ savedFor NOTIFY savedChanged)
    // Shown once the story was saved for every editor: how each imports it, and what to watch for.
    Q_PROPERTY(bool handedOff READ handedOff NOTIFY savedChanged)
    Q_PROPERTY(QVariantList editorLines READ editorLines CONSTANT)
    Q_PROPERTY(QString handOffWarning READ handOffWarning NOTIFY savedChanged)
    // Set when no file manager could show a file or open the folder: where the files are instead,
    // and beside which button to say it ("editor", "export").
    Q_PROPERTY(QString folderMessage READ folderMessage NOTIFY folderMessageChanged)
    Q_PROPERTY(QString folderMessageFor READ folderMessageFor NOTIFY folderMessageChanged)
    // A mine from Resolve with Resolve Studio there to build it; otherwise the hand-off is the
    // page's main action.
    Q_PROPERTY(bool resolveConnected READ resolveConnected NOTIFY resolveConnectedChanged)

public:
    explicit DoneModel(QObject* parent = nullptr);

    static constexpr int kConfettiDelayMs = 300;

    MineView* wizard() const { return m_wizard; }
    void setWizard(MineView* wizard);
    bool showConfetti() const { return m_showConfetti; }

    bool isBuilding() const { return m_isBuilding; }
    const std::optional<QString>& buildStatus() const { return m_buildStatus; }
    bool hasBuildStatus() const { return m_buildStatus.has_value(); }
    QString buildStatusText() const { return m_buildStatus.value_or(QString()); }
    bool buildFailed() const { return m_buildStatus && m_buildStatus->contains(QStringLiteral("✗")); }

    QString summaryText() const;
    bool hasStructure() const { return !results().structure.acts.isEmpty(); }
    DoneActsModel* acts() { return &m_acts; }
    int segmentCount() const { return int(results().segments.size()); }
    int subtitleCount() const { return int(results().subtitles.size()); }
    QString durationText() const { return clockText(results().estimatedDuration); }
    int actCount() const { return int(results().structure.acts.size()); }

    bool hasExportDir() const;
    DoneExportFilesModel* exportFiles() { return &m_exportFiles; }

    // "Build Timeline in Resolve"; inert while a build is under way.
    Q_INVOKABLE void build();
    Q_INVOKABLE void backToReview();
    // Shows an export file in the file viewer, if it is there.
    Q_INVOKABLE void showExportFile(int row);
    // The story for every editor: FCPXML (1.11 and 1.10), FCP 7 XML, OTIO and the EDL.
    Q_INVOKABLE void openInEditor();
    Q_INVOKABLE void exportFcpxml();
    Q_INVOKABLE void exportEdl();
    // The last saved file in the file viewer.
    Q_INVOKABLE void showSaved();
    Q_INVOKABLE void openExportFolder();

    bool isSaving() const { return m_isSaving; }
    QString savedNote() const { return m_savedNote; }
    bool savedFailed() const { return m_savedFailed; }
    bool canShowSaved() const { return !m_savedPath.isEmpty() && !m_isSaving; }
    QString savedFor() const { return m_savedFor; }
    bool handedOff() const { return m_handedOff; }
    static QVariantList editorLines();
    QString handOffWarning() const { return m_handOffWarning; }
    QString folderMessage() const { return m_folderMessage; }
    QString folderMessageFor() const { return m_folderMessageFor; }
    bool resolveConnected() const;

signals:
    void wizardChanged();
    void showConfettiChanged();
    void buildChanged();
    void resultsChanged();
    void exportDirChanged();
    void savedChanged();
    void folderMessageChanged();
    void resolveConnectedChanged();

private:
    const MiningResults& results() const;
    std::optional<QString> exportDir() const;
    void save(HandOffFiles what);
    static QCoro::Task<> saveFiles(QPointer<DoneModel> self, std::shared_ptr<LocalPipeline> pipeline,
                                   HandOffFiles what, QString folder, QList<StorySegment> story);
    // The file in the file viewer (or the folder itself, opened), saying where it is if nothing can.
    void reveal(const QString& path, bool openFolder, const QString& where);
    void setFolderMessage(const QString& message, const QString& where);
    void onBuildResult();
    void onResults();
    void onExportDir();

    QPointer<MineView> m_wizard;
    QPointer<LocalPipeline> m_pipeline;
    bool m_showConfetti = false;
    bool m_isBuilding = false;
    std::optional<QString> m_buildStatus;
    bool m_isSaving = false;
    QString m_savedNote;
    QString m_savedPath;
    QString m_savedFor;
    bool m_savedFailed = false;
    bool m_handedOff = false;
    QString m_handOffWarning;
    QString m_folderMessage;
    QString m_folderMessageFor;
    DoneActsModel m_acts;
    DoneExportFilesModel m_exportFiles;
};

} // namespace ondrel
