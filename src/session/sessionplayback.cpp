// Transport commands: one at a time, optimistic, then a re-read.
#include "sessionplayback.h"

#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

#include <cmath>

namespace velotte {

namespace {
const char *skipVerb(int kind)
{
    switch (kind) {
    case 0: return "restart the song";
    case 1: return "play the next song";
    default: return "play the previous song";
    }
}
QString commandFailed(const QString &action, const QString &room, const std::exception &e)
{
    return QStringLiteral("Could not %1 in %2. %3").arg(action, room, sentenceOf(e));
}
} // namespace

SessionPlayback::SessionPlayback(HouseSession &session) : QObject(&session), m_session(session) {}

bool SessionPlayback::beginCommand()
{
    if (!m_session.activeGroupID()) {
        m_session.setNote(QStringLiteral("Choose a room."));
        return false;
    }
    if (m_sendingPlaybackCommand)
        return false;
    m_playbackCommandID.draw();
    m_playbackRefreshID.draw(); // a read already in flight must not undo this
    setSendingPlaybackCommand(true);
    return true;
}

void SessionPlayback::toggle()
{
    if (m_session.demo()) {
        setIsPlaying(!m_isPlaying);
        resetClock(m_positionMillis, m_isPlaying);
        return;
    }
    if (!beginCommand())
        return;
    const bool play = !m_isPlaying;
    setIsPlaying(play);
    resetClock(std::max<qint64>(0, m_positionMillis), play);
    m_session.setNote(std::nullopt);
    auto task = sendToggle(play, *m_session.activeGroupID());
}

QCoro::Task<void> SessionPlayback::sendToggle(bool play, QString groupID)
{
    const StillCurrent current(this, m_playbackCommandID);
    Pending pending(m_session.pending());
    try {
        if (m_session.guest()) {
            const auto host = m_session.guestHost(groupID);
            const LocalPorts *local = m_session.services().local.get();
            if (!host || !local)
                m_session.speakerFailed(host);
            if (!co_await local->transport(play ? QStringLiteral("Play") : QStringLiteral("Pause"), *host))
                m_session.speakerFailed(host);
        } else if (m_session.services().api) {
            co_await m_session.services().api->setPlaying(groupID, play);
        }
        if (!current)
            co_return;
        co_await refreshPlayback();
        if (current)
            setSendingPlaybackCommand(false);
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current) {
            m_session.setNote(commandFailed(play ? QStringLiteral("play") : QStringLiteral("pause"), m_session.groupName(groupID), e));
            setSendingPlaybackCommand(false);
        }
    }
}

void SessionPlayback::skip(bool forward)
{
    if (m_session.demo()) {
        applyDemoTrack(m_demoIndex + (forward ? 1 : -1));
        return;
    }
    SkipKind kind = next;
    if (forward) {
        if (!m_canSkip) {
            m_session.setNote(QStringLiteral("Sonos cannot skip forward for this source or queue. Choose an album or playlist in Browse."));
            return;
        }
    } else {
        kind = m_canSeek && m_positionMillis > 3000 ? restart : previous;
        if (kind == previous && !m_canSkipBack) {
            m_session.setNote(QStringLiteral("Sonos cannot go to a previous track for this source or queue."));
            return;
        }
    }
    m_session.setNote(std::nullopt);
    if (!beginCommand())
        return;
    if (kind == restart) {
        setPositionMillis(0);
        resetClock(0, m_isPlaying);
    }
    auto task = sendSkip(kind, *m_session.activeGroupID());
}

QCoro::Task<void> SessionPlayback::sendSkip(SkipKind kind, QString groupID)
{
    const StillCurrent current(this, m_playbackCommandID);
    Pending pending(m_session.pending());
    try {
        if (m_session.guest()) {
            const auto host = m_session.guestHost(groupID);
            const LocalPorts *local = m_session.services().local.get();
            bool ok = host && local;
            if (ok && kind == restart)
                ok = co_await local->seek(*host, 0);
            else if (ok)
                ok = co_await local->transport(kind == next ? QStringLiteral("Next") : QStringLiteral("Previous"), *host);
            if (!ok)
                m_session.speakerFailed(host);
        } else if (SonosClient *api = m_session.services().api) {
            if (kind == restart)
                co_await api->seek(groupID, 0);
            else
                co_await api->command(groupID, kind == next ? QStringLiteral("playback/skipToNextTrack") : QStringLiteral("playback/skipToPreviousTrack"));
        }
        if (!current)
            co_return;
        co_await refreshPlayback();
        if (current)
            setSendingPlaybackCommand(false);
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current) {
            m_session.setNote(commandFailed(QLatin1String(skipVerb(kind)), m_session.groupName(groupID), e));
            setSendingPlaybackCommand(false);
        }
    }
}

void SessionPlayback::seek(double fraction)
{
    const double clamped = std::isnan(fraction) ? 0.0 : std::clamp(fraction, 0.0, 1.0);
    const qint64 target = qint64(std::round(clamped * double(m_durationMillis))); // half away from zero
    setPositionMillis(target);
    if (m_session.demo())
        return;
    resetClock(target, m_isPlaying);
    if (!m_session.activeGroupID())
        return;
    auto task = sendSeek(target, *m_session.activeGroupID());
}

QCoro::Task<void> SessionPlayback::sendSeek(qint64 target, QString groupID)
{
    const StillCurrent current(this, m_session.connectionID());
    Pending pending(m_session.pending());
    if (m_session.guest()) {
        const auto host = m_session.guestHost(groupID);
        if (host && m_session.services().local)
            co_await m_session.services().local->seek(*host, target);
        co_return;
    }
    SonosClient *api = m_session.services().api;
    if (!api)
        co_return;
    try {
        co_await api->seek(groupID, target);
        if (!current)
            co_return;
        co_await refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current)
            m_session.setNote(sentenceOf(e));
    }
}

void SessionPlayback::toggleShuffle()
{
    const bool value = !m_shuffle;
    setPlayModes(value, m_repeats);
    if (m_session.demo() || !m_session.activeGroupID())
        return;
    auto task = sendPlayMode(value, std::nullopt, std::nullopt, *m_session.activeGroupID());
}

void SessionPlayback::toggleRepeat()
{
    const bool value = !m_repeats;
    setPlayModes(m_shuffle, value);
    if (m_session.demo() || !m_session.activeGroupID())
        return;
    // Turning repeat on or off always also ends repeat-one.
    auto task = sendPlayMode(std::nullopt, value, false, *m_session.activeGroupID());
}

QCoro::Task<void> SessionPlayback::sendPlayMode(std::optional<bool> shuffle, std::optional<bool> repeats, std::optional<bool> repeatOne, QString groupID)
{
    const StillCurrent current(this);
    Pending pending(m_session.pending());
    try {
        if (m_session.guest()) {
            const auto host = m_session.guestHost(groupID);
            if (host && m_session.services().local)
                co_await m_session.services().local->playMode(*host, m_shuffle, m_repeats);
        } else if (SonosClient *api = m_session.services().api) {
            co_await api->setPlayModes(groupID, shuffle, repeats, repeatOne);
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "play mode not set:" << e.what();
    }
    // The re-read is authoritative: after a failure it restores the speaker's values.
    if (current)
        co_await refreshPlayback();
}

void SessionPlayback::invalidatePlaybackCommand()
{
    m_playbackCommandID.draw();
    m_playbackRefreshID.draw();
    m_activePlaybackRead.reset();
    setSendingPlaybackCommand(false);
    m_session.appleMusic()->abandonArtistQueue();
}

void SessionPlayback::clearNowPlaying()
{
    setTitle(QString());
    setArtist(QString());
    setServiceName(QString());
    setArtwork(std::nullopt);
}

void SessionPlayback::clearPlaybackReadNote()
{
    if (!m_playbackReadNote)
        return;
    if (m_session.note() == m_playbackReadNote)
        m_session.setNote(std::nullopt);
    m_playbackReadNote.reset();
}

void SessionPlayback::setSendingPlaybackCommand(bool sending)
{
    if (m_sendingPlaybackCommand == sending)
        return;
    m_sendingPlaybackCommand = sending;
    Q_EMIT sendingPlaybackCommandChanged();
}

// --- setters: assign and notify only on change ---

void SessionPlayback::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    Q_EMIT titleChanged();
}

void SessionPlayback::setArtist(const QString &artist)
{
    if (m_artist == artist)
        return;
    m_artist = artist;
    Q_EMIT artistChanged();
}

void SessionPlayback::setServiceName(const QString &name)
{
    if (m_serviceName == name)
        return;
    m_serviceName = name;
    Q_EMIT serviceNameChanged();
}

void SessionPlayback::setArtwork(const std::optional<QUrl> &artwork)
{
    if (m_artwork == artwork)
        return;
    m_artwork = artwork;
    Q_EMIT artworkChanged();
}

void SessionPlayback::setPositionMillis(qint64 position)
{
    if (m_positionMillis == position)
        return;
    m_positionMillis = position;
    Q_EMIT positionMillisChanged();
}

void SessionPlayback::setDurationMillis(qint64 duration)
{
    if (m_durationMillis == duration)
        return;
    m_durationMillis = duration;
    Q_EMIT durationMillisChanged();
}

void SessionPlayback::setIsPlaying(bool playing)
{
    if (m_isPlaying == playing)
        return;
    m_isPlaying = playing;
    Q_EMIT isPlayingChanged();
}

void SessionPlayback::setActions(bool canSkip, bool canSkipBack, bool canSeek)
{
    if (m_canSkip == canSkip && m_canSkipBack == canSkipBack && m_canSeek == canSeek)
        return;
    m_canSkip = canSkip;
    m_canSkipBack = canSkipBack;
    m_canSeek = canSeek;
    Q_EMIT actionsChanged();
}

void SessionPlayback::setPlayModes(bool shuffle, bool repeats)
{
    if (m_shuffle == shuffle && m_repeats == repeats)
        return;
    m_shuffle = shuffle;
    m_repeats = repeats;
    Q_EMIT playModesChanged();
}

} // namespace velotte
