#include "ReviewModel.h"

#include "ClockText.h"
#include "Theme.h"
#include "core/MediaClock.h"
#include "core/Text.h"
#include "media/AudioExtraction.h"
#include "media/MediaProbe.h"

#include <algorithm>
#include <cmath>

namespace ondrel {

QString reviewTotalsText(const QList<StorySegment>& segments) {
    double total = 0;
    for (const StorySegment& s : segments)
        total += s.endTime - s.startTime;
    return QStringLiteral("%1 segments · %2").arg(segments.size()).arg(clockText(total));
}

QHash<QString, QColor> chapterColors(const QList<StorySegment>& segments) {
    static const char* palette[] = {"e8440a", "0A84FF", "30D158", "FFD60A", "BF5AF2",
                                    "FF375F", "64D2FF", "FF9F0A", "66D4CF", "5E5CE6"};
    QHash<QString, QColor> colors;
    for (const StorySegment& s : segments) {
        if (!s.chapter || s.chapter->isEmpty() || colors.contains(*s.chapter))
            continue;
        colors.insert(*s.chapter, colorFromHex(QLatin1String(palette[colors.size() % 10])));
    }
    return colors;
}

ReviewModel::ReviewModel(QObject* parent)
    : QAbstractListModel(parent) {
    m_playbackTimer.setSingleShot(true);
    connect(&m_playbackTimer, &QTimer::timeout, this, &ReviewModel::stopPlayback);
}

// Leaving the page ends the preview.
ReviewModel::~ReviewModel() {
    if (m_player)
        m_player->stop();
}

int ReviewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_segments.size());
}

QVariant ReviewModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const StorySegment& s = m_segments[index.row()];
    switch (role) {
    case SegmentIdRole:
        return s.id();
    case NumberRole:
        return index.row() + 1;
    case ChapterRole:
        return s.chapter.value_or(QString());
    case ChapterColorRole:
        return m_colors.value(s.chapter.value_or(QString()), colorFromHex("8E8E93"));
    case TimeRangeRole:
        return clockRangeText(s.startTime, s.endTime);
    case DurationRole:
        return QStringLiteral("%1s").arg(qint64(std::trunc(s.endTime - s.startTime)));
    case TranscriptRole:
        return s.transcript;
    case TranslationRole:
        return s.translation;
    case ExpandedRole:
        return m_expanded == s.id();
    case PlayingRole:
        return m_playing == s.id();
    case PreviewNoteRole:
        return m_note && m_note->first == s.id() ? m_note->second : QString();
    default:
        return {};
    }
}

QHash<int, QByteArray> ReviewModel::roleNames() const {
    return {{SegmentIdRole, "segmentId"},       {NumberRole, "number"},           {ChapterRole, "chapter"},
            {ChapterColorRole, "chapterColor"}, {TimeRangeRole, "timeRange"},     {DurationRole, "duration"},
            {TranscriptRole, "transcript"},     {TranslationRole, "translation"}, {ExpandedRole, "expanded"},
            {PlayingRole, "playing"},           {PreviewNoteRole, "previewNote"}};
}

void ReviewModel::setWizard(MineView* wizard) {
    if (wizard == m_wizard)
        return;
    const bool first = !m_wizard;
    m_wizard = wizard;
    emit wizardChanged();
    if (first && wizard) {
        const LocalPipeline* pipeline = wizard->pipeline();
        const QStringList paths = pipeline->lastMediaPaths().value_or(QStringList());
        // Measured the way extraction measures them, so the clock is the transcript's. A mine
        // reopened from its saved project has no probing in this process: measured when heard.
        QHash<QString, double> lengths;
        for (const QString& path : paths)
            if (const Json* probe = pipeline->probeOutput(path))
                lengths.insert(path, sourceAudioFromProbe(path, *probe).duration);
        load(pipeline->results() ? pipeline->results()->segments : QList<StorySegment>(), paths,
             std::move(lengths), pipeline->tools());
    }
}

void ReviewModel::load(QList<StorySegment> segments, QStringList mediaPaths, QHash<QString, double> lengths,
                       ToolRunner tools) {
    stopPlayback();
    beginResetModel();
    m_segments = std::move(segments);
    m_mediaPaths = std::move(mediaPaths);
    m_lengths = std::move(lengths);
    m_tools = std::move(tools);
    m_note.reset();
    m_colors = chapterColors(m_segments);
    endResetModel();
    emit countChanged();
}

void ReviewModel::rowsChangedFor(std::optional<qint64> id, int role) {
    if (!id)
        return;
    for (int row = 0; row < m_segments.size(); ++row)
        if (m_segments[row].id() == *id)
            emit dataChanged(index(row), index(row), {role});
}

void ReviewModel::setExpanded(std::optional<qint64> id) {
    if (id == m_expanded)
        return;
    const std::optional<qint64> old = std::exchange(m_expanded, id);
    rowsChangedFor(old, ExpandedRole);
    rowsChangedFor(m_expanded, ExpandedRole);
}

void ReviewModel::setPlaying(std::optional<qint64> id) {
    if (id == m_playing)
        return;
    const std::optional<qint64> old = std::exchange(m_playing, id);
    rowsChangedFor(old, PlayingRole);
    rowsChangedFor(m_playing, PlayingRole);
}

void ReviewModel::toggleExpanded(qint64 id) {
    setExpanded(m_expanded == id ? std::nullopt : std::optional<qint64>(id));
}

void ReviewModel::setNote(std::optional<std::pair<qint64, QString>> note) {
    if (note == m_note)
        return;
    const std::optional<std::pair<qint64, QString>> old = std::exchange(m_note, std::move(note));
    if (old)
        rowsChangedFor(old->first, PreviewNoteRole);
    if (m_note)
        rowsChangedFor(m_note->first, PreviewNoteRole);
}

void ReviewModel::togglePlay(int row) {
    if (row < 0 || row >= m_segments.size())
        return;
    const StorySegment segment = m_segments[row];
    if (m_playing == segment.id()) {
        stopPlayback();
        return;
    }
    stopPlayback();
    setNote(std::nullopt); // a new press tries again
    setPlaying(segment.id());
    if (m_mediaPaths.isEmpty())
        return; // stays marked as playing until "Stop"

    // Measures (without holding up the window) what the clock needs up to the moment's file, then
    // plays; a stop or another press meanwhile ends the wait, and what was measured is kept.
    [](QPointer<ReviewModel> self, int generation, StorySegment segment) -> QCoro::Task<> {
        while (self && generation == self->m_playGeneration) {
            const std::optional<QString> path = self->fileToMeasureFor(segment.startTime);
            if (!path) {
                self->playFromClock(segment);
                co_return;
            }
            const ToolRunner tools = self->m_tools;
            const std::optional<Json> probe = co_await ffprobeJson(tools, *path);
            if (self)
                self->m_lengths.insert(*path, sourceAudioFromProbe(*path, probe).duration);
        }
    }(this, m_playGeneration, segment);
}

std::optional<QString> ReviewModel::fileToMeasureFor(double time) const {
    double end = 0;
    for (const QString& path : sortedPaths(m_mediaPaths)) {
        if (end > time)
            return std::nullopt; // the files after the moment's own don't move it
        const auto known = m_lengths.constFind(path);
        if (known == m_lengths.constEnd())
            return path;
        if (std::isfinite(*known) && *known > 0)
            end += *known;
    }
    return std::nullopt;
}

void ReviewModel::playFromClock(const StorySegment& segment) {
    const QList<ClockSpan> clock =
        layOutClock(m_mediaPaths, [this](const QString& path) { return m_lengths.value(path, 0.0); });
    const std::optional<ClockPlace> place = placeOnClock(clock, segment.startTime);
    if (!place) {
        const bool anyLength = std::any_of(clock.begin(), clock.end(),
                                           [](const ClockSpan& span) { return span.end > span.start; });
        showUnavailable(segment.id(), anyLength ? QStringLiteral("the moment's time lies before its files")
                                                : QStringLiteral("the source files can't be read"));
        return;
    }
    std::unique_ptr<AudioPlayer> player = AppServices::instance().makeAudioPlayer();
    if (!player) {
        showUnavailable(segment.id(), QStringLiteral("no audio player"));
        return;
    }
    if (const QString problem = player->open(place->path); !problem.isEmpty()) {
        showUnavailable(segment.id(), problem);
        return;
    }
    const int generation = m_playGeneration;
    connect(
        player.get(), &AudioPlayer::failed, this,
        [this, generation, id = segment.id()](const QString& reason) {
            if (generation == m_playGeneration && m_player) {
                stopPlayback();
                showUnavailable(id, reason);
            }
        },
        Qt::QueuedConnection);
    m_player = std::move(player);
    m_player->seek(place->offset);
    m_player->play();
    m_playbackTimer.start(int(std::max(0.0, segment.endTime - segment.startTime) * 1000.0));
}

void ReviewModel::showUnavailable(qint64 id, const QString& reason) {
    setPlaying(std::nullopt);
    setNote(std::pair(id, QStringLiteral("Preview unavailable: ") + reason));
}

void ReviewModel::stopPlayback() {
    if (m_player) {
        m_player->stop();
        m_player.reset();
    }
    ++m_playGeneration;
    m_playbackTimer.stop();
    setPlaying(std::nullopt);
}

void ReviewModel::remove(int row) {
    if (row < 0 || row >= m_segments.size())
        return;
    if (m_playing == m_segments[row].id())
        stopPlayback();
    // The open card's id stays: it simply matches nothing any more.
    beginRemoveRows({}, row, row);
    m_segments.removeAt(row);
    endRemoveRows();
    recolour();
    emit countChanged();
}

void ReviewModel::recolour() {
    m_colors = chapterColors(m_segments);
    if (!m_segments.isEmpty())
        emit dataChanged(index(0), index(int(m_segments.size()) - 1), {NumberRole, ChapterColorRole});
}

void ReviewModel::startDrag(qint64 id) {
    for (const StorySegment& s : std::as_const(m_segments)) {
        if (s.id() == id) {
            const bool was = m_dragging.has_value();
            m_dragging = s;
            if (!was)
                emit isDraggingChanged();
            return;
        }
    }
}

void ReviewModel::dragEntered(qint64 targetId) {
    if (!m_dragging || m_dragging->id() == targetId)
        return;
    const auto indexOf = [this](qint64 id) -> int {
        for (int row = 0; row < m_segments.size(); ++row)
            if (m_segments[row].id() == id)
                return row;
        return -1;
    };
    const int from = indexOf(m_dragging->id());
    const int to = indexOf(targetId);
    if (from < 0 || to < 0)
        return;
    // Past the target when moving down, before it when moving up: either way it ends at `to`.
    const int offset = from < to ? to + 1 : to;
    beginMoveRows({}, from, from, {}, offset);
    m_segments.move(from, to);
    endMoveRows();
    recolour();
}

void ReviewModel::endDrag() {
    if (!m_dragging)
        return;
    m_dragging.reset();
    emit isDraggingChanged();
}

void ReviewModel::reMine() {
    stopPlayback();
    if (m_wizard)
        m_wizard->restyle();
}

void ReviewModel::sendToResolve() {
    stopPlayback();
    // An empty list would replace the story and build an empty timeline.
    if (m_wizard && !m_segments.isEmpty())
        m_wizard->onSendToResolve(m_segments);
}

void ReviewModel::skipToExports() {
    stopPlayback();
    if (m_wizard)
        m_wizard->advanceTo(int(MineStep::done));
}

} // namespace ondrel
