#include "records.h"

#include "jsonreader.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace velotte {

namespace {


QJsonValue parseBody(const QByteArray &body)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodeError(QStringLiteral("not JSON: ") + error.errorString());
    if (doc.isArray())
        return doc.array();
    return doc.object();
}

template<typename T, typename Fn>
QList<T> listOf(const QJsonArray &array, Fn &&decode)
{
    QList<T> out;
    out.reserve(array.size());
    for (const QJsonValue &v : array)
        out.append(decode(v));
    return out;
}

std::optional<QList<SonosImage>> readImages(const Reader &r)
{
    const auto array = r.optArray("images");
    if (!array)
        return std::nullopt;
    return listOf<SonosImage>(*array, [](const QJsonValue &v) { return SonosImage{Reader(v, "SonosImage").string("url")}; });
}

std::optional<QUrl> artwork(const std::optional<QString> &imageUrl, const std::optional<QList<SonosImage>> &images)
{
    if (imageUrl && !imageUrl->isEmpty()) {
        const QUrl url(*imageUrl, QUrl::StrictMode);
        if (url.isValid())
            return url;
    }
    if (images && !images->isEmpty())
        return QUrl(images->first().url);
    return std::nullopt;
}

PlaybackActions actions(const QJsonValue &v)
{
    const Reader r(v, "PlaybackActions");
    return {r.optBool("canSkip"), r.optBool("canSkipBack"), r.optBool("canSeek"), r.optBool("canPause")};
}

PlayModeState playModes(const QJsonValue &v)
{
    const Reader r(v, "PlayModeState");
    return {r.optBool("shuffle"), r.optBool("repeat"), r.optBool("repeatOne")};
}

PlaybackTrack track(const QJsonValue &v)
{
    const Reader r(v, "PlaybackTrack");
    PlaybackTrack t;
    t.name = r.optString("name");
    t.imageUrl = r.optString("imageUrl");
    t.durationMillis = r.optInteger("durationMillis");
    if (const QJsonValue a = r.optional("artist"); !a.isUndefined())
        t.artist = FlexName::fromJson(a);
    if (const QJsonValue a = r.optional("album"); !a.isUndefined())
        t.album = FlexName::fromJson(a);
    if (const QJsonValue s = r.optional("service"); !s.isUndefined())
        t.service = SonosService::fromJson(s);
    t.images = readImages(r);
    return t;
}

void put(QJsonObject &o, const char *key, const std::optional<QString> &value)
{
    if (value)
        o.insert(QLatin1String(key), *value);
}

size_t hashOpt(const std::optional<QString> &v, size_t seed) { return v ? ::qHash(*v, seed) : ::qHash(0x5eed, seed); }
size_t hashOpt(const std::optional<bool> &v, size_t seed) { return ::qHash(v ? (*v ? 2 : 1) : 0, seed); }

} // namespace

SonosService SonosService::fromJson(const QJsonValue &value)
{
    const Reader r(value, "SonosService");
    return {r.optString("id"), r.optString("name")};
}

QJsonObject SonosService::toJson() const
{
    QJsonObject o;
    put(o, "id", id);
    put(o, "name", name);
    return o;
}

SonosGroup SonosGroup::fromJson(const QJsonValue &value)
{
    const Reader r(value, "SonosGroup");
    SonosGroup g;
    g.id = r.string("id");
    g.name = r.string("name");
    g.coordinatorId = r.string("coordinatorId");
    g.playbackState = r.optString("playbackState");
    for (const QJsonValue &id : r.array("playerIds")) {
        if (!id.isString())
            r.fail(QStringLiteral("\"playerIds\" holds a non-string"));
        g.playerIds.append(id.toString());
    }
    return g;
}

SonosPlayer SonosPlayer::fromJson(const QJsonValue &value)
{
    const Reader r(value, "SonosPlayer");
    return {r.string("id"), r.string("name"), r.optString("websocketUrl"), r.optString("icon")};
}

std::optional<QString> SonosPlayer::localHost() const
{
    if (!websocketUrl || !websocketUrl->startsWith(QLatin1String("wss:")))
        return std::nullopt;
    const QUrl url(*websocketUrl);
    if (!url.isValid() || url.scheme() != QLatin1String("wss"))
        return std::nullopt;
    const QString host = url.host();
    if (host.isEmpty())
        return std::nullopt;
    if (host.contains(QLatin1Char(':')) && !host.startsWith(QLatin1Char('[')))
        return QLatin1Char('[') + host + QLatin1Char(']');
    return host;
}

SonosFavorite SonosFavorite::fromJson(const QJsonValue &value)
{
    const Reader r(value, "SonosFavorite");
    SonosFavorite f;
    f.id = r.string("id");
    f.name = r.string("name");
    f.detail = r.optString("description");
    if (const QJsonValue s = r.optional("service"); !s.isUndefined())
        f.service = SonosService::fromJson(s);
    f.images = readImages(r);
    f.imageUrl = r.optString("imageUrl");
    return f;
}

QJsonObject SonosFavorite::toJson() const
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), id);
    o.insert(QStringLiteral("name"), name);
    put(o, "description", detail);
    if (service)
        o.insert(QStringLiteral("service"), service->toJson());
    if (images) {
        QJsonArray array;
        for (const SonosImage &image : *images)
            array.append(QJsonObject{{QStringLiteral("url"), image.url}});
        o.insert(QStringLiteral("images"), array);
    }
    put(o, "imageUrl", imageUrl);
    return o;
}

std::optional<QUrl> SonosFavorite::artworkURL() const { return artwork(imageUrl, images); }

SonosPlaylist SonosPlaylist::fromJson(const QJsonValue &value)
{
    const Reader r(value, "SonosPlaylist");
    return {r.string("id"), r.string("name"), r.optInteger("trackCount")};
}

QJsonObject SonosPlaylist::toJson() const
{
    QJsonObject o{{QStringLiteral("id"), id}, {QStringLiteral("name"), name}};
    if (trackCount)
        o.insert(QStringLiteral("trackCount"), *trackCount);
    return o;
}

QJsonObject PlayModeState::toJson() const
{
    QJsonObject o;
    if (shuffle)
        o.insert(QStringLiteral("shuffle"), *shuffle);
    if (repeats)
        o.insert(QStringLiteral("repeat"), *repeats);
    if (repeatOne)
        o.insert(QStringLiteral("repeatOne"), *repeatOne);
    return o;
}

bool PlaybackStatus::isPlaying() const
{
    return playbackState == QLatin1String("PLAYBACK_STATE_PLAYING") || playbackState == QLatin1String("PLAYBACK_STATE_BUFFERING");
}

FlexName FlexName::fromJson(const QJsonValue &value)
{
    if (value.isString())
        return {value.toString()};
    const Reader r(value, "FlexName");
    return {r.optString("name")};
}

std::optional<QUrl> PlaybackTrack::artworkURL() const { return artwork(imageUrl, images); }

RoomSourceKind roomSourceKind(const SonosFavorite &favorite)
{
    const QString name = favorite.service && favorite.service->name ? favorite.service->name->toLower() : QString();
    if (name.contains(QLatin1String("podcast")))
        return RoomSourceKind::podcast;
    if (name.contains(QLatin1String("apple music")))
        return RoomSourceKind::appleMusic;
    return RoomSourceKind::other;
}

namespace Decode {

QList<Household> households(const QByteArray &body)
{
    const Reader r(parseBody(body), "HouseholdsResponse");
    return listOf<Household>(r.array("households"), [](const QJsonValue &v) {
        const Reader h(v, "Household");
        return Household{h.string("id"), h.optString("name")};
    });
}

GroupsResponse groups(const QByteArray &body)
{
    const Reader r(parseBody(body), "GroupsResponse");
    return {listOf<SonosGroup>(r.array("groups"), SonosGroup::fromJson),
            listOf<SonosPlayer>(r.array("players"), SonosPlayer::fromJson)};
}

QList<SonosFavorite> favorites(const QByteArray &body)
{
    const Reader r(parseBody(body), "FavoritesResponse");
    const auto items = r.optArray("items");
    const auto favorites = items ? items : r.optArray("favorites");
    return favorites ? listOf<SonosFavorite>(*favorites, SonosFavorite::fromJson) : QList<SonosFavorite>{};
}

QList<SonosFavorite> favoriteArray(const QByteArray &body)
{
    const QJsonValue v = parseBody(body);
    if (!v.isArray())
        throw DecodeError(QStringLiteral("expected an array of favorites"));
    return listOf<SonosFavorite>(v.toArray(), SonosFavorite::fromJson);
}

QList<SonosPlaylist> playlists(const QByteArray &body)
{
    const Reader r(parseBody(body), "SonosPlaylistsResponse");
    const auto playlists = r.optArray("playlists");
    const auto list = playlists ? playlists : r.optArray("items");
    return list ? listOf<SonosPlaylist>(*list, SonosPlaylist::fromJson) : QList<SonosPlaylist>{};
}

PlaybackStatus playbackStatus(const QByteArray &body)
{
    const Reader r(parseBody(body), "PlaybackStatus");
    PlaybackStatus s;
    s.playbackState = r.optString("playbackState");
    // Position is read leniently: an integer, else a truncated number, else absent.
    if (const QJsonValue p = r.optional("positionMillis"); p.isDouble()) {
        if (const auto whole = Reader::asInteger(p))
            s.positionMillis = whole;
        else if (const double d = std::trunc(p.toDouble()); std::isfinite(d) && std::abs(d) < 9.2e18)
            s.positionMillis = qint64(d);
    }
    if (const QJsonValue a = r.optional("availablePlaybackActions"); !a.isUndefined())
        s.availablePlaybackActions = actions(a);
    if (const QJsonValue m = r.optional("playModes"); !m.isUndefined())
        s.playModes = playModes(m);
    return s;
}

PlaybackMetadata playbackMetadata(const QByteArray &body)
{
    const Reader r(parseBody(body), "PlaybackMetadata");
    PlaybackMetadata m;
    if (const QJsonValue item = r.optional("currentItem"); !item.isUndefined()) {
        const Reader i(item, "PlaybackItem");
        PlaybackItem playbackItem;
        if (const QJsonValue t = i.optional("track"); !t.isUndefined())
            playbackItem.track = track(t);
        m.currentItem = playbackItem;
    }
    return m;
}

VolumeState volume(const QByteArray &body)
{
    const Reader r(parseBody(body), "VolumeState");
    VolumeState v;
    if (const auto volume = r.optInteger("volume")) {
        if (*volume < std::numeric_limits<int>::min() || *volume > std::numeric_limits<int>::max())
            r.fail(QStringLiteral("\"volume\" out of range"));
        v.volume = int(*volume);
    }
    v.muted = r.optBool("muted");
    v.fixed = r.optBool("fixed");
    return v;
}

TokenResponse token(const QByteArray &body)
{
    const Reader r(parseBody(body), "TokenResponse");
    return {r.string("access_token"), r.optString("refresh_token"), r.integer("expires_in")};
}

GroupMove groupMove(const QByteArray &body)
{
    const Reader r(parseBody(body), "GroupMove");
    return {r.optString("errorCode"), r.optString("groupStatus"), r.optString("groupId")};
}

} // namespace Decode

QByteArray encodeFavorites(const QList<SonosFavorite> &favorites)
{
    QJsonArray array;
    for (const SonosFavorite &f : favorites)
        array.append(f.toJson());
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

size_t qHash(const SonosService &v, size_t seed) { return hashOpt(v.name, hashOpt(v.id, seed)); }

size_t qHash(const SonosGroup &v, size_t seed)
{
    seed = qHashMulti(seed, v.id, v.name, v.coordinatorId);
    return ::qHash(v.playerIds, hashOpt(v.playbackState, seed));
}

size_t qHash(const SonosPlayer &v, size_t seed)
{
    return hashOpt(v.icon, hashOpt(v.websocketUrl, qHashMulti(seed, v.id, v.name)));
}

size_t qHash(const SonosFavorite &v, size_t seed)
{
    seed = hashOpt(v.imageUrl, hashOpt(v.detail, qHashMulti(seed, v.id, v.name)));
    if (v.service)
        seed = qHash(*v.service, seed);
    if (v.images) {
        for (const SonosImage &image : *v.images)
            seed = ::qHash(image.url, seed);
    }
    return seed;
}

size_t qHash(const PlayModeState &v, size_t seed) { return hashOpt(v.repeatOne, hashOpt(v.repeats, hashOpt(v.shuffle, seed))); }

size_t qHash(const PlaybackActions &v, size_t seed)
{
    return hashOpt(v.canPause, hashOpt(v.canSeek, hashOpt(v.canSkipBack, hashOpt(v.canSkip, seed))));
}

} // namespace velotte
