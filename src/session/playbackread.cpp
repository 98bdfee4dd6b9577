// Reading what plays: cloud and local playback reads, the playback clock.
#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

namespace velotte {

namespace {
const QString cloudReadFailed = QStringLiteral("Could not reach this room.");
const QString localReadFailed = QStringLiteral("Could not reach this room. Check that your speakers are on the same Wi-Fi network.");
} // namespace

void HouseSession::resetClock(qint64 position, bool playing)
{
    m_playbackClock = PlaybackClock{position, m_clock.now(), playing};
}

QCoro::Task<void> HouseSession::refreshPlayback()
{
    if (m_demo)
        co_return;
    if (m_guest) {
        co_await refreshGuestPlayback();
        co_return;
    }
    if (!m_activeGroupID || !m_services.api)
        co_return;
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QUuid token = m_playbackRefreshID = QUuid::createUuid();
    const QUuid read = QUuid::createUuid();
    m_activePlaybackRead = read;
    const QString groupID = *m_activeGroupID;
    try {
        const PlaybackStatus status = co_await m_services.api->playback(groupID);
        if (!self)
            co_return;
        if (token == m_playbackRefreshID) {
            auto volumeRead = refreshPlaybackVolume(groupID, token);
            const PlaybackMetadata metadata = co_await m_services.api->metadata(groupID);
            if (!self)
                co_return;
            co_await volumeRead;
            if (!self)
                co_return;
            if (token == m_playbackRefreshID) {
                const bool playing = status.playbackState == QLatin1String("PLAYBACK_STATE_PLAYING");
                setIsPlaying(playing);
                const PlaybackActions actions = status.availablePlaybackActions.value_or(PlaybackActions{});
                // An action the cloud does not mention is not forbidden.
                setActions(actions.canSkip.value_or(true), actions.canSkipBack.value_or(true), actions.canSeek.value_or(true));
                const PlayModeState modes = status.playModes.value_or(PlayModeState{});
                setPlayModes(modes.shuffle.value_or(false), modes.repeats.value_or(false));
                const PlaybackTrack track = metadata.currentItem && metadata.currentItem->track ? *metadata.currentItem->track : PlaybackTrack{};
                setTitle(track.name.value_or(QString()));
                setArtist(track.artist ? track.artist->name.value_or(QString()) : QString());
                setServiceName(track.service ? track.service->name.value_or(QString()) : QString());
                setArtwork(track.artworkURL());
                setDurationMillis(std::max<qint64>(0, track.durationMillis.value_or(0)));
                qint64 position = std::max<qint64>(0, status.positionMillis.value_or(0));
                if (m_durationMillis >= 1)
                    position = std::min(position, m_durationMillis);
                setPositionMillis(position);
                resetClock(position, playing);
                clearPlaybackReadNote();
            }
        }
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && token == m_playbackRefreshID) {
            qCWarning(lcSession) << "playback read failed:" << e.what();
            m_playbackReadNote = cloudReadFailed;
            setNote(cloudReadFailed);
        }
    }
    if (!self)
        co_return;
    if (m_activePlaybackRead == read)
        m_activePlaybackRead.reset();
    Q_EMIT readFinished();
}

QCoro::Task<void> HouseSession::refreshPlaybackVolume(QString groupID, QUuid request)
{
    if (!m_services.api)
        co_return;
    QPointer<HouseSession> self(this);
    try {
        const VolumeState state = co_await m_services.api->groupVolume(groupID);
        if (!self || request != m_playbackRefreshID)
            co_return;
        if (state.volume && !m_adjustingGroupVolume)
            setVolume(std::clamp(*state.volume, 0, 100));
        setMuted(state.muted.value_or(false));
        setVolumeFixed(state.fixed.value_or(false));
    } catch (const std::exception &e) {
        // The volume shown stays as it was; the playback read reports the room.
        qCDebug(lcSession) << "volume read failed:" << e.what();
    }
}

QCoro::Task<void> HouseSession::refreshGuestPlayback()
{
    if (!m_activeGroupID || !m_services.local || !m_services.local->nowPlaying)
        co_return;
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QUuid token = m_playbackRefreshID = QUuid::createUuid();
    const auto host = guestHost(*m_activeGroupID);
    std::optional<LocalNow> now;
    if (host)
        now = co_await m_services.local->nowPlaying(*host);
    if (!self || token != m_playbackRefreshID)
        co_return;
    if (!now) {
        const std::optional<SpeakerFault> fault = speakerFault(host);
        const bool refused = fault && fault->kind() == SpeakerFault::Kind::localControlOff;
        m_playbackReadNote = refused ? fault->sentence() : localReadFailed;
        setNote(m_playbackReadNote);
        Q_EMIT readFinished();
        co_return;
    }
    setIsPlaying(now->playing);
    setActions(now->canSkip, now->canSkipBack, now->canSeek);
    setTitle(now->title);
    setArtist(now->artist);
    setServiceName(QString());
    setArtwork(std::nullopt);
    setDurationMillis(std::max<qint64>(0, now->durationMillis));
    qint64 position = std::max<qint64>(0, now->positionMillis);
    if (m_durationMillis >= 1)
        position = std::min(position, m_durationMillis);
    setPositionMillis(position);
    resetClock(position, now->playing);
    if (now->volume && !m_adjustingGroupVolume)
        setVolume(std::clamp(*now->volume, 0, 100));
    clearPlaybackReadNote();
    Q_EMIT readFinished();
}

} // namespace velotte
