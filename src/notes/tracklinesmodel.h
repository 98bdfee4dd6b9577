#pragma once

#include "tracklyrics.h"

#include <QAbstractListModel>
#include <QPointer>

namespace velotte {

class TrackNotes;

// The lyric lines of a TrackNotes as a list the views can bind to; it
// resets whenever the lines change.
class TrackLinesModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { TimeRole = Qt::UserRole + 1, TextRole, TimedRole };

    explicit TrackLinesModel(TrackNotes *notes, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    void reload();

    QPointer<TrackNotes> m_notes;
    QList<TrackLine> m_lines;
};

} // namespace velotte
