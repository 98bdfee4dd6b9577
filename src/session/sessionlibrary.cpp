// Sonos favorites and playlists: reading them and starting them.
#include "sessionlibrary.h"

#include "housesession.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "cloud/sonoserror.h"
#include "core/logging.h"

namespace velotte {

using namespace std::chrono_literals;

namespace {
const QString notConnected = QStringLiteral("Connect to Sonos and refresh Browse to play this favorite.");
} // namespace

SessionLibrary::SessionLibrary(HouseSession &session) : QObject(&session), m_session(session) {}

void SessionLibrary::setFavorites(const QList<SonosFavorite> &favorites)
{
    if (m_favorites == favorites)
        return;
    m_favorites = favorites;
    Q_EMIT favoritesChanged();
}

void SessionLibrary::setPlaylists(const QList<SonosPlaylist> &playlists)
{
    if (m_sonosPlaylists == playlists)
        return;
    m_sonosPlaylists = playlists;
    Q_EMIT playlistsChanged();
}

void SessionLibrary::setLibraryState(bool refreshing, const std::optional<QString> &note)
{
    if (m_refreshing == refreshing && m_libraryNote == note)
        return;
    m_refreshing = refreshing;
    m_libraryNote = note;
    Q_EMIT libraryStateChanged();
}

void SessionLibrary::clear()
{
    m_libraryRefreshID.draw();
    m_loadedHousehold.reset();
    setLibraryState(false, std::nullopt);
    setFavorites({});
    setPlaylists({});
}

void SessionLibrary::householdRead(const QString &householdID)
{
    if (m_loadedHousehold == householdID)
        return;
    auto reload = refreshLibrary();
}

void SessionLibrary::loadDemo()
{
    auto favorite = [](const char *id, const char *name, const char *detail, const char *service) {
        return SonosFavorite{QLatin1String(id), QString::fromUtf8(name), QLatin1String(detail), SonosService{std::nullopt, QLatin1String(service)}, std::nullopt, std::nullopt};
    };
    setFavorites({favorite("demo-1", "Beethoven: Symphony No. 7 in A major, Op. 92", "Album", "Apple Music"),
                  favorite("demo-2", "Chopin: Nocturnes", "Playlist", "Apple Music"),
                  favorite("demo-3", "Bach: Goldberg Variations, BWV 988", "Album", "Apple Music"),
                  favorite("demo-4", "Classic FM", "Radio station", "TuneIn"),
                  favorite("demo-5", "Morning Piano", "Playlist", "Spotify")});
    setPlaylists({{QStringLiteral("demo-p1"), QStringLiteral("Sunday Strings"), 14}, {QStringLiteral("demo-p2"), QStringLiteral("Late Quartets"), 9}});
}

QCoro::Task<void> SessionLibrary::refreshLibrary()
{
    if (!m_session.hasSonosConnection())
        co_return;
    SonosClient *api = m_session.services().api;
    const QString household = *m_session.householdID();
    // A newer reload, or another connection, makes this one's answers void.
    const StillCurrent current = StillCurrent::drawing(this, m_libraryRefreshID);
    const StillCurrent connection(this, m_session.connectionID());
    m_loadedHousehold = household;
    setLibraryState(true, m_libraryNote);
    try {
        const QList<SonosFavorite> favorites = co_await api->favorites(household);
        if (!current || !connection)
            co_return;
        setFavorites(favorites);
        const QList<SonosPlaylist> playlists = co_await api->playlists(household);
        if (!current || !connection)
            co_return;
        setPlaylists(playlists);
        setLibraryState(false, std::nullopt);
    } catch (const Cancelled &) {
        if (current)
            setLibraryState(false, m_libraryNote);
    } catch (const std::exception &e) {
        if (current && connection)
            setLibraryState(false, QStringLiteral("Could not load your Sonos favorites. ") + sentenceOf(e));
        else if (current)
            setLibraryState(false, m_libraryNote);
    }
}

bool SessionLibrary::refuseMusic()
{
    if (m_session.appleMusic()->musicQueueBusy()) {
        m_session.setNote(SessionAppleMusic::queueBusyText());
        return true;
    }
    const bool connected = m_session.hasSonosConnection();
    if (!connected || !m_session.activeGroupID()) {
        m_session.setNote(m_session.activeGroupID() || !connected ? notConnected : QStringLiteral("Choose a room."));
        return true;
    }
    return false;
}

void SessionLibrary::recordPlayed(const SonosFavorite &favorite)
{
    if (PlayHistory *history = m_session.services().history)
        history->recordPlayed(favorite);
}

QCoro::Task<void> SessionLibrary::playFavorite(SonosFavorite favorite, bool ordered)
{
    Q_UNUSED(ordered)
    if (refuseMusic())
        co_return;
    Pending pending(m_session.pending());
    const StillCurrent current(this, m_session.connectionID());
    const QString groupID = *m_session.activeGroupID();
    try {
        co_await m_session.services().api->loadFavorite(groupID, favorite.id, QStringLiteral("REPLACE"));
        if (!current)
            co_return;
        recordPlayed(favorite);
        // The speaker needs a moment before its state and play modes mean anything.
        co_await m_session.clock().sleep(700ms);
        if (!current)
            co_return;
        co_await m_session.playback()->refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (!current)
            co_return;
        m_session.setNote(QStringLiteral("Could not play this favorite. ") + sentenceOf(e));
        // The household no longer has it: the list shown is out of date.
        const auto *error = dynamic_cast<const SonosError *>(&e);
        if (error && error->kind() == SonosError::Kind::http && (error->status() == 404 || error->status() == 410))
            auto reload = refreshLibrary();
    }
}

QCoro::Task<void> SessionLibrary::playFavorites(QList<SonosFavorite> favorites, bool ordered)
{
    if (favorites.isEmpty() || refuseMusic())
        co_return;
    Pending pending(m_session.pending());
    const StillCurrent current(this, m_session.connectionID());
    SonosClient *api = m_session.services().api;
    const QString groupID = *m_session.activeGroupID();
    int started = 0;
    for (const SonosFavorite &favorite : favorites) {
        try {
            co_await api->loadFavorite(groupID, favorite.id, started == 0 ? QStringLiteral("REPLACE") : QStringLiteral("APPEND"));
        } catch (const Cancelled &) {
            co_return;
        } catch (const std::exception &e) {
            if (!current)
                co_return;
            if (started == 0) {
                m_session.setNote(QStringLiteral("Could not play selected music. ") + sentenceOf(e));
                co_return;
            }
            m_session.setNote(QStringLiteral("Started %1 of %2 favorites. The remaining music could not be added.").arg(started).arg(favorites.size()));
            break;
        }
        if (!current)
            co_return;
        ++started;
    }
    try {
        co_await api->setPlayModes(groupID, !ordered, std::nullopt, false);
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "play modes after favorites:" << e.what();
    }
    if (!current)
        co_return;
    for (int i = 0; i < started; ++i)
        recordPlayed(favorites[i]);
    co_await m_session.playback()->refreshPlayback();
}

QCoro::Task<void> SessionLibrary::queueFavorite(SonosFavorite favorite, bool next)
{
    Q_UNUSED(next) // the cloud appends at the end either way
    PlayHistory *history = m_session.services().history;
    if (history && history->isStation(favorite)) {
        m_session.setNote(QStringLiteral("Stations play directly; they can’t be added to the queue."));
        co_return;
    }
    if (refuseMusic())
        co_return;
    Pending pending(m_session.pending());
    const StillCurrent current(this, m_session.connectionID());
    const QString groupID = *m_session.activeGroupID();
    try {
        co_await m_session.services().api->loadFavorite(groupID, favorite.id, QStringLiteral("APPEND"));
        if (current)
            m_session.setNote(QStringLiteral("Added to the queue in ") + m_session.groupName(groupID));
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current)
            m_session.setNote(QStringLiteral("This favorite could not be added to the queue."));
    }
}

QCoro::Task<void> SessionLibrary::playPlaylist(SonosPlaylist playlist, QString action)
{
    if (refuseMusic())
        co_return;
    Pending pending(m_session.pending());
    const StillCurrent current(this, m_session.connectionID());
    const QString groupID = *m_session.activeGroupID();
    const bool replacing = action == QLatin1String("REPLACE");
    const QString stopping = QStringLiteral("Stopping queue…");
    if (replacing)
        m_session.setNote(stopping);
    try {
        co_await m_session.services().api->loadPlaylist(groupID, playlist.id, action);
        if (!current)
            co_return;
        if (!replacing)
            m_session.setNote(QStringLiteral("Playlist added to ") + m_session.groupName(groupID));
        else if (m_session.note() == stopping)
            m_session.setNote(std::nullopt);
        co_await m_session.playback()->refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current)
            m_session.setNote(QStringLiteral("Could not play this playlist. ") + sentenceOf(e));
    }
}

} // namespace velotte
