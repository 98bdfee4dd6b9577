#pragma once

#include "records.h"
#include "secretstore.h"
#include "sonosconfig.h"
#include "sonoslogin.h"
#include "storedtoken.h"
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

private:
    struct Flight;
    // The authorization address of a new flow, which starts a new generation.
    QUrl beginAuthorization();
    QCoro::Task<void> exchange(QString code, QUuid generation);
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
