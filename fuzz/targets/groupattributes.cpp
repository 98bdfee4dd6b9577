// One speaker's answer about its own group (large households).
#include "fuzz/target.h"
#include "local/guesthouse.h"

VELOTTE_FUZZ_TARGET(groupattributes)
{
    const auto group = velotte::GuestHouse::groupAttributes(velotte::fuzz::text(data));
    if (group) {
        QHash<QString, QString> names;
        QHash<QString, QString> leaders;
        for (const QString &id : group->members) {
            names.insert(id, id.left(8));
            leaders.insert(id, group->members.value(qHash(id) % group->members.size()));
        }
        velotte::GuestHouse::rooms(QList<velotte::GuestHouse::GroupAttributes>{*group, *group}, {}, names, leaders);
    }
}
