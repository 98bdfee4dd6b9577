#include "fakecloud.h"

#include "kit/registry.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace velotte::fake {

namespace {
QByteArray compact(const QJsonObject &o) { return QJsonDocument(o).toJson(QJsonDocument::Compact); }
Response error(int status, const QString &code, const QString &reason = {})
{
    QJsonObject o{{QStringLiteral("errorCode"), code}};
    if (!reason.isEmpty())
        o.insert(QStringLiteral("reason"), reason);
    return Response::json(compact(o), status);
}
QString percentDecoded(const QString &segment) { return QUrl::fromPercentEncoding(segment.toUtf8()); }
} // namespace

FakeCloud::FakeCloud(QObject *parent)
    : QObject(parent), m_server([this](const Request &r) { return handle(r); }, this),
      m_householdID(QStringLiteral("Sonos_Vt7X3qLm0kP2.Hx9AbCdEfGh"))
{
    m_clock.start();
    householdName = QStringLiteral("Home");
    players = {
        {QStringLiteral("RINCON_48A6B8C0FFEE01400"), QStringLiteral("Living Room"), QStringLiteral("127.0.0.11"), 28},
        {QStringLiteral("RINCON_5CAAFD0BEEF201400"), QStringLiteral("Kitchen"), QStringLiteral("127.0.0.12"), 22},
        {QStringLiteral("RINCON_347E5C0DEAD101400"), QStringLiteral("Bedroom"), QStringLiteral("127.0.0.13"), 15},
        {QStringLiteral("RINCON_B8E937ABCDEF01400"), QStringLiteral("Office"), QStringLiteral("127.0.0.14"), 30, false, true},
    };
    catalogue = {
        {QStringLiteral("Clair de lune"), QStringLiteral("Claude Debussy"), QStringLiteral("Suite bergamasque"), 300000, QStringLiteral("Apple Music")},
        {QStringLiteral("Gymnopédie No. 1"), QStringLiteral("Erik Satie"), QStringLiteral("Gymnopédies"), 185000, QStringLiteral("Apple Music")},
        {QStringLiteral("Salt & Pepper"), QStringLiteral("The Condiments"), QStringLiteral("Kitchen Songs"), 201000, QStringLiteral("Spotify")},
    };
    Group living{QStringLiteral("RINCON_48A6B8C0FFEE01400:1845"), players[0].id, {players[0].id, players[1].id}};
    living.state = QStringLiteral("PLAYBACK_STATE_PLAYING");
    living.position = 42000;
    living.volume = 25;
    Group bedroom{QStringLiteral("RINCON_347E5C0DEAD101400:92"), players[2].id, {players[2].id}};
    bedroom.track = 1;
    Group office{QStringLiteral("RINCON_B8E937ABCDEF01400:3"), players[3].id, {players[3].id}};
    office.track = 2;
    groups = {living, bedroom, office};
    auto favorite = [](const char *id, const char *name, const char *description, const char *service) {
        QJsonObject o{{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("name"), QString::fromUtf8(name)},
                      {QStringLiteral("description"), QLatin1String(description)},
                      {QStringLiteral("imageUrl"), QStringLiteral("https://images.example.test/fav%1.jpg").arg(QLatin1String(id))},
                      {QStringLiteral("resource"), QJsonObject{{QStringLiteral("type"), QStringLiteral("PLAYLIST")}}}};
        if (service)
            o.insert(QStringLiteral("service"), QJsonObject{{QStringLiteral("name"), QLatin1String(service)}, {QStringLiteral("id"), QStringLiteral("52231")}});
        return o;
    };
    favorites = {
        favorite("3", "Beethoven: Symphony No. 5 in C minor, Op. 67", "Album", "Apple Music"),
        favorite("7", "Morning Coffee", "Playlist", "Spotify"),
        favorite("9", "Radio Paradise", "Radio station", "TuneIn"),
        favorite("11", "The Daily", "Podcast", "Apple Podcasts"),
        favorite("12", "Mozart - Piano Concerto No. 21", "Album", "Apple Music"),
    };
    playlists = {
        QJsonObject{{QStringLiteral("id"), QStringLiteral("SQ:4")}, {QStringLiteral("name"), QStringLiteral("Dinner Jazz")}, {QStringLiteral("trackCount"), 18}},
        QJsonObject{{QStringLiteral("id"), QStringLiteral("SQ:9")}, {QStringLiteral("name"), QStringLiteral("Sunday Piano")}, {QStringLiteral("trackCount"), 7}},
    };
}

bool FakeCloud::listen(const QHostAddress &address, quint16 port) { return m_server.listen(address, port); }

void FakeCloud::requireIssuedTokens()
{
    m_tokens = {QStringLiteral("no token issued yet")};
    signIn.issued = [this](const QString &token) { m_tokens.insert(token); };
}

QUrl FakeCloud::apiRoot() const
{
    QUrl url = m_server.baseUrl();
    url.setPath(QStringLiteral("/control/api/v1"));
    return url;
}

QByteArray FakeCloud::secretsPlist() const
{
    return QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                          "<key>ClientID</key><string>%1</string><key>ClientSecret</key><string>%2</string>"
                          "<key>APIRoot</key><string>%3/control/api/v1</string>"
                          "<key>AuthorizeURL</key><string>%3/login/v3/oauth</string>"
                          "<key>TokenURL</key><string>%3/login/v3/oauth/access</string></dict></plist>\n")
        .arg(signIn.clientID, signIn.clientSecret, baseUrl().toString())
        .toUtf8();
}

FakeCloud::Group *FakeCloud::group(const QString &id)
{
    for (auto &g : groups) {
        if (g.id == id)
            return &g;
    }
    return nullptr;
}

FakeCloud::Player *FakeCloud::player(const QString &id)
{
    for (auto &p : players) {
        if (p.id == id)
            return &p;
    }
    return nullptr;
}

QString FakeCloud::nameOf(const Group &g) const
{
    QString name;
    for (const auto &p : players) {
        if (p.id == g.coordinator)
            name = p.name;
    }
    return g.players.size() > 1 ? name + QStringLiteral(" + %1").arg(g.players.size() - 1) : name;
}

qint64 FakeCloud::positionOf(const Group &g) const
{
    qint64 position = g.position;
    if (g.state == QLatin1String("PLAYBACK_STATE_PLAYING"))
        position += elapsed() - g.since;
    const qint64 duration = catalogue.empty() ? 0 : catalogue[size_t(g.track) % catalogue.size()].durationMillis;
    return duration > 0 ? std::min(position, duration) : position;
}

void FakeCloud::setPlaying(Group &g, bool playing)
{
    g.position = positionOf(g);
    g.since = elapsed();
    g.state = playing ? QStringLiteral("PLAYBACK_STATE_PLAYING") : QStringLiteral("PLAYBACK_STATE_PAUSED");
}

void FakeCloud::regroup(const QString &coordinator, const QStringList &members)
{
    Group *target = nullptr;
    for (auto &g : groups) {
        if (g.coordinator == coordinator)
            target = &g;
    }
    if (!target)
        return;
    Group updated = *target;
    updated.players = members;
    const QString oldID = updated.id;
    updated.id = coordinator + QStringLiteral(":%1").arg(++m_generation);
    m_moved.insert(oldID, updated.id);

    std::vector<Group> next;
    for (const auto &g : groups) {
        if (g.id == oldID) {
            next.push_back(updated);
            continue;
        }
        Group other = g;
        for (const QString &id : members)
            other.players.removeAll(id);
        if (other.players.isEmpty())
            continue;
        if (!other.players.contains(other.coordinator))
            other.coordinator = other.players.first();
        if (other.players != g.players) {
            other.id = other.coordinator + QStringLiteral(":%1").arg(++m_generation);
            m_moved.insert(g.id, other.id);
        }
        next.push_back(other);
    }
    // Players that left stand alone.
    for (const QString &id : target->players) {
        if (!members.contains(id)) {
            Group alone{id + QStringLiteral(":%1").arg(++m_generation), id, {id}};
            next.push_back(alone);
        }
    }
    groups = next;
}

void FakeCloud::applyLateRegroup()
{
    if (m_lateRegroup && elapsed() >= m_lateRegroup->at) {
        const LateRegroup late = *std::exchange(m_lateRegroup, std::nullopt);
        if (Group *g = group(late.group))
            g->coordinator = late.coordinator;
        regroup(late.coordinator, late.members);
    }
}

QJsonObject FakeCloud::groupJson(const Group &g) const
{
    return {{QStringLiteral("id"), g.id},
            {QStringLiteral("name"), nameOf(g)},
            {QStringLiteral("coordinatorId"), g.coordinator},
            {QStringLiteral("playbackState"), g.state},
            {QStringLiteral("playerIds"), QJsonArray::fromStringList(g.players)},
            {QStringLiteral("areaIds"), QJsonArray()}};
}

Response FakeCloud::handle(const Request &request)
{
    if (auto answer = signIn.handle(request))
        return *answer;
    for (const auto &mount : m_mounts) {
        if (auto answer = mount(request))
            return *answer;
    }
    static const QString prefix = QStringLiteral("/control/api/v1/");
    const QString fullPath = QString::fromUtf8(request.target.split('?').first());
    if (!fullPath.startsWith(prefix))
        return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("No such route"));
    const QString path = fullPath.mid(prefix.size());
    applyLateRegroup();
    requests.push_back({request.method, path, request.header("Authorization"), request.header("X-Sonos-Api-Key"),
                        request.header("Content-Type"), request.body});

    for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
        if ((!it->method.isEmpty() && it->method != request.method) || !it->path.match(path).hasMatch())
            continue;
        if (it->after > 0) {
            --it->after;
            break;
        }
        Response r = it->malformed ? Response::json("{\"groups\": [ {\"id\": ", 200) : Response::json(it->body, it->status);
        for (const auto &h : it->headers)
            r.headers.append(h);
        r.delayMs = it->delayMs;
        r.noAnswer = it->noAnswer;
        if (it->count > 0 && --it->count == 0)
            m_faults.erase(it);
        return r;
    }

    const QByteArray auth = request.header("Authorization");
    const QString token = auth.startsWith("Bearer ") ? QString::fromUtf8(auth.mid(7)) : QString();
    if (token.isEmpty() || (!m_tokens.isEmpty() && !m_tokens.contains(token)))
        return error(401, QStringLiteral("ERROR_NOT_AUTHORIZED"), QStringLiteral("Invalid access token"));

    QJsonObject body;
    if (request.method == "POST" && !request.body.isEmpty()) {
        QJsonParseError parseError{};
        const QJsonDocument doc = QJsonDocument::fromJson(request.body, &parseError);
        if (parseError.error != QJsonParseError::NoError || !doc.isObject())
            return error(400, QStringLiteral("ERROR_INVALID_SYNTAX"), QStringLiteral("Body is not a JSON object"));
        body = doc.object();
    }
    return route(request.method, path, body);
}

Response FakeCloud::route(const QByteArray &method, const QString &path, const QJsonObject &body)
{
    const QStringList parts = path.split(QLatin1Char('/'));
    if (method == "GET" && path == QLatin1String("households")) {
        QJsonArray list;
        for (const auto &[id, name] : otherHouseholds)
            list.append(QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("name"), name}});
        if (!listNoHouseholds)
            list.append(QJsonObject{{QStringLiteral("id"), m_householdID}, {QStringLiteral("name"), householdName}});
        return Response::json(compact({{QStringLiteral("households"), listNoHouseholds ? QJsonArray() : list}}));
    }
    if (parts.size() == 3 && parts[0] == QLatin1String("households") && method == "GET") {
        if (percentDecoded(parts[1]) != m_householdID) {
            for (const auto &other : otherHouseholds) {
                if (other.first == percentDecoded(parts[1]) && parts[2] == QLatin1String("groups"))
                    return Response::json(R"({"groups":[],"players":[]})");
            }
            return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("Unknown household"));
        }
        if (parts[2] == QLatin1String("groups")) {
            QJsonArray g, p;
            for (const auto &group : groups)
                g.append(groupJson(group));
            for (const auto &player : players) {
                p.append(QJsonObject{{QStringLiteral("id"), player.id},
                                     {QStringLiteral("name"), player.name},
                                     {QStringLiteral("websocketUrl"), QStringLiteral("wss://%1:1443/websocket/api").arg(player.host)},
                                     {QStringLiteral("softwareVersion"), QStringLiteral("80.1-55240")},
                                     {QStringLiteral("capabilities"), QJsonArray{QStringLiteral("PLAYBACK"), QStringLiteral("CLOUD")}},
                                     {QStringLiteral("icon"), QStringLiteral("sonos-one")}});
            }
            return Response::json(compact({{QStringLiteral("groups"), g}, {QStringLiteral("players"), p}, {QStringLiteral("partial"), false}}));
        }
        if (parts[2] == QLatin1String("favorites")) {
            QJsonArray items;
            for (const auto &f : favorites)
                items.append(f);
            return Response::json(compact({{QStringLiteral("version"), QStringLiteral("RINCON_48A6B8C0FFEE01400:1:4")}, {QStringLiteral("items"), items}}));
        }
        if (parts[2] == QLatin1String("playlists")) {
            QJsonArray items;
            for (const auto &p : playlists)
                items.append(p);
            return Response::json(compact({{QStringLiteral("version"), QStringLiteral("1")}, {QStringLiteral("playlists"), items}}));
        }
    }
    if (parts.size() >= 3 && parts[0] == QLatin1String("groups")) {
        const QString id = percentDecoded(parts[1]);
        Group *g = group(id);
        if (!g) {
            if (m_moved.contains(id)) {
                QString to = m_moved.value(id);
                while (m_moved.contains(to))
                    to = m_moved.value(to);
                return Response::json(compact({{QStringLiteral("errorCode"), QStringLiteral("ERROR_GROUP_CHANGED")},
                                               {QStringLiteral("groupStatus"), QStringLiteral("GROUP_STATUS_MOVED")},
                                               {QStringLiteral("groupId"), to}}), 410);
            }
            return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("Unknown group"));
        }
        return groupRoute(method, *g, parts.mid(2).join(QLatin1Char('/')), body);
    }
    if (parts.size() == 3 && parts[0] == QLatin1String("players") && parts[2] == QLatin1String("playerVolume")) {
        Player *p = player(percentDecoded(parts[1]));
        if (!p)
            return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("Unknown player"));
        if (method == "GET")
            return Response::json(compact({{QStringLiteral("volume"), p->volume}, {QStringLiteral("muted"), p->muted}, {QStringLiteral("fixed"), p->fixed}}));
        if (p->fixed)
            return error(400, QStringLiteral("ERROR_COMMAND_FAILED"), QStringLiteral("Fixed volume"));
        p->volume = std::clamp(body.value(QStringLiteral("volume")).toInt(p->volume), 0, 100);
        return Response::json("{}");
    }
    return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("No such route"));
}

Response FakeCloud::groupRoute(const QByteArray &method, Group &g, const QString &rest, const QJsonObject &body)
{
    const Track &track = catalogue[size_t(g.track) % catalogue.size()];
    if (method == "GET") {
        if (rest == QLatin1String("playback")) {
            return Response::json(compact(
                {{QStringLiteral("playbackState"), g.state},
                 {QStringLiteral("positionMillis"), positionOf(g)},
                 {QStringLiteral("previousPositionMillis"), 0},
                 {QStringLiteral("playModes"), QJsonObject{{QStringLiteral("shuffle"), g.shuffle}, {QStringLiteral("repeat"), g.repeat},
                                                           {QStringLiteral("repeatOne"), g.repeatOne}, {QStringLiteral("crossfade"), false}}},
                 {QStringLiteral("availablePlaybackActions"),
                  QJsonObject{{QStringLiteral("canSkip"), true}, {QStringLiteral("canSkipBack"), true}, {QStringLiteral("canSeek"), true},
                              {QStringLiteral("canPause"), true}, {QStringLiteral("canRepeat"), true}, {QStringLiteral("canShuffle"), true}}}}));
        }
        if (rest == QLatin1String("playbackMetadata")) {
            QJsonObject t{{QStringLiteral("type"), QStringLiteral("track")},
                          {QStringLiteral("name"), track.name},
                          {QStringLiteral("artist"), QJsonObject{{QStringLiteral("name"), track.artist}}},
                          {QStringLiteral("album"), QJsonObject{{QStringLiteral("name"), track.album}}},
                          {QStringLiteral("durationMillis"), track.durationMillis},
                          {QStringLiteral("imageUrl"), QStringLiteral("https://images.example.test/track%1.jpg").arg(g.track)},
                          {QStringLiteral("service"), QJsonObject{{QStringLiteral("name"), track.service}}}};
            return Response::json(compact({{QStringLiteral("currentItem"), QJsonObject{{QStringLiteral("track"), t}}}}));
        }
        if (rest == QLatin1String("groupVolume"))
            return Response::json(compact({{QStringLiteral("volume"), g.volume}, {QStringLiteral("muted"), g.muted}, {QStringLiteral("fixed"), false}}));
        return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("No such route"));
    }
    if (rest == QLatin1String("playback/play") || rest == QLatin1String("playback/pause")) {
        setPlaying(g, rest.endsWith(QLatin1String("play")));
    } else if (rest == QLatin1String("playback/skipToNextTrack") || rest == QLatin1String("playback/skipToPreviousTrack")) {
        const int step = rest.endsWith(QLatin1String("NextTrack")) ? 1 : int(catalogue.size()) - 1;
        g.track = (g.track + step) % int(catalogue.size());
        g.position = 0;
        g.since = elapsed();
    } else if (rest == QLatin1String("playback/seek")) {
        if (!body.value(QStringLiteral("positionMillis")).isDouble())
            return error(400, QStringLiteral("ERROR_INVALID_PARAMETER"), QStringLiteral("positionMillis"));
        g.position = std::clamp<qint64>(body.value(QStringLiteral("positionMillis")).toInteger(), 0, track.durationMillis);
        g.since = elapsed();
    } else if (rest == QLatin1String("playback/playMode")) {
        const QJsonObject modes = body.value(QStringLiteral("playModes")).toObject();
        g.shuffle = modes.value(QStringLiteral("shuffle")).toBool(g.shuffle);
        g.repeat = modes.value(QStringLiteral("repeat")).toBool(g.repeat);
        g.repeatOne = modes.value(QStringLiteral("repeatOne")).toBool(g.repeatOne);
    } else if (rest == QLatin1String("groupVolume")) {
        g.volume = std::clamp(body.value(QStringLiteral("volume")).toInt(g.volume), 0, 100);
        for (const QString &id : g.players) {
            if (Player *p = player(id); p && !p->fixed)
                p->volume = g.volume;
        }
    } else if (rest == QLatin1String("groupVolume/mute")) {
        g.muted = body.value(QStringLiteral("muted")).toBool();
    } else if (rest == QLatin1String("favorites") || rest == QLatin1String("playlists")) {
        const bool favorite = rest == QLatin1String("favorites");
        const QString id = body.value(favorite ? QStringLiteral("favoriteId") : QStringLiteral("playlistId")).toString();
        const auto &list = favorite ? favorites : playlists;
        const auto found = std::find_if(list.begin(), list.end(), [&](const QJsonObject &o) { return o.value(QStringLiteral("id")).toString() == id; });
        if (found == list.end())
            return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("Unknown item"));
        const QString action = body.value(QStringLiteral("action")).toString();
        if (action != QLatin1String("REPLACE") && action != QLatin1String("APPEND"))
            return error(400, QStringLiteral("ERROR_INVALID_PARAMETER"), QStringLiteral("Unknown action"));
        if (action == QLatin1String("REPLACE"))
            g.queue.clear();
        g.queue.append(found->value(QStringLiteral("name")).toString());
        if (action == QLatin1String("REPLACE")) {
            catalogue.push_back({found->value(QStringLiteral("name")).toString(), QStringLiteral("Various Artists"), found->value(QStringLiteral("name")).toString(),
                                 240000, QStringLiteral("Apple Music")});
            g.track = int(catalogue.size()) - 1;
            g.position = 0;
            g.since = elapsed();
            if (body.value(QStringLiteral("playOnCompletion")).toBool())
                g.state = QStringLiteral("PLAYBACK_STATE_PLAYING");
        }
    } else if (rest == QLatin1String("groups/modifyGroupMembers") || rest == QLatin1String("groups/setGroupMembers")) {
        QStringList members = g.players;
        if (rest.endsWith(QLatin1String("setGroupMembers"))) {
            members.clear();
            for (const auto &v : body.value(QStringLiteral("playerIds")).toArray())
                members.append(v.toString());
        } else {
            for (const auto &v : body.value(QStringLiteral("playerIdsToRemove")).toArray())
                members.removeAll(v.toString());
            for (const auto &v : body.value(QStringLiteral("playerIdsToAdd")).toArray()) {
                if (!members.contains(v.toString()))
                    members.append(v.toString());
            }
        }
        for (const QString &id : members) {
            if (!player(id))
                return error(400, QStringLiteral("ERROR_INVALID_PARAMETER"), QStringLiteral("Unknown player"));
        }
        if (members.isEmpty())
            return error(400, QStringLiteral("ERROR_INVALID_PARAMETER"), QStringLiteral("No players"));
        const QString coordinator = members.contains(g.coordinator) ? g.coordinator : members.first();
        if (regroupLagMs > 0) {
            m_lateRegroup = LateRegroup{g.id, coordinator, members, elapsed() + regroupLagMs};
            return Response::json(compact({{QStringLiteral("group"), groupJson(g)}}));
        }
        g.coordinator = coordinator;
        const QString oldID = g.id; // regrouping replaces the groups `g` lives in
        regroup(coordinator, members);
        const Group *now = group(m_moved.value(oldID, oldID));
        return Response::json(compact({{QStringLiteral("group"), now ? groupJson(*now) : QJsonObject()}}));
    } else {
        return error(404, QStringLiteral("ERROR_RESOURCE_GONE"), QStringLiteral("No such route"));
    }
    return Response::json("{}");
}

namespace {
const Registration registration({
    "cloud",
    [](QCommandLineParser &parser) {
        parser.addOption(QCommandLineOption(QStringLiteral("cloud-port"), QStringLiteral("Port of the fake Control API (default: any free port)."),
                                            QStringLiteral("port"), QStringLiteral("0")));
    },
    [](const QCommandLineParser &parser, QObject *parent) -> QStringList {
        auto *cloud = new FakeCloud(parent);
        if (!cloud->listen(QHostAddress::LocalHost, quint16(parser.value(QStringLiteral("cloud-port")).toUInt())))
            return {QStringLiteral("error: cannot listen on the cloud port")};
        cloud->requireIssuedTokens();
        QUrl base = cloud->baseUrl();
        return {QStringLiteral("Control API at %1").arg(cloud->apiRoot().toString()),
                QStringLiteral("household %1 \"%2\" with %3 rooms").arg(cloud->householdID(), cloud->householdName).arg(cloud->players.size()),
                QStringLiteral("sign-in at %1/login/v3/oauth; SonosSecrets.plist: ClientID %2, ClientSecret %3, APIRoot %4, AuthorizeURL %1/login/v3/oauth, TokenURL %1/login/v3/oauth/access")
                    .arg(base.toString(), cloud->signIn.clientID, cloud->signIn.clientSecret, cloud->apiRoot().toString())};
    },
});
} // namespace

} // namespace velotte::fake
