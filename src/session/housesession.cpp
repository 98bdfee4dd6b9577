#include "housesession.h"

#include "localports.h"
#include "pending.h"

#include "core/logging.h"

namespace velotte {

HouseSession::HouseSession(Services services, QObject *parent)
    : QObject(parent), m_services(std::move(services)), m_clock(m_services.clock ? *m_services.clock : Clock::system()),
      m_pending(std::make_shared<PendingSends>())
{
    m_roomRefreshID = m_playbackRefreshID = m_playbackCommandID = m_connectionID = m_loginID = m_roomChoiceID =
        m_conversationRequestID = QUuid::createUuid();
    if (m_services.api && m_services.local == nullptr)
        qCDebug(lcSession) << "session without local network access";
}

HouseSession::~HouseSession()
{
    m_clockCancel.cancel();
    m_bootstrapCancel.cancel();
}

std::optional<SonosGroup> HouseSession::activeGroup() const
{
    if (!m_activeGroupID)
        return std::nullopt;
    for (const SonosGroup &g : m_groups) {
        if (g.id == *m_activeGroupID)
            return g;
    }
    return std::nullopt;
}

QString HouseSession::activeGroupName() const { return m_activeGroupID ? groupName(*m_activeGroupID) : QString(); }

QString HouseSession::groupName(const QString &groupID) const
{
    for (const SonosGroup &g : m_groups) {
        if (g.id == groupID)
            return g.name;
    }
    return QStringLiteral("this room");
}

std::optional<SpeakerFault> HouseSession::speakerFault(const std::optional<QString> &host) const
{
    if (!host || !m_services.local || !m_services.local->fault)
        return std::nullopt;
    return m_services.local->fault(*host);
}

void HouseSession::speakerFailed(const std::optional<QString> &host) const
{
    throw speakerFault(host).value_or(SpeakerFault::noAnswer());
}

std::optional<QString> HouseSession::guestHost(const QString &groupID) const
{
    for (const SonosGroup &g : m_groups) {
        if (g.id == groupID) {
            const QString host = m_guestHosts.value(g.coordinatorId);
            if (!host.isEmpty())
                return host;
        }
    }
    return std::nullopt;
}

// --- setters: assign and notify only on change ---

void HouseSession::setPhase(Phase phase)
{
    if (m_phase == phase)
        return;
    m_phase = phase;
    Q_EMIT phaseChanged();
}

void HouseSession::setHouseholdName(const QString &name)
{
    if (m_householdName == name)
        return;
    m_householdName = name;
    Q_EMIT householdNameChanged();
}

void HouseSession::setGroups(const QList<SonosGroup> &groups)
{
    if (m_groups == groups)
        return;
    const QString before = activeGroupName();
    m_groups = groups;
    Q_EMIT groupsChanged();
    if (activeGroupName() != before)
        Q_EMIT activeGroupIDChanged();
}

void HouseSession::setPlayers(const QList<SonosPlayer> &players)
{
    if (m_players == players)
        return;
    m_players = players;
    Q_EMIT playersChanged();
}

void HouseSession::setActiveGroupID(const std::optional<QString> &id)
{
    if (m_activeGroupID == id)
        return;
    m_activeGroupID = id;
    clearNowPlaying(); // another room: nothing of the last one may show
    Q_EMIT activeGroupIDChanged();
}

void HouseSession::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    Q_EMIT titleChanged();
}

void HouseSession::setArtist(const QString &artist)
{
    if (m_artist == artist)
        return;
    m_artist = artist;
    Q_EMIT artistChanged();
}

void HouseSession::setServiceName(const QString &name)
{
    if (m_serviceName == name)
        return;
    m_serviceName = name;
    Q_EMIT serviceNameChanged();
}

void HouseSession::setArtwork(const std::optional<QUrl> &artwork)
{
    if (m_artwork == artwork)
        return;
    m_artwork = artwork;
    Q_EMIT artworkChanged();
}

void HouseSession::setPositionMillis(qint64 position)
{
    if (m_positionMillis == position)
        return;
    m_positionMillis = position;
    Q_EMIT positionMillisChanged();
}

void HouseSession::setDurationMillis(qint64 duration)
{
    if (m_durationMillis == duration)
        return;
    m_durationMillis = duration;
    Q_EMIT durationMillisChanged();
}

void HouseSession::setIsPlaying(bool playing)
{
    if (m_isPlaying == playing)
        return;
    m_isPlaying = playing;
    Q_EMIT isPlayingChanged();
}

void HouseSession::setActions(bool canSkip, bool canSkipBack, bool canSeek)
{
    if (m_canSkip == canSkip && m_canSkipBack == canSkipBack && m_canSeek == canSeek)
        return;
    m_canSkip = canSkip;
    m_canSkipBack = canSkipBack;
    m_canSeek = canSeek;
    Q_EMIT actionsChanged();
}

void HouseSession::setPlayModes(bool shuffle, bool repeats)
{
    if (m_shuffle == shuffle && m_repeats == repeats)
        return;
    m_shuffle = shuffle;
    m_repeats = repeats;
    Q_EMIT playModesChanged();
}

void HouseSession::setVolume(double volume)
{
    if (m_volume == volume)
        return;
    m_volume = volume;
    Q_EMIT volumeChanged();
}

void HouseSession::setMuted(bool muted)
{
    if (m_muted == muted)
        return;
    m_muted = muted;
    Q_EMIT mutedChanged();
}

void HouseSession::setVolumeFixed(bool fixed)
{
    if (m_volumeFixed == fixed)
        return;
    m_volumeFixed = fixed;
    Q_EMIT volumeFixedChanged();
}

void HouseSession::setNote(const std::optional<QString> &note)
{
    if (m_note == note)
        return;
    m_note = note;
    if (note)
        qCDebug(lcSession) << "note:" << *note;
    Q_EMIT noteChanged();
}

void HouseSession::setSendingPlaybackCommand(bool sending)
{
    if (m_sendingPlaybackCommand == sending)
        return;
    m_sendingPlaybackCommand = sending;
    Q_EMIT sendingPlaybackCommandChanged();
}

void HouseSession::setMode(bool demo, bool guest)
{
    if (m_demo == demo && m_guest == guest)
        return;
    m_demo = demo;
    m_guest = guest;
    Q_EMIT modeChanged();
}

void HouseSession::setSigningIn(bool signingIn)
{
    if (m_signingIn == signingIn)
        return;
    m_signingIn = signingIn;
    Q_EMIT signingInChanged();
}

void HouseSession::setIsDiscovering(bool discovering)
{
    if (m_isDiscovering == discovering)
        return;
    m_isDiscovering = discovering;
    Q_EMIT isDiscoveringChanged();
}

void HouseSession::setFavorites(const QList<SonosFavorite> &favorites)
{
    if (m_favorites == favorites)
        return;
    m_favorites = favorites;
    Q_EMIT favoritesChanged();
}

void HouseSession::setPlaylists(const QList<SonosPlaylist> &playlists)
{
    if (m_sonosPlaylists == playlists)
        return;
    m_sonosPlaylists = playlists;
    Q_EMIT playlistsChanged();
}

} // namespace velotte
