#include "SourceFiles.h"

#include "ClockText.h"

#include "core/Text.h"
#include "media/MediaProbe.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QSet>

namespace ondrel {

namespace {

constexpr qsizetype kMostFiles = 10000; // a folder of a whole drive is not an interview

QString problemOf(const std::optional<Json>& probe, double* length, bool* picture) {
    if (!probe || !probe->is_object() || !probe->contains("streams"))
        return QStringLiteral("can't be read as media");
    bool sound = false;
    for (const Json& stream : (*probe)["streams"]) {
        if (!stream.is_object())
            continue;
        const auto type = stream.find("codec_type");
        if (type == stream.end() || !type->is_string())
            continue;
        sound = sound || *type == "audio";
        *picture = *picture || *type == "video";
    }
    const auto format = probe->find("format");
    if (format != probe->end() && format->is_object()) {
        const auto duration = format->find("duration");
        if (duration != format->end() && duration->is_string())
            *length = QString::fromStdString(duration->get<std::string>()).toDouble();
    }
    if (!sound)
        return QStringLiteral("has no sound");
    if (!(*length > 0))
        return QStringLiteral("is empty");
    return {};
}

} // namespace

bool SourceFilesModel::looksLikeMedia(const QString& path) {
    static const QSet<QString> kinds = {"mov", "mp4",  "m4v",  "mxf", "mts",  "m2ts", "avi",
                                        "mkv", "webm", "wav",  "bwf", "aif",  "aiff", "mp3",
                                        "m4a", "aac",  "flac", "ogg", "opus", "wma",  "3gp"};
    return kinds.contains(QFileInfo(path).suffix().toLower());
}

SourceFilesModel::SourceFilesModel(QObject* parent)
    : QAbstractListModel(parent) {
    connect(this, &QAbstractItemModel::modelReset, this, &SourceFilesModel::changed);
    connect(this, &QAbstractItemModel::rowsRemoved, this, &SourceFilesModel::changed);
    connect(this, &QAbstractItemModel::dataChanged, this, &SourceFilesModel::changed);
}

int SourceFilesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_files.size());
}

QVariant SourceFilesModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const File& f = m_files[index.row()];
    switch (role) {
    case NameRole:
        return QFileInfo(f.path).fileName();
    case DetailRole:
        if (!f.measured)
            return QStringLiteral("measuring…");
        if (!f.problem.isEmpty())
            return QStringLiteral("left out: ") + f.problem;
        return clockText(f.length) +
               (f.picture ? QStringLiteral(" · picture and sound") : QStringLiteral(" · sound"));
    case ReadableRole:
        return f.measured && f.problem.isEmpty();
    case LeftOutRole:
        return f.measured && !f.problem.isEmpty();
    default:
        return {};
    }
}

QHash<int, QByteArray> SourceFilesModel::roleNames() const {
    return {{NameRole, "name"}, {DetailRole, "detail"}, {ReadableRole, "readable"}, {LeftOutRole, "leftOut"}};
}

void SourceFilesModel::add(const QStringList& paths) {
    QSet<QString> known;
    for (const File& f : std::as_const(m_files))
        known.insert(f.path);
    QStringList fresh;
    for (const QString& given : paths) {
        const QFileInfo info(given);
        if (info.isDir()) {
            if (m_folder.isEmpty())
                m_folder = info.absoluteFilePath();
            for (QDirIterator it(info.absoluteFilePath(), QDir::Files, QDirIterator::Subdirectories);
                 it.hasNext();) {
                const QString path = it.next();
                if (looksLikeMedia(path) && !known.contains(path) && known.size() < kMostFiles) {
                    known.insert(path);
                    fresh << path;
                }
            }
        } else if (!given.isEmpty()) {
            const QString path = info.absoluteFilePath();
            if (!known.contains(path) && known.size() < kMostFiles) {
                known.insert(path);
                fresh << path;
            }
        }
    }
    if (fresh.isEmpty())
        return;
    QStringList all = fresh;
    for (const File& f : std::as_const(m_files))
        all << f.path;
    QHash<QString, File> byPath;
    for (const File& f : std::as_const(m_files))
        byPath.insert(f.path, f);
    beginResetModel();
    m_files.clear();
    for (const QString& path : sortedPaths(all))
        m_files << byPath.value(path, File{path, false, 0, false, {}});
    endResetModel();
    measureNext();
}

void SourceFilesModel::addUrls(const QList<QUrl>& urls) {
    QStringList paths;
    for (const QUrl& url : urls)
        if (url.isLocalFile())
            paths << url.toLocalFile();
    add(paths);
}

void SourceFilesModel::remove(int row) {
    if (row < 0 || row >= m_files.size())
        return;
    beginRemoveRows({}, row, row);
    m_files.removeAt(row);
    endRemoveRows();
    if (m_files.isEmpty())
        m_folder.clear();
}

void SourceFilesModel::clear() {
    beginResetModel();
    m_files.clear();
    m_folder.clear();
    endResetModel();
}

int SourceFilesModel::readableCount() const {
    return int(readablePaths().size());
}

bool SourceFilesModel::isMeasuring() const {
    return std::any_of(m_files.begin(), m_files.end(), [](const File& f) { return !f.measured; });
}

QString SourceFilesModel::summaryText() const {
    double total = 0;
    qsizetype readable = 0;
    qsizetype leftOut = 0;
    for (const File& f : m_files) {
        if (f.measured && f.problem.isEmpty()) {
            ++readable;
            total += f.length;
        } else if (f.measured) {
            ++leftOut;
        }
    }
    QString text =
        QStringLiteral("%1 file%2 · %3").arg(readable).arg(readable == 1 ? "" : "s", clockText(total));
    if (leftOut > 0)
        text += QStringLiteral(" · %1 left out").arg(leftOut);
    if (isMeasuring())
        text += QStringLiteral(" · measuring…");
    return text;
}

QStringList SourceFilesModel::readablePaths() const {
    QStringList out;
    for (const File& f : m_files)
        if (f.measured && f.problem.isEmpty())
            out << f.path;
    return out;
}

void SourceFilesModel::measureNext() {
    if (m_measuring || !m_tools)
        return;
    for (const File& f : std::as_const(m_files)) {
        if (!f.measured) {
            m_measuring = true;
            measure(this, *m_tools, f.path);
            return;
        }
    }
}

QCoro::Task<> SourceFilesModel::measure(QPointer<SourceFilesModel> self, ToolRunner tools, QString path) {
    const std::optional<Json> probe = co_await ffprobeJson(tools, path);
    if (!self)
        co_return;
    self->m_measuring = false;
    for (int row = 0; row < self->m_files.size(); ++row) {
        File& f = self->m_files[row];
        if (f.path != path)
            continue;
        f.measured = true;
        f.problem = problemOf(probe, &f.length, &f.picture);
        emit self->dataChanged(self->index(row), self->index(row));
        break;
    }
    self->measureNext();
}

} // namespace ondrel
