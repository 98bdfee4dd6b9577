#include "liveports.h"

#include "local/applemusicdirect.h"
#include "local/eventsubscriptions.h"
#include "local/sleeptimer.h"

namespace velotte {

std::shared_ptr<LocalPorts> liveLocalPorts(GuestHouse &house, HostSource hosts, quint16 eventPort)
{
    const LocalHouseConnection rooms = LocalHouseConnection::live(house, hosts);
    const LocalBassConnection bass = LocalBassConnection::live(house, hosts);
    auto p = std::make_shared<LocalPorts>();
    GuestHouse *h = &house;
    p->discover = rooms.discover;
    p->nowPlaying = rooms.nowPlaying;
    p->join = rooms.join;
    p->separate = rooms.separate;
    p->delegate = rooms.delegate;
    p->transport = [h](QString action, QString host) { return h->transport(action, host); };
    p->seek = [h](QString host, qint64 millis) { return h->seek(host, millis); };
    p->playMode = [h](QString host, bool shuffle, bool repeats) { return h->playMode(host, shuffle, repeats); };
    p->volume = [h](QString host) { return h->volume(host); };
    p->setVolume = [h](QString host, int volume) { return h->setVolume(host, volume); };
    p->setMuted = [h](QString host, bool muted) { return h->setMuted(host, muted); };
    p->bass = bass.read;
    p->fault = [h](QString host) { return h->fault(host); };
    p->setBass = bass.write;
    p->hostForPlayer = [bass, rooms](QString player) -> QCoro::Task<std::optional<QString>> {
        const QHash<QString, QString> services = co_await bass.discover();
        if (std::optional<QString> host = LocalBassConnection::host(player, services))
            co_return host;
        // A list of addresses names no speaker: ask them which rooms they hold.
        const LocalSnapshot snapshot = co_await rooms.discover();
        co_return LocalBassConnection::host(player, snapshot.hosts);
    };
    auto direct = std::make_shared<AppleMusicDirect>(house.http());
    p->isCoordinator = [direct](QString coordinator, QString host) { return direct->isCoordinator(coordinator, host); };
    p->queueAppleMusic = [direct](QList<AppleMusicIdentity> items, QString host, QString coordinator, AppleMusicAction action,
                                  std::function<void(int)> progress, CancelToken cancel, QString household) {
        return direct->play(std::move(items), std::move(host), std::move(coordinator), action, std::move(progress), std::move(cancel),
                            std::move(household));
    };
    p->events = std::make_shared<EventSubscriptions>(house.http(), Clock::system(), eventPort);
    auto queue = std::make_shared<SpeakerQueue>(house.http());
    p->queue = [queue](QString host) { return queue->read(std::move(host)); };
    p->jumpInQueue = [queue](QString host, int track, qint64 id) { return queue->jump(std::move(host), track, id); };
    p->removeFromQueue = [queue](QString host, int track, qint64 id) { return queue->remove(std::move(host), track, id); };
    p->moveInQueue = [queue](QString host, int from, int to, qint64 id) { return queue->move(std::move(host), from, to, id); };
    p->clearQueue = [queue](QString host) { return queue->clear(std::move(host)); };
    HttpTransport *http = &house.http();
    p->setSleepTimer = [http](QString host, std::optional<qint64> millis) { return SleepTimer::set(*http, std::move(host), millis); };
    p->sleepTimer = [http](QString host) { return SleepTimer::remaining(*http, std::move(host)); };
    return p;
}

} // namespace velotte
