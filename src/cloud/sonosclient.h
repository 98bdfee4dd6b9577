#pragma once

#include "records.h"
#include "sonosconfig.h"
#include "tokenprovider.h"

#include "core/cancel.h"
#include "core/clock.h"
#include "core/http.h"

#include <QCoroTask>
#include <QDateTime>
#include <QJsonObject>

#include <functional>
#include <optional>

namespace velotte {

// The one gateway to the Sonos Control API: builds every request, attaches a
// valid token, and turns every refusal into a SonosError. Keeps a rate-limit
// horizon, retries once after a forced token refresh on 401, and follows a
// group that moved to a new id once.
class SonosClient {
public:
    SonosClient(SonosConfig config, TokenProvider &auth, HttpTransport &transport, Clock &clock = Clock::system());

    QCoro::Task<QList<Household>> households(CancelToken cancel = {});
    QCoro::Task<GroupsResponse> groups(QString householdId, CancelToken cancel = {});
    QCoro::Task<QList<SonosFavorite>> favorites(QString householdId, CancelToken cancel = {});
    QCoro::Task<QList<SonosPlaylist>> playlists(QString householdId, CancelToken cancel = {});
    QCoro::Task<PlaybackStatus> playback(QString groupId, CancelToken cancel = {});
    QCoro::Task<PlaybackMetadata> metadata(QString groupId, CancelToken cancel = {});
    QCoro::Task<VolumeState> groupVolume(QString groupId, CancelToken cancel = {});
    QCoro::Task<VolumeState> playerVolume(QString playerId, CancelToken cancel = {});

    QCoro::Task<void> setPlaying(QString groupId, bool playing, CancelToken cancel = {});
    QCoro::Task<void> seek(QString groupId, qint64 positionMillis, CancelToken cancel = {});
    QCoro::Task<void> setPlayModes(QString groupId, std::optional<bool> shuffle, std::optional<bool> repeats,
                                   std::optional<bool> repeatOne, CancelToken cancel = {});
    QCoro::Task<void> setGroupVolume(QString groupId, int volume, CancelToken cancel = {});
    QCoro::Task<void> setMuted(QString groupId, bool muted, CancelToken cancel = {});
    QCoro::Task<void> setPlayerVolume(QString playerId, int volume, CancelToken cancel = {});
    QCoro::Task<void> loadFavorite(QString groupId, QString favoriteId, QString action, CancelToken cancel = {});
    QCoro::Task<void> loadPlaylist(QString groupId, QString playlistId, QString action, CancelToken cancel = {});
    // Tries modifyGroupMembers; on 404/405 sends the whole membership instead.
    QCoro::Task<void> modifyGroup(QString groupId, QStringList add, QStringList remove, QStringList members,
                                  CancelToken cancel = {});
    // POSTs the body (or "{}") to a route under the group, e.g. "playback/skipToNextTrack".
    QCoro::Task<void> command(QString groupId, QString suffix, std::optional<QJsonObject> body = std::nullopt,
                              CancelToken cancel = {});

    // One logical request with recovery; returns the body of a 2xx reply.
    QCoro::Task<QByteArray> send(const char *method, QString path, std::optional<QByteArray> body,
                                 std::optional<QString> groupID, CancelToken cancel = {});

    std::optional<QDateTime> rateLimitedUntil() const { return m_rateLimitedUntil; }
    void setOnGroupMoved(std::function<void(const QString &oldID, const QString &newID)> fn) { m_onGroupMoved = std::move(fn); }
    const SonosConfig &config() const { return m_config; }

    // Seconds to wait after a 429, from its Retry-After value (none: no header).
    static double retryDelay(const std::optional<QByteArray> &retryAfter, const QDateTime &now);
    // The new group id a 404/410 reply names, if it says the group moved.
    static std::optional<QString> relocated(int status, const QByteArray &body);

private:
    QCoro::Task<HttpResponse> execute(const QByteArray &method, const QString &path, const QString &token,
                                      const std::optional<QByteArray> &body, const CancelToken &cancel);
    QCoro::Task<void> post(QString path, QJsonObject body, std::optional<QString> groupID, CancelToken cancel);

    SonosConfig m_config;
    TokenProvider &m_auth;
    HttpTransport &m_transport;
    Clock &m_clock;
    std::optional<QDateTime> m_rateLimitedUntil;
    std::function<void(const QString &, const QString &)> m_onGroupMoved;
};

} // namespace velotte
