// Group and room volume, mute and the conversation level.
#include "sessionsound.h"

#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"
#include "local/speakerevent.h"

#include <cmath>

namespace velotte {

using namespace std::chrono_literals;

namespace {
int rounded(double value) { return int(std::round(value)); } // half away from zero
} // namespace

SessionSound::SessionSound(HouseSession &session) : QObject(&session), m_session(session)
{
    QObject::connect(&session, &HouseSession::activeGroupIDChanged, this, &SessionSound::followActiveGroup);
}

void SessionSound::setVolume(double volume)
{
    volume = std::clamp(std::isnan(volume) ? 0.0 : volume, 0.0, 100.0);
    if (m_volume == volume)
        return;
    m_volume = volume;
    Q_EMIT volumeChanged();
}

void SessionSound::setMuted(bool muted)
{
    if (m_muted == muted)
        return;
    m_muted = muted;
    Q_EMIT mutedChanged();
}

void SessionSound::setVolumeFixed(bool fixed)
{
    if (m_volumeFixed == fixed)
        return;
    m_volumeFixed = fixed;
    Q_EMIT volumeFixedChanged();
}

void SessionSound::showGroupVolume(int volume)
{
    if (!m_adjustingGroupVolume)
        setVolume(std::clamp(volume, 0, 100));
}

void SessionSound::applyEvent(const SpeakerEvent &event)
{
    const auto group = m_session.activeGroup();
    if (!group)
        return;
    // The coordinator speaks for itself; it speaks for the group when it is
    // the group, or where reads take it so (the local network).
    const bool forGroup = group->playerIds.size() == 1 || m_session.guest();
    if (event.volume) {
        if (!m_volumeTasks.contains(group->coordinatorId)) {
            m_playerVolumes[group->coordinatorId] = std::clamp(*event.volume, 0, 100);
            Q_EMIT playerVolumesChanged();
        }
        if (forGroup)
            showGroupVolume(*event.volume);
    }
    if (event.muted && forGroup)
        setMuted(*event.muted);
}

void SessionSound::invalidate()
{
    for (CancelToken &pending : m_volumeTasks)
        pending.cancel();
    m_volumeTasks.clear();
    m_playerVolumeEdits.clear();
    m_playerVolumes.clear();
    m_conversationVolumes.clear();
    m_conversationRequestID.draw();
    Q_EMIT playerVolumesChanged();
}

void SessionSound::loadDemo()
{
    setVolume(28);
    setMuted(false);
    setVolumeFixed(false);
}

QCoro::Task<void> SessionSound::readGroupVolume(QString groupID, StillCurrent current)
{
    SonosClient *api = m_session.services().api;
    if (!api)
        co_return;
    try {
        const VolumeState state = co_await api->groupVolume(groupID);
        if (!current) // a newer playback read overtook this one
            co_return;
        if (state.volume)
            showGroupVolume(*state.volume);
        setMuted(state.muted.value_or(false));
        setVolumeFixed(state.fixed.value_or(false));
    } catch (const std::exception &e) {
        // The volume shown stays as it was; the playback read reports the room.
        qCDebug(lcSession) << "volume read failed:" << e.what();
    }
}

QCoro::Task<bool> SessionSound::sendVolumeToGroup(QString groupID, int volume)
{
    if (m_session.guest()) {
        QStringList hosts;
        for (const SonosGroup &g : m_session.groups()) {
            if (g.id != groupID)
                continue;
            for (const QString &player : g.playerIds) {
                if (const QString host = m_session.guestHosts().value(player); !host.isEmpty())
                    hosts.append(host);
            }
        }
        const LocalPorts *local = m_session.services().local.get();
        bool ok = !hosts.isEmpty() && local && local->setVolume;
        for (const QString &host : hosts) {
            if (ok)
                ok = co_await local->setVolume(host, volume); // the same integer on each member in turn
        }
        co_return ok;
    }
    SonosClient *api = m_session.services().api;
    if (!api)
        co_return false;
    co_await api->setGroupVolume(groupID, volume);
    co_return true;
}

void SessionSound::commitGroupVolume()
{
    m_adjustingGroupVolume = false;
    // A group change in progress would send the volume to the wrong group.
    const auto group = m_session.activeGroupID();
    if (m_session.demo() || m_volumeFixed || m_session.choosingRoom() || m_session.rooms()->changingRooms() || !group)
        return;
    auto task = sendGroupVolume(rounded(std::clamp(m_volume, 0.0, 100.0)), *group,
                                QStringLiteral("Could not change the volume in %1. Try again.").arg(m_session.groupName(*group)));
}

QCoro::Task<void> SessionSound::sendGroupVolume(int volume, QString groupID, QString failure)
{
    const StillCurrent current(this, m_session.connectionID());
    Pending pending(m_session.pending());
    bool ok = false;
    try {
        ok = co_await sendVolumeToGroup(groupID, volume);
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "group volume failed:" << e.what();
    }
    if (current && !ok)
        m_session.setNote(failure);
}

void SessionSound::setPlayerVolume(const QString &playerID, double value)
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
    if (m_session.demo() || m_playerFixed.value(playerID, false))
        return; // a fixed room is shown but never sent
    CancelToken cancel;
    m_volumeTasks.insert(playerID, cancel);
    auto task = sendPlayerVolume(playerID, rounded(clamped), edit, cancel);
}

QCoro::Task<void> SessionSound::sendPlayerVolume(QString playerID, int volume, QUuid edit, CancelToken cancel)
{
    const StillCurrent alive(this);
    Pending pending(m_session.pending());
    co_await m_session.clock().sleep(400ms, cancel); // only the value held for 0.4 s is sent
    if (!alive || cancel.isCancelled() || m_playerVolumeEdits.value(playerID) != edit)
        co_return;
    const bool local = m_session.guest();
    bool ok = false;
    try {
        if (local) {
            const QString host = m_session.guestHosts().value(playerID);
            const LocalPorts *ports = m_session.services().local.get();
            if (!host.isEmpty() && ports && ports->setVolume)
                ok = co_await ports->setVolume(host, volume);
        } else if (SonosClient *api = m_session.services().api) {
            co_await api->setPlayerVolume(playerID, volume);
            ok = true;
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "room volume failed:" << e.what();
    }
    if (!alive)
        co_return;
    if (m_volumeTasks.value(playerID) == cancel)
        m_volumeTasks.remove(playerID);
    if (!ok && m_playerVolumeEdits.value(playerID) == edit) {
        m_session.setNote(local ? QStringLiteral("Could not change this room’s volume. Check the speaker’s Wi-Fi connection.")
                                : QStringLiteral("Could not change this room’s volume."));
    }
}

void SessionSound::toggleMute()
{
    const bool muted = !m_muted;
    setMuted(muted);
    if (m_session.demo() || !m_session.activeGroupID())
        return;
    auto task = sendMute(muted, *m_session.activeGroupID());
}

QCoro::Task<void> SessionSound::sendMute(bool muted, QString groupID)
{
    const StillCurrent current(this, m_session.connectionID());
    Pending pending(m_session.pending());
    bool ok = false;
    try {
        if (m_session.guest()) {
            const auto host = m_session.guestHost(groupID);
            const LocalPorts *local = m_session.services().local.get();
            if (host && local && local->setMuted)
                ok = co_await local->setMuted(*host, muted);
        } else if (SonosClient *api = m_session.services().api) {
            co_await api->setMuted(groupID, muted);
            ok = true;
        }
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "mute failed:" << e.what();
    }
    if (!current || ok)
        co_return;
    setMuted(!muted);
    m_session.setNote((muted ? QStringLiteral("Could not mute %1. Try again.") : QStringLiteral("Could not unmute %1. Try again."))
                          .arg(m_session.groupName(groupID)));
}

QCoro::Task<void> SessionSound::refreshPlayerVolumes()
{
    const auto group = m_session.activeGroup();
    if (!group || m_session.demo())
        co_return;
    const StillCurrent current(this, m_session.connectionID());
    for (const QString &player : group->playerIds) {
        std::optional<int> volume;
        bool fixed = false;
        const bool guest = m_session.guest();
        if (guest) {
            const QString host = m_session.guestHosts().value(player);
            const LocalPorts *local = m_session.services().local.get();
            if (!host.isEmpty() && local && local->volume)
                volume = co_await local->volume(host);
        } else if (SonosClient *api = m_session.services().api) {
            const VolumeState state = co_await api->playerVolume(player);
            volume = state.volume;
            fixed = state.fixed.value_or(false);
        }
        if (!current)
            co_return;
        if (!volume)
            m_session.speakerFailed(guest ? std::optional<QString>(m_session.guestHosts().value(player)) : std::nullopt);
        // A room being dragged keeps the value under the finger.
        if (!m_volumeTasks.contains(player))
            m_playerVolumes[player] = std::clamp(*volume, 0, 100);
        m_playerFixed[player] = fixed;
    }
    Q_EMIT playerVolumesChanged();
}

QCoro::Task<void> SessionSound::refreshRoomControls()
{
    if (m_session.demo() || !m_session.activeGroupID())
        co_return;
    const StillCurrent current(this, m_session.connectionID());
    const QString groupID = *m_session.activeGroupID();
    try {
        if (m_session.guest()) {
            const auto host = m_session.guestHost(groupID);
            const LocalPorts *local = m_session.services().local.get();
            std::optional<LocalNow> now;
            if (host && local && local->nowPlaying)
                now = co_await local->nowPlaying(*host);
            if (!now)
                m_session.speakerFailed(host);
            if (current) {
                m_session.playback()->setIsPlaying(now->playing);
                if (now->volume && !m_adjustingGroupVolume)
                    setVolume(*now->volume);
            }
        } else if (SonosClient *api = m_session.services().api) {
            const VolumeState state = co_await api->groupVolume(groupID);
            const PlaybackStatus status = co_await api->playback(groupID);
            if (current) {
                if (state.volume)
                    showGroupVolume(*state.volume);
                setMuted(state.muted.value_or(false));
                setVolumeFixed(state.fixed.value_or(false));
                m_session.playback()->setIsPlaying(status.playbackState == QLatin1String("PLAYBACK_STATE_PLAYING"));
            }
        }
        if (!current.alive())
            co_return;
        co_await refreshPlayerVolumes();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current)
            m_session.setNote(QStringLiteral("Rooms could not refresh."));
    }
}

QCoro::Task<bool> SessionSound::setRoomVolume(QHash<QString, int> volumes, QString groupID)
{
    Q_UNUSED(groupID) // the rooms are named by their own ids
    const StillCurrent current(this, m_session.connectionID());
    const bool took = co_await sendRoomVolumes(volumes);
    if (current && !took)
        m_session.setNote(QStringLiteral("Volume could not change in every speaker. Refresh the room before trying again."));
    co_return took;
}

QCoro::Task<bool> SessionSound::sendRoomVolumes(QHash<QString, int> volumes)
{
    const StillCurrent current(this, m_session.connectionID());
    Pending pending(m_session.pending());
    for (auto it = volumes.begin(); it != volumes.end(); ++it) {
        const int volume = std::clamp(it.value(), 0, 100);
        try {
            if (m_session.guest()) {
                const QString host = m_session.guestHosts().value(it.key());
                const LocalPorts *local = m_session.services().local.get();
                if (!host.isEmpty() && local && local->setVolume)
                    co_await local->setVolume(host, volume);
            } else if (SonosClient *api = m_session.services().api) {
                co_await api->setPlayerVolume(it.key(), volume);
            }
        } catch (const Cancelled &) {
            co_return false;
        } catch (const std::exception &e) {
            qCDebug(lcSession) << "room volume not sent:" << e.what(); // the read-back below reports it
        }
        if (!current)
            co_return false;
    }
    // Every room is read back: a send that was refused shows there.
    bool took = true;
    try {
        co_await refreshPlayerVolumes();
    } catch (const std::exception &) {
        took = false;
    }
    if (!current)
        co_return false;
    for (auto it = volumes.begin(); it != volumes.end(); ++it)
        took = took && qRound(m_playerVolumes.value(it.key(), -1)) == std::clamp(it.value(), 0, 100);
    co_return took;
}

} // namespace velotte
