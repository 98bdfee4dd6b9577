#include "roommodels.h"

#include "session/housesession.h"

namespace velotte {

namespace {
QString stateText(const std::optional<QString> &state)
{
    if (state == u"PLAYBACK_STATE_PLAYING")
        return QStringLiteral("Playing");
    if (state == u"PLAYBACK_STATE_PAUSED")
        return QStringLiteral("Paused");
    if (state == u"PLAYBACK_STATE_BUFFERING")
        return QStringLiteral("Loading");
    return QStringLiteral("Idle");
}
} // namespace

GroupListModel::GroupListModel(HouseSession &session, QObject *parent) : QAbstractListModel(parent), m_session(session)
{
    connect(&session, &HouseSession::groupsChanged, this, &GroupListModel::reload);
    connect(&session, &HouseSession::playersChanged, this, &GroupListModel::reload);
    connect(&session, &HouseSession::activeGroupIDChanged, this, [this] {
        if (m_rows > 0)
            Q_EMIT dataChanged(index(0), index(m_rows - 1), {ActiveRole});
    });
    // The active group's state follows the now-playing reading, which is fresher.
    connect(session.playback(), &SessionPlayback::isPlayingChanged, this, [this] {
        if (m_rows > 0)
            Q_EMIT dataChanged(index(0), index(m_rows - 1), {StateRole, PlayingRole});
    });
    reload();
}

void GroupListModel::reload()
{
    beginResetModel();
    const int before = m_rows;
    m_rows = int(m_session.groups().size());
    endResetModel();
    if (before != m_rows)
        Q_EMIT countChanged();
}

int GroupListModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : m_rows; }

QVariant GroupListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_session.groups().size())
        return {};
    const SonosGroup &g = m_session.groups()[index.row()];
    const bool active = m_session.activeGroupID() == g.id;
    switch (role) {
    case IdRole:
        return g.id;
    case NameRole:
        return g.name;
    case ActiveRole:
        return active;
    case PlayingRole:
        return active ? m_session.playback()->isPlaying() : g.playbackState == u"PLAYBACK_STATE_PLAYING";
    case StateRole:
        if (active && !m_session.playback()->title().isEmpty())
            return (m_session.playback()->isPlaying() ? QString() : QStringLiteral("Paused · ")) + m_session.playback()->title();
        return stateText(g.playbackState);
    case MembersRole: {
        QStringList names;
        for (const SonosPlayer &p : m_session.players())
            if (g.playerIds.contains(p.id))
                names << p.name;
        return names.join(QStringLiteral(" + "));
    }
    default:
        return {};
    }
}

QHash<int, QByteArray> GroupListModel::roleNames() const
{
    return {{IdRole, "groupId"}, {NameRole, "name"}, {StateRole, "nowPlaying"}, {PlayingRole, "playing"}, {ActiveRole, "active"}, {MembersRole, "members"}};
}

PlayerListModel::PlayerListModel(HouseSession &session, QObject *parent) : QAbstractListModel(parent), m_session(session)
{
    connect(&session, &HouseSession::playersChanged, this, &PlayerListModel::reload);
    connect(&session, &HouseSession::groupsChanged, this, &PlayerListModel::volumesChanged);
    connect(&session, &HouseSession::activeGroupIDChanged, this, &PlayerListModel::volumesChanged);
    connect(session.sound(), &SessionSound::playerVolumesChanged, this, &PlayerListModel::volumesChanged);
    reload();
}

void PlayerListModel::reload()
{
    beginResetModel();
    const int before = m_rows;
    m_rows = int(m_session.players().size());
    endResetModel();
    if (before != m_rows)
        Q_EMIT countChanged();
}

void PlayerListModel::volumesChanged()
{
    // Rows keep their identity: a slider being dragged must not be rebuilt.
    if (m_rows > 0)
        Q_EMIT dataChanged(index(0), index(m_rows - 1), {VolumeRole, FixedRole, InGroupRole});
}

int PlayerListModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : m_rows; }

QVariant PlayerListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_session.players().size())
        return {};
    const SonosPlayer &p = m_session.players()[index.row()];
    switch (role) {
    case IdRole:
        return p.id;
    case NameRole:
        return p.name;
    case VolumeRole:
        return m_session.sound()->playerVolumes().value(p.id, m_session.sound()->volume());
    case FixedRole:
        return m_session.sound()->playerFixed().value(p.id, false);
    case InGroupRole: {
        const std::optional<SonosGroup> g = m_session.activeGroup();
        return g && g->playerIds.contains(p.id);
    }
    case IconRole:
        return p.icon.value_or(QString());
    default:
        return {};
    }
}

QHash<int, QByteArray> PlayerListModel::roleNames() const
{
    return {{IdRole, "playerId"}, {NameRole, "name"}, {VolumeRole, "volume"}, {FixedRole, "fixed"}, {InGroupRole, "inGroup"}, {IconRole, "icon"}};
}

} // namespace velotte
