// The fake household as its clients meet it over loopback: queueing Apple
// Music, and local control switched off.
#include "core/networktransport.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "news/newsalarmclient.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct FakeHome : ::testing::Test {
    fake::FakeSpeakers speakers{u"127.0.50.11"_s, 5};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};

    void SetUp() override { ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.50.x"; }
    QString host(int i) const { return speakers.speakers[size_t(i)].host; }
    QString id(int i) const { return speakers.speakers[size_t(i)].id; }
};

} // namespace

TEST_F(FakeHome, DirectQueueingRunOnTheSpeaker)
{
    AppleMusicDirect direct(transport);
    QList<AppleMusicIdentity> songs;
    for (int i = 0; i < 18; ++i)
        songs.append({QString::number(500 + i), u"Song %1"_s.arg(i + 1), u"Band"_s, u"song"_s});
    std::vector<int> progress;
    test::await(direct.play(songs, host(2), id(2), AppleMusicAction::replace, [&](int n) { progress.push_back(n); }));
    EXPECT_EQ(progress, (std::vector<int>{1, 17, 18}));
    const auto &kitchen = speakers.speakers[2];
    ASSERT_EQ(kitchen.queue.size(), 18); // the three old tracks are gone
    EXPECT_EQ(kitchen.queue.first().title, u"Song 1"_s);
    EXPECT_EQ(kitchen.queue.last().title, u"Song 18"_s);
    // The household's favorites carry account 5 (one older entry 1): every song goes out with 5.
    for (const auto &t : kitchen.queue)
        EXPECT_TRUE(t.uri.endsWith(u"&sn=5"_s)) << t.uri.toStdString();
    const auto now = test::await(house.nowPlaying(host(2)));
    ASSERT_TRUE(now.has_value());
    EXPECT_EQ(now->title, u"Song 1"_s);
    EXPECT_TRUE(now->playing);

    // A song the speaker cannot play (here: of an account the household
    // does not have) is refused with 714: the queueing sentence with the code.
    speakers.appleMusicAccount = 7;
    EXPECT_EQ(test::failureSentence(direct.play({{u"902"_s, u"Elsewhere"_s, {}, u"song"_s}}, host(2), id(2), AppleMusicAction::replace)),
              u"Sonos couldn’t load this Apple Music item (714). Check that Apple Music is connected in the Sonos app and the item is "
              "available in your account."_s);
}

TEST_F(FakeHome, LocalControlOffIsSaidByEveryClient)
{
    speakers.speakers[2].forbidden = true;
    const QString kitchen = host(2);
    const QString sentence = u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s;
    // The speaker operations say "no value"; the house says why.
    EXPECT_FALSE(test::await(house.bass(kitchen)).has_value());
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    EXPECT_FALSE(test::await(house.identity(kitchen)).has_value());
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    // The alarm and queueing clients throw it.
    NewsAlarmClient alarms(transport, NewsSource(QUrl(u"https://news.velotte.app/api/public/news-shadowing"_s)));
    EXPECT_EQ(test::failureSentence(alarms.list(kitchen)), sentence);
    AppleMusicDirect direct(transport);
    EXPECT_EQ(test::failureSentence(direct.isCoordinator(id(2), kitchen)), sentence);
    EXPECT_EQ(test::failureSentence(direct.play({{u"900"_s, u"One"_s, {}, u"song"_s}}, kitchen, id(2), AppleMusicAction::replace)), sentence);
}
