// Group and room volume, mute, bass and the conversation level.
#include "housesession.h"
#include "pending.h"
#include "localports.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

#include <cmath>

namespace velotte {

using namespace std::chrono_literals;

namespace {
const QString noBassHost = QStringLiteral("Connect this device and your Sonos speaker to the same Wi-Fi, then retry.");
const QString bassFailed = QStringLiteral("Bass could not be changed. Check the speaker’s connection and retry.");
const QString bassUnreachable = QStringLiteral("Could not connect to Sonos.");

int rounded(double value) { return int(std::round(value)); } // half away from zero

} // namespace

QCoro::Task<void> HouseSession::settle()
{
    const auto pending = m_pending;
    while (pending->count > 0) {
        Wakeup done;
        pending->waiters.push_back(done);
        co_await done;
    }
}

QCoro::Task<bool> HouseSession::sendVolumeToGroup(QString groupID, int volume)
{
    if (m_guest) {
        QStringList hosts;
        for (const SonosGroup &g : m_groups) {
            if (g.id != groupID)
                continue;
            for (const QString &player : g.playerIds) {
                if (const QString host = m_guestHosts.value(player); !host.isEmpty())
                    hosts.append(host);
            }
        }
        bool ok = !hosts.isEmpty() && m_services.local && m_services.local->setVolume;
        for (const QString &host : hosts) {
            if (ok)
                ok = co_await m_services.local->setVolume(host, volume); // the same integer on each member in turn
        }
        co_return ok;
    }
    if (!m_services.api)
        co_return false;
    co_await m_services.api->setGroupVolume(groupID, volume);
    co_return true;
}

void HouseSession::commitGroupVolume()
{
    m_adjustingGroupVolume = false;
    // A group change in progress would send the volume to the wrong group.
    if (m_demo || m_volumeFixed || m_choosingRoom || m_changingRooms || !m_activeGroupID)
        return;
    const QString room = groupName(*m_activeGroupID);
    auto task = sendGroupVolume(rounded(std::clamp(m_volume, 0.0, 100.0)), *m_activeGroupID, m_connectionID,
                                QStringLiteral("Could not change the volume in %1. Try again.").arg(room));
}

QCoro::Task<void> HouseSession::sendGroupVolume(int volume, QString groupID, QUuid connection, QString failure)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    bool ok = false;
    try {
        ok = co_await sendVolumeToGroup(groupID, volume);
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "group volume failed:" << e.what();
    }
    if (self && !ok && connection == m_connectionID)
        setNote(failure);
}

void HouseSession::setPlayerVolume(const QString &playerID, double value)
{
    const double clamped = std::clamp(std::isnan(value) ? 0.0 : value, 0.0, 100.0);
    if (m_playerVolumes.value(playerID, -1) != clamped) {
        m_playerVolumes[playerID] = clamped;
        Q_EMIT playerVolumesChanged();
    }
    const QUuid edit = QUuid::createUuid();
    m_playerVolumeEdits[playerID] = edit;
    if (auto pending = m_volumeTasks.find(playerID); pending != m_volumeTasks.end()) {
        pending->cancel();
        m_volumeTasks.erase(pending);
    }
    if (m_demo || m_playerFixed.value(playerID, false))
        return; // a fixed room is shown but never sent
    CancelToken cancel;
    m_volumeTasks.insert(playerID, cancel);
    auto task = sendPlayerVolume(playerID, rounded(clamped), edit, cancel);
}

QCoro::Task<void> HouseSession::sendPlayerVolume(QString playerID, int volume, QUuid edit, CancelToken cancel)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    co_await m_clock.sleep(400ms, cancel); // only the value held for 0.4 s is sent
    if (!self || cancel.isCancelled() || m_playerVolumeEdits.value(playerID) != edit)
        co_return;
    const bool local = m_guest;
    bool ok = false;
    try {
        if (local) {
            const QString host = m_guestHosts.value(playerID);
            if (!host.isEmpty() && m_services.local && m_services.local->setVolume)
                ok = co_await m_services.local->setVolume(host, volume);
        } else if (m_services.api) {
            co_await m_services.api->setPlayerVolume(playerID, volume);
            ok = true;
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "room volume failed:" << e.what();
    }
    if (!self)
        co_return;
    if (m_volumeTasks.value(playerID) == cancel)
        m_volumeTasks.remove(playerID);
    if (!ok && m_playerVolumeEdits.value(playerID) == edit) {
        setNote(local ? QStringLiteral("Could not change this room’s volume. Check the speaker’s Wi-Fi connection.")
                      : QStringLiteral("Could not change this room’s volume."));
    }
}

void HouseSession::toggleMute()
{
    const bool muted = !m_muted;
    setMuted(muted);
    if (m_demo || !m_activeGroupID)
        return;
    auto task = sendMute(muted, *m_activeGroupID, m_connectionID);
}

QCoro::Task<void> HouseSession::sendMute(bool muted, QString groupID, QUuid connection)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    bool ok = false;
    try {
        if (m_guest) {
            const auto host = guestHost(groupID);
            if (host && m_services.local && m_services.local->setMuted)
                ok = co_await m_services.local->setMuted(*host, muted);
        } else if (m_services.api) {
            co_await m_services.api->setMuted(groupID, muted);
            ok = true;
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "mute failed:" << e.what();
    }
    if (!self || ok || connection != m_connectionID)
        co_return;
    setMuted(!muted);
    setNote((muted ? QStringLiteral("Could not mute %1. Try again.") : QStringLiteral("Could not unmute %1. Try again.")).arg(groupName(groupID)));
}

QCoro::Task<void> HouseSession::refreshPlayerVolumes()
{
    const auto group = activeGroup();
    if (!group || m_demo)
        co_return;
    QPointer<HouseSession> self(this);
    const QUuid connection = m_connectionID;
    for (const QString &player : group->playerIds) {
        std::optional<int> volume;
        bool fixed = false;
        if (m_guest) {
            const QString host = m_guestHosts.value(player);
            if (!host.isEmpty() && m_services.local && m_services.local->volume)
                volume = co_await m_services.local->volume(host);
        } else if (m_services.api) {
            const VolumeState state = co_await m_services.api->playerVolume(player);
            volume = state.volume;
            fixed = state.fixed.value_or(false);
        }
        if (!self || connection != m_connectionID)
            co_return;
        if (!volume)
            speakerFailed(m_guest ? std::optional<QString>(m_guestHosts.value(player)) : std::nullopt);
        // A room being dragged keeps the value under the finger.
        if (!m_volumeTasks.contains(player))
            m_playerVolumes[player] = std::clamp(*volume, 0, 100);
        m_playerFixed[player] = fixed;
    }
    Q_EMIT playerVolumesChanged();
}

QCoro::Task<void> HouseSession::refreshRoomControls()
{
    if (m_demo || !m_activeGroupID)
        co_return;
    QPointer<HouseSession> self(this);
    const QUuid connection = m_connectionID;
    const QString groupID = *m_activeGroupID;
    try {
        if (m_guest) {
            const auto host = guestHost(groupID);
            std::optional<LocalNow> now;
            if (host && m_services.local && m_services.local->nowPlaying)
                now = co_await m_services.local->nowPlaying(*host);
            if (!now)
                speakerFailed(host);
            if (self && connection == m_connectionID) {
                setIsPlaying(now->playing);
                if (now->volume && !m_adjustingGroupVolume)
                    setVolume(*now->volume);
            }
        } else if (m_services.api) {
            const VolumeState state = co_await m_services.api->groupVolume(groupID);
            const PlaybackStatus status = co_await m_services.api->playback(groupID);
            if (self && connection == m_connectionID) {
                if (state.volume && !m_adjustingGroupVolume)
                    setVolume(std::clamp(*state.volume, 0, 100));
                setMuted(state.muted.value_or(false));
                setVolumeFixed(state.fixed.value_or(false));
                setIsPlaying(status.playbackState == QLatin1String("PLAYBACK_STATE_PLAYING"));
            }
        }
        if (!self)
            co_return;
        co_await refreshPlayerVolumes();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && connection == m_connectionID)
            setNote(QStringLiteral("Rooms could not refresh."));
    }
}

QCoro::Task<bool> HouseSession::setRoomVolume(QHash<QString, int> volumes, QString groupID)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QUuid connection = m_connectionID;
    for (auto it = volumes.begin(); it != volumes.end(); ++it) {
        const int volume = std::clamp(it.value(), 0, 100);
        try {
            if (m_guest) {
                const QString host = m_guestHosts.value(it.key());
                if (!host.isEmpty() && m_services.local && m_services.local->setVolume)
                    co_await m_services.local->setVolume(host, volume);
            } else if (m_services.api) {
                co_await m_services.api->setPlayerVolume(it.key(), volume);
            }
        } catch (const Cancelled &) {
            co_return false;
        } catch (const std::exception &e) {
            qCDebug(lcSession) << "room volume not sent:" << e.what(); // the read-back below reports it
        }
        if (!self || connection != m_connectionID)
            co_return false;
    }
    bool took = true;
    try {
        co_await refreshPlayerVolumes();
    } catch (const std::exception &) {
        took = false;
    }
    if (!self || connection != m_connectionID)
        co_return false;
    for (auto it = volumes.begin(); it != volumes.end(); ++it)
        took = took && qRound(m_playerVolumes.value(it.key(), -1)) == std::clamp(it.value(), 0, 100);
    if (!took)
        setNote(QStringLiteral("Volume could not change in every speaker. Refresh the room before trying again."));
    Q_UNUSED(groupID)
    co_return took;
}

// --- bass: always over the local network ---

void HouseSession::setBassValue(double bass)
{
    if (m_bass == bass)
        return;
    m_bass = bass;
    Q_EMIT bassChanged();
}

void HouseSession::setBassNote(const std::optional<QString> &note)
{
    if (m_bassNote == note)
        return;
    m_bassNote = note;
    Q_EMIT bassChanged();
}

QCoro::Task<std::optional<QString>> HouseSession::findBassHost(QString groupID)
{
    if (m_guest)
        co_return guestHost(groupID);
    QString coordinator;
    for (const SonosGroup &g : m_groups) {
        if (g.id == groupID)
            coordinator = g.coordinatorId;
    }
    co_return co_await playerHost(coordinator);
}

QCoro::Task<std::optional<QString>> HouseSession::playerHost(QString playerID)
{
    if (playerID.isEmpty())
        co_return std::nullopt;
    if (m_guest) {
        const QString host = m_guestHosts.value(playerID);
        if (host.isEmpty())
            co_return std::nullopt;
        co_return host;
    }
    for (const SonosPlayer &p : m_players) {
        if (p.id == playerID) {
            if (auto host = p.localHost())
                co_return host;
        }
    }
    if (!m_services.local || !m_services.local->hostForPlayer)
        co_return std::nullopt;
    co_return co_await m_services.local->hostForPlayer(playerID);
}

QCoro::Task<void> HouseSession::refreshBassControl()
{
    if (m_demo || !m_activeGroupID)
        co_return;
    QPointer<HouseSession> self(this);
    const QUuid request = m_bassRequestID = QUuid::createUuid();
    const QString groupID = *m_activeGroupID;
    m_findingBass = true;
    Q_EMIT bassChanged();
    const std::optional<QString> host = co_await findBassHost(groupID);
    if (!self || request != m_bassRequestID)
        co_return;
    m_findingBass = false;
    m_bassHost = host;
    m_bassGroupID = groupID;
    Q_EMIT bassChanged();
    if (!host) {
        setBassNote(noBassHost);
        co_return;
    }
    std::optional<int> level;
    if (m_services.local && m_services.local->bass)
        level = co_await m_services.local->bass(*host);
    if (!self || request != m_bassRequestID)
        co_return;
    if (!level) {
        const std::optional<SpeakerFault> fault = speakerFault(host);
        setBassNote(fault && fault->kind() == SpeakerFault::Kind::localControlOff ? fault->sentence() : bassUnreachable);
        co_return;
    }
    const double fraction = (std::clamp(*level, -10, 10) + 10) / 20.0;
    m_confirmedBass = fraction;
    setBassValue(fraction);
    setBassNote(std::nullopt);
}

void HouseSession::setBass(double fraction)
{
    if (!m_demo && !m_bassHost)
        return;
    const int level = fraction <= 0 || std::isnan(fraction) ? -10 : rounded(std::min(fraction, 1.0) * 20 - 10);
    setBassValue((level + 10) / 20.0);
    if (m_bassTask) {
        m_bassTask->cancel();
        m_bassTask.reset();
    }
    if (m_demo || !m_bassHost)
        return;
    const QUuid edit = m_bassEditID = QUuid::createUuid();
    setBassNote(std::nullopt);
    CancelToken cancel;
    m_bassTask = cancel;
    auto task = writeBass(level, *m_bassHost, edit, cancel);
}

QCoro::Task<void> HouseSession::writeBass(int level, QString host, QUuid edit, CancelToken cancel)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    co_await m_clock.sleep(250ms, cancel); // the slider's debounce
    if (!self || cancel.isCancelled() || edit != m_bassEditID)
        co_return;
    bool ok = false;
    if (m_services.local && m_services.local->setBass)
        ok = co_await m_services.local->setBass(host, level);
    if (!self)
        co_return;
    if (m_bassTask && *m_bassTask == cancel)
        m_bassTask.reset();
    if (edit != m_bassEditID)
        co_return;
    if (ok) {
        m_confirmedBass = m_bass;
        co_return;
    }
    setBassValue(m_confirmedBass);
    const std::optional<SpeakerFault> fault = speakerFault(host);
    if (fault && fault->kind() == SpeakerFault::Kind::localControlOff)
        setBassNote(fault->sentence());
    else if (fault && fault->kind() == SpeakerFault::Kind::noAnswer)
        setBassNote(bassUnreachable);
    else
        setBassNote(bassFailed);
}

// --- conversation: one click lowers the room, the next restores it ---

bool HouseSession::conversationOn() const { return m_activeGroupID && m_conversationVolumes.contains(*m_activeGroupID); }

QString HouseSession::conversationHelp() const
{
    return m_muted ? QStringLiteral("Hold to unmute. Click for Conversation.") : QStringLiteral("Click for Conversation. Hold to mute.");
}

QCoro::Task<void> HouseSession::toggleConversation()
{
    if (!m_activeGroupID)
        co_return;
    QPointer<HouseSession> self(this);
    const QString room = *m_activeGroupID;
    double target = 0;
    if (auto entry = m_conversationVolumes.find(room); entry == m_conversationVolumes.end()) {
        const double lowered = std::min(m_volume, 12.0);
        m_conversationVolumes.insert(room, {m_volume, lowered});
        target = lowered;
    } else {
        const ConversationLevel level = *entry;
        m_conversationVolumes.erase(entry);
        if (std::abs(m_volume - level.lowered) > 1) {
            // The user turned the volume meanwhile: theirs wins.
            Q_EMIT conversationChanged();
            setNote(QStringLiteral("Keeping your new volume."));
            co_return;
        }
        target = level.original;
    }
    Q_EMIT conversationChanged();
    setVolume(target);
    if (m_demo)
        co_return;
    const QUuid request = m_conversationRequestID = QUuid::createUuid();
    m_changingConversation = true;
    bool ok = false;
    {
        Pending pending(m_pending);
        try {
            ok = co_await sendVolumeToGroup(room, rounded(target));
        } catch (const Cancelled &) {
            if (self)
                m_changingConversation = false;
            co_return;
        } catch (const std::exception &e) {
            qCDebug(lcSession) << "conversation volume failed:" << e.what();
        }
    }
    if (!self)
        co_return;
    m_changingConversation = false;
    if (!ok && request == m_conversationRequestID)
        setNote(QStringLiteral("Room volume could not change. Try again."));
}

} // namespace velotte
