#include "controllerbridge.h"

#include "launchoptions.h"

#include "cloud/sonosconfig.h"
#include "core/settings.h"
#include "core/stillcurrent.h"
#include "session/housesession.h"

#ifdef VELOTTE_WITH_NOTES
#include "notes/tracknotes.h"
#endif

#include <QSet>

namespace velotte {

namespace {
const QString showLyricsKey = QStringLiteral("showLyrics");

// A task the view does not wait for: the session reports through its
// properties and its status line.
template <typename T>
void detach(QCoro::Task<T> &&task)
{
    auto running = std::move(task);
}
} // namespace

ControllerBridge::ControllerBridge(HouseSession &session, KeyValueStore &preferences, QObject *parent)
    : QObject(parent), m_session(session), m_preferences(preferences), m_groups(session), m_players(session), m_queue(*session.queue())
{
    m_signInConfigured = SonosConfig::load().hasCredentials();
    const QVariant stored = preferences.value(showLyricsKey);
    m_showLyrics = stored.isValid() ? stored.toBool() : true;
    connect(session.playback(), &SessionPlayback::artworkChanged, this, &ControllerBridge::artworkChanged);
    connect(session.library(), &SessionLibrary::favoritesChanged, this, &ControllerBridge::favoritesChanged);
    connect(session.library(), &SessionLibrary::playlistsChanged, this, &ControllerBridge::playlistsChanged);
    // A new choice of the user replaces the shell's own message.
    connect(&session, &HouseSession::activeGroupIDChanged, this, [this] { setMessage({}); });
}

QString ControllerBridge::notConnectedText() { return QStringLiteral("Connect to Sonos and refresh Browse to play this favorite."); }

void ControllerBridge::setScreen(const QString &screen)
{
    if (screen == m_screen)
        return;
    m_screen = screen;
    Q_EMIT screenChanged();
    // Opening Browse on a library that is missing or failed asks for it again.
    const SessionLibrary *library = m_session.library();
    if (screen == u"music" && m_session.hasSonosConnection() && !library->refreshingLibrary()
        && (library->favorites().isEmpty() || library->libraryNote()))
        refreshLibrary();
}

void ControllerBridge::setStartAtLogin(bool on)
{
    if (!m_autostart.setEnabled(on))
        setMessage(m_autostart.error());
    Q_EMIT startAtLoginChanged(); // the switch shows what the folder holds, success or not
}

void ControllerBridge::setShowLyrics(bool show)
{
    if (show == m_showLyrics)
        return;
    m_showLyrics = show;
    m_preferences.setValue(showLyricsKey, show);
    Q_EMIT showLyricsChanged();
}

void ControllerBridge::setMessage(const QString &message)
{
    if (message == m_message)
        return;
    m_message = message;
    Q_EMIT messageChanged();
}

QVariantList ControllerBridge::favorites() const
{
    QVariantList list;
    for (const SonosFavorite &f : m_session.library()->favorites()) {
        const std::optional<QUrl> art = f.artworkURL();
        list.append(QVariantMap{{QStringLiteral("id"), f.id},
                                {QStringLiteral("name"), f.name},
                                {QStringLiteral("detail"), f.detail.value_or(QString())},
                                {QStringLiteral("service"), f.service ? f.service->name.value_or(QString()) : QString()},
                                {QStringLiteral("artwork"), QVariant(art.value_or(QUrl()))}});
    }
    return list;
}

QVariantList ControllerBridge::playlists() const
{
    QVariantList list;
    for (const SonosPlaylist &p : m_session.library()->sonosPlaylists())
        list.append(QVariantMap{{QStringLiteral("id"), p.id}, {QStringLiteral("name"), p.name}, {QStringLiteral("tracks"), QVariant(p.trackCount.value_or(-1))}});
    return list;
}

void ControllerBridge::setNotes(QObject *notes)
{
    m_notes = notes;
#ifdef VELOTTE_WITH_NOTES
    if (auto *n = qobject_cast<TrackNotes *>(notes))
    {
        connect(n, &TrackNotes::linesChanged, this, &ControllerBridge::rebuildLyricLines);
        connect(n, &TrackNotes::pictureChanged, this, [this] {
            ++m_pictureSerial; // a new address, so the view asks again
            Q_EMIT artworkChanged();
        });
    }
#endif
    rebuildLyricLines();
}

QByteArray ControllerBridge::picture() const
{
#ifdef VELOTTE_WITH_NOTES
    if (auto *n = qobject_cast<TrackNotes *>(m_notes.data()))
        return n->picture();
#endif
    return {};
}

QUrl ControllerBridge::artwork() const
{
    if (!picture().isEmpty())
        return QUrl(QStringLiteral("image://velotte/artwork/%1").arg(m_pictureSerial));
    return m_session.playback()->artworkURL();
}

void ControllerBridge::rebuildLyricLines()
{
    m_lyricLines.clear();
#ifdef VELOTTE_WITH_NOTES
    if (auto *n = qobject_cast<TrackNotes *>(m_notes.data()))
        for (const TrackLine &line : n->lines()) {
            m_lyricLines.append(QVariantMap{{QStringLiteral("time"), line.time ? double(*line.time) : -1.0}, {QStringLiteral("text"), line.text}});
        }
#endif
    Q_EMIT lyricLinesChanged();
}

void ControllerBridge::toggleConversation() { detach(m_session.sound()->toggleConversation()); }

void ControllerBridge::refreshSound()
{
    detach(m_session.sound()->refreshRoomControls());
    detach(m_session.sound()->refreshBassControl());
}

void ControllerBridge::groupRooms(const QStringList &playerIDs)
{
    if (playerIDs.isEmpty()) // the view never offers this; the session needs one room
        return;
    detach(m_session.rooms()->groupRooms(QSet<QString>(playerIDs.begin(), playerIDs.end())));
}

void ControllerBridge::playFavorite(const QString &favoriteID)
{
    for (const SonosFavorite &f : m_session.library()->favorites())
        if (f.id == favoriteID) {
            detach(m_session.library()->playFavorite(f));
            return;
        }
}

void ControllerBridge::playPlaylist(const QString &playlistID)
{
    for (const SonosPlaylist &p : m_session.library()->sonosPlaylists())
        if (p.id == playlistID) {
            detach(m_session.library()->playPlaylist(p, QStringLiteral("REPLACE")));
            return;
        }
}

void ControllerBridge::connectAccount()
{
    Q_EMIT signInRequested();
    detach(m_session.connect());
}

void ControllerBridge::useLocalNetwork() { detach(m_session.enterGuest()); }

void ControllerBridge::refreshRooms() { detach(m_session.refresh()); }

void ControllerBridge::refreshLibrary() { detach(m_session.library()->refreshLibrary()); }

void ControllerBridge::openLink(const QUrl &link)
{
    if (LaunchOptions::isRefresh(link)) {
        refreshRooms();
        refreshLibrary();
        return;
    }
    const QString id = LaunchOptions::favoriteOf(link);
    if (!id.isEmpty())
        detach(playLinkedFavorite(id));
}

QCoro::Task<void> ControllerBridge::playLinkedFavorite(QString id)
{
    auto known = [this, &id] {
        const auto &favorites = m_session.library()->favorites();
        return std::any_of(favorites.begin(), favorites.end(), [&id](const SonosFavorite &f) { return f.id == id; });
    };
    if (m_session.hasSonosConnection() && !known()) {
        // Still loading, or added since: read the favorites before saying no.
        const StillCurrent alive(this);
        co_await m_session.library()->refreshLibrary();
        if (!alive)
            co_return;
    }
    if (!m_session.hasSonosConnection() || !known()) {
        setMessage(notConnectedText());
        co_return;
    }
    setMessage({});
    playFavorite(id);
}

} // namespace velotte
