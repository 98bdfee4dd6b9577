#pragma once

#include "cloud/records.h"
#include "core/failure.h"

#include <QSet>

namespace velotte {

// The change of one group's members that a room selection asks for.
struct RoomMembershipChange {
    SonosGroup group;
    QStringList playerIds;         // selected, in the household's player order
    QStringList playerIdsToAdd;    // selected but not yet members, same order
    QStringList playerIdsToRemove; // members not selected, in member order

    class SelectionError : public Failure {
    public:
        enum Case { nothingSelected = 0, unknownRoom = 1 };
        explicit SelectionError(Case c);
        Case which() const { return m_case; }
        QString sentence() const override;

    private:
        Case m_case;
    };

    // Throws SelectionError.
    static RoomMembershipChange make(const SonosGroup &group, const QSet<QString> &selected, const QList<SonosPlayer> &players);

    // The household's groups as they will look once the change is made:
    // added rooms leave their old groups, removed rooms stand alone, and
    // groups left empty disappear.
    QList<SonosGroup> simulatedGroups(const QList<SonosGroup> &groups, const QList<SonosPlayer> &players) const;
};

} // namespace velotte
