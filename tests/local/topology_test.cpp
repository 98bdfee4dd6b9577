#include "local/guesthouse.h"
#include "local/localconnections.h"
#include "services/fakecaptures.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;

namespace {
QString capture(const char *name) { return fake::captures::text(QLatin1String(name)); }
} // namespace

TEST(Topology, RepliesOfRealSpeakers)
{
    // Newer firmware nests the document; the stereo partner comes first and hides.
    auto rooms = GuestHouse::rooms(capture("topology-stereo-pair.xml"));
    ASSERT_EQ(rooms.size(), 1);
    EXPECT_EQ(rooms[0].coordinator, QStringLiteral("RINCON_FFFFFFFFFFFFFFFF0"));
    EXPECT_EQ(rooms[0].name, QStringLiteral("Office"));
    EXPECT_EQ(rooms[0].members, (QList<QPair<QString, QString>>{{QStringLiteral("RINCON_FFFFFFFFFFFFFFFF0"), QStringLiteral("Office")}}));
    EXPECT_EQ(rooms[0].hosts.value(QStringLiteral("RINCON_FFFFFFFFF0000FFF0")), QStringLiteral("192.168.1.22"));

    // Older firmware, unescaped; the group id names another player than the coordinator.
    rooms = GuestHouse::rooms(capture("topology-three-groups.xml"));
    ASSERT_EQ(rooms.size(), 3);
    EXPECT_EQ(rooms[0].id, QStringLiteral("RINCON_000E5876A0E801400:210"));
    EXPECT_EQ(rooms[0].coordinator, QStringLiteral("RINCON_000XXX1400"));
    EXPECT_EQ(rooms[0].name, QStringLiteral("Kitchen"));
    ASSERT_EQ(rooms[0].members.size(), 2);
    EXPECT_EQ(rooms[0].members[1].second, QStringLiteral("Living Room"));
    const auto snapshot = GuestHouse::snapshot(rooms, {}, {});
    EXPECT_EQ(snapshot.groups[0].name, QStringLiteral("Kitchen + 1"));
    EXPECT_EQ(snapshot.players.size(), 4);

    // A bridge is a group with nothing to play on; a coordinator attribute
    // may carry a line break and blanks after the id.
    rooms = GuestHouse::rooms(capture("topology-bridge.xml"));
    ASSERT_EQ(rooms.size(), 2);
    EXPECT_TRUE(rooms[0].members.isEmpty());
    EXPECT_EQ(rooms[0].coordinator, QStringLiteral("RINCON_00000000000001400"));
    EXPECT_EQ(GuestHouse::snapshot(rooms, {}, {}).groups.size(), 1);

    // Home-theatre satellites sit inside their member and are not rooms.
    rooms = GuestHouse::rooms(capture("topology-home-theatre.xml"));
    ASSERT_EQ(rooms.size(), 1);
    EXPECT_EQ(rooms[0].name, QStringLiteral("Basement"));
    EXPECT_EQ(rooms[0].members.size(), 1);
}

TEST(Topology, SpellingsHiddenMembersAndMissingNames)
{
    GuestHouse::Room nameless{QStringLiteral("G:1"), QString(), QStringLiteral("RINCON_X"), {{QStringLiteral("RINCON_X"), QString()}}, {}};
    EXPECT_EQ(GuestHouse::snapshot({nameless}, {}, {}).groups[0].name, QStringLiteral("Room"));
    EXPECT_EQ(GuestHouse::snapshot({nameless}, {}, {}).players[0].name, QStringLiteral("Room"));
    EXPECT_EQ(GuestHouse::snapshot({nameless}, {}, {{QStringLiteral("RINCON_X"), QStringLiteral("Study")}}).players[0].name, QStringLiteral("Study"));
    // Both spellings of the coordinator are taken.
    const auto lower = GuestHouse::rooms(QStringLiteral("<ZoneGroupState>&lt;ZoneGroup coordinator=&quot;A&quot; ID=&quot;A:1&quot;&gt;"
                                                        "&lt;ZoneGroupMember UUID=&quot;A&quot; ZoneName=&quot;Den&quot;/&gt;&lt;/ZoneGroup&gt;</ZoneGroupState>"));
    ASSERT_EQ(lower.size(), 1);
    EXPECT_EQ(lower[0].name, QStringLiteral("Den"));
    const auto members = GuestHouse::members(QStringLiteral("<ZoneGroupMember UUID=\"A\" Invisible=\"true\" ZoneName=\"x\"/><ZoneGroupMember UUID=\"B\" Invisible=\"1\"/>"
                                                             "<ZoneGroupMember UUID=\"C\" Location=\"not a url\"/>"));
    ASSERT_EQ(members.size(), 3);
    EXPECT_FALSE(members[0].hidden);
    EXPECT_TRUE(members[1].hidden);
    EXPECT_FALSE(members[2].host.has_value());
}

TEST(Topology, BadInputGivesNoRooms)
{
    EXPECT_TRUE(GuestHouse::rooms(QString()).isEmpty());
    EXPECT_TRUE(GuestHouse::rooms(QStringLiteral("<ZoneGroupState>&lt;ZoneGroup Coordinator=&quot;A&quot;&gt;&lt;ZoneGroupMem")).isEmpty());
    EXPECT_TRUE(GuestHouse::rooms(QString::fromUtf8("<ZoneGroupState>\xff\xfe\xfd</ZoneGroupState>")).isEmpty());
    // Entities are decoded in the right order: an escaped "<" inside a name
    // never opens a tag of the state document.
    const auto rooms = GuestHouse::rooms(QStringLiteral("<ZoneGroupState>&lt;ZoneGroup Coordinator=&quot;A&quot; ID=&quot;A:1&quot;&gt;"
                                                        "&lt;ZoneGroupMember UUID=&quot;A&quot; ZoneName=&quot;&amp;lt;/ZoneGroup&amp;gt;&quot;/&gt;&lt;/ZoneGroup&gt;</ZoneGroupState>"));
    ASSERT_EQ(rooms.size(), 1);
    EXPECT_EQ(rooms[0].name, QStringLiteral("</ZoneGroup>"));
    EXPECT_EQ(rooms[0].members.size(), 1);
    // A lone surrogate (text that never came from UTF-8) is refused, not read past.
    QString lone = QStringLiteral("<ZoneGroupState>&lt;ZoneGroup Coordinator=&quot;A&quot;&gt;&lt;ZoneGroupMember UUID=&quot;A&quot;/&gt;&lt;/ZoneGroup&gt;</ZoneGroupState>");
    lone.insert(40, QChar(0xD800));
    EXPECT_TRUE(GuestHouse::rooms(lone).isEmpty());
    QString huge(10 * 1024 * 1024, QLatin1Char('x'));
    EXPECT_TRUE(GuestHouse::rooms(huge).isEmpty());
}

TEST(DeviceDescription, IdentityFromUdnAndNames)
{
    const auto id = GuestHouse::identityOf(QStringLiteral("<root><device><friendlyName>192.168.1.20 - Sonos One - RINCON_A</friendlyName>"
                                                          "<roomName>Patio &amp; Garden</roomName><UDN>uuid:RINCON_A01400</UDN>#DEACTIVATION_1#</device></root>"));
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(id->id, QStringLiteral("RINCON_A01400"));
    EXPECT_EQ(id->name, QStringLiteral("Patio & Garden"));
    EXPECT_EQ(GuestHouse::identityOf(QStringLiteral("<UDN>uuid:R</UDN><friendlyName>F</friendlyName>"))->name, QStringLiteral("F"));
    EXPECT_EQ(GuestHouse::identityOf(QStringLiteral("<UDN>uuid:R</UDN>"))->name, QStringLiteral("Room"));
    EXPECT_FALSE(GuestHouse::identityOf(QStringLiteral("<root/>")).has_value());
}

TEST(BassHost, PlayersMeetBonjourServicesOnTheirDeviceID)
{
    const QHash<QString, QString> services{{QStringLiteral("Sonos-RINCON_48A6B8C0FFEE01400@Living Room"), QStringLiteral("192.168.1.20")},
                                           {QStringLiteral("rincon_5caafd0beef201400@Kitchen"), QStringLiteral("192.168.1.21")},
                                           {QStringLiteral("odd:name@x"), QStringLiteral("192.168.1.22")}};
    EXPECT_EQ(LocalBassConnection::host(QStringLiteral("RINCON_48A6B8C0FFEE01400"), services), QStringLiteral("192.168.1.20"));
    EXPECT_EQ(LocalBassConnection::host(QStringLiteral("RINCON_5CAAFD0BEEF201400"), services), QStringLiteral("192.168.1.21"));
    EXPECT_EQ(LocalBassConnection::host(QStringLiteral("ODD"), services), QStringLiteral("192.168.1.22"));
    EXPECT_FALSE(LocalBassConnection::host(QStringLiteral("RINCON_NOPE"), services).has_value());
    EXPECT_EQ(LocalBassConnection::deviceID(QStringLiteral("abc@def")), QStringLiteral("ABC"));
}
