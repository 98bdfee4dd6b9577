#pragma once

#include "context.h"

#include "session/housesession.h"

#include <memory>

namespace velotte {
class AppleMusicCatalog;
class SonosAuth;
class SecretStore;
class SonosBrowseModel;
class QuickPicksStore;
}

namespace velotte::cli {

// Builds the session's collaborators the way the global options ask: the
// demo household, a manual speaker list, Bonjour, or the cloud sign-in.
class Wiring {
public:
    explicit Wiring(const GlobalOptions &options);
    ~Wiring();
    HouseSession::Services services();
    // The account sign-in; none without credentials or in demo and local-only use.
    SonosAuth *auth();
    SecretStore *store();
    // The favorites browser's state and pins, following the session's household.
    SonosBrowseModel &browse();
    QuickPicksStore &quickPicks();
    AppleMusicCatalog &catalog();

private:
    struct Parts;
    std::unique_ptr<Parts> d;
};

} // namespace velotte::cli
