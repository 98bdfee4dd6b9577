#pragma once

#include "sessionports.h"

#include "cloud/sonosauth.h"

namespace velotte {

// The account sign-in as the session sees it.
class AuthSignIn final : public SignInService {
public:
    explicit AuthSignIn(SonosAuth &auth) : m_auth(auth) {}
    QCoro::Task<bool> restore() override { return m_auth.restore(); }
    QCoro::Task<void> authorize() override { return m_auth.authorize(); }
    void signOut() override { m_auth.signOut(); }

private:
    SonosAuth &m_auth;
};

} // namespace velotte
