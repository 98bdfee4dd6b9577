#include "fakes.h"

#include "cloud/httpdate.h"
#include "cloud/sonosclient.h"
#include "cloud/sonoserror.h"
#include "core/networktransport.h"
#include "services/fakecloud.h"
#include "testkit/testkit.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

namespace {

// The real transport, with every request recorded on its way out; an
// optional cap shortens time-outs so a stalled reply fails quickly.
class Tap final : public HttpTransport {
public:
    explicit Tap(HttpTransport &inner) : m_inner(inner) {}
    QCoro::Task<HttpResponse> send(HttpRequest request, CancelToken cancel = {}) override
    {
        sent.push_back(request);
        if (cap)
            request.timeout = std::min(request.timeout, *cap);
        co_return co_await m_inner.send(std::move(request), cancel);
    }
    std::vector<HttpRequest> sent;
    std::optional<std::chrono::milliseconds> cap;

private:
    HttpTransport &m_inner;
};

struct Wire : ::testing::Test {
    fake::FakeCloud cloud;
    QNetworkAccessManager manager;
    NetworkTransport network{&manager};
    Tap tap{network};
    test::CountingTokens tokens;
    std::unique_ptr<SonosClient> client;

    void SetUp() override
    {
        ASSERT_TRUE(cloud.listen());
        SonosConfig config = SonosConfig::defaults();
        config.clientID = QStringLiteral("fake-client");
        config.clientSecret = QStringLiteral("fake-secret");
        config.apiRoot = cloud.apiRoot();
        client = std::make_unique<SonosClient>(config, tokens, tap);
    }
    QString living() const { return cloud.groups.front().id; }
    QJsonObject bodyOf(size_t i) const { return QJsonDocument::fromJson(cloud.requests.at(i).body).object(); }
};

} // namespace

TEST_F(Wire, ReadsTheWholeHousehold)
{
    const auto households = test::await(client->households());
    ASSERT_EQ(households.size(), 1);
    const auto groups = test::await(client->groups(households[0].id));
    EXPECT_EQ(groups.groups.size(), 3);
    EXPECT_EQ(groups.players[0].localHost(), QStringLiteral("127.0.0.11"));
    EXPECT_EQ(test::await(client->favorites(households[0].id)).size(), 5);
    EXPECT_EQ(test::await(client->playlists(households[0].id)).at(0).trackCount, 18);
    const auto status = test::await(client->playback(living()));
    EXPECT_TRUE(status.isPlaying());
    EXPECT_GE(*status.positionMillis, 42000);
    EXPECT_EQ(test::await(client->metadata(living())).currentItem->track->artist->name, QStringLiteral("Claude Debussy"));
    EXPECT_EQ(test::await(client->groupVolume(living())).volume, 25);
    EXPECT_EQ(test::await(client->playerVolume(cloud.players[3].id)).fixed, true);

    for (const auto &seen : cloud.requests) {
        EXPECT_EQ(seen.authorization, "Bearer token-1");
        EXPECT_EQ(seen.apiKey, "fake-client");
        EXPECT_EQ(seen.contentType, "application/json");
    }
    for (const auto &request : tap.sent)
        EXPECT_EQ(request.timeout, 12s);
}

TEST_F(Wire, CommandsArriveWithTheirBodiesAndChangeTheHousehold)
{
    const QString g = living();
    test::await(client->setPlaying(g, false));
    test::await(client->seek(g, 61000));
    test::await(client->setPlayModes(g, std::nullopt, true, false));
    test::await(client->setGroupVolume(g, 40));
    test::await(client->setMuted(g, true));
    test::await(client->setPlayerVolume(cloud.players[1].id, 7));
    test::await(client->loadFavorite(g, QStringLiteral("7"), QStringLiteral("REPLACE")));
    test::await(client->loadPlaylist(g, QStringLiteral("SQ:4"), QStringLiteral("APPEND")));
    test::await(client->command(g, QStringLiteral("playback/skipToNextTrack")));

    ASSERT_EQ(cloud.requests.size(), 9u);
    EXPECT_EQ(cloud.requests[0].path, g.section(QLatin1Char(':'), 0, 0).prepend(QStringLiteral("groups/")) + QStringLiteral("%3A1845/playback/pause"));
    EXPECT_EQ(cloud.requests[0].body, "{}");
    EXPECT_EQ(bodyOf(1).value(QStringLiteral("positionMillis")).toInteger(), 61000);
    EXPECT_EQ(cloud.requests[2].body, R"({"playModes":{"repeat":true,"repeatOne":false}})");
    EXPECT_EQ(bodyOf(3).value(QStringLiteral("volume")).toInt(), 40);
    EXPECT_EQ(bodyOf(4).value(QStringLiteral("muted")).toBool(), true);
    EXPECT_EQ(bodyOf(6).value(QStringLiteral("playOnCompletion")).toBool(), true);
    EXPECT_EQ(bodyOf(7).value(QStringLiteral("playOnCompletion")).toBool(), false);
    EXPECT_EQ(cloud.requests[8].body, "{}");
    for (const auto &request : tap.sent) {
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.timeout, 30s);
    }
    const auto &group = cloud.groups.front();
    EXPECT_EQ(group.volume, 40);
    EXPECT_TRUE(group.muted && group.repeat);
    EXPECT_EQ(cloud.players[1].volume, 7);
    EXPECT_EQ(group.state, QStringLiteral("PLAYBACK_STATE_PLAYING")); // the favorite replaced the queue and plays
}

TEST_F(Wire, RateLimitFromTheServerWithNumberAndDate)
{
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("playback$")), 429, R"({"errorCode":"ERROR_RATE_LIMITED"})", {{"Retry-After", "2"}}});
    try {
        test::await(client->playback(living()));
        FAIL();
    } catch (const SonosError &e) {
        EXPECT_EQ(e.kind(), SonosError::Kind::rateLimited);
    }
    const size_t before = cloud.requests.size();
    EXPECT_THROW(test::await(client->groupVolume(living())), SonosError);
    EXPECT_EQ(cloud.requests.size(), before); // withheld locally

    SonosConfig config = client->config();
    VirtualClock clock(QDateTime::currentDateTimeUtc());
    SonosClient dated(config, tokens, tap, clock);
    const QByteArray when = HttpDate::format(clock.now().addSecs(300)).toLatin1();
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("groupVolume$")), 429, {}, {{"Retry-After", when}}});
    EXPECT_THROW(test::await(dated.groupVolume(living())), SonosError);
    EXPECT_NEAR(clock.now().secsTo(*dated.rateLimitedUntil()), 300, 1);
}

TEST_F(Wire, ExpiredTokenIsRefreshedOnce)
{
    cloud.acceptTokens({QStringLiteral("token-2")});
    EXPECT_EQ(test::await(client->households()).size(), 1);
    EXPECT_EQ(tokens.refreshes, 1);
    cloud.acceptTokens({QStringLiteral("never")});
    try {
        test::await(client->households());
        FAIL();
    } catch (const SonosError &e) {
        EXPECT_EQ(e.status(), 401);
    }
    EXPECT_EQ(tokens.refreshes, 2);
}

TEST_F(Wire, GroupThatMovedIsFollowedAfterARegroup)
{
    const QString old = living();
    cloud.regroup(cloud.players[0].id, {cloud.players[0].id, cloud.players[1].id, cloud.players[2].id});
    QString movedTo;
    client->setOnGroupMoved([&](const QString &, const QString &to) { movedTo = to; });
    test::await(client->setGroupVolume(old, 33));
    EXPECT_EQ(movedTo, cloud.groups.front().id);
    EXPECT_EQ(cloud.groups.front().volume, 33);
    EXPECT_NE(movedTo, old);
}

TEST_F(Wire, ModifyGroupFallsBackWhenTheServerRefusesTheMethod)
{
    const QString g = living();
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("modifyGroupMembers$")), 405, {}});
    test::await(client->modifyGroup(g, {cloud.players[3].id}, {cloud.players[1].id}, {cloud.players[0].id, cloud.players[3].id}));
    EXPECT_TRUE(cloud.requests.back().path.endsWith(QLatin1String("groups/setGroupMembers")));
    const auto groups = test::await(client->groups(cloud.householdID()));
    const auto coordinator = cloud.players[0].id;
    const auto it = std::find_if(groups.groups.begin(), groups.groups.end(), [&](const SonosGroup &x) { return x.coordinatorId == coordinator; });
    ASSERT_NE(it, groups.groups.end());
    EXPECT_EQ(it->playerIds, (QStringList{cloud.players[0].id, cloud.players[3].id}));
}

TEST_F(Wire, ServerFaultsBecomeClearErrors)
{
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("^households$")), 503, {}});
    try {
        test::await(client->households());
        FAIL();
    } catch (const SonosError &e) {
        EXPECT_EQ(e.sentence(), QStringLiteral("The speaker cannot reach the music service. Check its connection in the Sonos app."));
    }
    fake::CloudFault malformed{"GET", QRegularExpression(QStringLiteral("groups$"))};
    malformed.malformed = true;
    cloud.addFault(malformed);
    EXPECT_THROW(test::await(client->groups(cloud.householdID())), DecodeError);

    fake::CloudFault stalled{"GET", QRegularExpression(QStringLiteral("playback$"))};
    stalled.noAnswer = true;
    cloud.addFault(stalled);
    tap.cap = 200ms;
    EXPECT_THROW(test::await(client->playback(living())), TransportError);
    EXPECT_EQ(tap.sent.back().timeout, 12s); // the client asked for its own time-out

    EXPECT_THROW(test::await(client->playback(QStringLiteral("RINCON_GONE:1"))), SonosError);
}

TEST_F(Wire, HostileIdentifiersAreEncodedOnTheWire)
{
    for (const QString &id : {QStringLiteral("a/b"), QStringLiteral("x?y#z"), QStringLiteral("100%"), QStringLiteral("Grüße Küche")}) {
        try {
            test::await(client->playback(id));
        } catch (const SonosError &e) {
            EXPECT_EQ(e.status(), 404) << qPrintable(id);
        }
        const QString path = cloud.requests.back().path;
        EXPECT_TRUE(path.startsWith(QStringLiteral("groups/"))) << qPrintable(path);
        EXPECT_EQ(path.count(QLatin1Char('/')), 2) << qPrintable(path);
        EXPECT_FALSE(path.contains(QLatin1Char('?')) || path.contains(QLatin1Char('#')) || path.contains(QLatin1Char(' ')));
    }
}
