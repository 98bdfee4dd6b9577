// What only a socket shows of the cloud client: the headers and paths the
// server receives, a Retry-After from a real reply, and a reply that never
// comes. Everything else is tested in-process.
#include "fakes.h"

#include "cloud/sonosclient.h"
#include "cloud/sonoserror.h"
#include "core/networktransport.h"
#include "services/fakecloud.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;


TEST(Wire, HeadersPathsRateLimitsAndStalls)
{
    fake::FakeCloud cloud;
    ASSERT_TRUE(cloud.listen());
    QNetworkAccessManager manager;
    NetworkTransport network{&manager};
    // Every request recorded on its way out; a cap shortens time-outs so a stalled reply fails quickly.
    std::optional<std::chrono::milliseconds> cap;
    test::RecordingTransport tap{[&](const HttpRequest &r, CancelToken cancel) {
        HttpRequest capped = r;
        capped.timeout = std::min(r.timeout, cap.value_or(r.timeout));
        return network.send(std::move(capped), cancel);
    }};
    test::CountingTokens tokens;
    SonosConfig config = SonosConfig::defaults();
    config.clientID = QStringLiteral("fake-client");
    config.clientSecret = QStringLiteral("fake-secret");
    config.apiRoot = cloud.apiRoot();
    VirtualClock clock(QDateTime::currentDateTimeUtc());
    SonosClient client(config, tokens, tap, clock);

    test::await(client.households());
    test::await(client.setGroupVolume(cloud.groups.front().id, 40));
    for (const auto &seen : cloud.requests) {
        EXPECT_EQ(seen.authorization, "Bearer token-1");
        EXPECT_EQ(seen.apiKey, "fake-client");
        EXPECT_EQ(seen.contentType, "application/json");
    }
    EXPECT_EQ(cloud.groups.front().volume, 40);

    // A reply that never comes fails on the client's own time-out.
    fake::CloudFault stalled{"GET", QRegularExpression(QStringLiteral("playback$"))};
    stalled.noAnswer = true;
    cloud.addFault(stalled);
    cap = 200ms;
    EXPECT_THROW(test::await(client.playback(cloud.groups.front().id)), TransportError);
    EXPECT_EQ(tap.requests.back().timeout, 12s);
}
