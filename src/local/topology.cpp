// Where the speakers are and how they are grouped: device descriptions, the
// zone group topology, and what each speaker tells of its own group when a
// large household refuses the topology.
#include "guesthouse.h"

#include <QRegularExpression>
#include <QSet>
#include <QUrl>

#include <algorithm>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

QCoro::Task<std::optional<QString>> GuestHouse::transportURI(QString host)
{
    const auto reply = co_await call(host, Soap::transportPath, Soap::avTransport + u"#GetMediaInfo"_s,
                                     Soap::envelope(u"GetMediaInfo"_s, Soap::avTransport, u"<InstanceID>0</InstanceID>"_s));
    if (!reply)
        co_return std::nullopt;
    co_return Soap::unescape(Soap::tag(u"CurrentURI"_s, *reply).value_or(QString()));
}

std::optional<QString> GuestHouse::followedCoordinator(const QString &uri)
{
    static const QString prefix = u"x-rincon:"_s;
    const QString id = uri.startsWith(prefix) ? uri.mid(prefix.size()).trimmed() : QString();
    if (id.isEmpty())
        return std::nullopt;
    return id;
}

QCoro::Task<std::optional<QString>> GuestHouse::coordinatorHost(QString host)
{
    const std::shared_ptr<QHash<QString, QString>> known = m_known;
    const auto uri = co_await transportURI(host);
    const auto leader = uri ? followedCoordinator(*uri) : std::nullopt;
    if (!leader)
        co_return std::nullopt;
    if (const QString at = known->value(*leader); !at.isEmpty())
        co_return at;
    const auto list = co_await zoneGroups(host);
    for (const Room &room : list.value_or(QList<Room>())) {
        if (room.hosts.contains(*leader))
            co_return room.hosts.value(*leader);
    }
    co_return std::nullopt;
}

std::optional<GuestHouse::Identity> GuestHouse::identityOf(const QString &description)
{
    auto udn = Soap::tag(u"UDN"_s, description);
    if (!udn)
        return std::nullopt;
    QString id = *udn;
    if (id.startsWith(u"uuid:"_s))
        id = id.mid(5);
    if (id.isEmpty())
        return std::nullopt;
    const QString name = Soap::tag(u"roomName"_s, description).value_or(Soap::tag(u"friendlyName"_s, description).value_or(u"Room"_s));
    return Identity{id, Soap::unescape(name)};
}

QCoro::Task<std::optional<GuestHouse::Identity>> GuestHouse::identity(QString host)
{
    HttpRequest request;
    request.url = QUrl(u"http://"_s + host + u":1400"_s + Soap::descriptionPath, QUrl::StrictMode);
    request.timeout = 4s;
    request.maxBytes = largestReply;
    if (!request.url.isValid() || request.url.host().isEmpty())
        co_return std::nullopt;
    const std::shared_ptr<QHash<QString, SpeakerFault>> faults = m_faults;
    const std::shared_ptr<QHash<QString, QString>> known = m_known;
    try {
        const HttpResponse response = co_await m_transport.send(std::move(request));
        if (response.status != 200) {
            faults->insert(host, SpeakerFault::of(response).value_or(SpeakerFault::noAnswer()));
            co_return std::nullopt;
        }
        faults->remove(host);
        auto identity = identityOf(QString::fromUtf8(response.body));
        if (identity)
            known->insert(identity->id, host);
        co_return identity;
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        faults->insert(host, SpeakerFault::noAnswer());
        co_return std::nullopt;
    }
}

namespace {
// Large states are matched many times over; their UTF-16 is checked once
// here instead of on every match.
QRegularExpression::MatchOptions checkedOnce(QStringView text)
{
    return text.isValidUtf16() ? QRegularExpression::DontCheckSubjectStringMatchOption : QRegularExpression::NoMatchOption;
}
QString first(const QRegularExpression &re, const QString &text, QRegularExpression::MatchOptions options)
{
    return re.match(text, 0, QRegularExpression::NormalMatch, options).captured(1);
}
} // namespace

QList<GuestHouse::Member> GuestHouse::members(const QString &body)
{
    static const QRegularExpression member(u"<ZoneGroupMember\\b([^>]*)/?>"_s);
    static const QRegularExpression uuid(u"\\bUUID=\"([^\"]*)\""_s);
    static const QRegularExpression zoneName(u"\\bZoneName=\"([^\"]*)\""_s);
    static const QRegularExpression invisible(u"\\bInvisible=\"([^\"]*)\""_s);
    static const QRegularExpression location(u"\\bLocation=\"([^\"]*)\""_s);
    QList<Member> out;
    const auto options = checkedOnce(body);
    auto it = member.globalMatch(body, 0, QRegularExpression::NormalMatch, options);
    while (it.hasNext()) {
        const QString attributes = it.next().captured(1);
        Member m;
        m.id = first(uuid, attributes, options);
        // Attribute values carry their own entities ("Kitchen &amp; Dining").
        m.name = Soap::unescape(first(zoneName, attributes, options));
        m.hidden = first(invisible, attributes, options) == u"1"_s;
        const QString url = first(location, attributes, options);
        if (!url.isEmpty()) {
            const QString host = QUrl(url).host();
            if (!host.isEmpty())
                m.host = host;
        }
        out.append(m);
    }
    return out;
}

QList<GuestHouse::Room> GuestHouse::rooms(const QString &reply)
{
    return roomsOfState(Soap::unescape(Soap::tag(u"ZoneGroupState"_s, reply).value_or(QString())));
}

QList<GuestHouse::Room> GuestHouse::roomsOfState(const QString &state)
{
    static const QRegularExpression group(u"<ZoneGroup\\b([^>]*)>(.*?)</ZoneGroup>"_s, QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression coordinatorUpper(u"\\bCoordinator=\"([^\"]*)\""_s);
    static const QRegularExpression coordinatorLower(u"\\bcoordinator=\"([^\"]*)\""_s);
    static const QRegularExpression groupID(u"\\bID=\"([^\"]*)\""_s);
    QList<Room> out;
    const auto options = checkedOnce(state);
    auto it = group.globalMatch(state, 0, QRegularExpression::NormalMatch, options);
    while (it.hasNext()) {
        const auto match = it.next();
        const QString attributes = match.captured(1);
        Room room;
        const auto upper = coordinatorUpper.match(attributes, 0, QRegularExpression::NormalMatch, options);
        // Values may carry line breaks and blanks around the id.
        room.coordinator = (upper.hasMatch() ? upper.captured(1) : first(coordinatorLower, attributes, options)).trimmed();
        room.id = first(groupID, attributes, options).trimmed();
        for (const Member &m : members(match.captured(2))) {
            if (m.host)
                room.hosts.insert(m.id, *m.host);
            if (!m.hidden)
                room.members.append({m.id, m.name});
            if (m.id == room.coordinator)
                room.name = m.name;
        }
        out.append(room);
    }
    return out;
}

QCoro::Task<std::optional<QList<GuestHouse::Room>>> GuestHouse::zoneGroups(QString host)
{
    const std::shared_ptr<QHash<QString, QString>> known = m_known; // the house may be gone when the answer comes
    const auto reply = co_await call(host, Soap::topologyPath, Soap::zoneGroupTopology + u"#GetZoneGroupState"_s,
                                     Soap::envelope(u"GetZoneGroupState"_s, Soap::zoneGroupTopology, QString()));
    if (!reply)
        co_return std::nullopt;
    QList<Room> list = rooms(*reply);
    for (const Room &room : std::as_const(list))
        known->insert(room.hosts);
    co_return list;
}

QCoro::Task<std::optional<GuestHouse::GroupAttributes>> GuestHouse::zoneGroupAttributes(QString host)
{
    const auto reply = co_await call(host, Soap::topologyPath, Soap::zoneGroupTopology + u"#GetZoneGroupAttributes"_s,
                                     Soap::envelope(u"GetZoneGroupAttributes"_s, Soap::zoneGroupTopology, QString()));
    if (!reply)
        co_return std::nullopt;
    co_return groupAttributes(*reply);
}

std::optional<GuestHouse::GroupAttributes> GuestHouse::groupAttributes(const QString &reply)
{
    GroupAttributes a;
    a.id = Soap::tag(u"CurrentZoneGroupID"_s, reply).value_or(QString());
    a.name = Soap::unescape(Soap::tag(u"CurrentZoneGroupName"_s, reply).value_or(QString()));
    for (const QString &id : Soap::tag(u"CurrentZonePlayerUUIDsInGroup"_s, reply).value_or(QString()).split(u',', Qt::SkipEmptyParts)) {
        const QString trimmed = id.trimmed();
        if (!trimmed.isEmpty() && !a.members.contains(trimmed))
            a.members << trimmed;
    }
    // A speaker in no group (a bridge, or one mid-change) has no room to give.
    if (a.id.isEmpty() || a.members.isEmpty())
        return std::nullopt;
    return a;
}

QList<GuestHouse::Room> GuestHouse::rooms(const QList<GroupAttributes> &groups, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names,
                                          const QHash<QString, QString> &leaders)
{
    QList<Room> out;
    QSet<QString> seenGroups;
    QSet<QString> placed;
    for (const GroupAttributes &g : groups) {
        if (seenGroups.contains(g.id))
            continue;
        seenGroups.insert(g.id);
        // The coordinator is the one the members' transports follow, not the
        // first of the list; with nobody telling, the first it is.
        QHash<QString, int> votes;
        for (const QString &id : g.members) {
            const QString leader = leaders.value(id);
            if (g.members.contains(leader))
                ++votes[leader];
        }
        Room room;
        room.id = g.id;
        room.coordinator = g.members.first();
        for (const QString &id : g.members) {
            if (votes.value(id) > votes.value(room.coordinator))
                room.coordinator = id;
        }
        room.name = names.value(room.coordinator, g.name);
        QStringList order{room.coordinator};
        for (const QString &id : g.members) {
            if (id != room.coordinator)
                order << id;
        }
        QSet<QString> roomNames;
        for (const QString &id : std::as_const(order)) {
            if (hosts.contains(id))
                room.hosts.insert(id, hosts.value(id));
            // Both halves of a stereo pair carry the room's name: one room.
            if (!names.contains(id) || placed.contains(id) || roomNames.contains(names.value(id)))
                continue;
            placed.insert(id);
            roomNames.insert(names.value(id));
            room.members.append({id, names.value(id)});
        }
        if (!room.members.isEmpty())
            out.append(room);
    }
    return out;
}

QCoro::Task<std::optional<bool>> GuestHouse::standaloneRoom(QString playerID, QString host, QHash<QString, QString> speakers)
{
    const std::shared_ptr<QHash<QString, QString>> known = m_known;
    const auto list = co_await zoneGroups(host);
    if (list) {
        for (const Room &room : *list) {
            const bool member = room.coordinator == playerID
                || std::any_of(room.members.begin(), room.members.end(), [&](const auto &m) { return m.first == playerID; });
            if (!member)
                continue;
            if (room.coordinator != playerID)
                co_return false;
            co_return room.members.size() == 1;
        }
        co_return std::nullopt;
    }
    // The topology is refused (a large household): the player's group from
    // the speaker itself, who leads from the transport address, and which
    // members are the same room (a stereo partner) from their room names.
    const auto own = co_await zoneGroupAttributes(host);
    if (!own || !own->members.contains(playerID))
        co_return std::nullopt;
    auto hostOf = [&](const QString &id) { return speakers.value(id, known->value(id)); };
    const QString playerHost = hostOf(playerID).isEmpty() ? host : hostOf(playerID);
    const auto uri = co_await transportURI(playerHost);
    if (!uri)
        co_return std::nullopt;
    if (followedCoordinator(*uri))
        co_return false;
    if (own->members.size() == 1)
        co_return true;
    const auto self = co_await identity(playerHost);
    if (!self || self->id != playerID)
        co_return std::nullopt;
    for (const QString &id : own->members) {
        if (id == playerID)
            continue;
        const QString at = hostOf(id);
        if (at.isEmpty())
            co_return false; // another room, as far as anyone can tell
        const auto other = co_await identity(at);
        if (!other || other->name != self->name)
            co_return false;
    }
    co_return true;
}

GuestHouse::Snapshot GuestHouse::snapshot(const QList<Room> &rooms, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names)
{
    Snapshot s;
    for (const Room &room : rooms) {
        if (room.members.isEmpty())
            continue; // bridges and satellites only: nothing to play on
        SonosGroup group;
        group.id = room.id;
        group.coordinatorId = room.coordinator;
        group.name = !room.name.isEmpty() ? room.name : names.value(room.coordinator, u"Room"_s);
        for (const auto &[id, name] : room.members) {
            group.playerIds.append(id);
            const QString shown = !name.isEmpty() ? name : names.value(id, u"Room"_s);
            s.players.append(SonosPlayer{id, shown.isEmpty() ? u"Room"_s : shown, std::nullopt, std::nullopt});
        }
        if (group.playerIds.size() > 1)
            group.name += u" + %1"_s.arg(group.playerIds.size() - 1);
        for (auto it = room.hosts.begin(); it != room.hosts.end(); ++it)
            s.hosts.insert(it.key(), it.value());
        s.groups.append(group);
    }
    // Hosts found by identity fill any gap the topology leaves.
    for (auto it = hosts.begin(); it != hosts.end(); ++it) {
        if (!s.hosts.contains(it.key()))
            s.hosts.insert(it.key(), it.value());
    }
    return s;
}

QCoro::Task<GuestHouse::Snapshot> GuestHouse::discover(QHash<QString, QString> found)
{
    const std::shared_ptr<bool> alive = m_alive;
    // Identities of every speaker at once.
    QList<QString> hosts = found.values();
    std::sort(hosts.begin(), hosts.end());
    hosts.erase(std::unique(hosts.begin(), hosts.end()), hosts.end());
    std::vector<QCoro::Task<std::optional<Identity>>> reads;
    for (const QString &host : hosts)
        reads.push_back(identity(host));
    QHash<QString, QString> byID; // player id -> host
    QHash<QString, QString> names;
    for (int i = 0; i < int(reads.size()); ++i) {
        if (const auto id = co_await reads[size_t(i)]) {
            byID.insert(id->id, hosts[i]);
            names.insert(id->id, id->name);
        }
    }
    // The topology from the first speaker that gives one.
    for (const QString &host : hosts) {
        if (!*alive)
            co_return {};
        const auto list = co_await zoneGroups(host);
        if (list && !list->isEmpty())
            co_return snapshot(*list, byID, names);
    }
    // Large households refuse the whole topology: every speaker tells of its
    // own group, and its transport address tells whom it follows.
    if (!*alive)
        co_return {};
    QStringList asked = byID.keys();
    std::sort(asked.begin(), asked.end(), [&](const QString &a, const QString &b) { return byID.value(a) < byID.value(b); });
    std::vector<QCoro::Task<std::optional<GroupAttributes>>> asks;
    std::vector<QCoro::Task<std::optional<QString>>> transports;
    for (const QString &id : std::as_const(asked)) {
        asks.push_back(zoneGroupAttributes(byID.value(id)));
        transports.push_back(transportURI(byID.value(id)));
    }
    QList<GroupAttributes> groups;
    QHash<QString, QString> leaders; // speaker -> the coordinator it follows
    for (qsizetype i = 0; i < asked.size(); ++i) {
        if (auto g = co_await asks[size_t(i)])
            groups.append(*g);
        if (const auto uri = co_await transports[size_t(i)])
            leaders.insert(asked[i], followedCoordinator(*uri).value_or(asked[i]));
    }
    if (!*alive)
        co_return {};
    std::stable_sort(groups.begin(), groups.end(), [](const GroupAttributes &a, const GroupAttributes &b) { return a.id < b.id; });
    Snapshot result = snapshot(rooms(groups, byID, names, leaders), byID, names);
    if (result.groups.isEmpty())
        result.localControlOff = std::any_of(hosts.begin(), hosts.end(), [this](const QString &h) { return refusesLocalControl(h); });
    co_return result;
}
} // namespace velotte
