#include "terminalsignin.h"

#include "services/fakecloud.h"
#include "services/fakemodel.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTcpServer>

using namespace velotte;
using namespace velotte::test;

namespace {

QStringList lines(const QString &out) { return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts); }

// The browse commands on the demo household, with a model server on loopback.
struct CliBrowse : ::testing::Test {
    QTemporaryDir home;
    fake::FakeModel model;

    QString configFile() const { return home.filePath(QStringLiteral("config/velotte/velotte.conf")); }
    void SetUp() override
    {
        ASSERT_TRUE(model.listen());
        pointModelAt(model.baseUrl());
    }
    void pointModelAt(const QUrl &address)
    {
        QDir().mkpath(QFileInfo(configFile()).path());
        QSettings settings(configFile(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("services/model"), address.toString());
    }
    CliResult ctl(QStringList args)
    {
        args.prepend(QStringLiteral("--demo"));
        return runCli(args, home);
    }
};

} // namespace

TEST_F(CliBrowse, FavoritesSearchAndFilters)
{
    const auto all = ctl({QStringLiteral("favorites")});
    ASSERT_EQ(all.exit, 0) << all.err.toStdString();
    EXPECT_EQ(lines(all.out).size(), 5);
    EXPECT_EQ(lines(ctl({QStringLiteral("favorites"), QStringLiteral("--search"), QString::fromUtf8("GOLDBÉRG")}).out),
              QStringList{QStringLiteral("Bach: Goldberg Variations, BWV 988  · Apple Music")});
    EXPECT_EQ(lines(ctl({QStringLiteral("favorites"), QStringLiteral("--search"), QString::fromUtf8("ｐｉａｎｏ")}).out),
              QStringList{QStringLiteral("Morning Piano  · Spotify")});
    EXPECT_EQ(lines(ctl({QStringLiteral("favorites"), QStringLiteral("--service"), QStringLiteral("tunein")}).out),
              QStringList{QStringLiteral("Classic FM  · TuneIn")});
    const auto classical = ctl({QStringLiteral("favorites"), QStringLiteral("--classical")});
    EXPECT_EQ(lines(classical.out).size(), 3) << classical.out.toStdString();
    EXPECT_EQ(lines(ctl({QStringLiteral("favorites"), QStringLiteral("--classical"), QStringLiteral("--work"), QStringLiteral("symphonies")}).out),
              QStringList{QStringLiteral("Beethoven: Symphony No. 7 in A major, Op. 92  · Apple Music")});
    EXPECT_EQ(lines(ctl({QStringLiteral("favorites"), QStringLiteral("--classical"), QStringLiteral("--composer"), QStringLiteral("chopin")}).out),
              QStringList{QStringLiteral("Chopin: Nocturnes  · Apple Music")});
    const auto none = ctl({QStringLiteral("favorites"), QStringLiteral("--classical"), QStringLiteral("--work"), QStringLiteral("Opera & choral")});
    EXPECT_EQ(none.exit, 0);
    EXPECT_EQ(none.out.trimmed(), QStringLiteral("No favorites match."));
    const auto json = ctl({QStringLiteral("--json"), QStringLiteral("favorites"), QStringLiteral("--search"), QStringLiteral("classic")});
    const QJsonArray array = QJsonDocument::fromJson(json.out.toUtf8()).array();
    ASSERT_EQ(array.size(), 1) << json.out.toStdString();
    EXPECT_EQ(array[0][QStringLiteral("id")].toString(), QStringLiteral("demo-4"));

    // Wrong use is a usage error with a reason.
    const auto orphan = ctl({QStringLiteral("favorites"), QStringLiteral("--composer"), QStringLiteral("Bach")});
    EXPECT_EQ(orphan.exit, 2);
    EXPECT_TRUE(orphan.err.contains(QStringLiteral("add --classical"))) << orphan.err.toStdString();
    EXPECT_EQ(ctl({QStringLiteral("favorites"), QStringLiteral("--classical"), QStringLiteral("--work"), QStringLiteral("ballet")}).exit, 2);
    EXPECT_EQ(ctl({QStringLiteral("favorites"), QStringLiteral("--search")}).exit, 2);
    EXPECT_EQ(ctl({QStringLiteral("favorites"), QStringLiteral("jazz")}).exit, 2);
    const auto help = runCli({QStringLiteral("favorites"), QStringLiteral("--help")}, home);
    EXPECT_EQ(help.exit, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("--classical"))) << help.out.toStdString();
}

TEST_F(CliBrowse, PinsAreKeptPerHouseholdAndLimitedToSix)
{
    EXPECT_EQ(ctl({QStringLiteral("pins")}).out.trimmed(), QStringLiteral("Pin up to six favorites in Browse."));
    EXPECT_EQ(ctl({QStringLiteral("pin"), QStringLiteral("morning piano")}).exit, 0);
    EXPECT_EQ(ctl({QStringLiteral("pin"), QStringLiteral("Chopin")}).out.trimmed(), QStringLiteral("Pinned \"Chopin: Nocturnes\"."));
    EXPECT_EQ(ctl({QStringLiteral("pin"), QStringLiteral("Chopin")}).out.trimmed(), QStringLiteral("\"Chopin: Nocturnes\" is already pinned."));
    EXPECT_EQ(lines(ctl({QStringLiteral("pins")}).out),
              (QStringList{QStringLiteral("Morning Piano  · Spotify"), QStringLiteral("Chopin: Nocturnes  · Apple Music")}));
    EXPECT_EQ(QSettings(configFile(), QSettings::IniFormat).value(QStringLiteral("sonos.quickPicks.demo")).toStringList(),
              (QStringList{QStringLiteral("demo-5"), QStringLiteral("demo-2")}));
    EXPECT_EQ(ctl({QStringLiteral("unpin"), QStringLiteral("morning piano")}).exit, 0);
    EXPECT_EQ(lines(ctl({QStringLiteral("pins")}).out), QStringList{QStringLiteral("Chopin: Nocturnes  · Apple Music")});
    EXPECT_EQ(ctl({QStringLiteral("unpin"), QStringLiteral("Classic FM")}).out.trimmed(), QStringLiteral("\"Classic FM\" is not pinned."));
    const auto unknown = ctl({QStringLiteral("pin"), QStringLiteral("Nothing Like This")});
    EXPECT_EQ(unknown.exit, 1);
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("No favorite is called \"Nothing Like This\"."))) << unknown.err.toStdString();
    EXPECT_EQ(ctl({QStringLiteral("pin")}).exit, 2);

    // Six pins, some of favorites deleted since: a seventh is refused, the
    // missing ones are hidden but stay, and one can still be unpinned by id.
    {
        QSettings settings(configFile(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("sonos.quickPicks.demo"),
                          QStringList{QStringLiteral("gone-1"), QStringLiteral("demo-2"), QStringLiteral("gone-2"), QStringLiteral("gone-3"),
                                      QStringLiteral("demo-3"), QStringLiteral("gone-4")});
    }
    const auto full = ctl({QStringLiteral("pin"), QStringLiteral("Classic FM")});
    EXPECT_EQ(full.exit, 1);
    EXPECT_TRUE(full.err.contains(QStringLiteral("Pin up to six favorites in Browse."))) << full.err.toStdString();
    EXPECT_EQ(lines(ctl({QStringLiteral("pins")}).out),
              (QStringList{QStringLiteral("Chopin: Nocturnes  · Apple Music"), QStringLiteral("Bach: Goldberg Variations, BWV 988  · Apple Music")}));
    EXPECT_EQ(ctl({QStringLiteral("unpin"), QStringLiteral("gone-2")}).exit, 0);
    EXPECT_EQ(QSettings(configFile(), QSettings::IniFormat).value(QStringLiteral("sonos.quickPicks.demo")).toStringList(),
              (QStringList{QStringLiteral("gone-1"), QStringLiteral("demo-2"), QStringLiteral("gone-3"), QStringLiteral("demo-3"), QStringLiteral("gone-4")}));
}

TEST_F(CliBrowse, SuggestionsFromTheModelOrFromTheFavorites)
{
    model.indices = {2, 0, 2};
    const auto arranged = ctl({QStringLiteral("suggest"), QStringLiteral("recommend"), QStringLiteral("music"), QStringLiteral("by"),
                               QStringLiteral("Bach,"), QStringLiteral("please")});
    ASSERT_EQ(arranged.exit, 0) << arranged.err.toStdString();
    ASSERT_EQ(model.completions.size(), 1);
    const QString prompt =
        QJsonDocument::fromJson(model.completions.front().body)[QStringLiteral("messages")][1][QStringLiteral("content")].toString();
    EXPECT_EQ(prompt, QStringLiteral("Mood: recommend music by Bach, please\nCandidates:\n0: Bach: Goldberg Variations, BWV 988 | Bach | Classical"));
    // One candidate: index 2 is dropped, 0 plays.
    EXPECT_EQ(lines(arranged.out),
              (QStringList{QStringLiteral("1. Bach: Goldberg Variations, BWV 988  · Apple Music"),
                           QString::fromUtf8("Evening Wind-Down — Starts quiet and stays unhurried."), QStringLiteral("Arranged by the music model.")}));

    model.answer = fake::FakeModel::Answer::down;
    const auto json = ctl({QStringLiteral("--json"), QStringLiteral("suggest"), QStringLiteral("quiet piano")});
    const QJsonObject out = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_FALSE(out[QStringLiteral("arrangedByModel")].toBool());
    EXPECT_EQ(out[QStringLiteral("detail")].toString(), QStringLiteral("Apple Intelligence is unavailable. Suggestions from your favorites are ready."));
    EXPECT_EQ(out[QStringLiteral("suggestions")][0][QStringLiteral("name")].toString(), QStringLiteral("Morning Piano"));
    EXPECT_EQ(model.completions.size(), 1);

    // No server at all answers the same way, and quickly.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const QUrl closed(QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort()));
    probe.close();
    pointModelAt(closed);
    const auto fallback = ctl({QStringLiteral("suggest"), QStringLiteral("symphony")});
    EXPECT_EQ(fallback.exit, 0);
    EXPECT_EQ(lines(fallback.out).first(), QStringLiteral("1. Beethoven: Symphony No. 7 in A major, Op. 92  · Apple Music"));
    EXPECT_EQ(lines(fallback.out).last(), QStringLiteral("Apple Intelligence is unavailable. Suggestions from your favorites are ready."));
    EXPECT_EQ(ctl({QStringLiteral("suggest")}).exit, 2);

    // The demo keeps no history, and says so.
    EXPECT_EQ(ctl({QStringLiteral("history")}).out.trimmed(), QStringLiteral("The demo household keeps no history."));
}

namespace {

// The same commands on a signed-in household of the fake cloud, where the
// play history is kept. Runs on a private bus with its own keyring.
struct CliBrowseAccount : ::testing::Test {
    QTemporaryDir home;
    fake::FakeCloud cloud;
    QString secrets;

    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            GTEST_SKIP() << "no session bus with a keyring";
        ASSERT_TRUE(cloud.listen());
        cloud.requireIssuedTokens();
        secrets = home.filePath(QStringLiteral("SonosSecrets.plist"));
        QFile f(secrets);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(cloud.secretsPlist());
        f.close();
        // Suggestions must never reach a model server outside this test.
        QDir().mkpath(home.filePath(QStringLiteral("config/velotte")));
        QSettings(home.filePath(QStringLiteral("config/velotte/velotte.conf")), QSettings::IniFormat)
            .setValue(QStringLiteral("services/model"), QStringLiteral("http://127.0.0.1:9"));
        ASSERT_EQ(login(), 0);
    }
    CliResult ctl(const QStringList &args) { return runCli(args, home, 30000, secrets); }
    int login() { return signInFromTerminal(home, secrets, cloud).exit; }
    QVariant stored(const QString &key) const
    {
        return QSettings(home.filePath(QStringLiteral("config/velotte/velotte.conf")), QSettings::IniFormat).value(key);
    }
};

} // namespace

TEST_F(CliBrowseAccount, PlayedFavoritesAreRememberedPerHousehold)
{
    EXPECT_EQ(ctl({QStringLiteral("history")}).out.trimmed(), QStringLiteral("No favorites played yet."));
    ASSERT_EQ(ctl({QStringLiteral("play-favorite"), QStringLiteral("Morning Coffee")}).exit, 0);
    ASSERT_EQ(ctl({QStringLiteral("play-favorite"), QStringLiteral("Mozart - Piano Concerto No. 21")}).exit, 0);
    ASSERT_EQ(ctl({QStringLiteral("play-favorite"), QStringLiteral("Morning Coffee")}).exit, 0);
    EXPECT_EQ(ctl({QStringLiteral("play-favorite"), QStringLiteral("The Daily")}).exit, 0);
    const auto history = ctl({QStringLiteral("history")});
    ASSERT_EQ(history.exit, 0) << history.err.toStdString();
    EXPECT_EQ(lines(history.out), (QStringList{QStringLiteral("Morning Coffee  · Spotify"), QStringLiteral("Mozart - Piano Concerto No. 21  · Apple Music")}))
        << "newest first, once each, no podcast";

    // Kept as a JSON array of favorites under the household's own key.
    const QJsonArray saved =
        QJsonDocument::fromJson(stored(QStringLiteral("sonos.recentFavorites.v1.") + cloud.householdID()).toByteArray()).array();
    ASSERT_EQ(saved.size(), 2);
    EXPECT_EQ(saved[0][QStringLiteral("id")].toString(), QStringLiteral("7"));
    EXPECT_EQ(saved[1][QStringLiteral("name")].toString(), QStringLiteral("Mozart - Piano Concerto No. 21"));

    // Pins follow the household too; the podcast can be pinned but is not shown.
    EXPECT_EQ(ctl({QStringLiteral("pin"), QStringLiteral("radio paradise")}).exit, 0);
    EXPECT_EQ(ctl({QStringLiteral("pin"), QStringLiteral("The Daily")}).exit, 0);
    EXPECT_EQ(lines(ctl({QStringLiteral("pins")}).out), QStringList{QStringLiteral("Radio Paradise  · TuneIn")});
    EXPECT_EQ(stored(QStringLiteral("sonos.quickPicks.") + cloud.householdID()).toStringList(), (QStringList{QStringLiteral("9"), QStringLiteral("11")}));

    // The history ranks suggestions when no model answers.
    const auto suggested = ctl({QStringLiteral("suggest"), QStringLiteral("something for the morning")});
    EXPECT_EQ(lines(suggested.out).first(), QStringLiteral("1. Morning Coffee  · Spotify"));
    EXPECT_EQ(lines(suggested.out).last(), QStringLiteral("Apple Intelligence is unavailable. Suggestions from your favorites are ready."));
}
