#pragma once

#include "records.h"
#include "secretstore.h"
#include "sonosconfig.h"
#include "tokenprovider.h"

#include "core/clock.h"
#include "core/http.h"
#include "core/wakeup.h"

#include <QDateTime>
#include <QObject>
#include <QUrl>
#include <QUuid>

#include <memory>
#include <optional>

namespace velotte {

// The sign-in kept in the secret store.
struct StoredToken {
    QString access;
    QString refresh;
    QDateTime expiry;
    QByteArray encode() const; // "expiry" in seconds since 2001-01-01T00:00:00Z
    static std::optional<StoredToken> decode(const QByteArray &json);
};

// Shows the sign-in page and answers the address the browser was sent back
// to (the window, or a person pasting it on the command line). Throws
// Cancelled when the person gives up.
class LoginPresenter {
public:
    virtual ~LoginPresenter() = default;
    virtual QCoro::Task<QUrl> callback(QUrl authorizationURL, QString redirectPrefix) = 0;
};

namespace SonosLogin {
// The redirect that ends the flow: it starts with the redirect address and
// its query holds "code" or "error".
bool isRedirect(const QUrl &url, const QString &prefix);
// Throws SonosError::authorization for an "error" redirect.
QUrl callbackResult(const QUrl &url);
std::optional<QString> authorizationCode(const QUrl &url, const QString &expectedState);
} // namespace SonosLogin

// Sign-in to the Sonos account: the authorization-code flow, code exchange,
// single-flight refresh and the stored token.
class SonosAuth : public QObject, public TokenProvider {
    Q_OBJECT
public:
    SonosAuth(SonosConfig config, SecretStore &store, HttpTransport &transport, Clock &clock = Clock::system(),
              LoginPresenter *presenter = nullptr, QObject *parent = nullptr);

    QCoro::Task<bool> restore();
    QCoro::Task<void> authorize();
    QCoro::Task<QString> validToken() override;
    QCoro::Task<QString> forceRefresh() override;
    void signOut();

    bool signedIn() const { return m_stored.has_value(); }
    std::optional<QDateTime> expiry() const;
    void setPresenter(LoginPresenter *presenter) { m_presenter = presenter; }
    const SonosConfig &config() const { return m_config; }
    // The authorization address of a new flow (also starts a new generation).
    QUrl beginAuthorization();
    // Exchanges the redirect of the flow begun last.
    QCoro::Task<void> finishAuthorization(QUrl redirect);

private:
    struct Flight;
    QCoro::Task<TokenResponse> tokenRequest(QList<QPair<QString, QString>> form);
    QCoro::Task<void> save(TokenResponse response, std::optional<QString> fallbackRefresh, QUuid generation);
    QCoro::Task<void> runRefresh(std::shared_ptr<Flight> flight);

    SonosConfig m_config;
    SecretStore &m_store;
    HttpTransport &m_transport;
    Clock &m_clock;
    LoginPresenter *m_presenter;
    std::optional<StoredToken> m_stored;
    QUuid m_authorizationID;
    QUuid m_refreshID;
    QString m_state;
    std::shared_ptr<Flight> m_refresh;
};

} // namespace velotte
