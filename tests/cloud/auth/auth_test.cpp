#include "cloud/sonosauth.h"
#include "cloud/sonoserror.h"
#include "services/fakecloud.h"
#include "session/directtransport.h"
#include "testkit/testkit.h"

#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

namespace {

// Answers the sign-in page like a browser would: follows it to the redirect.
class Browser final : public LoginPresenter {
public:
    explicit Browser(fake::FakeCloud &cloud) : m_cloud(cloud) {}
    std::function<QUrl(QUrl)> tamper;
    bool cancel = false;
    std::optional<Wakeup> hold; // the person takes their time
    QUrl lastURL;
    QCoro::Task<QUrl> callback(QUrl url, QString prefix) override
    {
        lastURL = url;
        if (hold)
            co_await *hold;
        if (cancel)
            throw Cancelled();
        fake::Request r;
        r.method = "GET";
        r.target = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
        r.url = QUrl(QStringLiteral("http://fake") + QString::fromUtf8(r.target));
        const fake::Response answer = m_cloud.respond(r);
        QUrl back;
        for (const auto &h : answer.headers) {
            if (h.first == "Location")
                back = QUrl(QString::fromUtf8(h.second));
        }
        EXPECT_TRUE(SonosLogin::isRedirect(back, prefix));
        co_return tamper ? tamper(back) : back;
    }

private:
    fake::FakeCloud &m_cloud;
};

struct Auth : ::testing::Test {
    fake::FakeCloud cloud;
    test::DirectTransport transport{[this](const fake::Request &r) { return cloud.respond(r); }};
    test::RecordingTransport recorder{[this](const HttpRequest &r, CancelToken c) { return transport.send(r, c); }};
    VirtualClock clock;
    MemorySecretStore store;
    Browser browser{cloud};
    std::unique_ptr<SonosAuth> auth;

    SonosConfig config() const
    {
        SonosConfig c = SonosConfig::defaults();
        c.clientID = cloud.signIn.clientID;
        c.clientSecret = cloud.signIn.clientSecret;
        c.redirectURI = QStringLiteral("velotte://sonos/callback");
        c.authorizeURL = QUrl(QStringLiteral("http://auth.test/login/v3/oauth"));
        c.tokenURL = QUrl(QStringLiteral("http://auth.test/login/v3/oauth/access"));
        return c;
    }
    void SetUp() override { auth = std::make_unique<SonosAuth>(config(), store, recorder, clock, &browser); }
    QString token() { return test::await(auth->validToken()); }
    // A refresh that says how it ended: the token, "cancelled", or the failure's sentence.
    QCoro::Task<void> refresh(std::optional<QString> &ended)
    {
        try {
            ended = co_await auth->forceRefresh();
        } catch (const Cancelled &) {
            ended = QStringLiteral("cancelled");
        } catch (const SonosError &e) {
            ended = e.sentence();
        }
    }
    // Lets the replies held at the token endpoint come.
    void release()
    {
        transport.hold = false;
        transport.release();
        test::drain();
    }
};

} // namespace

TEST_F(Auth, SignInExchangesTheCodeAndKeepsTheToken)
{
    test::await(auth->authorize());
    EXPECT_TRUE(auth->signedIn());
    QStringList items;
    for (const auto &[name, value] : QUrlQuery(browser.lastURL).queryItems(QUrl::FullyDecoded))
        items << name + QLatin1Char('=') + (name == QLatin1String("state") ? QString() : value);
    EXPECT_EQ(items, (QStringList{QStringLiteral("client_id=fake-client-id"), QStringLiteral("response_type=code"), QStringLiteral("state="),
                                  QStringLiteral("scope=playback-control-all"), QStringLiteral("redirect_uri=velotte://sonos/callback")}));
    ASSERT_EQ(recorder.requests.size(), 1u);
    const HttpRequest &exchange = recorder.requests[0];
    EXPECT_EQ(exchange.method, "POST");
    EXPECT_EQ(exchange.url, config().tokenURL);
    EXPECT_EQ(exchange.timeout, 15s); // the client's credentials and the form's type the fake refuses without
    EXPECT_EQ(exchange.body, "grant_type=authorization_code&code=code-1&redirect_uri=velotte%3A%2F%2Fsonos%2Fcallback");
    EXPECT_EQ(token(), QStringLiteral("access-2"));
    const auto stored = StoredToken::decode(*store.data);
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->refresh, QStringLiteral("refresh-2"));
    EXPECT_EQ(stored->expiry, clock.now().addSecs(86399));
}

TEST_F(Auth, WaitersShareOneRefresh)
{
    test::await(auth->authorize());
    clock.advance(86399s - 30s); // inside the 60-second margin
    transport.hold = true;
    std::vector<QString> tokens(10);
    std::vector<QCoro::Task<void>> asks;
    auto ask = [&](int i) -> QCoro::Task<void> { tokens[size_t(i)] = co_await auth->validToken(); };
    for (int i = 0; i < 10; ++i)
        asks.push_back(ask(i));
    release();
    EXPECT_EQ(cloud.signIn.tokenRequests, 2); // the exchange, then one refresh
    for (const QString &t : tokens)
        EXPECT_EQ(t, QStringLiteral("access-3"));

    // A failed refresh reaches every waiter, and the next one is not stuck behind it.
    cloud.signIn.refuseStatus = 401;
    transport.hold = true;
    std::optional<QString> first, second;
    auto a = refresh(first);
    auto b = refresh(second);
    release();
    EXPECT_EQ(first, QStringLiteral("Connect to Sonos again to renew your sign-in."));
    EXPECT_EQ(second, first);
    EXPECT_EQ(cloud.signIn.tokenRequests, 3);
    cloud.signIn.refuseStatus = 0;
    EXPECT_EQ(test::await(auth->forceRefresh()), QStringLiteral("access-4"));
}

TEST_F(Auth, MarginOfSixtySeconds)
{
    test::await(auth->authorize());
    clock.advance(86399s - 61s);
    EXPECT_EQ(token(), QStringLiteral("access-2"));
    cloud.signIn.omitRefreshToken = true;
    clock.advance(2s); // 59 s left
    EXPECT_EQ(token(), QStringLiteral("access-3"));
    EXPECT_EQ(StoredToken::decode(*store.data)->refresh, QStringLiteral("refresh-2")); // a refresh without a new one keeps the old
}

TEST_F(Auth, SignOutStoresNothing)
{
    test::await(auth->authorize());
    transport.hold = true;
    std::optional<QString> ended;
    auto refreshing = refresh(ended);
    auth->signOut();
    release();
    EXPECT_EQ(ended, QStringLiteral("cancelled"));
    EXPECT_FALSE(auth->signedIn());
    EXPECT_FALSE(store.data.has_value());

    // Signed out while the sign-in page is open: its answer is refused unexchanged.
    browser.hold = Wakeup();
    const int requests = cloud.signIn.tokenRequests;
    auto pending = [&]() -> QCoro::Task<void> {
        try {
            co_await auth->authorize();
        } catch (const SonosError &) {
            ended = QStringLiteral("refused");
        }
    }();
    auth->signOut();
    browser.hold->fire();
    test::drain();
    EXPECT_EQ(ended, QStringLiteral("refused"));
    EXPECT_EQ(cloud.signIn.tokenRequests, requests);
    EXPECT_FALSE(store.data.has_value());
}

TEST_F(Auth, NewAuthorizationAbandonsAnOlderRefresh)
{
    test::await(auth->authorize());
    transport.hold = true;
    std::optional<QString> ended;
    auto refreshing = refresh(ended);
    browser.hold = Wakeup();
    bool signedIn = false;
    auto again = [&]() -> QCoro::Task<void> {
        co_await auth->authorize();
        signedIn = true;
    };
    auto second = again();
    // The older refresh answers while the person is still on the sign-in page.
    release();
    EXPECT_EQ(ended, QStringLiteral("cancelled"));
    EXPECT_EQ(StoredToken::decode(*store.data)->access, QStringLiteral("access-2")) << "an abandoned refresh is never stored";
    browser.hold->fire();
    test::drain();
    ASSERT_TRUE(signedIn);
    EXPECT_EQ(token(), StoredToken::decode(*store.data)->access);
    EXPECT_NE(token(), QStringLiteral("access-3"));
}

TEST_F(Auth, AnOvertakenSignInFails)
{
    Wakeup firstPage;
    browser.hold = firstPage;
    std::optional<QString> firstFailure;
    auto first = [&]() -> QCoro::Task<void> {
        try {
            co_await auth->authorize();
        } catch (const SonosError &e) {
            firstFailure = e.sentence();
        }
    };
    auto older = first();
    const QString olderState = QUrlQuery(browser.lastURL).queryItemValue(QStringLiteral("state"));
    browser.hold.reset();
    test::await(auth->authorize()); // a second window finishes first
    const QString newerState = QUrlQuery(browser.lastURL).queryItemValue(QStringLiteral("state"));
    EXPECT_NE(olderState, newerState);
    EXPECT_FALSE(QUuid::fromString(newerState).isNull()) << "the state is the text of the generation";
    const int requests = cloud.signIn.tokenRequests;
    firstPage.fire();
    test::drain();
    // The first window's late answer is refused without a token request.
    EXPECT_EQ(firstFailure, QStringLiteral("Connect to Sonos again to renew your sign-in."));
    EXPECT_EQ(cloud.signIn.tokenRequests, requests);
    EXPECT_TRUE(auth->signedIn());
}

TEST_F(Auth, BadRedirectsFailWithoutATokenRequest)
{
    browser.tamper = [](QUrl url) {
        QUrlQuery q(url);
        q.removeQueryItem(QStringLiteral("state"));
        q.addQueryItem(QStringLiteral("state"), QStringLiteral("forged"));
        url.setQuery(q);
        return url;
    };
    EXPECT_THROW(test::await(auth->authorize()), SonosError);
    EXPECT_EQ(cloud.signIn.tokenRequests, 0);
    browser.cancel = true;
    EXPECT_THROW(test::await(auth->authorize()), Cancelled);
}

TEST_F(Auth, FailuresKeepThePreviousSignIn)
{
    test::await(auth->authorize());
    store.failWrites = true;
    EXPECT_EQ(test::failureSentence(auth->forceRefresh()), QStringLiteral("Sonos sign-in could not be saved securely. Try connecting again."));
    EXPECT_TRUE(auth->signedIn());
    store.failWrites = false;
    cloud.signIn.refuseStatus = 429;
    std::optional<QString> refused;
    test::await(refresh(refused));
    EXPECT_EQ(refused, QStringLiteral("Sonos is temporarily limiting cloud requests. Your connection is saved; try again later."));
}

TEST(SonosLogin, RedirectRecognition)
{
    // The accepted forms are every sign-in's; here what must not pass.
    const QString prefix = QStringLiteral("velotte://sonos/callback");
    EXPECT_FALSE(SonosLogin::isRedirect(QUrl(QStringLiteral("velotte://sonos/callback?x=1")), prefix));
    EXPECT_FALSE(SonosLogin::isRedirect(QUrl(QStringLiteral("https://evil.test/?code=1&r=velotte://sonos/callback")), prefix));
    EXPECT_FALSE(SonosLogin::authorizationCode(QUrl(QStringLiteral("velotte://sonos/callback?code=&state=S")), QStringLiteral("S")));
}

TEST_F(Auth, RestoreTakesOnlyAWholeTokenAndRefreshSendsItAsOneValue)
{
    for (const std::optional<QByteArray> &broken : {std::optional(QByteArray("not json")), std::optional(QByteArray(R"({"access":"a","refresh":"r"})")),
                                                   std::optional(QByteArray(R"({"access":"a","refresh":"r","expiry":"2030-01-01"})")),
                                                   std::optional(QByteArray()), std::optional<QByteArray>()}) {
        store.data = broken;
        EXPECT_FALSE(test::await(auth->restore())) << broken.value_or("none").constData();
        EXPECT_FALSE(auth->signedIn());
    }

    // 100 seconds after the reference date of the stored item.
    store.data = R"({"access":"a","refresh":"r","expiry":100})";
    ASSERT_TRUE(test::await(auth->restore()));
    EXPECT_EQ(auth->expiry(), QDateTime(QDate(2001, 1, 1), QTime(0, 1, 40), Qt::UTC));

    // Values are percent-encoded, so a token with form characters stays one value.
    store.data = StoredToken{QStringLiteral("a"), QStringLiteral("r+1/2=3&4 5é"), clock.now()}.encode();
    ASSERT_TRUE(test::await(auth->restore()));
    EXPECT_THROW(test::await(auth->validToken()), SonosError); // the fake does not know this token
    EXPECT_EQ(recorder.requests.back().body, "grant_type=refresh_token&refresh_token=r%2B1%2F2%3D3%264%205%C3%A9");
}
