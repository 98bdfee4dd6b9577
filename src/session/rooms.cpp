// Grouping rooms with the active group, in the cloud or on the local network.
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

void HouseSession::setChangingRooms(bool changing)
{
    if (m_changingRooms == changing)
        return;
    m_changingRooms = changing;
    Q_EMIT changingRoomsChanged();
}

QCoro::Task<bool> HouseSession::groupRooms(QSet<QString> selected)
{
    const auto group = activeGroup();
    if (!group) {
        setNote(QStringLiteral("Choose a room."));
        co_return false;
    }
    RoomMembershipChange change;
    try {
        change = RoomMembershipChange::make(*group, selected, m_players);
    } catch (const RoomMembershipChange::SelectionError &e) {
        setNote(e.sentence());
        co_return false;
    }
    QPointer<HouseSession> self(this);
    invalidatePlaybackCommand();
    m_conversationRequestID = QUuid::createUuid(); // its rooms change: a conversation in progress is abandoned
    m_playbackRefreshID = QUuid::createUuid();
    const QUuid connection = m_connectionID;
    setChangingRooms(true);
    setGroups(change.simulatedGroups(m_groups, m_players));

    bool sent = true;
    QString coordinator = change.group.coordinatorId;
    try {
        if (m_demo) {
            // The preview household changes on screen only.
            if (change.playerIdsToRemove.contains(coordinator))
                coordinator = change.playerIds.first();
        } else if (m_guest) {
            auto host = [this](const QString &player) { return m_guestHosts.value(player); };
            QStringList joining = change.playerIdsToAdd;
            if (change.playerIdsToRemove.contains(coordinator) && !change.playerIds.isEmpty()) {
                const QString next = change.playerIds.first();
                if (change.group.playerIds.contains(next)) {
                    // The coordinator leaving hands the group to a room that stays.
                    sent = m_services.local && m_services.local->delegate;
                    if (sent)
                        sent = co_await m_services.local->delegate(next, host(coordinator));
                } else {
                    // None of the group stays: the new group forms around the first chosen room.
                    joining = change.playerIds;
                    sent = m_services.local && m_services.local->separate;
                    if (sent)
                        sent = co_await m_services.local->separate(host(next));
                }
                coordinator = next;
            }
            for (const QString &player : joining) {
                if (!sent || player == coordinator)
                    continue;
                sent = m_services.local && m_services.local->join;
                if (sent)
                    sent = co_await m_services.local->join(coordinator, host(player));
            }
            for (const QString &player : change.playerIdsToRemove) {
                if (!sent)
                    break;
                sent = m_services.local && m_services.local->separate;
                if (sent)
                    sent = co_await m_services.local->separate(host(player));
            }
            if (!self)
                co_return false;
            if (sent)
                co_await refreshGuestHouse(false);
        } else if (m_services.api && m_householdID) {
            co_await m_services.api->modifyGroup(change.group.id, change.playerIdsToAdd, change.playerIdsToRemove, change.playerIds);
            const GroupsResponse read = co_await m_services.api->groups(*m_householdID);
            if (self && connection == m_connectionID) {
                setPlayers(read.players);
                setGroups(read.groups);
            }
        }
    } catch (const Cancelled &) {
        if (self)
            setChangingRooms(false);
        co_return false;
    } catch (const std::exception &e) {
        qCWarning(lcSession) << "grouping failed:" << e.what();
        sent = false;
    }
    if (!self)
        co_return false;
    if (connection != m_connectionID) {
        setChangingRooms(false);
        co_return false;
    }
    if (!sent) {
        setNote(groupingFailed);
        setChangingRooms(false);
        co_await refresh();
        co_return false;
    }
    // The active group is the one the chosen rooms now share.
    std::optional<SonosGroup> result;
    for (const SonosGroup &g : m_groups) {
        if (g.coordinatorId == coordinator || (!result && g.playerIds.contains(change.playerIds.first())))
            result = g;
    }
    if (result && result->id != m_activeGroupID) {
        m_activeGroupID = result->id;
        Q_EMIT activeGroupIDChanged();
    }
    setChangingRooms(false);
    const QSet<QString> members = result ? QSet<QString>(result->playerIds.begin(), result->playerIds.end()) : QSet<QString>();
    if (members != QSet<QString>(change.playerIds.begin(), change.playerIds.end())) {
        setNote(groupingDiffers);
        co_return false;
    }
    auto read = refreshPlayback();
    co_return true;
}

} // namespace velotte
