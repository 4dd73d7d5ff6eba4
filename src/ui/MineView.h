#pragma once
// The Mine tab's wizard: the objects of one mining (Resolve bridge, cloud client, pipeline), all
// that the user has chosen so far, and the moves between its five pages. Made when the tab
// appears and gone with it; a run it started goes on without it (the pipeline is shared-owned).

#include "AppServices.h"
#include "SourceFiles.h"
#include "TimelineFile.h"

#include "analysis/StyleModel.h"
#include "core/LocalPipeline.h"
#include "resolve/ResolveBridge.h"
#include "service/CloudProcessor.h"

#include <QAbstractListModel>
#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <memory>
#include <optional>

namespace ondrel {

// The wizard's pages, in order.
enum class MineStep { setup = 0, style = 1, mining = 2, review = 3, done = 4 };
QString mineStepLabel(MineStep step);

// What the setup page shows of a mode.
struct ModeInfo {
    MiningMode mode;
    QString label;
    QString subtitle;
    QColor color;
};
const QList<ModeInfo>& modeInfos();

// (code, name) in the order the language menu shows them.
const QList<std::pair<QString, QString>>& LANGUAGES();

// Credits a run of this length would cost, as the setup page estimates them (a display only).
double estimatedCredits(MiningMode mode, double targetMinutes);

// The saved projects of "RECENT MINES", newest first.
class SavedProjectsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the wizard")
public:
    enum Role { TimelineRole = Qt::UserRole + 1, ClipsTextRole, DetailTextRole };
    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setProjects(QList<SavedProject> projects);
    const QList<SavedProject>& projects() const { return m_projects; }

private:
    QList<SavedProject> m_projects;
};

class MineView : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int currentStep READ currentStepValue NOTIFY currentStepChanged)
    Q_PROPERTY(QStringList stepLabels READ stepLabels CONSTANT)
    Q_PROPERTY(ondrel::LocalPipeline* pipeline READ pipeline CONSTANT)
    Q_PROPERTY(ondrel::ResolveBridge* resolveBridge READ resolveBridge CONSTANT)
    Q_PROPERTY(ondrel::CloudProcessor* cloudProcessor READ cloudProcessor CONSTANT)
    Q_PROPERTY(ondrel::SavedProjectsModel* savedProjects READ savedProjects CONSTANT)
    // Where the mine's media come from: "resolve" (a timeline in Resolve Studio), "files" (media
    // files picked or dropped) or "timelineFile" (an editor's exported timeline).
    Q_PROPERTY(QString sourceKind READ sourceKind WRITE setSourceKind NOTIFY sourceKindChanged)
    Q_PROPERTY(bool speaksResolve READ speaksResolve NOTIFY sourceKindChanged)
    Q_PROPERTY(ondrel::SourceFilesModel* sourceFiles READ sourceFiles CONSTANT)
    Q_PROPERTY(ondrel::TimelineFileModel* timelineFile READ timelineFile CONSTANT)

    // The choices; "" stands for none.
    Q_PROPERTY(QString selectedTimeline READ selectedTimelineText WRITE setSelectedTimelineText NOTIFY
                   selectedTimelineChanged)
    Q_PROPERTY(int selectedMode READ selectedModeValue WRITE setSelectedModeValue NOTIFY selectedModeChanged)
    Q_PROPERTY(bool isAudit READ isAudit NOTIFY selectedModeChanged)
    Q_PROPERTY(double targetMinutes READ targetMinutes WRITE setTargetMinutes NOTIFY targetMinutesChanged)
    Q_PROPERTY(QString selectedLanguage READ selectedLanguage WRITE setSelectedLanguage NOTIFY
                   selectedLanguageChanged)
    Q_PROPERTY(
        QString selectedPresetId READ selectedPresetIdText WRITE setSelectedPresetIdText NOTIFY styleChanged)
    Q_PROPERTY(QString referenceURL READ referenceURL WRITE setReferenceURL NOTIFY styleChanged)
    Q_PROPERTY(bool isMagicMode READ isMagicMode WRITE setMagicMode NOTIFY styleChanged)
    // -1 unanswered, 1 "Good", 0 "Needs work".
    Q_PROPERTY(int rating READ ratingValue WRITE setRatingValue NOTIFY ratingChanged)
    Q_PROPERTY(bool hasLoadedProject READ hasLoadedProject NOTIFY loadedProjectChanged)
    // A run, audit or build of this wizard is under way or waiting for its turn.
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY isWorkingChanged)

    // Derived.
    Q_PROPERTY(double estimatedCredits READ estimatedCredits NOTIFY estimateChanged)
    Q_PROPERTY(QString estimatedCreditsText READ estimatedCreditsText NOTIFY estimateChanged)
    Q_PROPERTY(QVariantList modes READ modes CONSTANT)
    Q_PROPERTY(QVariantList languages READ languages CONSTANT)
    // Which page shows: "setup", "style", "mining", "review", "audit", "noAudit", "done", or "" when
    // review or done have no results to show.
    Q_PROPERTY(QString page READ page NOTIFY pageChanged)

public:
    // Takes the pipeline from AppServices and makes its bridge and cloud client beside it.
    explicit MineView(QObject* parent = nullptr);
    ~MineView() override;

    MineStep currentStep() const { return m_currentStep; }
    int currentStepValue() const { return int(m_currentStep); }
    static QStringList stepLabels();
    LocalPipeline* pipeline() const { return m_pipeline.get(); }
    const std::shared_ptr<LocalPipeline>& sharedPipeline() const { return m_pipeline; }
    ResolveBridge* resolveBridge() const { return m_bridge.get(); }
    CloudProcessor* cloudProcessor() const { return m_cloud.get(); }
    SavedProjectsModel* savedProjects() { return &m_savedProjects; }
    QString sourceKind() const { return m_sourceKind; }
    void setSourceKind(const QString& kind);
    bool speaksResolve() const { return m_sourceKind == QLatin1String("resolve"); }
    SourceFilesModel* sourceFiles() { return &m_sourceFiles; }
    TimelineFileModel* timelineFile() { return &m_timelineFile; }
    // Dropped on the setup page: one timeline file becomes the source, anything else media files.
    Q_INVOKABLE void dropUrls(const QList<QUrl>& urls);
    // Why the file and folder dialogs cannot open here (Qt Quick Dialogs' own dialogs need a module
    // that may not be installed, and open as a crash without it); empty when they can.
    Q_INVOKABLE QString fileDialogProblem();
    // The name a mine of files goes by: its folder's, or its first file's folder's (a timeline
    // file's own name), with a short hash of where it lies when another saved mine of other files
    // already has that name.
    QString fileSourceName() const;

    const std::optional<QString>& selectedTimeline() const { return m_selectedTimeline; }
    QString selectedTimelineText() const { return m_selectedTimeline.value_or(QString()); }
    void setSelectedTimelineText(const QString& name);
    MiningMode selectedMode() const { return m_selectedMode; }
    int selectedModeValue() const { return int(m_selectedMode); }
    void setSelectedModeValue(int mode);
    bool isAudit() const { return m_selectedMode == MiningMode::audit; }
    double targetMinutes() const { return m_targetMinutes; }
    void setTargetMinutes(double minutes);
    QString selectedLanguage() const { return m_selectedLanguage; }
    void setSelectedLanguage(const QString& code);
    const StyleSliders& styleSliders() const { return m_styleSliders; }
    void setStyleSliders(const StyleSliders& sliders);
    const std::optional<QString>& selectedPresetId() const { return m_selectedPresetId; }
    QString selectedPresetIdText() const { return m_selectedPresetId.value_or(QString()); }
    void setSelectedPresetId(std::optional<QString> id);
    void setSelectedPresetIdText(const QString& id);
    QString referenceURL() const { return m_referenceURL; }
    void setReferenceURL(const QString& url);
    bool isMagicMode() const { return m_isMagicMode; }
    void setMagicMode(bool on);
    const std::optional<int>& rating() const { return m_rating; }
    int ratingValue() const { return m_rating.value_or(-1); }
    void setRatingValue(int rating);
    const std::optional<SavedProject>& loadedProject() const { return m_loadedProject; }
    bool hasLoadedProject() const { return m_loadedProject.has_value(); }

    double estimatedCredits() const;
    QString estimatedCreditsText() const;
    static QVariantList modes();
    static QVariantList languages();
    QString page() const;

    bool isWorking() const;

    // The only way the page changes (the QML animates it).
    Q_INVOKABLE void advanceTo(int step);
    // A tap on the step indicator: back, or forward to a page that has something to show once
    // nothing is under way (a finished story stays reachable from the pages before it).
    Q_INVOKABLE void tapStep(int step);
    Q_INVOKABLE bool canTapStep(int step) const;
    // While the user answers the cancel question the wizard stays where it is, so a run that ends
    // meanwhile never moves the page under their pointer.
    void setCancelQuestionOpen(bool open) { m_cancelQuestionOpen = open; }
    bool isCancelQuestionOpen() const { return m_cancelQuestionOpen; }
    // The setup page's "Refresh": connect, and list the timelines when connected.
    Q_INVOKABLE void refreshConnection();
    Q_INVOKABLE void startMining();
    Q_INVOKABLE void cancelMining();
    Q_INVOKABLE void buildTimeline();
    // The audit's chosen buried gold as a timeline of its own.
    void buildMoments(const QList<StorySegment>& moments);
    Q_INVOKABLE void resetFlow();
    // A row of "RECENT MINES".
    Q_INVOKABLE void loadProject(int row);
    void onLoadProject(const SavedProject& project);
    // The Review page's edited list becomes the results, is written and built; then the Done page.
    void onSendToResolve(const QList<StorySegment>& segments);
    // The Done page's "Re-mine".
    Q_INVOKABLE void restyle();

signals:
    void currentStepChanged();
    void selectedTimelineChanged();
    void selectedModeChanged();
    void targetMinutesChanged();
    void selectedLanguageChanged();
    void styleChanged();
    void ratingChanged();
    void loadedProjectChanged();
    void estimateChanged();
    void pageChanged();
    void isWorkingChanged();
    void sourceKindChanged();

private:
    static QCoro::Task<> connectToResolve(std::shared_ptr<ResolveBridge> bridge);
    void refreshSavedProjects();
    void onSourceFilesChanged();
    // The saved project whose transcript covers every file of the cut, for its audit.
    std::optional<SavedProject> projectCovering(const QStringList& mediaPaths) const;
    MineSource chosenSource() const;
    void setLoadedProject(std::optional<SavedProject> project);

    std::shared_ptr<LocalPipeline> m_pipeline;
    // Shared with the connection task, which may outlive the view.
    std::shared_ptr<ResolveBridge> m_bridge;
    std::unique_ptr<CloudProcessor> m_cloud;
    SavedProjectsModel m_savedProjects;
    SourceFilesModel m_sourceFiles;
    TimelineFileModel m_timelineFile;
    QString m_sourceKind = QStringLiteral("resolve");

    MineStep m_currentStep = MineStep::setup;
    std::optional<QString> m_selectedTimeline;
    MiningMode m_selectedMode = MiningMode::fullMine;
    double m_targetMinutes = 5.0;
    StyleSliders m_styleSliders;
    std::optional<QString> m_selectedPresetId;
    QString m_referenceURL;
    bool m_isMagicMode = false;
    QString m_selectedLanguage = QStringLiteral("auto");
    std::optional<int> m_rating;
    std::optional<SavedProject> m_loadedProject;
    bool m_cancelQuestionOpen = false;
    std::optional<QString> m_fileDialogProblem;
};

} // namespace ondrel
