#include "liveports.h"

#include "local/applemusicdirect.h"

namespace velotte {

std::shared_ptr<LocalPorts> liveLocalPorts(GuestHouse &house, HostSource hosts)
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
    return p;
}

} // namespace velotte
