#include "wiring.h"

#include "core/networktransport.h"
#include "core/settings.h"
#include "local/avahibrowser.h"
#include "local/guesthouse.h"
#include "local/speakerfinder.h"
#include "session/liveports.h"

namespace velotte::cli {

struct Wiring::Parts {
    GlobalOptions options;
    std::unique_ptr<GuestHouse> house;
    std::unique_ptr<AvahiBrowser> bonjour;
    std::unique_ptr<SpeakerFinder> finder;
    std::shared_ptr<LocalPorts> local;
};

Wiring::Wiring(const GlobalOptions &options) : d(std::make_unique<Parts>())
{
    d->options = options;
    if (options.demo)
        return;
    d->house = std::make_unique<GuestHouse>(NetworkTransport::shared());
    // A manual list wins over Bonjour: many networks block multicast.
    QStringList hosts = options.speakers;
    if (hosts.isEmpty())
        hosts = ServiceAddresses::load().speakers;
    if (!hosts.isEmpty()) {
        d->local = liveLocalPorts(*d->house, manualHosts(hosts));
        return;
    }
    d->bonjour = std::make_unique<AvahiBrowser>();
    d->finder = std::make_unique<SpeakerFinder>(*d->bonjour, Clock::system());
    SpeakerFinder *finder = d->finder.get();
    d->local = liveLocalPorts(*d->house, [finder]() { return finder->hosts(); });
}

Wiring::~Wiring() = default;

HouseSession::Services Wiring::services()
{
    HouseSession::Services s;
    if (d->options.guest || !d->options.speakers.isEmpty())
        s.arguments << QStringLiteral("-VelotteGuest");
    s.local = d->local;
    return s;
}

} // namespace velotte::cli
