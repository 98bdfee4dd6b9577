#include "clirunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte::test;

TEST(CliDemo, StatusRoomsAndJson)
{
    QTemporaryDir home;
    const auto status = runCli({QStringLiteral("--demo"), QStringLiteral("status"), QStringLiteral("--json")}, home);
    ASSERT_EQ(status.exit, 0) << status.err.toStdString();
    const QJsonObject o = QJsonDocument::fromJson(status.out.toUtf8()).object();
    for (const char *key : {"room", "title", "artist", "playing", "positionMillis", "durationMillis", "volume", "muted", "shuffle", "repeat"})
        EXPECT_TRUE(o.contains(QLatin1String(key))) << key;
    EXPECT_EQ(o.value(QStringLiteral("room")).toString(), QStringLiteral("Living Room"));
    EXPECT_EQ(o.value(QStringLiteral("volume")).toInt(), 28);

    const auto rooms = runCli({QStringLiteral("--demo"), QStringLiteral("rooms"), QStringLiteral("--json")}, home);
    const QJsonArray groups = QJsonDocument::fromJson(rooms.out.toUtf8()).array();
    ASSERT_EQ(groups.size(), 2);
    EXPECT_TRUE(groups[0].toObject().value(QStringLiteral("players")).toArray()[0].toObject().value(QStringLiteral("host")).isNull());
}

TEST(CliDemo, UsageErrorsExitTwoAndHelpExitsZero)
{
    QTemporaryDir home;
    EXPECT_EQ(runCli({QStringLiteral("frobnicate")}, home).exit, 2);
    EXPECT_EQ(runCli({QStringLiteral("--demo"), QStringLiteral("seek"), QStringLiteral("soon")}, home).exit, 2);
    EXPECT_EQ(runCli({QStringLiteral("--demo"), QStringLiteral("shuffle"), QStringLiteral("maybe")}, home).exit, 2);
    EXPECT_EQ(runCli({QStringLiteral("--demo"), QStringLiteral("--guest"), QStringLiteral("status")}, home).exit, 2);
    EXPECT_EQ(runCli({QStringLiteral("--room")}, home).exit, 2);
    const auto help = runCli({QStringLiteral("--help")}, home);
    EXPECT_EQ(help.exit, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("volume")));
    EXPECT_EQ(runCli({QStringLiteral("seek"), QStringLiteral("--help")}, home).exit, 0);
    const auto unknownRoom = runCli({QStringLiteral("--demo"), QStringLiteral("--room"), QStringLiteral("Attic"), QStringLiteral("status")}, home);
    EXPECT_EQ(unknownRoom.exit, 1);
    EXPECT_TRUE(unknownRoom.err.contains(QStringLiteral("Attic")));
}

TEST(CliDemo, NoSpeakersFoundIsAClearFailure)
{
    QTemporaryDir home;
    // Nothing answers at this address; Bonjour is not asked when a list is given.
    const auto r = runCli({QStringLiteral("--speakers"), QStringLiteral("127.0.44.250"), QStringLiteral("status")}, home);
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), QStringLiteral("No Sonos speakers were found. Check that this computer and your speakers are on the same Wi-Fi network."));
}
