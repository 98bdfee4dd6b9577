#include "queuemodel.h"

#include "session/sessionqueue.h"

namespace velotte {

QueueModel::QueueModel(SessionQueue &queue, QObject *parent) : QAbstractListModel(parent), m_queue(queue)
{
    connect(&queue, &SessionQueue::itemsChanged, this, &QueueModel::reload);
    connect(&queue, &SessionQueue::currentTrackChanged, this, [this] {
        if (m_rows > 0)
            Q_EMIT dataChanged(index(0), index(m_rows - 1), {CurrentRole});
    });
    reload();
}

void QueueModel::reload()
{
    beginResetModel();
    const int before = m_rows;
    m_rows = m_queue.count();
    endResetModel();
    if (before != m_rows)
        Q_EMIT countChanged();
}

int QueueModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : m_rows; }

QVariant QueueModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_queue.count())
        return {};
    const SpeakerQueue::Item &item = m_queue.items()[index.row()];
    switch (role) {
    case NumberRole:
        return index.row() + 1;
    case TitleRole:
        return item.title;
    case ArtistRole:
        return item.artist;
    case ArtRole:
        return item.albumArt;
    case DurationRole:
        return double(item.durationMillis);
    case CurrentRole:
        return index.row() + 1 == m_queue.currentTrack();
    default:
        return {};
    }
}

QHash<int, QByteArray> QueueModel::roleNames() const
{
    return {{NumberRole, "number"}, {TitleRole, "title"}, {ArtistRole, "artist"}, {ArtRole, "art"}, {DurationRole, "duration"}, {CurrentRole, "current"}};
}

void QueueModel::jump(int track) { auto task = m_queue.jump(track); }
void QueueModel::remove(int track) { auto task = m_queue.remove(track); }
void QueueModel::move(int from, int to) { auto task = m_queue.move(from, to); }
void QueueModel::clear() { auto task = m_queue.clear(); }

} // namespace velotte
