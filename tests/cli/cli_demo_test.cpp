// velottectl on the demo household, which needs no network: output shapes,
// usage, and what it says to a person who types something it cannot do.
#include "clirunner.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;

TEST(CliDemo, StatusAndRoomsAsJson)
{
    QTemporaryDir home;
    const auto status = runCli({u"--demo"_s, u"status"_s, u"--json"_s}, home);
    ASSERT_EQ(status.exit, 0) << status.err.toStdString();
    const QJsonObject o = QJsonDocument::fromJson(status.out.toUtf8()).object();
    EXPECT_EQ(o.keys(), (QStringList{u"artist"_s, u"durationMillis"_s, u"muted"_s, u"playing"_s, u"positionMillis"_s, u"repeat"_s, u"room"_s,
                                     u"shuffle"_s, u"title"_s, u"volume"_s}));
    EXPECT_EQ(o[u"room"_s].toString(), u"Living Room"_s);

    const auto rooms = runCli({u"--demo"_s, u"rooms"_s, u"--json"_s}, home);
    const QJsonArray groups = QJsonDocument::fromJson(rooms.out.toUtf8()).array();
    ASSERT_EQ(groups.size(), 2);
    EXPECT_TRUE(groups[0][u"players"_s][0][u"host"_s].isNull());
}

TEST(CliDemo, EveryMistakeGetsItsSentence)
{
    QTemporaryDir home;
    for (const char *service : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
        setSetting(home, u"services/"_s + QLatin1String(service), u"http://127.0.0.1:9"_s);
    struct Case {
        QStringList args;
        int exit;
        QString said; // empty: only the exit status counts
    };
    const QString demo = u"--demo"_s;
    const std::vector<Case> cases{
        {{demo, u"volume"_s, u"loud"_s}, 2, u"\"loud\" is not a volume. Use N, +N or -N."_s},
        {{demo, u"bass"_s, u"deep"_s}, 2, u"\"deep\" is not a bass level. Use a number from -10 to 10."_s},
        {{demo, u"mute"_s, u"maybe"_s}, 2, u"Say on, off or toggle."_s},
        {{demo, u"seek"_s, u"nowhere"_s}, 2, u"\"nowhere\" is not a position. Use M:SS, H:MM:SS or a percentage such as 40%."_s},
        {{demo, u"shuffle"_s, u"maybe"_s}, 2, {}},
        {{demo, u"next"_s, u"twice"_s}, 2, u"This command takes no arguments."_s},
        {{demo, u"--room"_s, u"Attic"_s, u"status"_s}, 1, u"No room is called \"Attic\"."_s},
        {{u"--room"_s}, 2, {}},
        {{demo, u"frobnicate"_s}, 2, u"Unknown command \"frobnicate\". See velottectl --help."_s},
        {{u"--frob"_s, u"status"_s}, 2, u"Unknown option --frob. See velottectl --help."_s},
        {{demo, u"--guest"_s, u"status"_s}, 2, u"Choose one of --demo, --guest and --speakers."_s},
        {{demo, u"play-playlist"_s, u"Nope"_s}, 1, u"No playlist is called \"Nope\"."_s},
        {{demo, u"play-favorite"_s, u"Nope"_s}, 1, u"No favorite is called \"Nope\"."_s},
        {{demo, u"favorites"_s, u"--frob"_s}, 2, u"Unknown argument \"--frob\" for favorites."_s},
        {{demo, u"news"_s, u"frob"_s}, 2, u"Unknown news subcommand \"frob\". Use list, add, edit, enable, disable, delete or play."_s},
        {{demo, u"news"_s, u"edit"_s, u"3"_s, u"blah"_s}, 2, u"\"blah\" is neither a time (HH:MM) nor days."_s},
        {{demo, u"news"_s, u"list"_s}, 1, u"News alarms live on the speakers; the demo household has none."_s},
        {{demo, u"doctor"_s}, 0, u"The demo household needs nothing; everything looks fine."_s},
        {{demo, u"history"_s}, 0, u"The demo household keeps no history."_s},
        // Nothing answers at this address; Bonjour is not asked when a list is given.
        {{u"--speakers"_s, u"127.0.44.250"_s, u"status"_s}, 1,
         u"No Sonos speakers were found. Check that this computer and your speakers are on the same Wi-Fi network."_s},
    };
    for (const Case &c : cases) {
        const auto r = runCli(c.args, home);
        EXPECT_EQ(r.exit, c.exit) << c.args.join(u' ').toStdString();
        if (!c.said.isEmpty())
            EXPECT_EQ((r.err + r.out).trimmed(), c.said) << c.args.join(u' ').toStdString();
    }
    // Help is the man page's and the completion's source, tested with them.
    EXPECT_TRUE(runCli({u"--version"_s}, home).out.startsWith(u"velottectl "_s));
}

// The entry the desktop runs at login; desktop-file-validate is the desktop's own judge.
TEST(CliDemo, AutostartWritesAValidEntryThatStartsHiddenAndRemovesIt)
{
    QTemporaryDir home;
    const QString entry = home.filePath(u"config/autostart/velotte.desktop"_s);
    const QString off = u"Velotte does not start at login."_s;
    EXPECT_EQ(runCli({u"autostart"_s}, home).out.trimmed(), off);

    const auto on = runCli({u"autostart"_s, u"on"_s}, home);
    EXPECT_EQ(on.exit, 0) << on.err.toStdString();
    EXPECT_EQ(on.out.trimmed(), u"Velotte starts at login, hidden in the tray."_s);
    QFile file(entry);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().split('\n').contains("Exec=velotte --hidden"));
    QProcess validate;
    validate.start(u"desktop-file-validate"_s, {entry});
    ASSERT_TRUE(validate.waitForFinished()) << "desktop-file-validate (desktop-file-utils) is needed";
    EXPECT_EQ(validate.exitCode(), 0) << validate.readAll().toStdString();
    EXPECT_TRUE(validate.readAll().isEmpty()); // not even a hint

    // Switched off in the desktop's own settings, it is off here too.
    file.close();
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("Hidden=true\n");
    file.close();
    EXPECT_EQ(runCli({u"autostart"_s}, home).out.trimmed(), off);

    const auto removed = runCli({u"autostart"_s, u"off"_s}, home);
    EXPECT_EQ(removed.exit, 0);
    EXPECT_FALSE(QFile::exists(entry));
    // Something the program cannot take away or replace: the sentence names the entry.
    ASSERT_TRUE(QDir().mkpath(entry + u"/kept"_s));
    const auto stuck = runCli({u"autostart"_s, u"off"_s}, home);
    EXPECT_EQ(stuck.exit, 1);
    EXPECT_EQ(stuck.err.trimmed(), u"Could not remove "_s + entry + u"."_s);
    ASSERT_TRUE(QDir(home.filePath(u"config/autostart"_s)).removeRecursively());
    QFile blocker(home.filePath(u"config/autostart"_s));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const auto blocked = runCli({u"autostart"_s, u"on"_s}, home);
    EXPECT_EQ(blocked.exit, 1);
    EXPECT_TRUE(blocked.err.startsWith(u"Could not write "_s + entry + u": "_s)) << blocked.err.toStdString();
    const auto maybe = runCli({u"autostart"_s, u"sometimes"_s}, home);
    EXPECT_EQ(maybe.exit, 2);
    EXPECT_EQ(maybe.err.trimmed(), u"Say on or off, or nothing to see the current state."_s);
}
