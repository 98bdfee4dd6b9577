#include "roommembership.h"

namespace velotte {

RoomMembershipChange::SelectionError::SelectionError(Case c) : Failure(QStringLiteral("room selection %1").arg(int(c))), m_case(c) {}

QString RoomMembershipChange::SelectionError::sentence() const
{
    return m_case == nothingSelected ? QStringLiteral("Keep at least one room selected.")
                                     : QStringLiteral("One of these rooms is no longer available. Refresh Rooms and try again.");
}

RoomMembershipChange RoomMembershipChange::make(const SonosGroup &group, const QSet<QString> &selected, const QList<SonosPlayer> &players)
{
    if (selected.isEmpty())
        throw SelectionError(SelectionError::nothingSelected);
    QSet<QString> known;
    for (const SonosPlayer &p : players)
        known.insert(p.id);
    if (!known.contains(selected))
        throw SelectionError(SelectionError::unknownRoom);

    RoomMembershipChange change;
    change.group = group;
    for (const SonosPlayer &p : players) {
        if (!selected.contains(p.id))
            continue;
        change.playerIds.append(p.id);
        if (!group.playerIds.contains(p.id))
            change.playerIdsToAdd.append(p.id);
    }
    for (const QString &id : group.playerIds) {
        if (!selected.contains(id))
            change.playerIdsToRemove.append(id);
    }
    return change;
}

QList<SonosGroup> RoomMembershipChange::simulatedGroups(const QList<SonosGroup> &groups, const QList<SonosPlayer> &players) const
{
    auto nameOf = [&players](const QString &id) {
        for (const SonosPlayer &p : players) {
            if (p.id == id)
                return p.name;
        }
        return QStringLiteral("Room");
    };
    QList<SonosGroup> out;
    for (const SonosGroup &g : groups) {
        if (g.id == group.id) {
            SonosGroup changed = g;
            changed.playerIds = playerIds;
            if (!playerIds.contains(changed.coordinatorId) && !playerIds.isEmpty())
                changed.coordinatorId = playerIds.first();
            // Named as the speakers name a group: its coordinator, then how many more.
            changed.name = nameOf(changed.coordinatorId);
            if (playerIds.size() > 1)
                changed.name += QStringLiteral(" + %1").arg(playerIds.size() - 1);
            out.append(changed);
            continue;
        }
        SonosGroup other = g;
        for (const QString &id : playerIdsToAdd)
            other.playerIds.removeAll(id);
        if (other.playerIds.isEmpty())
            continue;
        if (!other.playerIds.contains(other.coordinatorId))
            other.coordinatorId = other.playerIds.first();
        out.append(other);
    }
    // A removed room stands alone until the real grouping is read back; its
    // id must not clash with the changed group's.
    for (const QString &id : playerIdsToRemove)
        out.append(SonosGroup{id == group.id ? id + QStringLiteral(":alone") : id, nameOf(id), id, std::nullopt, {id}});
    return out;
}

} // namespace velotte
