// The built-in demo household: two rooms and three classical pieces.
#include "housesession.h"

namespace velotte {

void HouseSession::loadDemo()
{
    invalidateConnectionWork();
    setMode(true, false);
    m_guestHosts.clear();
    setPhase(Phase::ready);
    m_householdID = QStringLiteral("demo");
    setHouseholdName(QStringLiteral("Home"));
    setPlayers({{QStringLiteral("living"), QStringLiteral("Living Room"), std::nullopt, QStringLiteral("sonos-five")},
                {QStringLiteral("bedroom"), QStringLiteral("Bedroom"), std::nullopt, QStringLiteral("sonos-one")}});
    setGroups({{QStringLiteral("living"), QStringLiteral("Living Room"), QStringLiteral("living"), QStringLiteral("PLAYBACK_STATE_PLAYING"), {QStringLiteral("living")}},
               {QStringLiteral("bedroom"), QStringLiteral("Bedroom"), QStringLiteral("bedroom"), QStringLiteral("PLAYBACK_STATE_IDLE"), {QStringLiteral("bedroom")}}});
    m_activeGroupID = QStringLiteral("living");
    Q_EMIT activeGroupIDChanged();
    selectFollowers(QStringLiteral("demo"));

    auto favorite = [](const char *id, const char *name, const char *detail, const char *service) {
        return SonosFavorite{QLatin1String(id), QString::fromUtf8(name), QLatin1String(detail), SonosService{std::nullopt, QLatin1String(service)}, std::nullopt, std::nullopt};
    };
    setFavorites({favorite("demo-1", "Beethoven: Symphony No. 7 in A major, Op. 92", "Album", "Apple Music"),
                  favorite("demo-2", "Chopin: Nocturnes", "Playlist", "Apple Music"),
                  favorite("demo-3", "Bach: Goldberg Variations, BWV 988", "Album", "Apple Music"),
                  favorite("demo-4", "Classic FM", "Radio station", "TuneIn"),
                  favorite("demo-5", "Morning Piano", "Playlist", "Spotify")});
    setPlaylists({{QStringLiteral("demo-p1"), QStringLiteral("Sunday Strings"), 14}, {QStringLiteral("demo-p2"), QStringLiteral("Late Quartets"), 9}});
    setVolume(28);
    setMuted(false);
    setVolumeFixed(false);

    m_demoQueue = {
        {QStringLiteral("Gymnopédie No. 1"), QStringLiteral("Erik Satie · Pascal Rogé"), QStringLiteral("Apple Music"), 205000, 48000},
        {QStringLiteral("Clair de lune"), QStringLiteral("Claude Debussy · Seong-Jin Cho"), QStringLiteral("Apple Music"), 306000, 0},
        {QStringLiteral("The Swan"), QStringLiteral("Camille Saint-Saëns · Yo-Yo Ma"), QStringLiteral("Apple Music"), 187000, 0},
    };
    applyDemoTrack(0);
    setIsPlaying(true);
    setActions(true, true, true);
    startClock();
}

void HouseSession::applyDemoTrack(int index)
{
    if (m_demoQueue.isEmpty())
        return;
    m_demoIndex = (index % int(m_demoQueue.size()) + int(m_demoQueue.size())) % int(m_demoQueue.size());
    const DemoTrack &t = m_demoQueue[m_demoIndex];
    setTitle(t.title);
    setArtist(t.artist);
    setServiceName(t.service);
    setArtwork(std::nullopt);
    setDurationMillis(t.duration);
    setPositionMillis(t.position);
    resetClock(t.position, m_isPlaying);
}

void HouseSession::advanceDemo()
{
    // Exactly one tick's worth: the demo has no clock reading to follow.
    if (!m_isPlaying || m_durationMillis < 1)
        return;
    const qint64 next = m_positionMillis + 500;
    if (next >= m_durationMillis) {
        setPositionMillis(0);
        skip(true);
        return;
    }
    setPositionMillis(next);
}

} // namespace velotte
