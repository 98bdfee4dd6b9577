// The library on the session: Sonos favorites and playlists, Apple Music
// queued directly on the coordinator or through a favorite, and the artist
// queue with its progress and cancellation.
#include "sessionfixture.h"
#include "session/sessionnewsport.h"
#include "core/settings.h"
#include "local/applemusicdirect.h"
#include "session/applemusicbridge.h"
#include "session/applemusiccatalog.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The coordinator's queue as the session drives it.
struct FakeQueue {
    struct Run {
        QList<AppleMusicIdentity> items;
        QString host;
        QString coordinator;
        AppleMusicAction action;
    };
    std::vector<Run> runs;
    QStringList asked; // "coordinator@host"
    QString coordinatorHost = u"127.0.0.11"_s;
    std::optional<AppleMusicDirect::Failure> failure;
    int failAfter = 0;  // items queued before the failure
    int holdAfter = -1; // stops after this many items until released
    Wakeup release;
    CancelToken lastCancel;

    void install(LocalPorts &p)
    {
        p.isCoordinator = [this](QString coordinator, QString host) -> QCoro::Task<bool> {
            asked << coordinator + u'@' + host;
            co_return host == coordinatorHost;
        };
        p.queueAppleMusic = [this](QList<AppleMusicIdentity> items, QString host, QString coordinator, AppleMusicAction action,
                                   std::function<void(int)> progress, CancelToken cancel, QString) -> QCoro::Task<void> {
            runs.push_back({items, host, coordinator, action});
            lastCancel = cancel;
            int queued = 0;
            if (holdAfter == 0) {
                co_await Wakeup(release);
                cancel.throwIfCancelled();
            }
            while (queued < items.size()) {
                if (failure && queued == failAfter)
                    throw *failure;
                queued += queued == 0 ? 1 : std::min<int>(16, int(items.size()) - queued);
                if (progress)
                    progress(queued);
                if (queued == holdAfter) {
                    co_await Wakeup(release);
                    cancel.throwIfCancelled();
                }
            }
        };
    }
};

struct FakeCatalog final : AppleMusicCatalog {
    QList<AppleMusicIdentity> songs;
    QCoro::Task<QList<AppleMusicIdentity>> search(QString) override { co_return songs; }
    QCoro::Task<QList<AppleMusicIdentity>> lookup(QStringList) override { co_return songs; }
    QCoro::Task<QList<AppleMusicIdentity>> artistSongs(QString) override { co_return songs; }
};

QList<AppleMusicIdentity> songs(int n)
{
    QList<AppleMusicIdentity> out;
    for (int i = 0; i < n; ++i)
        out.append({QString::number(2000 + i), u"Track %1"_s.arg(i + 1), u"Quartet"_s, u"song"_s});
    return out;
}

struct AppleMusic : SessionTest {
    MemoryStore defaults;
    AppleMusicSonosBridge links{defaults};
    FakeCatalog catalog;
    FakeQueue queue;
    const AppleMusicIdentity song{u"1440857781"_s, u"Blue in Green"_s, u"Miles Davis"_s, u"song"_s};
    const AppleMusicIdentity station{u"ra.978194965"_s, u"Apple Music 1"_s, {}, u"station"_s};

    void SetUp() override
    {
        make({}, [this](HouseSession::Services &services) {
            queue.install(*services.local);
            services.followers.push_back(&links);
            services.appleMusicLinks = &links;
            services.catalog = &catalog;
        });
        test::await(session->bootstrap());
        test::await(session->library()->refreshLibrary());
        cloud.requests.clear();
    }
    int favoriteLoads() const { return int(posts(u"/favorites"_s).size()); }
    void finishArtistQueue()
    {
        queue.release.fire();
        test::await(session->appleMusic()->artistQueueFinished());
        test::drain();
    }
};

} // namespace

TEST_F(AppleMusic, QueuedDirectlyOnTheCoordinatorOrThroughAFavoriteThatPlaysIt)
{
    test::await(session->appleMusic()->playAppleMusic(song, AppleMusicAction::replace));
    ASSERT_EQ(queue.runs.size(), 1u);
    EXPECT_EQ(queue.runs[0].host, u"127.0.0.11"_s);
    EXPECT_EQ(queue.runs[0].coordinator, u"RINCON_48A6B8C0FFEE01400"_s);
    EXPECT_EQ(queue.runs[0].items, QList<AppleMusicIdentity>{song});
    EXPECT_EQ(queue.asked.first(), u"RINCON_48A6B8C0FFEE01400@127.0.0.11"_s); // the coordinator is asked first
    EXPECT_TRUE(session->noteText().isEmpty());
    EXPECT_EQ(favoriteLoads(), 0);

    // A topology that names the wrong coordinator: the other member answers.
    queue.coordinatorHost = u"127.0.0.12"_s;
    test::await(session->appleMusic()->playAppleMusic(song, AppleMusicAction::replace));
    EXPECT_EQ(queue.runs.back().host, u"127.0.0.12"_s);

    // Through a Sonos favorite when one plays the item.
    const SonosFavorite favorite = session->library()->favorites().at(1);
    links.link(song, favorite.id);
    run(session->appleMusic()->playAppleMusic(song, AppleMusicAction::replace)); // past the favorite's settling wait
    EXPECT_EQ(favoriteLoads(), 1);
    test::await(session->appleMusic()->playAppleMusic(song, AppleMusicAction::addAfterCurrent));
    EXPECT_EQ(favoriteLoads(), 2);
    EXPECT_EQ(session->noteText(), u"Added to the queue in Living Room + 1"_s);

    // A station plays only through its favorite.
    links.link(station, session->library()->favorites().at(0).id);
    run(session->appleMusic()->playAppleMusic(station, AppleMusicAction::replace));
    EXPECT_EQ(favoriteLoads(), 3);
    EXPECT_EQ(queue.runs.size(), 2u); // only the two direct plays above

    // The kitchen follows the living room: its coordinator answers.
    SessionNewsPort news(*session);
    EXPECT_EQ(test::await(news.newsHost(u"RINCON_5CAAFD0BEEF201400"_s)), u"127.0.0.11"_s);
    EXPECT_EQ(test::await(news.newsHost(u"RINCON_347E5C0DEAD101400"_s)), u"127.0.0.13"_s);
    EXPECT_EQ(news.newsHouseholdID(), session->householdID().value_or(QString()));
    EXPECT_THROW(test::await(news.newsHost(u"RINCON_UNKNOWN"_s)), SpeakerFault);
}

TEST_F(AppleMusic, WhatCannotPlaySaysWhy)
{
    const QString stations = u"Stations play directly; they can’t be shuffled or added to the queue."_s;
    using Action = AppleMusicAction;
    const struct {
        std::function<void()> setup;
        const AppleMusicIdentity &item;
        Action action;
        QString said;
    } cases[] = {
        {[] {}, station, Action::replaceShuffled, stations},
        {[] {}, station, Action::addAfterCurrent, stations},
        {[] {}, station, Action::replace, u"This station isn’t available for direct playback here yet. Play a saved station from Apple Music on Sonos."_s},
        {[this] { queue.failure = AppleMusicDirect::Failure::rejected(u"1028"_s); }, song, Action::replace,
         u"The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it."_s},
        {[this] { queue.failure = AppleMusicDirect::Failure::network(); }, song, Action::replace,
         u"Sonos is unreachable on this local network. If a VPN is active, enable its approved local-network access. Also allow Local Network access for Velotte in Settings."_s},
        // No speaker of the group says it coordinates.
        {[this] { queue.failure.reset(), queue.coordinatorHost = u"127.0.0.99"_s; }, song, Action::replace, u"Sonos couldn’t play this item."_s},
        {[this] { queue.coordinatorHost = u"127.0.0.11"_s, cloud.addFault({"POST", QRegularExpression(u"playMode$"_s), 500, {}}); }, song, Action::replace,
         u"Sonos accepted the music, but playback settings couldn’t refresh."_s},
        {[this] { session->signOut(); }, song, Action::replace, u"Connect Sonos and choose a room to play Apple Music."_s},
    };
    for (const auto &c : cases) {
        c.setup();
        test::await(session->appleMusic()->playAppleMusic(c.item, c.action));
        EXPECT_EQ(session->noteText(), c.said);
        if (&c.item == &station)
            EXPECT_TRUE(queue.runs.empty());
    }
}

TEST_F(AppleMusic, ArtistQueueFillsInTheBackgroundStopsAndFails)
{
    queue.holdAfter = 17;
    QStringList progress;
    QObject::connect(session->appleMusic(), &SessionAppleMusic::artistQueueChanged, [&] { progress << session->appleMusic()->artistQueueProgress(); });
    session->appleMusic()->playAppleMusicSongs(songs(40), false, AppleMusicAction::replace);
    test::drain();
    EXPECT_TRUE(session->appleMusic()->musicQueueBusy());
    EXPECT_TRUE(session->appleMusic()->artistQueueStarted());
    EXPECT_EQ(session->appleMusic()->artistQueuedCount(), 17);
    EXPECT_EQ(progress, (QStringList{u"Starting on Sonos…"_s, u"Adding songs · 1 of 40"_s, u"Adding songs · 17 of 40"_s}));

    // Every other music request waits for it.
    const QString busy = u"Songs are still being added to the queue. Stop adding songs first."_s;
    test::await(session->library()->playFavorite(session->library()->favorites().at(0)));
    EXPECT_EQ(session->noteText(), busy);
    test::await(session->appleMusic()->playAppleMusic(song, AppleMusicAction::replace));
    EXPECT_EQ(session->noteText(), busy);
    session->appleMusic()->playAppleMusicSongs(songs(3), false, AppleMusicAction::replace);
    EXPECT_EQ(queue.runs.size(), 1u);
    EXPECT_EQ(favoriteLoads(), 0);

    finishArtistQueue();
    EXPECT_FALSE(session->appleMusic()->musicQueueBusy());
    EXPECT_TRUE(session->appleMusic()->artistQueueProgress().isEmpty());
    EXPECT_EQ(session->appleMusic()->artistQueuedCount(), 40);

    // Stopped by the user before anything was queued; then a run that a
    // regroup ends says nothing at all. Stopping after some songs is velottectl's test.
    queue.release = Wakeup();
    queue.holdAfter = 0;
    session->appleMusic()->playAppleMusicSongs(songs(5), true, AppleMusicAction::replace);
    test::drain();
    EXPECT_EQ(session->appleMusic()->artistQueueProgress(), u"Starting on Sonos…"_s);
    EXPECT_FALSE(session->appleMusic()->artistQueueStarted());
    EXPECT_EQ(queue.runs.back().action, AppleMusicAction::replaceShuffled);
    session->appleMusic()->cancelArtistQueue();
    EXPECT_TRUE(queue.lastCancel.isCancelled());
    EXPECT_FALSE(session->appleMusic()->musicQueueBusy());
    EXPECT_EQ(session->noteText(), u"Stopped adding songs. Queued music will keep playing."_s);
    finishArtistQueue();
    queue.release = Wakeup();
    session->setNote(std::nullopt);
    session->appleMusic()->playAppleMusicSongs(songs(5), false, AppleMusicAction::replace);
    test::drain();
    ASSERT_TRUE(session->appleMusic()->musicQueueBusy());
    session->playback()->invalidatePlaybackCommand();
    EXPECT_FALSE(session->appleMusic()->musicQueueBusy());
    EXPECT_TRUE(session->noteText().isEmpty()) << session->noteText().toStdString();
    finishArtistQueue();
    EXPECT_TRUE(session->noteText().isEmpty());
    queue.holdAfter = -1;

    session->appleMusic()->playAppleMusicSongs({}, false, AppleMusicAction::replace);
    EXPECT_EQ(session->noteText(), u"No playable songs are available for this artist."_s);
    EXPECT_FALSE(session->appleMusic()->musicQueueBusy());

    queue.failure = AppleMusicDirect::Failure::network();
    session->appleMusic()->playAppleMusicSongs(songs(20), false, AppleMusicAction::replace);
    test::await(session->appleMusic()->artistQueueFinished());
    EXPECT_EQ(session->noteText(), u"Sonos couldn’t play these songs."_s);

    // After playback began, the queue's own sentence.
    queue.failure = AppleMusicDirect::Failure::rejected(u"1028"_s);
    queue.failAfter = 17;
    session->appleMusic()->playAppleMusicSongs(songs(40), false, AppleMusicAction::replace);
    test::await(session->appleMusic()->artistQueueFinished());
    EXPECT_EQ(session->noteText(), u"The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it."_s);
    EXPECT_FALSE(session->appleMusic()->musicQueueBusy());
}

TEST_F(AppleMusic, ArtistSongsFromTheCatalogAndThePreviewRoom)
{
    catalog.songs = songs(3);
    catalog.songs.append({u"99"_s, u"A video"_s, {}, u"album"_s}); // only songs are queued
    test::await(session->appleMusic()->startAppleMusicSongs(u"Quartet"_s, false, AppleMusicAction::addAfterCurrent));
    test::await(session->appleMusic()->artistQueueFinished());
    ASSERT_EQ(queue.runs.size(), 1u);
    EXPECT_EQ(queue.runs[0].items.size(), 3);
    EXPECT_EQ(queue.runs[0].action, AppleMusicAction::addAfterCurrent);
    EXPECT_EQ(session->noteText(), u"Added to the Sonos queue in Living Room + 1"_s);

    // The preview room queues in memory.
    session->loadDemo();
    const int before = int(session->playback()->demoQueue().size());
    test::await(session->appleMusic()->playAppleMusic(song, AppleMusicAction::addAfterCurrent));
    EXPECT_EQ(session->noteText(), u"Added to the preview room queue."_s);
    EXPECT_EQ(session->playback()->demoQueue().size(), before + 1);
    EXPECT_EQ(session->playback()->demoQueue().at(session->playback()->demoIndex() + 1).title, u"Blue in Green"_s);
    session->appleMusic()->playAppleMusicSongs(songs(4), false, AppleMusicAction::replace);
    EXPECT_EQ(session->playback()->title(), u"Track 1"_s);
    EXPECT_EQ(queue.runs.size(), 1u); // only the catalog run above
}

TEST(AppleMusicBridge, LinksFollowTheHousehold)
{
    MemoryStore defaults;
    AppleMusicSonosBridge bridge(defaults);
    const AppleMusicIdentity album{QStringLiteral("1440857781"), QStringLiteral("Kind of Blue"), QStringLiteral("Miles Davis"), QStringLiteral("album")};
    const QList<SonosFavorite> favorites{
        {QStringLiteral("7"), QStringLiteral("Kind of Blue"), std::nullopt, SonosService{std::nullopt, QStringLiteral("Spotify")}},
        {QStringLiteral("9"), QStringLiteral("Kind Of Blue"), std::nullopt, SonosService{std::nullopt, QStringLiteral("Apple Music")}},
        {QStringLiteral("12"), QStringLiteral("Jazz mix"), std::nullopt, SonosService{std::nullopt, QStringLiteral("Apple Music")}}};

    bridge.link(album, QStringLiteral("12")); // no household yet: nothing kept
    EXPECT_EQ(defaults.writes(), 0);
    bridge.selectHousehold(QStringLiteral("H1"));
    EXPECT_EQ(bridge.scope(), QStringLiteral("H1"));
    EXPECT_EQ(bridge.favorite(album, favorites)->id, QStringLiteral("9")); // the Apple Music one by title
    bridge.link(album, QStringLiteral("12"));
    EXPECT_EQ(bridge.favorite(album, favorites)->id, QStringLiteral("12"));
    EXPECT_TRUE(defaults.value(QStringLiteral("sonos.appleMusicReferences.H1")).isValid());

    bridge.selectHousehold(QStringLiteral("H2"));
    EXPECT_EQ(bridge.favorite(album, favorites)->id, QStringLiteral("9"));
    bridge.selectHousehold(QStringLiteral("H1"));
    EXPECT_EQ(bridge.favorite(album, favorites)->id, QStringLiteral("12"));
    bridge.clear();
    EXPECT_FALSE(bridge.scope().has_value());
    EXPECT_FALSE(bridge.favorite({QStringLiteral("x"), QStringLiteral("Unknown"), {}, QStringLiteral("song")}, favorites).has_value());
}

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

TEST_F(Music, SeveralFavoritesStationsAndPlaylists)
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

    cloud.requests.clear();
    test::await(session->library()->queueFavorite(favorites[2]));
    EXPECT_EQ(session->noteText(), QStringLiteral("Stations play directly; they can’t be added to the queue."));
    EXPECT_TRUE(loads().isEmpty());
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("/favorites$")), 500, {}});
    test::await(session->library()->queueFavorite(favorites[1]));
    EXPECT_EQ(session->noteText(), QStringLiteral("This favorite could not be added to the queue."));
    auto play = session->library()->playFavorite(favorites[2]);
    EXPECT_EQ(loads().size(), 2);

    // A playlist that replaces stops the queue first.
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

