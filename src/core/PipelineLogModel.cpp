#include "PipelineLogModel.h"

namespace ondrel {

int PipelineLogModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_lines.size());
}

QVariant PipelineLogModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const PipelineLog& line = m_lines.at(index.row());
    switch (role) {
    case IdRole:
        return line.id.toString(QUuid::WithoutBraces);
    case TimestampRole:
        return line.timestamp;
    case Qt::DisplayRole:
    case TextRole:
        return line.text;
    case ColorRole:
        return line.color;
    default:
        return {};
    }
}

QHash<int, QByteArray> PipelineLogModel::roleNames() const {
    return {{IdRole, "lineId"}, {TimestampRole, "timestamp"}, {TextRole, "text"}, {ColorRole, "colorWord"}};
}

void PipelineLogModel::append(PipelineLog line) {
    const int row = int(m_lines.size());
    beginInsertRows({}, row, row);
    m_lines.push_back(std::move(line));
    endInsertRows();
    emit countChanged();
}

void PipelineLogModel::clear() {
    if (m_lines.isEmpty())
        return;
    beginResetModel();
    m_lines.clear();
    endResetModel();
    emit countChanged();
}

} // namespace ondrel
