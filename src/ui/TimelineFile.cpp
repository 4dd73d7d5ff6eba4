#include "TimelineFile.h"

#include "core/Background.h"
#include "core/Text.h"
#include "interchange/SettledTimeline.h"

#include <QFileInfo>
#include <QFuture>
#include <QSet>

#include <QCoroFuture>

#include <set>
#include <tuple>

namespace ondrel {

using namespace interchange;

namespace {

struct Reading {
    std::optional<ReadTimeline> timeline;
    QString error;
};

// "1 clip", "3 files".
QString counted(qsizetype n, const char* noun) {
    return QStringLiteral("%1 %2%3").arg(n).arg(QLatin1String(noun), plural(n));
}

} // namespace

TimelineFileModel::TimelineFileModel(QObject* parent)
    : QAbstractListModel(parent) {
    connect(this, &QAbstractItemModel::modelReset, this, &TimelineFileModel::changed);
}

int TimelineFileModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !m_timeline ? 0 : int(m_timeline->media.size());
}

QVariant TimelineFileModel::data(const QModelIndex& index, int role) const {
    if (!m_timeline || !index.isValid() || index.row() >= m_timeline->media.size())
        return {};
    const ReadMedia& media = m_timeline->media[index.row()];
    switch (role) {
    case NameRole:
        return media.name;
    case DetailRole: {
        if (!media.found)
            return QStringLiteral("not found");
        if (!media.start)
            return QStringLiteral("can't be read as media");
        qsizetype clips = 0;
        for (const ReadClip& clip : m_timeline->clips)
            clips += clip.media == index.row() ? 1 : 0;
        return counted(clips, "clip");
    }
    case FoundRole:
        return media.found && media.start.has_value();
    default:
        return {};
    }
}

QHash<int, QByteArray> TimelineFileModel::roleNames() const {
    return {{NameRole, "name"}, {DetailRole, "detail"}, {FoundRole, "found"}};
}

void TimelineFileModel::open(const QString& path) {
    m_path = path;
    m_folders.clear();
    beginResetModel();
    m_timeline.reset();
    m_error.clear();
    m_reading = true;
    endResetModel();
    read(this, ++m_epoch, m_path, m_folders, m_tools);
}

void TimelineFileModel::openUrl(const QUrl& url) {
    if (url.isLocalFile())
        open(url.toLocalFile());
}

void TimelineFileModel::locateFolder(const QUrl& folder) {
    if (!folder.isLocalFile() || m_path.isEmpty() || m_reading)
        return;
    m_folders << folder.toLocalFile();
    m_reading = true;
    emit changed();
    read(this, ++m_epoch, m_path, m_folders, m_tools);
}

void TimelineFileModel::clear() {
    ++m_epoch; // a reading still under way lands nowhere
    m_path.clear();
    m_folders.clear();
    setReading(std::nullopt, {});
}

QCoro::Task<> TimelineFileModel::read(QPointer<TimelineFileModel> self, quint64 epoch, QString path,
                                      QStringList folders, ToolPaths tools) {
    // The reader and ffprobe over every file may take seconds on a large cut or a network share.
    QFuture<Reading> reading = onWorkerThread([path, folders, tools] {
        MediaProbes probes(tools);
        TimelineReading read = readSettledTimeline(path, probes, folders);
        return Reading{std::move(read.timeline), std::move(read.error)};
    });
    Reading result = co_await reading;
    if (!self || self->m_epoch != epoch)
        co_return;
    self->setReading(std::move(result.timeline), std::move(result.error));
}

void TimelineFileModel::setReading(std::optional<ReadTimeline> timeline, QString error) {
    beginResetModel();
    m_timeline = std::move(timeline);
    m_error = std::move(error);
    m_reading = false;
    endResetModel();
}

QString TimelineFileModel::fileName() const {
    return QFileInfo(m_path).fileName();
}

QString TimelineFileModel::baseName() const {
    return QFileInfo(m_path).completeBaseName();
}

QString TimelineFileModel::summaryText() const {
    if (m_reading)
        return QStringLiteral("Reading %1…").arg(fileName());
    if (!m_timeline)
        return {};
    QSet<int> files;
    for (const ReadClip& clip : m_timeline->clips)
        files.insert(clip.media);
    QString text = m_timeline->formatName + QStringLiteral(" · ") + m_timeline->rate.label() +
                   QStringLiteral(" fps · ") + counted(m_timeline->clips.size(), "clip") +
                   QStringLiteral(" from ") + counted(files.size(), "file");
    qsizetype leftOut = 0;
    for (const ReadClip& clip : m_timeline->clips) {
        const ReadMedia& media = m_timeline->media[clip.media];
        leftOut += media.found && media.start ? 0 : 1;
    }
    if (leftOut > 0)
        text += QStringLiteral(" · %1 left out").arg(leftOut);
    return text;
}

QString TimelineFileModel::missingText() const {
    if (!m_timeline)
        return {};
    QString text = missingMediaMessage(*m_timeline);
    if (!text.isEmpty())
        text += mediaPaths().isEmpty() ? QStringLiteral(" Locate their folder to go on.")
                                       : QStringLiteral(" Their clips are left out unless you locate them.");
    return text;
}

QString TimelineFileModel::warningsText() const {
    return m_timeline ? m_timeline->warnings.join(u'\n') : QString();
}

QStringList TimelineFileModel::mediaPaths() const {
    if (!m_timeline)
        return {};
    QStringList paths;
    for (const ReadClip& clip : m_timeline->clips) {
        const ReadMedia& media = m_timeline->media[clip.media];
        if (media.found && media.start && !paths.contains(media.path))
            paths << media.path;
    }
    return sortedPaths(paths);
}

QList<CutClip> TimelineFileModel::cutClips() const {
    QList<CutClip> clips;
    if (!m_timeline)
        return clips;
    std::set<std::tuple<int, Rational, Rational>> seen;
    for (const ReadClip& clip : m_timeline->clips) {
        const ReadMedia& media = m_timeline->media[clip.media];
        if (!media.found)
            continue;
        const std::optional<Rational> in = sourceFromFirstFrame(*m_timeline, clip, clip.sourceIn);
        const std::optional<Rational> out = sourceFromFirstFrame(*m_timeline, clip, clip.sourceOut);
        if (!in || !out || !(*in < *out))
            continue;
        if (!seen.insert({clip.media, *in, *out}).second)
            continue;
        clips.push_back({media.path, in->toDouble(), out->toDouble()});
    }
    return clips;
}

} // namespace ondrel
