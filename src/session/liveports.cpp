#include "liveports.h"

#include "local/guesthouse.h"

#include <QRegularExpression>

namespace velotte {

HostSource manualHosts(const QStringList &hosts)
{
    return [hosts]() -> QCoro::Task<QHash<QString, QString>> {
        QHash<QString, QString> map;
        for (const QString &h : hosts)
            map.insert(h, h);
        co_return map;
    };
}

namespace {
LocalNow toNow(const GuestHouse::Now &n)
{
    return {n.title, n.artist, n.positionMillis, n.durationMillis, n.playing, n.volume, n.canSkip, n.canSkipBack, n.canSeek};
}

// The device id in a player id or a Bonjour service name.
QString deviceID(const QString &text)
{
    static const QRegularExpression rincon(QStringLiteral("RINCON_[A-Z0-9]+"));
    const QString upper = text.toUpper();
    if (const auto m = rincon.match(upper); m.hasMatch())
        return m.captured(0);
    return upper.section(QLatin1Char('@'), 0, 0).section(QLatin1Char(':'), 0, 0);
}
} // namespace

std::shared_ptr<LocalPorts> liveLocalPorts(GuestHouse &house, HostSource hosts)
{
    auto p = std::make_shared<LocalPorts>();
    GuestHouse *h = &house;
    p->discover = [h, hosts]() -> QCoro::Task<LocalSnapshot> {
        const GuestHouse::Snapshot s = co_await h->discover(co_await hosts());
        co_return LocalSnapshot{s.players, s.groups, s.hosts};
    };
    p->nowPlaying = [h](QString host) -> QCoro::Task<std::optional<LocalNow>> {
        const auto now = co_await h->nowPlaying(host);
        co_return now ? std::optional<LocalNow>(toNow(*now)) : std::nullopt;
    };
    p->transport = [h](QString action, QString host) { return h->transport(action, host); };
    p->seek = [h](QString host, qint64 millis) { return h->seek(host, millis); };
    p->playMode = [h](QString host, bool shuffle, bool repeats) { return h->playMode(host, shuffle, repeats); };
    p->volume = [h](QString host) { return h->volume(host); };
    p->setVolume = [h](QString host, int volume) { return h->setVolume(host, volume); };
    p->setMuted = [h](QString host, bool muted) { return h->setMuted(host, muted); };
    p->join = [h](QString coordinator, QString host) { return h->join(coordinator, host); };
    p->separate = [h](QString host) { return h->separate(host); };
    p->delegate = [h](QString coordinator, QString host) { return h->delegate(coordinator, host); };
    p->bass = [h](QString host) { return h->bass(host); };
    p->setBass = [h](QString host, int bass) { return h->setBass(host, bass); };
    p->hostForPlayer = [hosts](QString player) -> QCoro::Task<std::optional<QString>> {
        const QHash<QString, QString> map = co_await hosts();
        const QString wanted = deviceID(player);
        for (auto it = map.begin(); it != map.end(); ++it) {
            if (deviceID(it.key()) == wanted)
                co_return it.value();
        }
        co_return std::nullopt;
    };
    return p;
}

} // namespace velotte
