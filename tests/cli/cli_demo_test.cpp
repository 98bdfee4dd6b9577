#include "clirunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QDir>
#include <QFile>
#include <QSettings>

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
    const auto version = runCli({QStringLiteral("--version")}, home);
    EXPECT_EQ(version.exit, 0);
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("velottectl "))) << version.out.toStdString();
    const auto unknownRoom = runCli({QStringLiteral("--demo"), QStringLiteral("--room"), QStringLiteral("Attic"), QStringLiteral("status")}, home);
    EXPECT_EQ(unknownRoom.exit, 1);
    EXPECT_TRUE(unknownRoom.err.contains(QStringLiteral("Attic")));
}

// The entry the desktop runs at login; desktop-file-validate is the desktop's own judge.
TEST(CliDemo, AutostartWritesAValidEntryThatStartsHiddenAndRemovesIt)
{
    QTemporaryDir home;
    const QString entry = home.filePath(QStringLiteral("config/autostart/velotte.desktop"));
    const auto state = runCli({QStringLiteral("autostart")}, home);
    EXPECT_EQ(state.exit, 0);
    EXPECT_EQ(state.out.trimmed(), QStringLiteral("Velotte does not start at login."));

    const auto on = runCli({QStringLiteral("autostart"), QStringLiteral("on")}, home);
    EXPECT_EQ(on.exit, 0) << on.err.toStdString();
    EXPECT_EQ(on.out.trimmed(), QStringLiteral("Velotte starts at login, hidden in the tray."));
    QFile file(entry);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().split('\n').contains("Exec=velotte --hidden"));
    QProcess validate;
    validate.start(QStringLiteral("desktop-file-validate"), {entry});
    ASSERT_TRUE(validate.waitForFinished()) << "desktop-file-validate (desktop-file-utils) is needed";
    EXPECT_EQ(validate.exitCode(), 0) << validate.readAll().toStdString();
    EXPECT_TRUE(validate.readAll().isEmpty()); // not even a hint
    EXPECT_EQ(runCli({QStringLiteral("autostart")}, home).out.trimmed(), QStringLiteral("Velotte starts at login, hidden in the tray."));

    // Switched off in the desktop's own settings, it is off here too.
    file.close();
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("Hidden=true\n");
    file.close();
    EXPECT_EQ(runCli({QStringLiteral("autostart")}, home).out.trimmed(), QStringLiteral("Velotte does not start at login."));

    const auto off = runCli({QStringLiteral("autostart"), QStringLiteral("off")}, home);
    EXPECT_EQ(off.exit, 0);
    EXPECT_EQ(off.out.trimmed(), QStringLiteral("Velotte does not start at login."));
    EXPECT_FALSE(QFile::exists(entry));
    // Something the program cannot take away or replace: the sentence names the entry.
    ASSERT_TRUE(QDir().mkpath(entry + QStringLiteral("/kept")));
    const auto stuck = runCli({QStringLiteral("autostart"), QStringLiteral("off")}, home);
    EXPECT_EQ(stuck.exit, 1);
    EXPECT_EQ(stuck.err.trimmed(), QStringLiteral("Could not remove ") + entry + QStringLiteral("."));
    ASSERT_TRUE(QDir(home.filePath(QStringLiteral("config/autostart"))).removeRecursively());
    QFile blocker(home.filePath(QStringLiteral("config/autostart")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const auto blocked = runCli({QStringLiteral("autostart"), QStringLiteral("on")}, home);
    EXPECT_EQ(blocked.exit, 1);
    EXPECT_TRUE(blocked.err.startsWith(QStringLiteral("Could not write ") + entry + QStringLiteral(": "))) << blocked.err.toStdString();
    const auto maybe = runCli({QStringLiteral("autostart"), QStringLiteral("sometimes")}, home);
    EXPECT_EQ(maybe.exit, 2);
    EXPECT_EQ(maybe.err.trimmed(), QStringLiteral("Say on or off, or nothing to see the current state."));
}

TEST(CliDemo, NoSpeakersFoundIsAClearFailure)
{
    QTemporaryDir home;
    // Nothing answers at this address; Bonjour is not asked when a list is given.
    const auto r = runCli({QStringLiteral("--speakers"), QStringLiteral("127.0.44.250"), QStringLiteral("status")}, home);
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), QStringLiteral("No Sonos speakers were found. Check that this computer and your speakers are on the same Wi-Fi network."));
}

// What the command line says to a person who types something it cannot do.
// The demo household needs no network; services point at a closed port.
TEST(CliDemo, EveryMistakeGetsItsSentence)
{
    QTemporaryDir home;
    QDir().mkpath(home.filePath(QStringLiteral("config/velotte")));
    QSettings config(home.filePath(QStringLiteral("config/velotte/velotte.conf")), QSettings::IniFormat);
    for (const char *service : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
        config.setValue(QStringLiteral("services/") + QLatin1String(service), QStringLiteral("http://127.0.0.1:9"));
    config.sync();
    struct Case {
        QStringList args;
        int exit;
        QString said;
    };
    const QString demo = QStringLiteral("--demo");
    const std::vector<Case> cases{
        {{demo, QStringLiteral("volume"), QStringLiteral("loud")}, 2, QStringLiteral("\"loud\" is not a volume. Use N, +N or -N.")},
        {{demo, QStringLiteral("bass"), QStringLiteral("deep")}, 2, QStringLiteral("\"deep\" is not a bass level. Use a number from -10 to 10.")},
        {{demo, QStringLiteral("mute"), QStringLiteral("maybe")}, 2, QStringLiteral("Say on, off or toggle.")},
        {{demo, QStringLiteral("seek"), QStringLiteral("nowhere")}, 2, QStringLiteral("\"nowhere\" is not a position. Use M:SS, H:MM:SS or a percentage such as 40%.")},
        {{demo, QStringLiteral("next"), QStringLiteral("twice")}, 2, QStringLiteral("This command takes no arguments.")},
        {{demo, QStringLiteral("--room"), QStringLiteral("Attic"), QStringLiteral("status")}, 1, QStringLiteral("No room is called \"Attic\".")},
        {{demo, QStringLiteral("frobnicate")}, 2, QStringLiteral("Unknown command \"frobnicate\". See velottectl --help.")},
        {{QStringLiteral("--frob"), QStringLiteral("status")}, 2, QStringLiteral("Unknown option --frob. See velottectl --help.")},
        {{demo, QStringLiteral("--guest"), QStringLiteral("status")}, 2, QStringLiteral("Choose one of --demo, --guest and --speakers.")},
        {{demo, QStringLiteral("play-playlist"), QStringLiteral("Nope")}, 1, QStringLiteral("No playlist is called \"Nope\".")},
        {{demo, QStringLiteral("favorites"), QStringLiteral("--frob")}, 2, QStringLiteral("Unknown argument \"--frob\" for favorites.")},
        {{demo, QStringLiteral("news"), QStringLiteral("frob")}, 2, QStringLiteral("Unknown news subcommand \"frob\". Use list, add, edit, enable, disable, delete or play.")},
        {{demo, QStringLiteral("news"), QStringLiteral("edit"), QStringLiteral("3"), QStringLiteral("blah")}, 2, QStringLiteral("\"blah\" is neither a time (HH:MM) nor days.")},
        {{demo, QStringLiteral("news"), QStringLiteral("list")}, 1, QStringLiteral("News alarms live on the speakers; the demo household has none.")},
        {{demo, QStringLiteral("doctor")}, 0, QStringLiteral("The demo household needs nothing; everything looks fine.")},
    };
    for (const Case &c : cases) {
        const auto r = runCli(c.args, home);
        EXPECT_EQ(r.exit, c.exit) << c.args.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ((r.err + r.out).trimmed(), c.said) << c.args.join(QLatin1Char(' ')).toStdString();
    }
}

TEST(CliDemo, SixPinsAreTheLimit)
{
    QTemporaryDir home;
    QDir().mkpath(home.filePath(QStringLiteral("config/velotte")));
    {
        // Two of the six pinned favorites are gone from the household: kept, not shown.
        QSettings config(home.filePath(QStringLiteral("config/velotte/velotte.conf")), QSettings::IniFormat);
        config.setValue(QStringLiteral("sonos.quickPicks.demo"),
                        QStringList{QStringLiteral("demo-1"), QStringLiteral("demo-2"), QStringLiteral("demo-3"), QStringLiteral("demo-4"),
                                    QStringLiteral("gone-5"), QStringLiteral("gone-6")});
    }
    const auto r = runCli({QStringLiteral("--demo"), QStringLiteral("pin"), QStringLiteral("Morning Piano")}, home);
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), QStringLiteral("Six favorites are pinned already. Pin up to six favorites in Browse."));
    const auto pins = runCli({QStringLiteral("--demo"), QStringLiteral("pins")}, home);
    EXPECT_EQ(pins.out.count(QLatin1Char('\n')), 4) << pins.out.toStdString();
}
