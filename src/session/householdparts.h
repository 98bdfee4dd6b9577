#pragma once

#include "housesession.h"

#include <QStringList>

#include <memory>

namespace velotte {

class AppleMusicCatalog;
class KeyValueStore;
class LoginPresenter;
class SecretStore;
class SonosAuth;

// How a program was asked to reach the household.
struct HouseholdOptions {
    bool demo = false;
    bool guest = false;
    QStringList speakers; // a manual list; none: the settings' list, then Bonjour
};

// What the session reaches the household with, built the way the options
// ask: the demo household, a list of speakers, Bonjour, or the cloud sign-in
// when this build has credentials. The tray program and velottectl share it.
class HouseholdParts {
public:
    explicit HouseholdParts(const HouseholdOptions &options, LoginPresenter *presenter = nullptr);
    ~HouseholdParts();

    // The session's collaborators; front ends add their own followers.
    HouseSession::Services services() const;
    // None without credentials, and in demo and local-only use.
    SonosAuth *auth() const;
    SecretStore *store() const;
    KeyValueStore &defaults() const;
    AppleMusicCatalog &catalog() const;

private:
    struct Parts;
    std::unique_ptr<Parts> d;
};

} // namespace velotte
