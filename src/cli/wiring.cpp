#include "wiring.h"

#include "browse/musicmixcomposer.h"
#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "core/networktransport.h"
#include "core/settings.h"
#include "session/householdparts.h"

namespace velotte::cli {

struct Wiring::Parts {
    explicit Parts(const GlobalOptions &options)
        : household(HouseholdOptions{options.demo, options.guest, options.speakers})
    {
    }
    HouseholdParts household;
    std::unique_ptr<MusicMixComposer> composer =
        std::make_unique<MusicMixComposer>(ServiceAddresses::load().model, NetworkTransport::shared());
    std::unique_ptr<SonosBrowseModel> browse = std::make_unique<SonosBrowseModel>(household.defaults(), composer.get());
    std::unique_ptr<QuickPicksStore> picks = std::make_unique<QuickPicksStore>(household.defaults());
};

Wiring::Wiring(const GlobalOptions &options) : d(std::make_unique<Parts>(options)) {}

Wiring::~Wiring() = default;

SonosAuth *Wiring::auth() { return d->household.auth(); }
SecretStore *Wiring::store() { return d->household.store(); }
SonosBrowseModel &Wiring::browse() { return *d->browse; }
QuickPicksStore &Wiring::quickPicks() { return *d->picks; }
AppleMusicCatalog &Wiring::catalog() { return d->household.catalog(); }

HouseSession::Services Wiring::services()
{
    HouseSession::Services s = d->household.services();
    s.followers.push_back(d->browse.get());
    s.followers.push_back(d->picks.get());
    s.history = d->browse.get();
    s.readsLibrary = false; // the commands that show favorites read them
    s.followsEvents = false; // a command is over before a subscription pays
    return s;
}

} // namespace velotte::cli
