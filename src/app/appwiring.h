#pragma once

#include "launchoptions.h"

#include "session/housesession.h"

#include <memory>

namespace velotte {

class KeyValueStore;
class ProcessLoginPresenter;
class SonosAuth;

// The session's collaborators for the way the program was started: the
// demo household, a list of speakers, Bonjour, or the cloud sign-in; and
// the helpers the views follow (track notes, news, browsing).
class AppWiring {
public:
    explicit AppWiring(const LaunchOptions &options);
    ~AppWiring();
    HouseSession::Services services();
    SonosAuth *auth();
    // The sign-in window's presenter; none without an account on this build.
    ProcessLoginPresenter *login();
    KeyValueStore &preferences();
    // Created once the session exists; owned here.
    QObject *trackNotes(HouseSession &session);
    QObject *news(HouseSession &session);
    QObject *music(HouseSession &session);

private:
    struct Parts;
    std::unique_ptr<Parts> d;
};

} // namespace velotte
