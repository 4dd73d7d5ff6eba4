#pragma once
// The Review page's working copy of the story: the segments in display order, the one open card,
// the one previewed card and the card being dragged. Made by the page from the wizard's results;
// only "Send to Resolve" hands the edits back.

#include "AudioPlayer.h"
#include "MineView.h"
#include "core/ToolRunner.h"

#include <QAbstractListModel>
#include <QColor>
#include <QHash>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <memory>
#include <optional>

namespace ondrel {

// "{m}:{ss}", the seconds cut to a whole number.
// "{n} segments · {m}:{ss}".
QString reviewTotalsText(const QList<StorySegment>& segments);
// Each named chapter, in the order met, takes the next colour of a palette of ten, round again
// after the tenth; so a reorder can recolour chapters.
QHash<QString, QColor> chapterColors(const QList<StorySegment>& segments);

class ReviewModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ondrel::MineView* wizard READ wizard WRITE setWizard NOTIFY wizardChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(QString totalsText READ totalsText NOTIFY countChanged)
    Q_PROPERTY(bool isDragging READ isDragging NOTIFY isDraggingChanged)

public:
    enum Role {
        SegmentIdRole = Qt::UserRole + 1,
        NumberRole,
        ChapterRole,
        ChapterColorRole,
        TimeRangeRole,
        DurationRole,
        TranscriptRole,
        TranslationRole,
        ExpandedRole,
        PlayingRole,
        PreviewNoteRole, // "Preview unavailable: {reason}" on the card whose preview could not play
    };

    explicit ReviewModel(QObject* parent = nullptr);
    ~ReviewModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    MineView* wizard() const { return m_wizard; }
    // The first wizard given fills the working copy from its results and media paths, with the
    // files' lengths its last probing measured.
    void setWizard(MineView* wizard);
    // `lengths`: the container length in seconds of the paths already measured; the preview
    // measures the others with ffprobe (through `tools`) when it needs them.
    void load(QList<StorySegment> segments, QStringList mediaPaths, QHash<QString, double> lengths = {},
              ToolRunner tools = ToolRunner(ToolPaths::platformDefault(), QString()));

    int count() const { return int(m_segments.size()); }
    QString totalsText() const { return reviewTotalsText(m_segments); }
    bool isDragging() const { return m_dragging.has_value(); }
    const QList<StorySegment>& segments() const { return m_segments; }
    const std::optional<qint64>& expandedSegment() const { return m_expanded; }
    const std::optional<qint64>& playingSegment() const { return m_playing; }

    Q_INVOKABLE void toggleExpanded(qint64 id);
    // A second press on the playing card stops it; any other ends the preview playing first. The
    // moment plays from its own source file, at its place in that file on the transcript's clock.
    Q_INVOKABLE void togglePlay(int row);
    Q_INVOKABLE void stopPlayback();
    Q_INVOKABLE void remove(int row);

    // A card is picked up, the pointer enters another card (the list rearranges live), the card is let go.
    Q_INVOKABLE void startDrag(qint64 id);
    Q_INVOKABLE void dragEntered(qint64 targetId);
    Q_INVOKABLE void endDrag();

    Q_INVOKABLE void reMine();
    Q_INVOKABLE void sendToResolve();
    Q_INVOKABLE void skipToExports();

signals:
    void wizardChanged();
    void countChanged();
    void isDraggingChanged();

private:
    void setExpanded(std::optional<qint64> id);
    void setPlaying(std::optional<qint64> id);
    void rowsChangedFor(std::optional<qint64> id, int role);
    void recolour();
    // The first file in clock order whose length is not known yet and is needed to place `time`.
    std::optional<QString> fileToMeasureFor(double time) const;
    // Once the files up to the moment's own are measured.
    void playFromClock(const StorySegment& segment);
    void showUnavailable(qint64 id, const QString& reason);
    void setNote(std::optional<std::pair<qint64, QString>> note);

    QPointer<MineView> m_wizard;
    QList<StorySegment> m_segments;
    QStringList m_mediaPaths;
    QHash<QString, double> m_lengths;
    ToolRunner m_tools{ToolPaths::platformDefault(), QString()};
    std::optional<std::pair<qint64, QString>> m_note;
    QHash<QString, QColor> m_colors;
    std::optional<qint64> m_expanded;
    std::optional<qint64> m_playing;
    std::optional<StorySegment> m_dragging;
    std::unique_ptr<AudioPlayer> m_player;
    QTimer m_playbackTimer;
    int m_playGeneration = 0;
};

} // namespace ondrel
