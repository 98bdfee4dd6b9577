#include "session/applemusicbridge.h"

#include <gtest/gtest.h>

using namespace velotte;

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
