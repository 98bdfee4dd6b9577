#include "sessionfixture.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;
using namespace std::chrono_literals;

namespace {
class History final : public PlayHistory {
public:
    QStringList played;
    void recordPlayed(const SonosFavorite &f) override { played << f.id; }
    bool isStation(const SonosFavorite &f) const override { return f.name.contains(QStringLiteral("Radio")); }
};

struct Music : SessionTest {
    History history;
    QList<SonosFavorite> favorites;
    void SetUp() override
    {
        make({}, [this](HouseSession::Services &services) { services.history = &history; });
        test::await(session->bootstrap());
        test::await(session->library()->refreshLibrary());
        favorites = session->library()->favorites();
        cloud.requests.clear();
    }
    QList<QJsonObject> loads() const
    {
        QList<QJsonObject> out;
        for (const QString &body : posts(QStringLiteral("/favorites")))
            out << QJsonDocument::fromJson(body.toUtf8()).object();
        return out;
    }
};
} // namespace

TEST_F(Music, OneFavoriteReplacesWaitsAndRecords)
{
    ASSERT_EQ(favorites.size(), 5);
    auto play = session->library()->playFavorite(favorites[1]);
    EXPECT_EQ(history.played, QStringList{QStringLiteral("7")});
    const int reads = cloudReads();
    clock.advance(699ms);
    EXPECT_EQ(cloudReads(), reads);
    clock.advance(1ms);
    EXPECT_EQ(cloudReads(), reads + 1);
    EXPECT_EQ(session->playback()->title(), QStringLiteral("Morning Coffee"));
    EXPECT_EQ(loads().first().value(QStringLiteral("action")).toString(), QStringLiteral("REPLACE"));

    // Gone since the list was read: nothing is recorded.
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("/favorites$")), 410, {}});
    test::await(session->library()->playFavorite(favorites[0]));
    EXPECT_EQ(session->noteText(),
              QStringLiteral("Could not play this favorite. This room or saved item is no longer available. Refresh Sonos and select it again."));
    EXPECT_EQ(history.played, QStringList{QStringLiteral("7")});

    cloud.requests.clear();
    session->loadDemo();
    test::await(session->library()->playFavorite(favorites[0]));
    EXPECT_EQ(session->noteText(), QStringLiteral("Connect to Sonos and refresh Browse to play this favorite."));
    EXPECT_TRUE(cloud.requests.empty());
}

TEST_F(Music, SeveralFavoritesWithALaterFailure)
{
    cloud.addFault({.method = "POST", .path = QRegularExpression(QStringLiteral("/favorites$")), .status = 404, .after = 1});
    test::await(session->library()->playFavorites({favorites[0], favorites[1], favorites[4]}, true));
    EXPECT_EQ(session->noteText(), QStringLiteral("Started 1 of 3 favorites. The remaining music could not be added."));
    const auto sent = loads();
    ASSERT_EQ(sent.size(), 2);
    EXPECT_TRUE(sent[0].value(QStringLiteral("playOnCompletion")).toBool());
    EXPECT_EQ(sent[1].value(QStringLiteral("action")).toString(), QStringLiteral("APPEND"));
    EXPECT_FALSE(sent[1].value(QStringLiteral("playOnCompletion")).toBool());
    EXPECT_EQ(history.played, QStringList{QStringLiteral("3")});
    EXPECT_FALSE(cloud.groups.front().shuffle); // ordered

    cloud.addFault({"POST", QRegularExpression(QStringLiteral("/favorites$")), 403, {}});
    test::await(session->library()->playFavorites({favorites[0], favorites[4]}, false));
    EXPECT_TRUE(session->noteText().startsWith(QStringLiteral("Could not play selected music. Sonos denied this command.")));
}

TEST_F(Music, StationsPlayButAreNeverQueued)
{
    test::await(session->library()->queueFavorite(favorites[2]));
    EXPECT_EQ(session->noteText(), QStringLiteral("Stations play directly; they can’t be added to the queue."));
    EXPECT_TRUE(loads().isEmpty());
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("/favorites$")), 500, {}});
    test::await(session->library()->queueFavorite(favorites[1]));
    EXPECT_EQ(session->noteText(), QStringLiteral("This favorite could not be added to the queue."));
    auto play = session->library()->playFavorite(favorites[2]);
    EXPECT_EQ(loads().size(), 2);
}

TEST_F(Music, APlaylistThatReplacesStopsTheQueueFirst)
{
    const auto playlists = session->library()->sonosPlaylists();
    ASSERT_EQ(playlists.size(), 2);
    transport.hold = true;
    auto replace = session->library()->playPlaylist(playlists[1], QStringLiteral("REPLACE"));
    EXPECT_EQ(session->noteText(), QStringLiteral("Stopping queue…"));
    releaseAll();
    EXPECT_TRUE(session->noteText().isEmpty());
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("/playlists$")), 410, {}});
    test::await(session->library()->playPlaylist(playlists[1], QStringLiteral("REPLACE")));
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not play this playlist. This room or saved item is no longer available. Refresh Sonos and select it again."));
}
