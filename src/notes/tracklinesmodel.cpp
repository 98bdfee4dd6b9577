#include "tracklinesmodel.h"

#include "tracknotes.h"

namespace velotte {

TrackLinesModel::TrackLinesModel(TrackNotes *notes, QObject *parent) : QAbstractListModel(parent), m_notes(notes)
{
    if (!notes)
        return;
    m_lines = notes->lines();
    connect(notes, &TrackNotes::linesChanged, this, &TrackLinesModel::reload);
}

void TrackLinesModel::reload()
{
    beginResetModel();
    m_lines = m_notes ? m_notes->lines() : QList<TrackLine>();
    endResetModel();
}

int TrackLinesModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_lines.size()); }

QVariant TrackLinesModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const TrackLine &line = m_lines[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case TextRole: return line.text;
    case TimeRole: return line.time ? QVariant::fromValue(*line.time) : QVariant();
    case TimedRole: return line.time.has_value();
    default: return {};
    }
}

QHash<int, QByteArray> TrackLinesModel::roleNames() const
{
    return {{TimeRole, "time"}, {TextRole, "text"}, {TimedRole, "timed"}};
}

} // namespace velotte
