#pragma once
// The media files an editor picked or dropped for a mine without Resolve: in the order a mine lays
// them (by path), each with what ffprobe made of it, its length or why it is left out. Measuring
// runs one file at a time in the background; the window never waits on it.

#include "core/ToolRunner.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <QCoroTask>

#include <optional>

namespace ondrel {

class SourceFilesModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The wizard's list of media files")
    Q_PROPERTY(int count READ count NOTIFY changed)
    Q_PROPERTY(int readableCount READ readableCount NOTIFY changed)
    Q_PROPERTY(bool isMeasuring READ isMeasuring NOTIFY changed)
    // "3 files · 1:02:03", with how many are left out and whether some are still measured.
    Q_PROPERTY(QString summaryText READ summaryText NOTIFY changed)

public:
    enum Role { NameRole = Qt::UserRole + 1, DetailRole, ReadableRole, LeftOutRole };
    struct File {
        QString path;
        bool measured = false;
        double length = 0;
        bool picture = false;
        QString problem; // why it is left out; empty for a readable file
    };
    // Extensions a folder's files are taken by; a file chosen by itself is tried whatever it is.
    static bool looksLikeMedia(const QString& path);

    explicit SourceFilesModel(QObject* parent = nullptr);
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setTools(const ToolRunner& tools) { m_tools = tools; }
    // Files and folders (a folder gives its media files, sub-folders included); a path already
    // listed is not added twice.
    void add(const QStringList& paths);
    Q_INVOKABLE void addUrls(const QList<QUrl>& urls);
    Q_INVOKABLE void remove(int row);
    void clear();

    int count() const { return int(m_files.size()); }
    int readableCount() const;
    bool isMeasuring() const;
    QString summaryText() const;
    // The files a mine takes: measured and readable, in path order.
    QStringList readablePaths() const;
    // The folder an editor chose, if they chose one: the mine is named after it.
    const QString& chosenFolder() const { return m_folder; }
    const QList<File>& files() const { return m_files; }

signals:
    void changed();

private:
    void measureNext();
    static QCoro::Task<> measure(QPointer<SourceFilesModel> self, ToolRunner tools, QString path);

    std::optional<ToolRunner> m_tools;
    QList<File> m_files;
    QString m_folder;
    bool m_measuring = false;
};

} // namespace ondrel
