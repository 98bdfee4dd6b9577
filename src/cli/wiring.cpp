#include "wiring.h"

#include "browse/musicmixcomposer.h"
#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "cloud/secretstore.h"
#include "cloud/sonosauth.h"
#include "cloud/sonosclient.h"
#include "cloud/sonosconfig.h"
#include "core/networktransport.h"
#include "core/settings.h"
#include "local/avahibrowser.h"
#include "local/guesthouse.h"
#include "local/speakerfinder.h"
#include "session/applemusicbridge.h"
#include "session/applemusiccatalog.h"
#include "session/authsignin.h"
#include "session/liveports.h"

namespace velotte::cli {

struct Wiring::Parts {
    GlobalOptions options;
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
    std::unique_ptr<ITunesCatalog> catalog;
    std::unique_ptr<MusicMixComposer> composer =
        std::make_unique<MusicMixComposer>(ServiceAddresses::load().model, NetworkTransport::shared());
    std::unique_ptr<SonosBrowseModel> browse = std::make_unique<SonosBrowseModel>(*defaults, composer.get());
    std::unique_ptr<QuickPicksStore> picks = std::make_unique<QuickPicksStore>(*defaults);
};

Wiring::Wiring(const GlobalOptions &options) : d(std::make_unique<Parts>())
{
    d->options = options;
    d->catalog = std::make_unique<ITunesCatalog>(NetworkTransport::shared(), ServiceAddresses::load().itunes);
    if (options.demo)
        return;
    d->house = std::make_unique<GuestHouse>(NetworkTransport::shared());
    // A manual list wins over Bonjour: many networks block multicast.
    QStringList hosts = options.speakers;
    if (hosts.isEmpty())
        hosts = ServiceAddresses::load().speakers;
    if (!hosts.isEmpty()) {
        d->local = liveLocalPorts(*d->house, manualHosts(hosts));
    } else {
        d->bonjour = std::make_unique<AvahiBrowser>();
        d->finder = std::make_unique<SpeakerFinder>(*d->bonjour, Clock::system());
        SpeakerFinder *finder = d->finder.get();
        d->local = liveLocalPorts(*d->house, [finder]() { return finder->hosts(); });
    }
    if (options.guest || !options.speakers.isEmpty())
        return;
    const SonosConfig config = SonosConfig::load();
    if (!config.hasCredentials())
        return; // no account on this build: local operation only
    d->store = std::make_unique<KeychainStore>();
    d->auth = std::make_unique<SonosAuth>(config, *d->store, NetworkTransport::shared());
    d->signIn = std::make_unique<AuthSignIn>(*d->auth);
    d->api = std::make_unique<SonosClient>(config, *d->auth, NetworkTransport::shared());
}

Wiring::~Wiring() = default;

SonosAuth *Wiring::auth() { return d->auth.get(); }
SecretStore *Wiring::store() { return d->store.get(); }
SonosBrowseModel &Wiring::browse() { return *d->browse; }
QuickPicksStore &Wiring::quickPicks() { return *d->picks; }
AppleMusicCatalog &Wiring::catalog() { return *d->catalog; }

HouseSession::Services Wiring::services()
{
    HouseSession::Services s;
    if (d->options.guest || !d->options.speakers.isEmpty())
        s.arguments << QStringLiteral("-VelotteGuest");
    s.local = d->local;
    s.api = d->api.get();
    s.auth = d->signIn.get();
    s.followers.push_back(d->bridge.get());
    s.followers.push_back(d->browse.get());
    s.followers.push_back(d->picks.get());
    s.history = d->browse.get();
    s.appleMusicLinks = d->bridge.get();
    s.catalog = d->catalog.get();
    return s;
}

} // namespace velotte::cli
