// Grouping rooms with the active group, in the cloud or on the local network.
#include "sessionrooms.h"

#include "housesession.h"
#include "localports.h"
#include "roommembership.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

namespace velotte {

namespace {
const QString groupingFailed = QStringLiteral("Rooms could not be grouped.");
const QString groupingDiffers = QStringLiteral("Some rooms could not join. The list shows the current group; choose rooms and try again.");
} // namespace

SessionRooms::SessionRooms(HouseSession &session) : QObject(&session), m_session(session) {}

void SessionRooms::setChangingRooms(bool changing)
{
    if (m_changingRooms == changing)
        return;
    m_changingRooms = changing;
    Q_EMIT changingRoomsChanged();
}

QCoro::Task<std::optional<QString>> SessionRooms::regroupLocally(RoomMembershipChange change)
{
    const LocalPorts *local = m_session.services().local.get();
    if (!local)
        co_return std::nullopt;
    const QHash<QString, QString> hosts = m_session.guestHosts();
    QString coordinator = change.group.coordinatorId;
    QStringList joining = change.playerIdsToAdd;
    bool sent = true;
    if (change.playerIdsToRemove.contains(coordinator)) {
        const QString next = change.playerIds.first();
        if (change.group.playerIds.contains(next)) {
            // The coordinator leaving hands the group to a room that stays.
            sent = local->delegate && co_await local->delegate(next, hosts.value(coordinator));
        } else {
            // None of the group stays: the new group forms around the first chosen room.
            joining = change.playerIds;
            sent = local->separate && co_await local->separate(hosts.value(next));
        }
        coordinator = next;
    }
    for (const QString &player : joining) {
        if (sent && player != coordinator)
            sent = local->join && co_await local->join(coordinator, hosts.value(player));
    }
    for (const QString &player : change.playerIdsToRemove) {
        if (sent)
            sent = local->separate && co_await local->separate(hosts.value(player));
    }
    co_return sent ? std::optional<QString>(coordinator) : std::nullopt;
}

QCoro::Task<bool> SessionRooms::groupRooms(QSet<QString> selected)
{
    const auto group = m_session.activeGroup();
    if (!group) {
        m_session.setNote(QStringLiteral("Choose a room."));
        co_return false;
    }
    RoomMembershipChange change;
    try {
        change = RoomMembershipChange::make(*group, selected, m_session.players());
    } catch (const RoomMembershipChange::SelectionError &e) {
        m_session.setNote(e.sentence());
        co_return false;
    }
    m_session.playback()->invalidatePlaybackCommand();
    m_session.sound()->abandonConversation(); // its rooms change
    const StillCurrent current(this, m_session.connectionID());
    setChangingRooms(true);
    m_session.setGroups(change.simulatedGroups(m_session.groups(), m_session.players()));

    bool sent = true;
    QString coordinator = change.group.coordinatorId;
    try {
        if (m_session.demo()) {
            // The preview household changes on screen only.
            if (change.playerIdsToRemove.contains(coordinator))
                coordinator = change.playerIds.first();
        } else if (m_session.guest()) {
            const std::optional<QString> formed = co_await regroupLocally(change);
            if (!current.alive())
                co_return false;
            sent = formed.has_value();
            if (formed) {
                coordinator = *formed;
                co_await m_session.refreshGuestHouse(false);
            }
        } else if (SonosClient *api = m_session.services().api; api && m_session.householdID()) {
            co_await api->modifyGroup(change.group.id, change.playerIdsToAdd, change.playerIdsToRemove, change.playerIds);
            const GroupsResponse read = co_await api->groups(*m_session.householdID());
            if (current) {
                m_session.setPlayers(read.players);
                m_session.setGroups(read.groups);
            }
        }
    } catch (const Cancelled &) {
        if (current.alive())
            setChangingRooms(false);
        co_return false;
    } catch (const std::exception &e) {
        qCWarning(lcSession) << "grouping failed:" << e.what();
        sent = false;
    }
    if (!current.alive())
        co_return false;
    if (!current) {
        setChangingRooms(false);
        co_return false;
    }
    if (!sent) {
        m_session.setNote(groupingFailed);
        setChangingRooms(false);
        co_await m_session.refresh();
        co_return false;
    }
    // The active group is the one the chosen rooms now share.
    std::optional<SonosGroup> result;
    for (const SonosGroup &g : m_session.groups()) {
        if (g.coordinatorId == coordinator || (!result && g.playerIds.contains(change.playerIds.first())))
            result = g;
    }
    if (result)
        m_session.followActiveGroup(result->id);
    setChangingRooms(false);
    const QSet<QString> members = result ? QSet<QString>(result->playerIds.begin(), result->playerIds.end()) : QSet<QString>();
    if (members != QSet<QString>(change.playerIds.begin(), change.playerIds.end())) {
        m_session.setNote(groupingDiffers);
        co_return false;
    }
    auto read = m_session.playback()->refreshPlayback();
    co_return true;
}

} // namespace velotte
