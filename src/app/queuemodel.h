#pragma once

#include <QAbstractListModel>

namespace velotte {

class SessionQueue;

// The active group's queue as the queue view shows it, the playing track marked.
class QueueModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
public:
    enum Role { NumberRole = Qt::UserRole + 1, TitleRole, ArtistRole, ArtRole, DurationRole, CurrentRole };
    explicit QueueModel(SessionQueue &queue, QObject *parent = nullptr);
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return rowCount(); }

    // Commands of the view, by track number (from 1).
    Q_INVOKABLE void jump(int track);
    Q_INVOKABLE void remove(int track);
    Q_INVOKABLE void move(int from, int to);
    Q_INVOKABLE void clear();

Q_SIGNALS:
    void countChanged();

private:
    void reload();
    SessionQueue &m_queue;
    int m_rows = 0;
};

} // namespace velotte
