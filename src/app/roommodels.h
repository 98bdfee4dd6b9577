#pragma once

#include <QAbstractListModel>

namespace velotte {

class HouseSession;

// The household's groups as the room list shows them.
class GroupListModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
public:
    enum Role { IdRole = Qt::UserRole + 1, NameRole, StateRole, PlayingRole, ActiveRole, MembersRole };
    explicit GroupListModel(HouseSession &session, QObject *parent = nullptr);
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return rowCount(); }

Q_SIGNALS:
    void countChanged();

private:
    void reload();
    HouseSession &m_session;
    int m_rows = 0;
};

// Every room (player): its volume slider and whether it belongs to the
// active group, for the sound view and the grouping checklist.
class PlayerListModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
public:
    enum Role { IdRole = Qt::UserRole + 1, NameRole, VolumeRole, FixedRole, InGroupRole, IconRole };
    explicit PlayerListModel(HouseSession &session, QObject *parent = nullptr);
    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return rowCount(); }

Q_SIGNALS:
    void countChanged();

private:
    void reload();
    void volumesChanged();
    HouseSession &m_session;
    int m_rows = 0;
};

} // namespace velotte
