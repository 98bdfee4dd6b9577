#include "guesthouse.h"

#include "core/logging.h"

#include <QRegularExpression>
#include <QSet>
#include <QUrl>

#include <algorithm>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {
QString instance() { return u"<InstanceID>0</InstanceID>"_s; }
QString master() { return u"<InstanceID>0</InstanceID><Channel>Master</Channel>"_s; }
QUrl controlUrl(const QString &host, const QString &path) { return QUrl(u"http://"_s + host + u":1400"_s + path, QUrl::StrictMode); }
// A 32-speaker topology is about 50 KB; a reply this large is not a speaker's.
constexpr qint64 largestReply = 4 * 1024 * 1024;
} // namespace

GuestHouse::GuestHouse(HttpTransport &transport) : m_transport(transport) {}

QCoro::Task<std::optional<QString>> GuestHouse::call(QString host, QString path, QString action, QString body)
{
    HttpRequest request;
    request.url = controlUrl(host, path);
    if (host.isEmpty() || !request.url.isValid() || request.url.host().isEmpty())
        co_return std::nullopt;
    request.method = "POST";
    request.body = body.toUtf8();
    request.timeout = 4s;
    request.maxBytes = largestReply;
    request.setHeader("Content-Type", "text/xml; charset=\"utf-8\"");
    request.setHeader("SOAPACTION", action.toUtf8()); // no quotes in this flavour
    const std::shared_ptr<QSet<QString>> refused = m_refused;
    try {
        const HttpResponse response = co_await m_transport.send(std::move(request));
        if (response.status == 403)
            refused->insert(host);
        else
            refused->remove(host);
        if (!response.ok())
            co_return std::nullopt;
        co_return QString::fromUtf8(response.body);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &e) {
        qCDebug(lcLocal) << action << "to" << host << "failed:" << e.what();
        co_return std::nullopt;
    }
}

QCoro::Task<bool> GuestHouse::send(QString host, QString path, QString service, QString action, QString inner)
{
    const auto reply = co_await call(host, path, service + u'#' + action, Soap::envelope(action, service, inner));
    co_return reply.has_value();
}

QCoro::Task<std::optional<int>> GuestHouse::volume(QString host)
{
    const auto reply = co_await call(host, Soap::renderingPath, Soap::renderingControl + u"#GetVolume"_s,
                                     Soap::envelope(u"GetVolume"_s, Soap::renderingControl, master()));
    const auto value = reply ? Soap::integer(Soap::tag(u"CurrentVolume"_s, *reply).value_or(QString())) : std::nullopt;
    if (!value || *value < 0 || *value > 100)
        co_return std::nullopt;
    co_return int(*value);
}

QCoro::Task<bool> GuestHouse::setVolume(QString host, int volume)
{
    const QString inner = master() + u"<DesiredVolume>"_s + QString::number(std::clamp(volume, 0, 100)) + u"</DesiredVolume>"_s;
    co_return co_await send(host, Soap::renderingPath, Soap::renderingControl, u"SetVolume"_s, inner);
}

QCoro::Task<bool> GuestHouse::setMuted(QString host, bool muted)
{
    const QString inner = master() + u"<DesiredMute>"_s + (muted ? u"1"_s : u"0"_s) + u"</DesiredMute>"_s;
    co_return co_await send(host, Soap::renderingPath, Soap::renderingControl, u"SetMute"_s, inner);
}

QCoro::Task<std::optional<int>> GuestHouse::bass(QString host)
{
    const auto reply = co_await call(host, Soap::renderingPath, Soap::renderingControl + u"#GetBass"_s,
                                     Soap::envelope(u"GetBass"_s, Soap::renderingControl, instance()));
    const auto value = reply ? Soap::integer(Soap::tag(u"CurrentBass"_s, *reply).value_or(QString())) : std::nullopt;
    if (!value || *value < -10 || *value > 10)
        co_return std::nullopt;
    co_return int(*value);
}

QCoro::Task<bool> GuestHouse::setBass(QString host, int bass)
{
    const QString inner = instance() + u"<DesiredBass>"_s + QString::number(std::clamp(bass, -10, 10)) + u"</DesiredBass>"_s;
    co_return co_await send(host, Soap::renderingPath, Soap::renderingControl, u"SetBass"_s, inner);
}

QCoro::Task<bool> GuestHouse::seek(QString host, qint64 millis)
{
    const QString inner = instance() + u"<Unit>REL_TIME</Unit><Target>"_s + Soap::clock(millis) + u"</Target>"_s;
    co_return co_await send(host, Soap::transportPath, Soap::avTransport, u"Seek"_s, inner);
}

QCoro::Task<bool> GuestHouse::playMode(QString host, bool shuffle, bool repeats)
{
    const QString inner = instance() + u"<NewPlayMode>"_s + Soap::playMode(shuffle, repeats) + u"</NewPlayMode>"_s;
    co_return co_await send(host, Soap::transportPath, Soap::avTransport, u"SetPlayMode"_s, inner);
}

QCoro::Task<bool> GuestHouse::transport(QString action, QString host)
{
    const QString inner = action == u"Play"_s ? instance() + u"<Speed>1</Speed>"_s : instance();
    co_return co_await send(host, Soap::transportPath, Soap::avTransport, action, inner);
}

QCoro::Task<bool> GuestHouse::delegate(QString coordinator, QString host)
{
    const QString inner = instance() + u"<NewCoordinator>"_s + Soap::escape(coordinator) + u"</NewCoordinator><RejoinGroup>0</RejoinGroup>"_s;
    co_return co_await send(host, Soap::transportPath, Soap::avTransport, u"DelegateGroupCoordinationTo"_s, inner);
}

QCoro::Task<bool> GuestHouse::join(QString coordinator, QString host)
{
    const QString body = Soap::setURIEnvelope(u"x-rincon:"_s + coordinator, QString());
    const auto reply = co_await call(host, Soap::transportPath, Soap::avTransport + u"#SetAVTransportURI"_s, body);
    co_return reply.has_value();
}

QCoro::Task<bool> GuestHouse::separate(QString host) { co_return co_await transport(u"BecomeCoordinatorOfStandaloneGroup"_s, host); }

QPair<QString, QString> GuestHouse::track(const QString &escapedMetadata)
{
    if (escapedMetadata == u"NOT_IMPLEMENTED"_s)
        return {};
    const QString didl = Soap::unescape(escapedMetadata);
    const auto title = Soap::tag(u"dc:title"_s, didl);
    const auto artist = Soap::tag(u"dc:creator"_s, didl);
    // Speakers escape the text inside once more than the document around it.
    return {Soap::unescape(title ? *title : Soap::tag(u"title"_s, didl).value_or(QString())),
            Soap::unescape(artist ? *artist : Soap::tag(u"creator"_s, didl).value_or(QString()))};
}

QCoro::Task<std::optional<GuestHouse::Now>> GuestHouse::nowPlaying(QString host)
{
    // The four reads overlap: one round trip, not four.
    auto actionsTask = call(host, Soap::transportPath, Soap::avTransport + u"#GetCurrentTransportActions"_s,
                            Soap::envelope(u"GetCurrentTransportActions"_s, Soap::avTransport, instance()));
    auto positionTask = call(host, Soap::transportPath, Soap::avTransport + u"#GetPositionInfo"_s,
                             Soap::envelope(u"GetPositionInfo"_s, Soap::avTransport, instance()));
    auto stateTask = call(host, Soap::transportPath, Soap::avTransport + u"#GetTransportInfo"_s,
                          Soap::envelope(u"GetTransportInfo"_s, Soap::avTransport, instance()));
    auto volumeTask = volume(host);
    const auto actions = co_await actionsTask;
    const auto position = co_await positionTask;
    const auto state = co_await stateTask;
    const auto volume = co_await volumeTask;
    // Without the state or the position there is nothing to show.
    if (!state || !position)
        co_return std::nullopt;

    Now now;
    QSet<QString> verbs;
    if (actions) {
        for (const QString &piece : Soap::tag(u"Actions"_s, *actions).value_or(QString()).split(u','))
            verbs.insert(piece.trimmed());
    }
    now.canSkip = verbs.contains(u"Next"_s);
    now.canSkipBack = verbs.contains(u"Previous"_s);
    now.canSeek = verbs.contains(u"Seek"_s);
    const auto [title, artist] = track(Soap::tag(u"TrackMetaData"_s, *position).value_or(QString()));
    now.title = title;
    now.artist = artist;
    now.positionMillis = Soap::millis(Soap::tag(u"RelTime"_s, *position).value_or(QString()));
    now.durationMillis = Soap::millis(Soap::tag(u"TrackDuration"_s, *position).value_or(QString()));
    const QString transportState = Soap::tag(u"CurrentTransportState"_s, *state).value_or(QString());
    now.playing = transportState == u"PLAYING"_s || transportState == u"TRANSITIONING"_s;
    now.volume = volume;
    co_return now;
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
    try {
        const HttpResponse response = co_await m_transport.send(std::move(request));
        if (response.status != 200)
            co_return std::nullopt;
        co_return identityOf(QString::fromUtf8(response.body));
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
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
    const QString state = Soap::unescape(Soap::tag(u"ZoneGroupState"_s, reply).value_or(QString()));
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
        room.coordinator = upper.hasMatch() ? upper.captured(1) : first(coordinatorLower, attributes, options);
        room.id = first(groupID, attributes, options);
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
    const auto reply = co_await call(host, Soap::topologyPath, Soap::zoneGroupTopology + u"#GetZoneGroupState"_s,
                                     Soap::envelope(u"GetZoneGroupState"_s, Soap::zoneGroupTopology, QString()));
    if (!reply)
        co_return std::nullopt;
    co_return rooms(*reply);
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

QList<GuestHouse::Room> GuestHouse::rooms(const QList<GroupAttributes> &groups, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names)
{
    QList<Room> out;
    QSet<QString> seenGroups;
    QSet<QString> placed;
    for (const GroupAttributes &g : groups) {
        if (seenGroups.contains(g.id))
            continue;
        seenGroups.insert(g.id);
        Room room;
        room.id = g.id;
        room.coordinator = g.members.first();
        room.name = names.value(room.coordinator, g.name);
        QSet<QString> roomNames;
        for (const QString &id : g.members) {
            // A stereo partner answers with its twin's room name.
            if (!names.contains(id) || placed.contains(id) || roomNames.contains(names.value(id)))
                continue;
            placed.insert(id);
            roomNames.insert(names.value(id));
            room.members.append({id, names.value(id)});
            if (hosts.contains(id))
                room.hosts.insert(id, hosts.value(id));
        }
        if (!room.members.isEmpty())
            out.append(room);
    }
    return out;
}

QCoro::Task<std::optional<bool>> GuestHouse::standaloneRoom(QString playerID, QString host)
{
    auto list = co_await zoneGroups(host);
    if (!list) {
        const auto own = co_await zoneGroupAttributes(host);
        if (!own)
            co_return std::nullopt;
        if (!own->members.contains(playerID))
            co_return std::nullopt;
        co_return own->members.first() == playerID && own->members.size() == 1;
    }
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
        const auto list = co_await zoneGroups(host);
        if (list && !list->isEmpty())
            co_return snapshot(*list, byID, names);
    }
    // Large households refuse the whole topology: every speaker tells of
    // its own group instead, coordinators first so their answers name rooms.
    std::vector<QCoro::Task<std::optional<GroupAttributes>>> asks;
    QStringList asked = byID.values();
    std::sort(asked.begin(), asked.end());
    for (const QString &host : asked)
        asks.push_back(zoneGroupAttributes(host));
    QList<GroupAttributes> groups;
    for (auto &ask : asks) {
        if (auto g = co_await ask)
            groups.append(*g);
    }
    std::stable_sort(groups.begin(), groups.end(), [](const GroupAttributes &a, const GroupAttributes &b) { return a.id < b.id; });
    Snapshot result = snapshot(rooms(groups, byID, names), byID, names);
    if (result.groups.isEmpty())
        result.localControlOff = std::any_of(hosts.begin(), hosts.end(), [this](const QString &h) { return refusesLocalControl(h); });
    co_return result;
}

} // namespace velotte
