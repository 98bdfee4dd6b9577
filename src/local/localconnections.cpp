#include "localconnections.h"

#include "speakerfinder.h"

#include <QRegularExpression>

namespace velotte {

HostSource manualHosts(const QStringList &hosts)
{
    return [hosts]() -> QCoro::Task<QHash<QString, QString>> {
        QHash<QString, QString> map;
        for (const QString &entry : hosts) {
            const QString h = entry.trimmed();
            if (!h.isEmpty())
                map.insert(h, h);
        }
        co_return map;
    };
}

HostSource speakerHosts(const QStringList &manual)
{
    if (!manual.isEmpty())
        return manualHosts(manual);
    return [] { return SpeakerFinder::shared().hosts(); };
}

LocalHouseConnection LocalHouseConnection::live(GuestHouse &house, HostSource hosts)
{
    GuestHouse *h = &house;
    LocalHouseConnection c;
    c.discover = [h, hosts]() -> QCoro::Task<GuestHouse::Snapshot> {
        const QHash<QString, QString> found = co_await hosts();
        co_return co_await h->discover(found);
    };
    c.nowPlaying = [h](QString host) { return h->nowPlaying(host); };
    c.join = [h](QString coordinator, QString host) { return h->join(coordinator, host); };
    c.separate = [h](QString host) { return h->separate(host); };
    c.delegate = [h](QString coordinator, QString host) { return h->delegate(coordinator, host); };
    return c;
}

LocalBassConnection LocalBassConnection::live(GuestHouse &house, HostSource hosts)
{
    GuestHouse *h = &house;
    LocalBassConnection c;
    c.discover = hosts;
    c.read = [h](QString host) { return h->bass(host); };
    c.write = [h](QString host, int bass) { return h->setBass(host, bass); };
    return c;
}

QString LocalBassConnection::deviceID(const QString &text)
{
    static const QRegularExpression rincon(QStringLiteral("RINCON_[A-Z0-9]+"));
    const QString upper = text.toUpper();
    if (const auto m = rincon.match(upper); m.hasMatch())
        return m.captured(0);
    return upper.section(QLatin1Char('@'), 0, 0).section(QLatin1Char(':'), 0, 0);
}

std::optional<QString> LocalBassConnection::host(const QString &playerID, const QHash<QString, QString> &services)
{
    const QString wanted = deviceID(playerID);
    for (auto it = services.begin(); it != services.end(); ++it) {
        if (deviceID(it.key()) == wanted)
            return it.value();
    }
    return std::nullopt;
}

} // namespace velotte
