#pragma once

#include "local/applemusicidentity.h"
#include "local/guesthouse.h"
#include "local/speakerqueue.h"

#include "core/cancel.h"

#include <QCoroTask>
#include <QHash>

#include <functional>
#include <optional>

namespace velotte {

class EventSubscriptions;

// What a room plays and the household as local discovery sees it: the
// records of the local speaker layer.
using LocalNow = GuestHouse::Now;
using LocalSnapshot = GuestHouse::Snapshot;

// The local-network operations the session runs; the live value binds them
// to the speakers, tests and the demo replace them with functions. Every
// operation answers "no value" or false on failure, never throws.
struct LocalPorts {
    std::function<QCoro::Task<LocalSnapshot>()> discover;
    std::function<QCoro::Task<std::optional<LocalNow>>(QString host)> nowPlaying;
    std::function<QCoro::Task<bool>(QString action, QString host)> transport; // Play, Pause, Next, Previous
    std::function<QCoro::Task<bool>(QString host, qint64 millis)> seek;
    std::function<QCoro::Task<bool>(QString host, bool shuffle, bool repeats)> playMode;
    std::function<QCoro::Task<std::optional<int>>(QString host)> volume;
    std::function<QCoro::Task<bool>(QString host, int volume)> setVolume;
    std::function<QCoro::Task<bool>(QString host, bool muted)> setMuted;
    std::function<QCoro::Task<bool>(QString coordinator, QString host)> join;
    std::function<QCoro::Task<bool>(QString host)> separate;
    std::function<QCoro::Task<bool>(QString coordinator, QString host)> delegate;
    // Bass is always local, even in cloud operation.
    std::function<QCoro::Task<std::optional<QString>>(QString playerID)> hostForPlayer; // found by Bonjour
    std::function<QCoro::Task<std::optional<int>>(QString host)> bass;
    // Why the speaker at `host` failed its last action; none after a success.
    std::function<std::optional<SpeakerFault>(QString host)> fault;
    std::function<QCoro::Task<bool>(QString host, int bass)> setBass;
    // Apple Music straight into a coordinator's queue. Unlike the rest,
    // queueing throws: its failures carry sentences of their own.
    std::function<QCoro::Task<bool>(QString coordinator, QString host)> isCoordinator;
    // The household's Apple Music account number is learned once per `household`.
    std::function<QCoro::Task<void>(QList<AppleMusicIdentity> items, QString host, QString coordinator, AppleMusicAction action,
                                    std::function<void(int)> progress, CancelToken cancel, QString household)>
        queueAppleMusic;
    // Live updates from the speakers; none without a local network.
    std::shared_ptr<EventSubscriptions> events;
    // A coordinator's queue, and edits made with the update id it was read
    // with. These throw SpeakerFault: 1028 when the queue changed meanwhile.
    std::function<QCoro::Task<SpeakerQueue::Contents>(QString host)> queue;
    std::function<QCoro::Task<void>(QString host, int track, qint64 updateID)> jumpInQueue;
    std::function<QCoro::Task<void>(QString host, int track, qint64 updateID)> removeFromQueue;
    std::function<QCoro::Task<void>(QString host, int from, int to, qint64 updateID)> moveInQueue;
    std::function<QCoro::Task<void>(QString host)> clearQueue;
    // A coordinator's sleep timer: none cancels it, and is read when none runs. Throw SpeakerFault.
    std::function<QCoro::Task<void>(QString host, std::optional<qint64> millis)> setSleepTimer;
    std::function<QCoro::Task<std::optional<qint64>>(QString host)> sleepTimer;
};

} // namespace velotte
