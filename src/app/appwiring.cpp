#include "appwiring.h"

#include "processlogin.h"

#include "core/networktransport.h"
#include "core/settings.h"
#include "session/householdparts.h"

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
    explicit Parts(const LaunchOptions &options)
        : options(options), household(HouseholdOptions{options.demo, options.guest, options.speakers}, login.get())
    {
    }
    LaunchOptions options;
    // Before the household: its sign-in holds on to the presenter.
    std::unique_ptr<ProcessLoginPresenter> login = std::make_unique<ProcessLoginPresenter>();
    HouseholdParts household;
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
    std::unique_ptr<SonosBrowseModel> browse = std::make_unique<SonosBrowseModel>(household.defaults(), composer.get());
    std::unique_ptr<QuickPicksStore> picks = std::make_unique<QuickPicksStore>(household.defaults());
    std::unique_ptr<MusicPane> music;
#endif
};

AppWiring::AppWiring(const LaunchOptions &options) : d(std::make_unique<Parts>(options)) {}

AppWiring::~AppWiring() = default;

SonosAuth *AppWiring::auth() { return d->household.auth(); }
ProcessLoginPresenter *AppWiring::login() { return d->household.auth() ? d->login.get() : nullptr; }
KeyValueStore &AppWiring::preferences() { return d->household.defaults(); }

HouseSession::Services AppWiring::services()
{
    HouseSession::Services s = d->household.services();
#ifdef VELOTTE_WITH_BROWSE
    s.followers.push_back(d->browse.get());
    s.followers.push_back(d->picks.get());
    s.history = d->browse.get();
#endif
    return s;
}

QObject *AppWiring::trackNotes(HouseSession &session)
{
#ifdef VELOTTE_WITH_NOTES
    if (!d->notes) {
        d->notes = std::make_unique<TrackNotes>(NetworkTransport::shared(), Clock::system(), ServiceAddresses::load());
        d->follower = std::make_unique<NowPlayingFollower>(session.playback(), d->notes.get());
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
        d->music = std::make_unique<MusicPane>(session, *d->browse, *d->picks, d->household.catalog());
    return d->music.get();
#else
    return nullptr;
#endif
}

} // namespace velotte
