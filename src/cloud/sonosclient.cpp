#include "sonosclient.h"

#include "httpdate.h"
#include "sonoserror.h"
#include "sonosrouting.h"

#include "core/logging.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {
QByteArray json(const QJsonObject &o) { return QJsonDocument(o).toJson(QJsonDocument::Compact); }
} // namespace

SonosClient::SonosClient(SonosConfig config, TokenProvider &auth, HttpTransport &transport, Clock &clock)
    : m_config(std::move(config)), m_auth(auth), m_transport(transport), m_clock(clock)
{
}

double SonosClient::retryDelay(const std::optional<QByteArray> &retryAfter, const QDateTime &now)
{
    if (!retryAfter)
        return 60;
    const QString text = QString::fromLatin1(*retryAfter).trimmed();
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (isNumber && std::isfinite(seconds) && seconds >= 0)
        return std::max(seconds, 1.0);
    if (const auto date = HttpDate::parse(text))
        return std::max(now.msecsTo(*date) / 1000.0, 1.0);
    return 60;
}

std::optional<QString> SonosClient::relocated(int status, const QByteArray &body)
{
    if (status != 404 && status != 410)
        return std::nullopt;
    GroupMove move;
    try {
        move = Decode::groupMove(body);
    } catch (const DecodeError &) {
        return std::nullopt;
    }
    const bool moved = move.errorCode == QLatin1String("ERROR_GROUP_CHANGED")
        || move.groupStatus == QLatin1String("GROUP_STATUS_MOVED")
        || move.groupStatus == QLatin1String("GROUP_STATUS_UPDATED");
    if (!moved || !move.groupId || move.groupId->isEmpty())
        return std::nullopt;
    return move.groupId;
}

QCoro::Task<HttpResponse> SonosClient::execute(const QByteArray &method, const QString &path, const QString &token,
                                               const std::optional<QByteArray> &body, const CancelToken &cancel)
{
    HttpRequest request;
    request.url = QUrl(m_config.apiRoot.toString() + QLatin1Char('/') + path, QUrl::StrictMode);
    if (!request.url.isValid() || request.url.scheme().isEmpty() || request.url.host().isEmpty())
        throw SonosError::http(0);
    request.method = method;
    request.timeout = method == "GET" ? 12s : 30s;
    if (method != "GET" && body)
        request.body = *body;
    request.setHeader("Authorization", "Bearer " + token.toUtf8());
    request.setHeader("Content-Type", "application/json");
    if (!m_config.clientID.isEmpty())
        request.setHeader("X-Sonos-Api-Key", m_config.clientID.toUtf8());
    co_return co_await m_transport.send(std::move(request), cancel);
}

QCoro::Task<QByteArray> SonosClient::send(const char *method, QString path, std::optional<QByteArray> body,
                                          std::optional<QString> groupID, CancelToken cancel)
{
    bool refreshed = false;
    bool movedOnce = false;
    QString token;
    bool forced = false;
    for (;;) {
        cancel.throwIfCancelled();
        if (!forced)
            token = co_await m_auth.validToken();
        forced = false;
        if (m_rateLimitedUntil && *m_rateLimitedUntil > m_clock.now())
            throw SonosError::rateLimited(*m_rateLimitedUntil);

        const HttpResponse response = co_await execute(method, path, token, body, cancel);
        const int status = response.status;
        if (response.ok())
            co_return response.body;

        if (status == 429) {
            const auto header = response.hasHeader("Retry-After") ? std::optional(response.header("Retry-After")) : std::nullopt;
            const QDateTime now = m_clock.now();
            const QDateTime until = now.addMSecs(qint64(std::llround(retryDelay(header, now) * 1000)));
            if (!m_rateLimitedUntil || until > *m_rateLimitedUntil)
                m_rateLimitedUntil = until;
            throw SonosError::rateLimited(*m_rateLimitedUntil);
        }
        if (status == 401 && !refreshed) {
            refreshed = true;
            token = co_await m_auth.forceRefresh();
            forced = true;
            continue;
        }
        if ((status == 404 || status == 410) && groupID && !movedOnce) {
            movedOnce = true;
            if (const auto newID = relocated(status, response.body)) {
                const QString oldEncoded = SonosRouting::encode(*groupID);
                if (path.contains(oldEncoded, Qt::CaseInsensitive)) {
                    path.replace(oldEncoded, SonosRouting::encode(*newID), Qt::CaseInsensitive);
                    const QString oldID = *groupID;
                    groupID = *newID;
                    if (m_onGroupMoved)
                        m_onGroupMoved(oldID, *newID);
                    cancel.throwIfCancelled();
                    continue;
                }
            }
        }
        const QString text = QString::fromUtf8(response.body.left(300)).simplified();
        if (text.isEmpty())
            qCCritical(lcCloud, "%s %s %ld", method, qUtf8Printable(path), long(status));
        else
            qCCritical(lcCloud, "%s %s %ld %s", method, qUtf8Printable(path), long(status), qUtf8Printable(text));
        throw SonosError::http(status);
    }
}

QCoro::Task<void> SonosClient::post(QString path, QJsonObject body, std::optional<QString> groupID, CancelToken cancel)
{
    co_await send("POST", path, json(body), groupID, cancel);
}

QCoro::Task<QList<Household>> SonosClient::households(CancelToken cancel)
{
    co_return Decode::households(co_await send("GET", u"households"_s, std::nullopt, std::nullopt, cancel));
}

QCoro::Task<GroupsResponse> SonosClient::groups(QString householdId, CancelToken cancel)
{
    co_return Decode::groups(co_await send("GET", SonosRouting::household(householdId, u"groups"_s), std::nullopt, std::nullopt, cancel));
}

QCoro::Task<QList<SonosFavorite>> SonosClient::favorites(QString householdId, CancelToken cancel)
{
    co_return Decode::favorites(co_await send("GET", SonosRouting::household(householdId, u"favorites"_s), std::nullopt, std::nullopt, cancel));
}

QCoro::Task<QList<SonosPlaylist>> SonosClient::playlists(QString householdId, CancelToken cancel)
{
    co_return Decode::playlists(co_await send("GET", SonosRouting::household(householdId, u"playlists"_s), std::nullopt, std::nullopt, cancel));
}

QCoro::Task<PlaybackStatus> SonosClient::playback(QString groupId, CancelToken cancel)
{
    co_return Decode::playbackStatus(co_await send("GET", SonosRouting::group(groupId, u"playback"_s), std::nullopt, groupId, cancel));
}

QCoro::Task<PlaybackMetadata> SonosClient::metadata(QString groupId, CancelToken cancel)
{
    co_return Decode::playbackMetadata(co_await send("GET", SonosRouting::group(groupId, u"playbackMetadata"_s), std::nullopt, groupId, cancel));
}

QCoro::Task<VolumeState> SonosClient::groupVolume(QString groupId, CancelToken cancel)
{
    co_return Decode::volume(co_await send("GET", SonosRouting::group(groupId, u"groupVolume"_s), std::nullopt, groupId, cancel));
}

QCoro::Task<VolumeState> SonosClient::playerVolume(QString playerId, CancelToken cancel)
{
    co_return Decode::volume(co_await send("GET", SonosRouting::player(playerId, u"playerVolume"_s), std::nullopt, std::nullopt, cancel));
}

QCoro::Task<void> SonosClient::setPlaying(QString groupId, bool playing, CancelToken cancel)
{
    const QString route = SonosRouting::group(groupId, playing ? u"playback/play"_s : u"playback/pause"_s);
    co_await send("POST", route, QByteArray("{}"), groupId, cancel);
}

QCoro::Task<void> SonosClient::seek(QString groupId, qint64 positionMillis, CancelToken cancel)
{
    const QJsonObject body{{u"positionMillis"_s, positionMillis}};
    co_await post(SonosRouting::group(groupId, u"playback/seek"_s), body, groupId, cancel);
}

QCoro::Task<void> SonosClient::setPlayModes(QString groupId, std::optional<bool> shuffle, std::optional<bool> repeats,
                                            std::optional<bool> repeatOne, CancelToken cancel)
{
    const QJsonObject body{{u"playModes"_s, PlayModeState{shuffle, repeats, repeatOne}.toJson()}};
    co_await post(SonosRouting::group(groupId, u"playback/playMode"_s), body, groupId, cancel);
}

QCoro::Task<void> SonosClient::setGroupVolume(QString groupId, int volume, CancelToken cancel)
{
    const QJsonObject body{{u"volume"_s, volume}};
    co_await post(SonosRouting::group(groupId, u"groupVolume"_s), body, groupId, cancel);
}

QCoro::Task<void> SonosClient::setMuted(QString groupId, bool muted, CancelToken cancel)
{
    const QJsonObject body{{u"muted"_s, muted}};
    co_await post(SonosRouting::group(groupId, u"groupVolume/mute"_s), body, groupId, cancel);
}

QCoro::Task<void> SonosClient::setPlayerVolume(QString playerId, int volume, CancelToken cancel)
{
    const QJsonObject body{{u"volume"_s, volume}};
    co_await post(SonosRouting::player(playerId, u"playerVolume"_s), body, std::nullopt, cancel);
}

namespace {
// "playOnCompletion" starts the new queue at once exactly when it replaces the old one.
QJsonObject loadBody(const QString &idKey, const QString &id, const QString &action)
{
    return {{idKey, id}, {u"action"_s, action}, {u"playOnCompletion"_s, action == u"REPLACE"_s}};
}
} // namespace

QCoro::Task<void> SonosClient::loadFavorite(QString groupId, QString favoriteId, QString action, CancelToken cancel)
{
    const QJsonObject body = loadBody(u"favoriteId"_s, favoriteId, action);
    co_await post(SonosRouting::group(groupId, u"favorites"_s), body, groupId, cancel);
}

QCoro::Task<void> SonosClient::loadPlaylist(QString groupId, QString playlistId, QString action, CancelToken cancel)
{
    const QJsonObject body = loadBody(u"playlistId"_s, playlistId, action);
    co_await post(SonosRouting::group(groupId, u"playlists"_s), body, groupId, cancel);
}

QCoro::Task<void> SonosClient::modifyGroup(QString groupId, QStringList add, QStringList remove, QStringList members,
                                           CancelToken cancel)
{
    const QJsonObject change{{u"playerIdsToAdd"_s, QJsonArray::fromStringList(add)},
                             {u"playerIdsToRemove"_s, QJsonArray::fromStringList(remove)}};
    try {
        co_await post(SonosRouting::group(groupId, u"groups/modifyGroupMembers"_s), change, groupId, cancel);
        co_return;
    } catch (const SonosError &error) {
        if (error.kind() != SonosError::Kind::http || (error.status() != 404 && error.status() != 405))
            throw;
    }
    const QJsonObject whole{{u"playerIds"_s, QJsonArray::fromStringList(members)}};
    co_await post(SonosRouting::group(groupId, u"groups/setGroupMembers"_s), whole, groupId, cancel);
}

QCoro::Task<void> SonosClient::command(QString groupId, QString suffix, std::optional<QJsonObject> body, CancelToken cancel)
{
    const QByteArray bytes = body ? json(*body) : QByteArray("{}");
    co_await send("POST", SonosRouting::group(groupId, suffix), bytes, groupId, cancel);
}

} // namespace velotte
