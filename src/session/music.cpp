// Starting music: Sonos favorites and playlists on the active group.
#include "housesession.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

namespace velotte {

using namespace std::chrono_literals;

namespace {
const QString notConnected = QStringLiteral("Connect to Sonos and refresh Browse to play this favorite.");
const QString queueBusy = QStringLiteral("Songs are still being added to the queue. Stop adding songs first.");
} // namespace

bool HouseSession::refuseMusic()
{
    if (m_artistQueueBusy) {
        setNote(queueBusy);
        return true;
    }
    if (!hasSonosConnection() || !m_activeGroupID) {
        setNote(m_activeGroupID || !hasSonosConnection() ? notConnected : QStringLiteral("Choose a room."));
        return true;
    }
    return false;
}

void HouseSession::recordPlayed(const SonosFavorite &favorite)
{
    if (m_services.history)
        m_services.history->recordPlayed(favorite);
}

QCoro::Task<void> HouseSession::playFavorite(SonosFavorite favorite, bool ordered)
{
    Q_UNUSED(ordered)
    if (refuseMusic())
        co_return;
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QString groupID = *m_activeGroupID;
    const QUuid connection = m_connectionID;
    try {
        co_await m_services.api->loadFavorite(groupID, favorite.id, QStringLiteral("REPLACE"));
        if (!self || connection != m_connectionID)
            co_return;
        recordPlayed(favorite);
        // The speaker needs a moment before its state and play modes mean anything.
        co_await m_clock.sleep(700ms);
        if (!self || connection != m_connectionID)
            co_return;
        co_await refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && connection == m_connectionID)
            setNote(QStringLiteral("Could not play this favorite. ") + sentenceOf(e));
    }
}

QCoro::Task<void> HouseSession::playFavorites(QList<SonosFavorite> favorites, bool ordered)
{
    if (favorites.isEmpty() || refuseMusic())
        co_return;
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QString groupID = *m_activeGroupID;
    const QUuid connection = m_connectionID;
    int started = 0;
    for (const SonosFavorite &favorite : favorites) {
        try {
            co_await m_services.api->loadFavorite(groupID, favorite.id, started == 0 ? QStringLiteral("REPLACE") : QStringLiteral("APPEND"));
        } catch (const Cancelled &) {
            co_return;
        } catch (const std::exception &e) {
            if (!self || connection != m_connectionID)
                co_return;
            if (started == 0) {
                setNote(QStringLiteral("Could not play selected music. ") + sentenceOf(e));
                co_return;
            }
            setNote(QStringLiteral("Started %1 of %2 favorites. The remaining music could not be added.").arg(started).arg(favorites.size()));
            break;
        }
        if (!self || connection != m_connectionID)
            co_return;
        ++started;
    }
    try {
        co_await m_services.api->setPlayModes(groupID, !ordered, std::nullopt, false);
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "play modes after favorites:" << e.what();
    }
    if (!self || connection != m_connectionID)
        co_return;
    for (int i = 0; i < started; ++i)
        recordPlayed(favorites[i]);
    co_await refreshPlayback();
}

QCoro::Task<void> HouseSession::queueFavorite(SonosFavorite favorite, bool next)
{
    Q_UNUSED(next) // the cloud appends at the end either way
    if (m_services.history && m_services.history->isStation(favorite)) {
        setNote(QStringLiteral("Stations play directly; they can’t be added to the queue."));
        co_return;
    }
    if (refuseMusic())
        co_return;
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QString groupID = *m_activeGroupID;
    const QUuid connection = m_connectionID;
    try {
        co_await m_services.api->loadFavorite(groupID, favorite.id, QStringLiteral("APPEND"));
        if (self && connection == m_connectionID)
            setNote(QStringLiteral("Added to the queue in ") + groupName(groupID));
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && connection == m_connectionID)
            setNote(QStringLiteral("This favorite could not be added to the queue."));
    }
}

QCoro::Task<void> HouseSession::playPlaylist(SonosPlaylist playlist, QString action)
{
    if (refuseMusic())
        co_return;
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QString groupID = *m_activeGroupID;
    const QUuid connection = m_connectionID;
    const bool replacing = action == QLatin1String("REPLACE");
    const QString stopping = QStringLiteral("Stopping queue…");
    if (replacing)
        setNote(stopping);
    try {
        co_await m_services.api->loadPlaylist(groupID, playlist.id, action);
        if (!self || connection != m_connectionID)
            co_return;
        if (replacing) {
            if (m_note == stopping)
                setNote(std::nullopt);
        } else {
            setNote(QStringLiteral("Playlist added to ") + groupName(groupID));
        }
        co_await refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && connection == m_connectionID)
            setNote(QStringLiteral("Could not play this playlist. ") + sentenceOf(e));
    }
}

QString HouseSession::newsHouseholdID() const
{
    if (m_householdID)
        return *m_householdID;
    return m_guest ? QStringLiteral("local") : QString();
}

QCoro::Task<QString> HouseSession::newsHost(QString playerID)
{
    QString coordinator = playerID;
    for (const SonosGroup &g : m_groups) {
        if (g.playerIds.contains(playerID))
            coordinator = g.coordinatorId;
    }
    std::optional<QString> host = co_await playerHost(coordinator);
    if (!host && coordinator != playerID)
        host = co_await playerHost(playerID);
    if (!host)
        throw SpeakerFault::noAnswer();
    co_return *host;
}

} // namespace velotte
