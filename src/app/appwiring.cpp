#include "appwiring.h"

#include "processlogin.h"

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
#include "session/applemusicbridge.h"
#include "session/applemusiccatalog.h"
#include "session/authsignin.h"
#include "session/liveports.h"

#ifdef VELOTTE_WITH_NOTES
#include "notes/nowplayingfollower.h"
#include "notes/tracknotes.h"
#endif
#ifdef VELOTTE_WITH_NEWS
#include "newspane.h"
#endif
#ifdef VELOTTE_WITH_BROWSE
#include "musicpane.h"
#include "browse/musicmixcomposer.h"
#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#endif

namespace velotte {

struct AppWiring::Parts {
    LaunchOptions options;
    std::unique_ptr<GuestHouse> house;
    std::unique_ptr<AvahiBrowser> bonjour;
    std::unique_ptr<SpeakerFinder> finder;
    std::shared_ptr<LocalPorts> local;
    std::unique_ptr<KeychainStore> store;
    std::unique_ptr<SonosAuth> auth;
    std::unique_ptr<AuthSignIn> signIn;
    std::unique_ptr<ProcessLoginPresenter> login;
    std::unique_ptr<SonosClient> api;
    std::unique_ptr<SettingsStore> defaults = std::make_unique<SettingsStore>();
    std::unique_ptr<AppleMusicSonosBridge> bridge = std::make_unique<AppleMusicSonosBridge>(*defaults);
    std::unique_ptr<ITunesCatalog> catalog;
#ifdef VELOTTE_WITH_NOTES
    std::unique_ptr<TrackNotes> notes;
    std::unique_ptr<NowPlayingFollower> follower;
#endif
#ifdef VELOTTE_WITH_NEWS
    std::unique_ptr<NewsPane> news;
#endif
#ifdef VELOTTE_WITH_BROWSE
    std::unique_ptr<MusicMixComposer> composer =
        std::make_unique<MusicMixComposer>(ServiceAddresses::load().model, NetworkTransport::shared());
    std::unique_ptr<SonosBrowseModel> browse = std::make_unique<SonosBrowseModel>(*defaults, composer.get());
    std::unique_ptr<QuickPicksStore> picks = std::make_unique<QuickPicksStore>(*defaults);
    std::unique_ptr<MusicPane> music;
#endif
};

AppWiring::AppWiring(const LaunchOptions &options) : d(std::make_unique<Parts>())
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
    d->login = std::make_unique<ProcessLoginPresenter>();
    d->auth = std::make_unique<SonosAuth>(config, *d->store, NetworkTransport::shared(), Clock::system(), d->login.get());
    d->signIn = std::make_unique<AuthSignIn>(*d->auth);
    d->api = std::make_unique<SonosClient>(config, *d->auth, NetworkTransport::shared());
}

AppWiring::~AppWiring() = default;

SonosAuth *AppWiring::auth() { return d->auth.get(); }
ProcessLoginPresenter *AppWiring::login() { return d->login.get(); }
KeyValueStore &AppWiring::preferences() { return *d->defaults; }

HouseSession::Services AppWiring::services()
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
#ifdef VELOTTE_WITH_BROWSE
    s.followers.push_back(d->browse.get());
    s.followers.push_back(d->picks.get());
    s.history = d->browse.get();
#endif
    s.appleMusicLinks = d->bridge.get();
    s.catalog = d->catalog.get();
    return s;
}

QObject *AppWiring::trackNotes(HouseSession &session)
{
#ifdef VELOTTE_WITH_NOTES
    if (!d->notes) {
        d->notes = std::make_unique<TrackNotes>(NetworkTransport::shared(), Clock::system(), ServiceAddresses::load());
        d->follower = std::make_unique<NowPlayingFollower>(&session, d->notes.get());
        d->follower->follow();
    }
    return d->notes.get();
#else
    return nullptr;
#endif
}

QObject *AppWiring::news(HouseSession &session)
{
#ifdef VELOTTE_WITH_NEWS
    if (!d->news)
        d->news = std::make_unique<NewsPane>(session, NetworkTransport::shared(), Clock::system());
    return d->news.get();
#else
    return nullptr;
#endif
}

QObject *AppWiring::music(HouseSession &session)
{
#ifdef VELOTTE_WITH_BROWSE
    if (!d->music)
        d->music = std::make_unique<MusicPane>(session, *d->browse, *d->picks, *d->catalog);
    return d->music.get();
#else
    return nullptr;
#endif
}

} // namespace velotte
