// Grouping rooms with the active group, in the cloud or on the local network.
#include "sessionrooms.h"

#include "housesession.h"
#include "localports.h"
#include "roommembership.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

namespace velotte {

using namespace std::chrono_literals;

namespace {
// The group the chosen rooms ended up in: the one led by the coordinator
// the change formed around, else the one holding most of them (with the
// first chosen room on a tie). A coordinator that left the group leads
// only itself, so membership decides in the cloud.
std::optional<SonosGroup> groupOf(const RoomMembershipChange &change, const QList<SonosGroup> &groups, const QString &coordinator = {})
{
    std::optional<SonosGroup> best;
    qsizetype bestShared = 0;
    for (const SonosGroup &g : groups) {
        if (!coordinator.isEmpty() && g.coordinatorId == coordinator && change.playerIds.contains(coordinator))
            return g;
        qsizetype shared = 0;
        for (const QString &id : change.playerIds)
            shared += g.playerIds.contains(id);
        if (shared > bestShared || (shared == bestShared && shared > 0 && g.playerIds.contains(change.playerIds.first()))) {
            best = g;
            bestShared = shared;
        }
    }
    return best;
}

bool sameMembers(const SonosGroup &group, const RoomMembershipChange &change)
{
    return QSet<QString>(group.playerIds.begin(), group.playerIds.end()) == QSet<QString>(change.playerIds.begin(), change.playerIds.end());
}

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
            // The cloud may report the old groups for a moment after it
            // answers: read back a few times before saying rooms did not join.
            for (const std::chrono::milliseconds pause : {0ms, 250ms, 500ms, 1250ms}) {
                if (pause > 0ms) {
                    co_await m_session.clock().sleep(pause);
                    if (!current)
                        break;
                }
                const GroupsResponse read = co_await api->groups(*m_session.householdID());
                if (!current)
                    break;
                m_session.setPlayers(read.players);
                m_session.setGroups(read.groups);
                if (const auto formed = groupOf(change, read.groups); formed && sameMembers(*formed, change))
                    break;
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
    const std::optional<SonosGroup> result = groupOf(change, m_session.groups(), coordinator);
    if (result)
        m_session.followActiveGroup(result->id);
    setChangingRooms(false);
    if (!result || !sameMembers(*result, change)) {
        m_session.setNote(groupingDiffers);
        co_return false;
    }
    auto read = m_session.playback()->refreshPlayback();
    co_return true;
}

} // namespace velotte
