#include "fakes.h"

#include "cloud/sonosclient.h"
#include "core/wakeup.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

namespace {

SonosConfig config(const QString &clientID = QStringLiteral("client-id"))
{
    SonosConfig c = SonosConfig::defaults();
    c.clientID = clientID;
    c.clientSecret = QStringLiteral("unused");
    c.apiRoot = QUrl(QStringLiteral("https://api.example.test/control/api/v1"));
    return c;
}

struct Client : ::testing::Test {
    test::CountingTokens tokens;
    test::RecordingTransport transport;
    VirtualClock clock;
    SonosClient client{config(), tokens, transport, clock};
    std::vector<HttpResponse> script; // answered in order; then 200 "{}"

    void SetUp() override
    {
        transport.setHandler([this](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
            if (script.empty())
                co_return test::reply(200, "{}");
            HttpResponse r = script.front();
            script.erase(script.begin());
            co_return r;
        });
    }
    QString path(size_t i) const { return transport.requests.at(i).url.toString(QUrl::FullyEncoded); }
    int sonosStatus(QCoro::Task<void> task)
    {
        const auto e = test::failure<SonosError>(std::move(task));
        return !e ? 0 : e->kind() == SonosError::Kind::rateLimited ? -429 : e->status();
    }
};

const QString root = QStringLiteral("https://api.example.test/control/api/v1/");

} // namespace

TEST_F(Client, WhatARequestCarriesAndWhatIsNeverSent)
{
    script = {test::reply(200, R"({"groups":[],"players":[]})"), test::reply(200, R"({"households":[]})")};
    test::await(client.groups(QStringLiteral("Sonos_a/b?c#d%e f~-._ü"))); // identifiers keep only unreserved characters
    EXPECT_EQ(path(0), root + QStringLiteral("households/Sonos_a%2Fb%3Fc%23d%25e%20f~-._%C3%BC/groups"));
    SonosClient anonymous(config(QString()), tokens, transport, clock);
    test::await(anonymous.households());
    for (const auto &h : transport.requests.back().headers)
        EXPECT_NE(h.first.toLower(), "x-sonos-api-key"); // only with a client id

    // Nothing leaves without a sign-in or with an unparsable root.
    SonosConfig broken = config();
    broken.apiRoot = QUrl(QStringLiteral("http://[::1/control"), QUrl::TolerantMode);
    SonosClient bad(broken, tokens, transport, clock);
    EXPECT_EQ(sonosStatus(bad.setMuted(QStringLiteral("G"), true)), 0);
    tokens.failValid = true;
    EXPECT_EQ(test::failure<SonosError>(client.households()).value().kind(), SonosError::Kind::authorization);
    EXPECT_EQ(transport.requests.size(), 2u);
}

TEST_F(Client, RateLimitHorizonWithholdsRequestsAndIsNeverShortened)
{
    script = {test::reply(429, {}, {{"Retry-After", "120"}})};
    EXPECT_EQ(sonosStatus(client.setGroupVolume(QStringLiteral("G"), 10)), -429);
    const QDateTime horizon = clock.now().addSecs(120);
    EXPECT_EQ(client.rateLimitedUntil(), horizon);

    // Inside the horizon nothing is sent.
    clock.advance(60s);
    EXPECT_EQ(sonosStatus(client.setGroupVolume(QStringLiteral("G"), 10)), -429);
    EXPECT_EQ(transport.requests.size(), 1u);

    clock.advance(61s);
    EXPECT_EQ(sonosStatus(client.setGroupVolume(QStringLiteral("G"), 10)), 0);

    // Two requests in flight both meet a 429; the later, shorter one keeps the horizon.
    std::vector<Wakeup> gates(2);
    int n = 0;
    transport.setHandler([&](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        const int mine = n++;
        co_await gates[mine];
        co_return test::reply(429, {}, {{"Retry-After", mine == 0 ? "120" : "5"}});
    });
    int done = 0;
    auto volume = [&](int v) -> QCoro::Task<void> {
        try {
            co_await client.setGroupVolume(QStringLiteral("G"), v);
        } catch (const SonosError &) {
            ++done;
        }
    };
    auto a = volume(1), b = volume(2);
    gates[0].fire();
    gates[1].fire();
    EXPECT_EQ(done, 2);
    EXPECT_EQ(client.rateLimitedUntil(), clock.now().addSecs(120));
}

TEST_F(Client, RetryAfterValues)
{
    const QDateTime now(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC);
    EXPECT_EQ(SonosClient::retryDelay(std::nullopt, now), 60);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray("120"), now), 120);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray(" 0.2\r\n"), now), 1);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray("-3"), now), 60);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray("soon"), now), 60);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray("Mon, 02 Mar 2026 08:01:30 GMT"), now), 90);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray("Mon, 02 Mar 2026 07:00:00 GMT"), now), 1);
    EXPECT_EQ(SonosClient::retryDelay(QByteArray("Mon, 31 Feb 2026 08:01:30 GMT"), now), 60);
}

TEST_F(Client, UnauthorizedRefreshesOnceAndRetries)
{
    script = {test::reply(401)};
    const auto status = test::await(client.playback(QStringLiteral("G")));
    EXPECT_FALSE(status.isPlaying());
    EXPECT_EQ(tokens.refreshes, 1);
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(transport.requests[1].header("Authorization"), "Bearer token-2");

    script = {test::reply(401), test::reply(401)};
    EXPECT_EQ(sonosStatus(client.setPlaying(QStringLiteral("G"), true)), 401);
    EXPECT_EQ(tokens.refreshes, 2);
    EXPECT_EQ(transport.requests.size(), 4u);
}

TEST_F(Client, MovedGroupIsFollowedOnceAndReported)
{
    QStringList moves;
    client.setOnGroupMoved([&](const QString &from, const QString &to) { moves << from + QStringLiteral(">") + to; });
    script = {test::reply(410, R"({"errorCode":"ERROR_GROUP_CHANGED","groupId":"RINCON_9:7"})")};
    test::await(client.setGroupVolume(QStringLiteral("rincon_1:3"), 20));
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(path(1), root + QStringLiteral("groups/RINCON_9%3A7/groupVolume"));
    EXPECT_EQ(moves, QStringList{QStringLiteral("rincon_1:3>RINCON_9:7")});

    // The encoded id is replaced whatever the case of its escapes.
    script = {test::reply(404, R"({"groupStatus":"GROUP_STATUS_MOVED","groupId":"N"})")};
    test::await(client.send("GET", QStringLiteral("groups/a%3ab/playback"), std::nullopt, QStringLiteral("a:b")));
    EXPECT_EQ(path(3), root + QStringLiteral("groups/N/playback"));

    // A relocated request is not relocated again.
    script = {test::reply(410, R"({"groupStatus":"GROUP_STATUS_UPDATED","groupId":"B"})"),
              test::reply(410, R"({"groupStatus":"GROUP_STATUS_UPDATED","groupId":"C"})")};
    EXPECT_EQ(sonosStatus(client.setMuted(QStringLiteral("A"), true)), 410);
    EXPECT_EQ(transport.requests.size(), 6u);
}

TEST_F(Client, NotFoundWithoutMoveFailsWithItsSentence)
{
    const std::pair<int, QByteArray> cases[] = {{404, "not json"}, {404, R"({"errorCode":"ERROR_RESOURCE_GONE"})"},
                                                {404, R"({"errorCode":"ERROR_GROUP_CHANGED","groupId":""})"}, {404, R"({"groupStatus":"GROUP_STATUS_GONE","groupId":"X"})"},
                                                {404, R"({"groupId":5})"}, {500, R"({"errorCode":"ERROR_GROUP_CHANGED","groupId":"X"})"}};
    for (const auto &[status, body] : cases) {
        script = {test::reply(status, body)};
        EXPECT_EQ(sonosStatus(client.setMuted(QStringLiteral("G"), true)), status) << body.constData();
    }
    // Player routes are never relocated.
    script = {test::reply(410, R"({"errorCode":"ERROR_GROUP_CHANGED","groupId":"X"})")};
    EXPECT_EQ(sonosStatus(client.setPlayerVolume(QStringLiteral("P"), 3)), 410);
}

TEST_F(Client, ModifyGroupFallsBackToSetMembersOn405Only)
{
    script = {test::reply(405)};
    test::await(client.modifyGroup(QStringLiteral("G"), {QStringLiteral("P2")}, {QStringLiteral("P3")},
                                   {QStringLiteral("P1"), QStringLiteral("P2")}));
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(transport.requests[0].body, R"({"playerIdsToAdd":["P2"],"playerIdsToRemove":["P3"]})");
    EXPECT_EQ(path(1), root + QStringLiteral("groups/G/groups/setGroupMembers"));
    EXPECT_EQ(transport.requests[1].body, R"({"playerIds":["P1","P2"]})");

    script = {test::reply(500)};
    EXPECT_EQ(sonosStatus(client.modifyGroup(QStringLiteral("G"), {}, {}, {})), 500);
    EXPECT_EQ(transport.requests.size(), 3u);
}

TEST_F(Client, CancellationIsCheckedBeforeEveryAttempt)
{
    CancelToken cancel;
    cancel.cancel();
    EXPECT_THROW(test::await(client.households(cancel)), Cancelled);
    EXPECT_TRUE(transport.requests.empty());

    // Cancelled while the first attempt was refused: the retry never leaves.
    CancelToken later;
    transport.setHandler([&](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        later.cancel();
        co_return test::reply(401);
    });
    EXPECT_THROW(test::await(client.households(later)), Cancelled);
    EXPECT_EQ(transport.requests.size(), 1u);
}

TEST_F(Client, EachRefusalItsSentence)
{
    struct Case {
        std::vector<HttpResponse> replies;
        QString sentence;
    };
    const std::vector<Case> cases{
        {{test::reply(401), test::reply(401)}, QStringLiteral("Connect to Sonos again to renew your sign-in.")},
        {{test::reply(403)}, QStringLiteral("Sonos denied this command. Check the account and music-service connection in the Sonos app.")},
        {{test::reply(410, R"({"errorCode":"ERROR_RESOURCE_GONE"})")},
         QStringLiteral("This room or saved item is no longer available. Refresh Sonos and select it again.")},
        {{test::reply(503)}, QStringLiteral("The speaker cannot reach the music service. Check its connection in the Sonos app.")},
        {{test::reply(502)}, QStringLiteral("Sonos rejected the request (502). Try again.")},
        {{test::reply(429, {}, {{"Retry-After", "5"}})},
         QStringLiteral("Sonos is temporarily limiting cloud requests. Your connection is saved; updates will resume automatically.")},
    };
    for (const Case &c : cases) {
        script = c.replies;
        EXPECT_EQ(test::failureSentence(client.setMuted(QStringLiteral("G"), true)), c.sentence);
    }

    clock.advance(10s); // past the rate limit
    script = {test::reply(200, "{\"groups\":[")};
    EXPECT_THROW(test::await(client.groups(QStringLiteral("H"))), DecodeError);
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        throw TransportError(TransportError::Kind::Timeout, QStringLiteral("late"));
        co_return test::reply(200);
    });
    EXPECT_THROW(test::await(client.households()), TransportError);
}
