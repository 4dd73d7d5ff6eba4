#pragma once
// The editor's timeline file a mine or an audit starts from: read in the background (the reader,
// then ffprobe on each file it uses), its media listed with how many clips each gives, the files not
// found named in one message with the way to find them ("Locate folder…"). A mine takes the found
// files; an audit the found clips' source stretches. Clips of missing media are left out.

#include "core/LocalPipeline.h"
#include "interchange/TimelineReaders.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <QCoroTask>

#include <optional>

namespace ondrel {

class TimelineFileModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The wizard's timeline file")
    Q_PROPERTY(bool isReading READ isReading NOTIFY changed)
    Q_PROPERTY(bool hasTimeline READ hasTimeline NOTIFY changed)
    Q_PROPERTY(QString fileName READ fileName NOTIFY changed)
    // "FCPXML 1.11 · 25 fps · 6 clips from 3 files"
    Q_PROPERTY(QString summaryText READ summaryText NOTIFY changed)
    Q_PROPERTY(QString errorText READ errorText NOTIFY changed)
    Q_PROPERTY(QString missingText READ missingText NOTIFY changed)
    Q_PROPERTY(QString warningsText READ warningsText NOTIFY changed)
    Q_PROPERTY(bool isReady READ isReady NOTIFY changed)

public:
    enum Role { NameRole = Qt::UserRole + 1, DetailRole, FoundRole };

    explicit TimelineFileModel(QObject* parent = nullptr);
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setTools(const ToolPaths& tools) { m_tools = tools; }
    // A timeline file (or a .fcpxmld bundle); reading it again starts over.
    void open(const QString& path);
    Q_INVOKABLE void openUrl(const QUrl& url);
    // Looks for the missing media by file name under the folder (its subfolders too).
    Q_INVOKABLE void locateFolder(const QUrl& folder);
    void clear();

    bool isReading() const { return m_reading; }
    bool hasTimeline() const { return m_timeline.has_value(); }
    QString fileName() const;
    QString summaryText() const;
    const QString& errorText() const { return m_error; }
    QString missingText() const;
    QString warningsText() const;
    // Read, and at least one clip's media found and placed.
    bool isReady() const { return !m_reading && !cutClips().isEmpty(); }

    const QString& path() const { return m_path; }
    // The found media the clips use, in path order.
    QStringList mediaPaths() const;
    // Each found clip's source stretch from its file's first frame; a stretch on several tracks
    // (picture and its sound) once.
    QList<CutClip> cutClips() const;
    // The name a mine of this file goes by: the file's name without its extension.
    QString baseName() const;

signals:
    void changed();

private:
    static QCoro::Task<> read(QPointer<TimelineFileModel> self, quint64 epoch, QString path,
                              QStringList folders, ToolPaths tools);
    void setReading(std::optional<interchange::ReadTimeline> timeline, QString error);

    ToolPaths m_tools;
    QString m_path;
    QStringList m_folders; // where the editor said missing media are, in the order given
    std::optional<interchange::ReadTimeline> m_timeline;
    QString m_error;
    bool m_reading = false;
    quint64 m_epoch = 0;
};

} // namespace ondrel
