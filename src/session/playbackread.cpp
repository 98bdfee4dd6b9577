// Reading what plays: cloud and local playback reads, the playback clock,
// and the demo's queue.
#include "sessionplayback.h"

#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"
#include "local/soap.h"
#include "local/speakerevent.h"

namespace velotte {

namespace {
const QString cloudReadFailed = QStringLiteral("Could not reach this room.");
const QString localReadFailed = QStringLiteral("Could not reach this room. Check that your speakers are on the same Wi-Fi network.");
} // namespace

void SessionPlayback::resetClock(qint64 position, bool playing)
{
    m_playbackClock = PlaybackClock{position, m_session.clock().now(), playing};
}

QCoro::Task<void> SessionPlayback::refreshPlayback()
{
    if (m_session.demo())
        co_return;
    if (m_session.guest())
        co_await refreshGuestPlayback();
    else
        co_await refreshCloudPlayback();
}

void SessionPlayback::applyNowPlaying(const QString &title, const QString &artist, const QString &service,
                                      const std::optional<QUrl> &artwork, qint64 duration, qint64 position, bool playing)
{
    setIsPlaying(playing);
    setTitle(title);
    setArtist(artist);
    setServiceName(service);
    setArtwork(artwork);
    setDurationMillis(std::max<qint64>(0, duration));
    position = std::max<qint64>(0, position);
    if (m_durationMillis >= 1)
        position = std::min(position, m_durationMillis);
    setPositionMillis(position);
    resetClock(position, playing);
    clearPlaybackReadNote();
}

void SessionPlayback::readFailed(const QString &sentence)
{
    m_playbackReadNote = sentence;
    m_session.setNote(sentence);
}

QCoro::Task<void> SessionPlayback::refreshCloudPlayback()
{
    SonosClient *api = m_session.services().api;
    if (!m_session.activeGroupID() || !api)
        co_return;
    Pending pending(m_session.pending());
    const StillCurrent current = StillCurrent::drawing(this, m_playbackRefreshID);
    const QUuid read = QUuid::createUuid();
    m_activePlaybackRead = read;
    const QString groupID = *m_session.activeGroupID();
    try {
        const PlaybackStatus status = co_await api->playback(groupID);
        if (current) {
            auto volumeRead = m_session.sound()->readGroupVolume(groupID, current);
            const PlaybackMetadata metadata = co_await api->metadata(groupID);
            co_await volumeRead;
            if (current) {
                const bool playing = status.playbackState == QLatin1String("PLAYBACK_STATE_PLAYING");
                const PlaybackActions actions = status.availablePlaybackActions.value_or(PlaybackActions{});
                // An action the cloud does not mention is not forbidden.
                setActions(actions.canSkip.value_or(true), actions.canSkipBack.value_or(true), actions.canSeek.value_or(true));
                const PlayModeState modes = status.playModes.value_or(PlayModeState{});
                setPlayModes(modes.shuffle.value_or(false), modes.repeats.value_or(false));
                const PlaybackTrack track = metadata.currentItem && metadata.currentItem->track ? *metadata.currentItem->track : PlaybackTrack{};
                applyNowPlaying(track.name.value_or(QString()), track.artist ? track.artist->name.value_or(QString()) : QString(),
                                track.service ? track.service->name.value_or(QString()) : QString(), track.artworkURL(),
                                track.durationMillis.value_or(0), status.positionMillis.value_or(0), playing);
            }
        }
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current) {
            qCWarning(lcSession) << "playback read failed:" << e.what();
            readFailed(cloudReadFailed);
        }
    }
    if (!current.alive())
        co_return;
    if (m_activePlaybackRead == read)
        m_activePlaybackRead.reset();
    Q_EMIT m_session.readFinished();
}

QCoro::Task<void> SessionPlayback::refreshGuestPlayback()
{
    const LocalPorts *local = m_session.services().local.get();
    if (!m_session.activeGroupID() || !local || !local->nowPlaying)
        co_return;
    Pending pending(m_session.pending());
    const StillCurrent current = StillCurrent::drawing(this, m_playbackRefreshID);
    const auto host = m_session.guestHost(*m_session.activeGroupID());
    std::optional<LocalNow> now;
    if (host)
        now = co_await local->nowPlaying(*host);
    if (!current)
        co_return;
    if (!now) {
        const std::optional<SpeakerFault> fault = m_session.speakerFault(host);
        const bool refused = fault && fault->kind() == SpeakerFault::Kind::localControlOff;
        readFailed(refused ? fault->sentence() : localReadFailed);
        Q_EMIT m_session.readFinished();
        co_return;
    }
    setActions(now->canSkip, now->canSkipBack, now->canSeek);
    setTrackNumber(now->track);
    applyNowPlaying(now->title, now->artist, QString(), std::nullopt, now->durationMillis, now->positionMillis, now->playing);
    if (now->volume)
        m_session.sound()->showGroupVolume(*now->volume);
    Q_EMIT m_session.readFinished();
}

void SessionPlayback::applyEvent(const SpeakerEvent &event)
{
    m_playbackRefreshID.draw(); // a read still out began before this news
    if (event.actions)
        setActions(event.actions->canSkip, event.actions->canSkipBack, event.actions->canSeek);
    if (event.playMode) {
        const auto [shuffle, repeats] = Soap::playModeFlags(*event.playMode);
        setPlayModes(shuffle, repeats);
    }
    if (event.track)
        setTrackNumber(event.track);
    qint64 position = m_positionMillis;
    const bool newTrack = (event.title && *event.title != m_title) || (event.artist && *event.artist != m_artist);
    if (newTrack) {
        // Events carry no position: a new track starts at its beginning.
        setTitle(event.title.value_or(m_title));
        setArtist(event.artist.value_or(m_artist));
        position = 0;
    }
    if (event.durationMillis)
        setDurationMillis(std::max<qint64>(0, *event.durationMillis));
    const bool playing = event.playing().value_or(m_isPlaying);
    setIsPlaying(playing);
    setPositionMillis(position);
    resetClock(position, playing);
}

void SessionPlayback::setTrackNumber(std::optional<int> number)
{
    if (m_trackNumber == number)
        return;
    m_trackNumber = number;
    Q_EMIT trackNumberChanged();
}

void SessionPlayback::advanceLive()
{
    if (!m_isPlaying)
        return;
    qint64 position = m_playbackClock.positionMillis;
    if (m_playbackClock.playing) {
        const qint64 elapsed = m_playbackClock.updatedAt.msecsTo(m_session.clock().now());
        position += std::max<qint64>(0, elapsed);
    }
    if (m_durationMillis >= 1)
        position = std::min(position, m_durationMillis);
    setPositionMillis(position);
}

// --- the demo's queue ---

void SessionPlayback::loadDemoQueue()
{
    m_demoQueue = {
        {QStringLiteral("Gymnopédie No. 1"), QStringLiteral("Erik Satie · Pascal Rogé"), QStringLiteral("Apple Music"), 205000, 48000},
        {QStringLiteral("Clair de lune"), QStringLiteral("Claude Debussy · Seong-Jin Cho"), QStringLiteral("Apple Music"), 306000, 0},
        {QStringLiteral("The Swan"), QStringLiteral("Camille Saint-Saëns · Yo-Yo Ma"), QStringLiteral("Apple Music"), 187000, 0},
    };
    applyDemoTrack(0);
    setIsPlaying(true);
    setActions(true, true, true);
}

void SessionPlayback::clearDemo()
{
    m_demoQueue.clear();
    m_demoIndex = 0;
}

void SessionPlayback::applyDemoTrack(int index)
{
    if (m_demoQueue.isEmpty())
        return;
    const int size = int(m_demoQueue.size());
    m_demoIndex = (index % size + size) % size;
    const DemoTrack &t = m_demoQueue[m_demoIndex];
    setTitle(t.title);
    setArtist(t.artist);
    setServiceName(t.service);
    setArtwork(std::nullopt);
    setDurationMillis(t.duration);
    setPositionMillis(t.position);
    resetClock(t.position, m_isPlaying);
}

void SessionPlayback::advanceDemo()
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

void SessionPlayback::playInPreview(const QList<DemoTrack> &tracks, bool next, bool shuffled)
{
    if (next) {
        for (qsizetype i = 0; i < tracks.size(); ++i)
            m_demoQueue.insert(m_demoIndex + 1 + i, tracks[i]);
        m_session.setNote(QStringLiteral("Added to the preview room queue."));
        return;
    }
    m_demoQueue = tracks;
    setPlayModes(shuffled, m_repeats);
    setIsPlaying(true);
    applyDemoTrack(0);
    m_session.setNote(std::nullopt);
}

} // namespace velotte
