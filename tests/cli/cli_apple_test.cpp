// velottectl apple: the catalog search, direct play on the speakers and the
// artist queue, against fake speakers and a fake iTunes Search API.
#include "clirunner.h"

#include "services/fakeitunes.h"
#include "services/fakespeakers.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

#include <csignal>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

struct CliApple : ::testing::Test {
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.46.11"_s, 5};
    fake::FakeItunes itunes;

    void SetUp() override
    {
        if (!speakers.start())
            GTEST_SKIP() << "cannot bind port 1400 on 127.0.46.x (needs root)";
        ASSERT_TRUE(itunes.listen());
        QDir().mkpath(home.filePath(u"config/velotte"_s));
        QSettings config(home.filePath(u"config/velotte/velotte.conf"_s), QSettings::IniFormat);
        config.setValue(u"services/itunes"_s, itunes.baseUrl().toString());
    }
    QStringList with(QStringList args) const
    {
        return QStringList{u"--speakers"_s, speakers.visibleHosts().join(u','), u"--room"_s, u"Kitchen"_s} + args;
    }
    CliResult ctl(const QStringList &args) { return runCli(with(args), home); }
    fake::FakeSpeakers::Speaker &kitchen() { return speakers.speakers[2]; }
    QStringList titles()
    {
        QStringList out;
        for (const auto &t : kitchen().queue)
            out << t.title;
        return out;
    }
    void addBigArtist(int songs)
    {
        fake::FakeItunes::Album album{1800000000, 777, u"The Long Players"_s, {}, u"Everything"_s, {}, u"Rock"_s, u"2020-01-01T08:00:00Z"_s, {}, {}};
        for (int i = 0; i < songs; ++i)
            album.songs.append({1800000001 + i, u"Movement %1"_s.arg(i + 1), {}, i + 1, 180000});
        itunes.albums.append(album);
    }
};

} // namespace

TEST_F(CliApple, SearchListsSongsAndAlbumsWithTheirIds)
{
    const auto found = ctl({u"apple"_s, u"search"_s, u"Debussy"_s, u"Clair"_s});
    ASSERT_EQ(found.exit, 0) << found.err.toStdString();
    EXPECT_TRUE(found.out.contains(u"1440880315"_s)) << found.out.toStdString();
    EXPECT_TRUE(found.out.contains(u"Clair de lune  · Claude Debussy"_s));

    const auto json = ctl({u"--json"_s, u"apple"_s, u"search"_s, u"Satie"_s});
    const QJsonArray items = QJsonDocument::fromJson(json.out.toUtf8()).array();
    ASSERT_EQ(items.size(), 4); // three songs, then the album
    EXPECT_EQ(items[0].toObject().value(u"kind"_s).toString(), u"song"_s);
    EXPECT_EQ(items[3].toObject().value(u"kind"_s).toString(), u"album"_s);
    EXPECT_EQ(items[3].toObject().value(u"id"_s).toString(), u"1512345600"_s);

    const auto none = ctl({u"apple"_s, u"search"_s, u"zzzz"_s});
    EXPECT_EQ(none.exit, 0);
    EXPECT_TRUE(none.out.contains(u"Nothing in the Apple Music catalog matches"_s));
}

TEST_F(CliApple, PlayByIdReplacesOrAppends)
{
    auto r = ctl({u"apple"_s, u"play"_s, u"1440880315"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    EXPECT_EQ(titles(), QStringList{u"Clair de lune"_s});
    EXPECT_EQ(kitchen().state, u"PLAYING"_s);

    r = ctl({u"apple"_s, u"play"_s, u"1603550701"_s, u"1603550702"_s, u"--append"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    EXPECT_EQ(titles(), (QStringList{u"Clair de lune"_s, u"Salt & Pepper"_s, u"Olive Oil Blues"_s}));
    EXPECT_TRUE(r.out.contains(u"Added to the Sonos queue in Kitchen"_s)) << r.out.toStdString();

    // A radio stream takes no shuffle (712): the play mode waits for the queue.
    kitchen().streamURI = u"x-sonosapi-stream:s17553?sid=254&flags=8224&sn=0"_s;
    r = ctl({u"apple"_s, u"play"_s, u"1512345600"_s, u"--shuffle"_s}); // an album is one container entry
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    EXPECT_EQ(titles(), QStringList{u"Gymnopédies"_s});
    EXPECT_EQ(kitchen().playMode, u"SHUFFLE_NOREPEAT"_s);
}

TEST_F(CliApple, ArtistQueueAndItsSentences)
{
    addBigArtist(40);
    auto r = ctl({u"apple"_s, u"artist"_s, u"The"_s, u"Long"_s, u"Players"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    EXPECT_EQ(kitchen().queue.size(), 40);
    EXPECT_EQ(kitchen().queue.first().title, u"Movement 1"_s);
    EXPECT_TRUE(r.out.contains(u"Adding songs · 17 of 40"_s)) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(u"Queued 40 songs by The Long Players."_s));

    r = ctl({u"apple"_s, u"artist"_s, u"Nobody At All"_s});
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), u"No playable songs are available for this artist."_s);

    ASSERT_TRUE(speakers.inject(kitchen().host + u"=upnp:AddMultipleURIsToQueue:714"_s));
    r = ctl({u"apple"_s, u"play"_s, u"1440880315"_s});
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), u"Sonos couldn’t load this Apple Music item (714). Check that Apple Music is connected in the Sonos app and the item is "
                               "available in your account."_s);

    r = ctl({u"apple"_s, u"play"_s, u"42"_s});
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), u"The Apple Music catalog has no item 42."_s);

    itunes.failStatus = 503;
    r = ctl({u"apple"_s, u"search"_s, u"Satie"_s});
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.err.trimmed(), u"The Apple Music catalog could not be reached. Check your internet connection."_s);

    EXPECT_EQ(ctl({u"apple"_s, u"play"_s, u"1"_s, u"--shuffle"_s, u"--append"_s}).exit, 2);
    EXPECT_EQ(ctl({u"apple"_s, u"sing"_s}).exit, 2);
}

TEST_F(CliApple, InterruptStopsAddingAndKeepsWhatWasQueued)
{
    addBigArtist(60);
    ASSERT_TRUE(speakers.inject(kitchen().host + u"=latency:150"_s));
    QProcess p;
    prepare(p, home);
    p.start(QStringLiteral(VELOTTECTL), with({u"apple"_s, u"artist"_s, u"The Long Players"_s}));
    QString out;
    QElapsedTimer t;
    t.start();
    while (!out.contains(u"Adding songs · 17 of 60"_s) && t.elapsed() < 20000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        out += QString::fromUtf8(p.readAllStandardOutput());
    }
    ASSERT_TRUE(out.contains(u"Adding songs · 17 of 60"_s)) << out.toStdString();
    ::kill(pid_t(p.processId()), SIGINT);
    while (p.state() != QProcess::NotRunning && t.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    out += QString::fromUtf8(p.readAllStandardOutput());
    EXPECT_EQ(p.exitCode(), 0);
    const qsizetype queued = kitchen().queue.size();
    EXPECT_GE(queued, 17);
    EXPECT_LT(queued, 60);
    EXPECT_TRUE(out.contains(u" songs queued before loading stopped."_s)) << out.toStdString();
    EXPECT_EQ(kitchen().state, u"PLAYING"_s); // what was queued keeps playing
}
