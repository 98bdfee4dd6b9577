// Transport commands: one at a time, optimistic, then a re-read.
#include "housesession.h"
#include "pending.h"
#include "localports.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

#include <cmath>

namespace velotte {

namespace {
enum SkipKind { restart, next, previous };
const char *skipVerb(int kind)
{
    switch (kind) {
    case restart: return "restart the song";
    case next: return "play the next song";
    default: return "play the previous song";
    }
}
QString commandFailed(const QString &action, const QString &room, const std::exception &e)
{
    return QStringLiteral("Could not %1 in %2. %3").arg(action, room, sentenceOf(e));
}
} // namespace

void HouseSession::toggle()
{
    if (m_demo) {
        setIsPlaying(!m_isPlaying);
        resetClock(m_positionMillis, m_isPlaying);
        return;
    }
    if (!m_activeGroupID) {
        setNote(QStringLiteral("Choose a room."));
        return;
    }
    if (m_sendingPlaybackCommand)
        return;
    const bool play = !m_isPlaying;
    const QUuid command = m_playbackCommandID = QUuid::createUuid();
    m_playbackRefreshID = QUuid::createUuid(); // a read already in flight must not undo this
    setSendingPlaybackCommand(true);
    setIsPlaying(play);
    resetClock(std::max<qint64>(0, m_positionMillis), play);
    setNote(std::nullopt);
    auto task = sendToggle(play, *m_activeGroupID, command);
}

QCoro::Task<void> HouseSession::sendToggle(bool play, QString groupID, QUuid command)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    try {
        if (m_guest) {
            const auto host = guestHost(groupID);
            if (!host || !m_services.local)
                speakerFailed(host);
            const QString verb = play ? QStringLiteral("Play") : QStringLiteral("Pause");
            const bool sent = co_await m_services.local->transport(verb, *host);
            if (!sent)
                speakerFailed(host);
        } else if (m_services.api) {
            co_await m_services.api->setPlaying(groupID, play);
        }
        if (!self || command != m_playbackCommandID)
            co_return;
        co_await refreshPlayback();
        if (self && command == m_playbackCommandID)
            setSendingPlaybackCommand(false);
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && command == m_playbackCommandID) {
            setNote(commandFailed(play ? QStringLiteral("play") : QStringLiteral("pause"), groupName(groupID), e));
            setSendingPlaybackCommand(false);
        }
    }
}

void HouseSession::skip(bool forward)
{
    if (m_demo) {
        applyDemoTrack(m_demoIndex + (forward ? 1 : -1));
        return;
    }
    int kind = next;
    if (forward) {
        if (!m_canSkip) {
            setNote(QStringLiteral("Sonos cannot skip forward for this source or queue. Choose an album or playlist in Browse."));
            return;
        }
    } else {
        kind = m_canSeek && m_positionMillis > 3000 ? restart : previous;
        if (kind == previous && !m_canSkipBack) {
            setNote(QStringLiteral("Sonos cannot go to a previous track for this source or queue."));
            return;
        }
    }
    setNote(std::nullopt);
    if (!m_activeGroupID) {
        setNote(QStringLiteral("Choose a room."));
        return;
    }
    if (m_sendingPlaybackCommand)
        return;
    const QUuid command = m_playbackCommandID = QUuid::createUuid();
    m_playbackRefreshID = QUuid::createUuid();
    setSendingPlaybackCommand(true);
    if (kind == restart) {
        setPositionMillis(0);
        resetClock(0, m_isPlaying);
    }
    auto task = sendSkip(kind, *m_activeGroupID, command);
}

QCoro::Task<void> HouseSession::sendSkip(int kind, QString groupID, QUuid command)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    try {
        if (m_guest) {
            const auto host = guestHost(groupID);
            bool ok = host && m_services.local;
            if (ok && kind == restart)
                ok = co_await m_services.local->seek(*host, 0);
            else if (ok)
                ok = co_await m_services.local->transport(kind == next ? QStringLiteral("Next") : QStringLiteral("Previous"), *host);
            if (!ok)
                speakerFailed(host);
        } else if (m_services.api) {
            if (kind == restart)
                co_await m_services.api->seek(groupID, 0);
            else
                co_await m_services.api->command(groupID, kind == next ? QStringLiteral("playback/skipToNextTrack") : QStringLiteral("playback/skipToPreviousTrack"));
        }
        if (!self || command != m_playbackCommandID)
            co_return;
        co_await refreshPlayback();
        if (self && command == m_playbackCommandID)
            setSendingPlaybackCommand(false);
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && command == m_playbackCommandID) {
            setNote(commandFailed(QLatin1String(skipVerb(kind)), groupName(groupID), e));
            setSendingPlaybackCommand(false);
        }
    }
}

void HouseSession::seek(double fraction)
{
    const double clamped = std::isnan(fraction) ? 0.0 : std::clamp(fraction, 0.0, 1.0);
    const qint64 target = qint64(std::round(clamped * double(m_durationMillis))); // half away from zero
    setPositionMillis(target);
    if (m_demo)
        return;
    resetClock(target, m_isPlaying);
    if (!m_activeGroupID)
        return;
    auto task = sendSeek(target, *m_activeGroupID);
}

QCoro::Task<void> HouseSession::sendSeek(qint64 target, QString groupID)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QUuid connection = m_connectionID;
    if (m_guest) {
        const auto host = guestHost(groupID);
        if (host && m_services.local)
            co_await m_services.local->seek(*host, target);
        co_return;
    }
    if (!m_services.api)
        co_return;
    try {
        co_await m_services.api->seek(groupID, target);
        if (!self || connection != m_connectionID)
            co_return;
        co_await refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && connection == m_connectionID)
            setNote(sentenceOf(e));
    }
}

void HouseSession::toggleShuffle()
{
    const bool value = !m_shuffle;
    setPlayModes(value, m_repeats);
    if (m_demo || !m_activeGroupID)
        return;
    auto task = sendPlayMode(value, std::nullopt, std::nullopt, *m_activeGroupID);
}

void HouseSession::toggleRepeat()
{
    const bool value = !m_repeats;
    setPlayModes(m_shuffle, value);
    if (m_demo || !m_activeGroupID)
        return;
    // Turning repeat on or off always also ends repeat-one.
    auto task = sendPlayMode(std::nullopt, value, false, *m_activeGroupID);
}

QCoro::Task<void> HouseSession::sendPlayMode(std::optional<bool> shuffle, std::optional<bool> repeats, std::optional<bool> repeatOne, QString groupID)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    try {
        if (m_guest) {
            const auto host = guestHost(groupID);
            if (host && m_services.local)
                co_await m_services.local->playMode(*host, m_shuffle, m_repeats);
        } else if (m_services.api) {
            co_await m_services.api->setPlayModes(groupID, shuffle, repeats, repeatOne);
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "play mode not set:" << e.what();
    }
    // The re-read is authoritative: after a failure it restores the speaker's values.
    if (self)
        co_await refreshPlayback();
}

void HouseSession::invalidatePlaybackCommand()
{
    m_playbackCommandID = QUuid::createUuid();
    m_playbackRefreshID = QUuid::createUuid();
    setSendingPlaybackCommand(false);
    cancelArtistQueue();
}

void HouseSession::clearNowPlaying()
{
    setTitle(QString());
    setArtist(QString());
    setServiceName(QString());
    setArtwork(std::nullopt);
}

void HouseSession::clearPlaybackReadNote()
{
    if (!m_playbackReadNote)
        return;
    if (m_note == m_playbackReadNote)
        setNote(std::nullopt);
    m_playbackReadNote.reset();
}

} // namespace velotte
