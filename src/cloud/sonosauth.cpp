#include "sonosauth.h"

#include "records.h"
#include "sonoserror.h"

#include "core/logging.h"
#include "core/stillcurrent.h"

#include <QPointer>
#include <QUrlQuery>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {
// The sign-in could not be kept: the one sentence for every write failure,
// or the store's own when it knows better (no keyring at all).
class SaveFailed : public Failure {
public:
    explicit SaveFailed(QString sentence) : Failure(QStringLiteral("sign-in not saved")), m_sentence(std::move(sentence)) {}
    QString sentence() const override { return m_sentence; }

private:
    QString m_sentence;
};
} // namespace

struct SonosAuth::Flight {
    QUuid refreshID;
    QUuid generation;
    Wakeup done;
    std::optional<QString> token;
    std::exception_ptr error;
};

SonosAuth::SonosAuth(SonosConfig config, SecretStore &store, HttpTransport &transport, Clock &clock, LoginPresenter *presenter, QObject *parent)
    : QObject(parent), m_config(std::move(config)), m_store(store), m_transport(transport), m_clock(clock), m_presenter(presenter),
      m_authorizationID(QUuid::createUuid()), m_refreshID(QUuid::createUuid())
{
}

std::optional<QDateTime> SonosAuth::expiry() const { return m_stored ? std::optional(m_stored->expiry) : std::nullopt; }

QCoro::Task<bool> SonosAuth::restore()
{
    const StillCurrent alive(this);
    const auto data = co_await m_store.load();
    if (!alive)
        co_return false;
    if (data) {
        if (auto token = StoredToken::decode(*data))
            m_stored = token;
    }
    co_return m_stored.has_value();
}

QUrl SonosAuth::beginAuthorization()
{
    // A new flow abandons any refresh and every older flow.
    m_refresh.reset();
    m_refreshID = QUuid::createUuid();
    m_authorizationID = QUuid::createUuid();
    m_state = m_authorizationID.toString(QUuid::WithoutBraces).toUpper();
    QUrl url = m_config.authorizeURL;
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("client_id"), m_config.clientID);
    query.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
    query.addQueryItem(QStringLiteral("state"), m_state);
    query.addQueryItem(QStringLiteral("scope"), QStringLiteral("playback-control-all"));
    query.addQueryItem(QStringLiteral("redirect_uri"), m_config.redirectURI);
    url.setQuery(query);
    return url;
}

QCoro::Task<void> SonosAuth::authorize()
{
    if (m_config.clientID.isEmpty())
        throw SonosError::missingCredentials();
    if (!m_presenter)
        throw SonosError::authorization();
    const StillCurrent alive(this);
    const QUrl url = beginAuthorization();
    const QUuid generation = m_authorizationID;
    const QString state = m_state;
    const QUrl redirect = co_await m_presenter->callback(url, m_config.redirectURI);
    if (!alive || generation != m_authorizationID)
        throw SonosError::authorization(); // another flow or a sign-out overtook this one
    SonosLogin::callbackResult(redirect);
    const auto code = SonosLogin::authorizationCode(redirect, state);
    if (!code)
        throw SonosError::authorization();
    co_await exchange(*code, generation);
}

QCoro::Task<void> SonosAuth::exchange(QString code, QUuid generation)
{
    const QList<QPair<QString, QString>> form{{u"grant_type"_s, u"authorization_code"_s}, {u"code"_s, code}, {u"redirect_uri"_s, m_config.redirectURI}};
    const TokenResponse response = co_await tokenRequest(form);
    co_await save(response, std::nullopt, generation);
}

QCoro::Task<TokenResponse> SonosAuth::tokenRequest(QList<QPair<QString, QString>> form)
{
    if (!m_config.hasCredentials())
        throw SonosError::missingCredentials();
    HttpRequest request;
    request.method = "POST";
    request.url = m_config.tokenURL;
    request.timeout = 15s;
    request.setHeader("Authorization", "Basic " + (m_config.clientID + QLatin1Char(':') + m_config.clientSecret).toUtf8().toBase64());
    request.setHeader("Content-Type", "application/x-www-form-urlencoded;charset=utf-8");
    QByteArray body;
    for (const auto &[key, value] : form) {
        if (!body.isEmpty())
            body += '&';
        body += key.toUtf8() + '=' + QUrl::toPercentEncoding(value);
    }
    request.body = body;
    const HttpResponse response = co_await m_transport.send(std::move(request));
    if (!response.ok()) {
        qCCritical(lcAuth, "token status %ld", long(response.status));
        throw SonosError::http(response.status);
    }
    co_return Decode::token(response.body);
}

QCoro::Task<void> SonosAuth::save(TokenResponse response, std::optional<QString> fallbackRefresh, QUuid generation)
{
    if (generation != m_authorizationID)
        co_return; // signed out or started over meanwhile
    StoredToken token{response.accessToken, response.refreshToken.value_or(fallbackRefresh.value_or(QString())),
                      m_clock.now().addSecs(response.expiresIn)};
    const StillCurrent alive(this);
    try {
        co_await m_store.write(token.encode());
    } catch (const SecretStoreError &e) {
        qCCritical(lcAuth, "keychain write failed: %s", e.what());
        if (e.kind() == SecretStoreError::Kind::other)
            throw SaveFailed(QStringLiteral("Sonos sign-in could not be saved securely. Try connecting again."));
        throw SaveFailed(e.sentence());
    }
    if (!alive || generation != m_authorizationID) {
        // Overtaken while writing: the newer state wins, nothing stays behind.
        if (alive && !m_stored)
            co_await m_store.clear();
        co_return;
    }
    m_stored = token;
}

QCoro::Task<QString> SonosAuth::validToken()
{
    if (!m_stored)
        throw SonosError::authorization();
    // A token that would expire during a request counts as expired already.
    if (m_stored->expiry > m_clock.now().addSecs(60))
        co_return QString(m_stored->access);
    co_return co_await forceRefresh();
}

QCoro::Task<QString> SonosAuth::forceRefresh()
{
    std::shared_ptr<Flight> flight = m_refresh;
    if (!flight || flight->generation != m_authorizationID) {
        if (!m_stored)
            throw SonosError::authorization();
        flight = std::make_shared<Flight>();
        flight->refreshID = m_refreshID = QUuid::createUuid();
        flight->generation = m_authorizationID;
        m_refresh = flight;
        auto run = runRefresh(flight); // may finish at once
    }
    co_await flight->done;
    if (flight->error)
        std::rethrow_exception(flight->error);
    co_return QString(*flight->token);
}

QCoro::Task<void> SonosAuth::runRefresh(std::shared_ptr<Flight> flight)
{
    const StillCurrent alive(this);
    try {
        const QString oldRefresh = m_stored->refresh;
        const QList<QPair<QString, QString>> form{{u"grant_type"_s, u"refresh_token"_s}, {u"refresh_token"_s, oldRefresh}};
        const TokenResponse response = co_await tokenRequest(form);
        if (!alive)
            throw Cancelled();
        co_await save(response, oldRefresh, flight->generation);
        if (!alive || m_refreshID != flight->refreshID)
            throw Cancelled(); // waiters of an abandoned refresh never get an older sign-in's token
        if (!m_stored)
            throw SonosError::authorization();
        flight->token = m_stored->access;
    } catch (...) {
        flight->error = std::current_exception();
    }
    if (alive && m_refresh == flight && m_refreshID == flight->refreshID)
        m_refresh.reset();
    flight->done.fire();
}

void SonosAuth::signOut()
{
    m_stored.reset();
    m_refresh.reset();
    m_authorizationID = QUuid::createUuid();
    m_refreshID = QUuid::createUuid();
    auto task = m_store.clear();
}

} // namespace velotte
