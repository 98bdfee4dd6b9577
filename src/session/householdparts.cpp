#include "householdparts.h"

#include "applemusicbridge.h"
#include "applemusiccatalog.h"
#include "authsignin.h"
#include "liveports.h"

#include "cloud/secretstore.h"
#include "cloud/sonosauth.h"
#include "cloud/sonosclient.h"
#include "cloud/sonosconfig.h"
#include "core/networktransport.h"
#include "core/settings.h"
#include "local/avahibrowser.h"
#include "local/guesthouse.h"
#include "local/localconnections.h"
#include "local/speakerfinder.h"

namespace velotte {

struct HouseholdParts::Parts {
    HouseholdOptions options;
    std::unique_ptr<GuestHouse> house;
    std::unique_ptr<AvahiBrowser> bonjour;
    std::unique_ptr<SpeakerFinder> finder;
    std::shared_ptr<LocalPorts> local;
    std::unique_ptr<KeychainStore> store;
    std::unique_ptr<SonosAuth> auth;
    std::unique_ptr<AuthSignIn> signIn;
    std::unique_ptr<SonosClient> api;
    std::unique_ptr<SettingsStore> defaults = std::make_unique<SettingsStore>();
    std::unique_ptr<AppleMusicSonosBridge> bridge = std::make_unique<AppleMusicSonosBridge>(*defaults);
    std::unique_ptr<ITunesCatalog> catalog = std::make_unique<ITunesCatalog>(NetworkTransport::shared(), ServiceAddresses::load().itunes);
};

HouseholdParts::HouseholdParts(const HouseholdOptions &options, LoginPresenter *presenter) : d(std::make_unique<Parts>())
{
    d->options = options;
    if (options.demo)
        return;
    d->house = std::make_unique<GuestHouse>(NetworkTransport::shared());
    // A manual list wins over Bonjour: many networks block multicast.
    const ServiceAddresses addresses = ServiceAddresses::load();
    QStringList hosts = options.speakers;
    if (hosts.isEmpty())
        hosts = addresses.speakers;
    if (!hosts.isEmpty()) {
        d->local = liveLocalPorts(*d->house, manualHosts(hosts), addresses.eventPort);
    } else {
        d->bonjour = std::make_unique<AvahiBrowser>();
        d->finder = std::make_unique<SpeakerFinder>(*d->bonjour, Clock::system());
        SpeakerFinder *finder = d->finder.get();
        d->local = liveLocalPorts(*d->house, [finder]() { return finder->hosts(); }, addresses.eventPort);
    }
    if (options.guest || !options.speakers.isEmpty())
        return;
    const SonosConfig config = SonosConfig::load();
    if (!config.hasCredentials())
        return; // no account on this build: local operation only
    d->store = std::make_unique<KeychainStore>();
    d->auth = std::make_unique<SonosAuth>(config, *d->store, NetworkTransport::shared(), Clock::system(), presenter);
    d->signIn = std::make_unique<AuthSignIn>(*d->auth);
    d->api = std::make_unique<SonosClient>(config, *d->auth, NetworkTransport::shared());
}

HouseholdParts::~HouseholdParts() = default;

HouseSession::Services HouseholdParts::services() const
{
    HouseSession::Services s;
    if (d->options.guest || !d->options.speakers.isEmpty())
        s.arguments << QStringLiteral("-VelotteGuest");
    if (d->options.demo)
        s.arguments << QStringLiteral("-VelotteDemo");
    s.local = d->local;
    s.api = d->api.get();
    s.auth = d->signIn.get();
    s.followers.push_back(d->bridge.get());
    s.appleMusicLinks = d->bridge.get();
    s.catalog = d->catalog.get();
    return s;
}

SonosAuth *HouseholdParts::auth() const { return d->auth.get(); }
SecretStore *HouseholdParts::store() const { return d->store.get(); }
KeyValueStore &HouseholdParts::defaults() const { return *d->defaults; }
AppleMusicCatalog &HouseholdParts::catalog() const { return *d->catalog; }

} // namespace velotte
