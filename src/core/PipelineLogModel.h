#pragma once
// The visible log as a list model, oldest line first.

#include "Records.h"

#include <QAbstractListModel>

namespace ondrel {

class PipelineLogModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { IdRole = Qt::UserRole + 1, TimestampRole, TextRole, ColorRole };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_lines.size()); }
    const QList<PipelineLog>& lines() const { return m_lines; }

    void append(PipelineLog line);
    void clear();

signals:
    void countChanged();

private:
    QList<PipelineLog> m_lines;
};

} // namespace ondrel
