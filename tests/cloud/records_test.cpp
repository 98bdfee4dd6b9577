#include "cloud/records.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace velotte;

namespace {
QByteArray fixture(const char *name)
{
    QFile f(QStringLiteral(VELOTTE_TEST_DATA_DIR "/cloud/") + QLatin1String(name));
    EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << name;
    return f.readAll();
}
} // namespace

TEST(CloudRecords, GroupsBodyWithAbsentAndNullOptionals)
{
    const auto r = Decode::groups(fixture("groups.json"));
    ASSERT_EQ(r.groups.size(), 3);
    ASSERT_EQ(r.players.size(), 4);
    EXPECT_EQ(r.groups[0].coordinatorId, QStringLiteral("RINCON_48A6B8C0FFEE01400"));
    EXPECT_EQ(r.groups[0].playbackState, QStringLiteral("PLAYBACK_STATE_PLAYING"));
    EXPECT_FALSE(r.groups[1].playbackState.has_value()); // absent
    EXPECT_FALSE(r.groups[2].playbackState.has_value()); // null
    EXPECT_EQ(r.players[0].localHost(), QStringLiteral("192.168.1.20"));
    EXPECT_EQ(r.players[1].localHost(), QStringLiteral("[fe80::1]"));
    EXPECT_EQ(r.players[2].localHost(), std::nullopt); // ws:, not wss:
    EXPECT_EQ(r.players[3].localHost(), std::nullopt); // no address at all
}

TEST(CloudRecords, RequiredKeysAndWrongTypesFailTheBody)
{
    EXPECT_THROW(Decode::groups(R"({"groups":[]})"), DecodeError);
    EXPECT_THROW(Decode::groups(R"({"groups":[{"id":"G","name":"A","playerIds":[]}],"players":[]})"), DecodeError);
    EXPECT_THROW(Decode::groups(R"({"groups":[{"id":"G","name":"A","coordinatorId":"P","playerIds":[1]}],"players":[]})"), DecodeError);
    EXPECT_THROW(Decode::groups(R"({"groups":[{"id":7,"name":"A","coordinatorId":"P","playerIds":[]}],"players":[]})"), DecodeError);
    EXPECT_THROW(Decode::households("[]"), DecodeError);
    EXPECT_THROW(Decode::households(""), DecodeError);
    EXPECT_THROW(Decode::households("{\"households\":[{\"id\":\"H\"}"), DecodeError);
    EXPECT_THROW(Decode::volume(R"({"volume":"loud"})"), DecodeError);
    EXPECT_THROW(Decode::volume(R"({"volume":12.5})"), DecodeError);
    EXPECT_EQ(Decode::volume(R"({"volume":12.0,"muted":null,"extra":[1]})").volume, 12);
    // Unknown keys are ignored.
    EXPECT_EQ(Decode::households(R"({"households":[{"id":"H","name":null,"owner":{"x":1}}]})").first().id, QStringLiteral("H"));
}

TEST(CloudRecords, PositionIsReadLeniently)
{
    EXPECT_EQ(Decode::playbackStatus(R"({"positionMillis":12345})").positionMillis, 12345);
    EXPECT_EQ(Decode::playbackStatus(R"({"positionMillis":12345.9})").positionMillis, 12345);
    EXPECT_EQ(Decode::playbackStatus(R"({"positionMillis":-0.5})").positionMillis, 0);
    EXPECT_EQ(Decode::playbackStatus(R"({"positionMillis":9007199254740993})").positionMillis, 9007199254740993LL);
    const auto s = Decode::playbackStatus(R"({"positionMillis":"12","playbackState":"PLAYBACK_STATE_BUFFERING",
        "availablePlaybackActions":{"canSkip":true},"playModes":{"repeat":true}})");
    EXPECT_FALSE(s.positionMillis.has_value());
    EXPECT_TRUE(s.isPlaying());
    EXPECT_EQ(s.availablePlaybackActions->canSkip, true);
    EXPECT_FALSE(s.availablePlaybackActions->canSeek.has_value());
    EXPECT_EQ(s.playModes->repeats, true);
    EXPECT_FALSE(Decode::playbackStatus(R"({"playbackState":"PLAYBACK_STATE_PAUSED"})").isPlaying());
    EXPECT_FALSE(Decode::playbackStatus("{}").isPlaying());
}

TEST(CloudRecords, FlexNamesAndArtwork)
{
    const auto m = Decode::playbackMetadata(fixture("metadata.json"));
    const PlaybackTrack &t = *m.currentItem->track;
    EXPECT_EQ(t.name, QStringLiteral("Clair de lune"));
    EXPECT_EQ(t.artist->name, QStringLiteral("Claude Debussy"));
    EXPECT_EQ(t.album, FlexName{QStringLiteral("Suite bergamasque")});
    EXPECT_EQ(t.durationMillis, 300000);
    EXPECT_EQ(t.service->name, QStringLiteral("Apple Music"));
    EXPECT_EQ(t.artworkURL(), QUrl(QStringLiteral("https://images.example.test/first.jpg")));

    EXPECT_EQ(FlexName::fromJson(QJsonValue(QStringLiteral("Nina"))), FlexName::fromJson(QJsonObject{{QStringLiteral("name"), QStringLiteral("Nina")}}));
    EXPECT_FALSE(FlexName::fromJson(QJsonObject{}).name.has_value());
    EXPECT_THROW(FlexName::fromJson(QJsonValue(3)), DecodeError);
    EXPECT_FALSE(Decode::playbackMetadata("{}").currentItem.has_value());
    EXPECT_FALSE(Decode::playbackMetadata(R"({"currentItem":{"track":null}})").currentItem->track.has_value());
}

TEST(CloudRecords, FavoritesListPrecedenceAndArtworkFallback)
{
    const auto both = Decode::favorites(R"({"items":[{"id":"1","name":"A"}],"favorites":[{"id":"2","name":"B"}]})");
    ASSERT_EQ(both.size(), 1);
    EXPECT_EQ(both[0].id, QStringLiteral("1"));
    EXPECT_EQ(Decode::favorites(R"({"favorites":[{"id":"2","name":"B"}]})")[0].id, QStringLiteral("2"));
    EXPECT_TRUE(Decode::favorites(R"({"version":"1"})").isEmpty());
    EXPECT_TRUE(Decode::favorites(R"({"items":null})").isEmpty());

    const auto list = Decode::favorites(fixture("favorites.json"));
    ASSERT_EQ(list.size(), 4);
    EXPECT_EQ(list[0].artworkURL(), QUrl(QStringLiteral("https://images.example.test/fav1.jpg")));
    EXPECT_EQ(list[1].artworkURL(), QUrl(QStringLiteral("https://images.example.test/small.jpg"))); // imageUrl not a URL
    EXPECT_FALSE(list[2].artworkURL().has_value());
    EXPECT_EQ(list[1].detail, QStringLiteral("Playlist"));
    EXPECT_EQ(roomSourceKind(list[0]), RoomSourceKind::appleMusic);
    EXPECT_EQ(roomSourceKind(list[1]), RoomSourceKind::other);
    EXPECT_EQ(roomSourceKind(list[2]), RoomSourceKind::other); // no service
    EXPECT_EQ(roomSourceKind(list[3]), RoomSourceKind::podcast); // an Apple Music podcast is a podcast
}

TEST(CloudRecords, FavoritesRoundTripWithAbsentKeysLeftOut)
{
    const auto list = Decode::favorites(fixture("favorites.json"));
    const QByteArray encoded = encodeFavorites(list);
    EXPECT_EQ(Decode::favoriteArray(encoded), list);
    EXPECT_FALSE(encoded.contains("\"description\":null"));
    const SonosFavorite bare{QStringLiteral("x"), QStringLiteral("y")};
    EXPECT_EQ(bare.toJson().keys(), (QStringList{QStringLiteral("id"), QStringLiteral("name")}));
    EXPECT_THROW(Decode::favoriteArray("{}"), DecodeError);
    EXPECT_EQ(Decode::playlists(R"({"items":[{"id":"P","name":"Mix","trackCount":12}]})")[0].toJson().value(QStringLiteral("trackCount")).toInt(), 12);
}
