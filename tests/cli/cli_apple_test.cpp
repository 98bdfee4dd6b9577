// velottectl apple: the catalog search, direct play on the speakers and the
// artist queue, against fake speakers and a fake iTunes Search API.
#include "clirunner.h"

#include "services/fakeitunes.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>

using namespace velotte;
using namespace velotte::test;

namespace {

struct CliApple : SpeakerCli<46> {
    fake::FakeItunes itunes;

    void SetUp() override
    {
        SpeakerCli::SetUp();
        ASSERT_TRUE(itunes.listen());
        setService(u"itunes"_s, itunes.baseUrl());
    }
    QStringList in(const QStringList &args) const { return QStringList{u"--speakers"_s, speakers.visibleHosts().join(u','), u"--room"_s, u"Kitchen"_s} + args; }
    CliResult apple(const QStringList &args) { return runCli(in(QStringList{u"apple"_s} + args), home); }
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

// What goes into the queue is the session's, tested there; here the words,
// the output and the exit status.
TEST_F(CliApple, SearchPlayArtistAndTheirSentences)
{
    const auto found = apple({u"search"_s, u"Debussy"_s, u"Clair"_s});
    ASSERT_EQ(found.exit, 0) << found.err.toStdString();
    EXPECT_TRUE(found.out.contains(u"Clair de lune  · Claude Debussy"_s));
    const QJsonArray items = QJsonDocument::fromJson(apple({u"--json"_s, u"search"_s, u"Satie"_s}).out.toUtf8()).array();
    ASSERT_EQ(items.size(), 4); // three songs, then the album
    EXPECT_EQ(items[3][u"kind"_s].toString(), u"album"_s);
    EXPECT_EQ(items[3][u"id"_s].toString(), u"1512345600"_s);
    EXPECT_TRUE(apple({u"search"_s, u"zzzz"_s}).out.contains(u"Nothing in the Apple Music catalog matches"_s));
    const auto appended = apple({u"play"_s, u"1603550701"_s, u"--append"_s});
    EXPECT_TRUE(titles().contains(u"Salt & Pepper"_s));
    EXPECT_TRUE(appended.out.contains(u"Added to the Sonos queue in Kitchen"_s)) << appended.out.toStdString();

    addBigArtist(40);
    auto r = apple({u"artist"_s, u"The"_s, u"Long"_s, u"Players"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    EXPECT_EQ(kitchen().queue.size(), 40);
    EXPECT_TRUE(r.out.contains(u"Adding songs · 17 of 40"_s)) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains(u"Queued 40 songs by The Long Players."_s));

    struct Case {
        std::function<void()> arrange;
        QStringList args;
        int exit;
        QString said;
    };
    const std::vector<Case> cases{
        {[] {}, {u"artist"_s, u"Nobody At All"_s}, 1, u"No playable songs are available for this artist."_s},
        {[] {}, {u"play"_s, u"42"_s}, 1, u"The Apple Music catalog has no item 42."_s},
        {[&] { ASSERT_TRUE(speakers.inject(kitchen().host + u"=upnp:AddMultipleURIsToQueue:714"_s)); }, {u"play"_s, u"1440880315"_s}, 1,
         u"Sonos couldn’t load this Apple Music item (714). Check that Apple Music is connected in the Sonos app and the item is available in your account."_s},
        {[&] { itunes.failStatus = 503; }, {u"search"_s, u"Satie"_s}, 1, u"The Apple Music catalog could not be reached. Check your internet connection."_s},
        {[] {}, {u"play"_s, u"1"_s, u"--shuffle"_s, u"--append"_s}, 2, {}},
        {[] {}, {u"sing"_s}, 2, {}},
    };
    for (const Case &c : cases) {
        c.arrange();
        r = apple(c.args);
        EXPECT_EQ(r.exit, c.exit) << c.args.join(u' ').toStdString();
        if (!c.said.isEmpty())
            EXPECT_EQ(r.err.trimmed(), c.said);
    }
}

TEST_F(CliApple, InterruptStopsAddingAndKeepsWhatWasQueued)
{
    addBigArtist(60);
    ASSERT_TRUE(speakers.inject(kitchen().host + u"=latency:150"_s));
    QProcess p;
    prepare(p, home);
    const QStringList args = in({u"apple"_s, u"artist"_s, u"The Long Players"_s});
    p.start(QStringLiteral(VELOTTECTL), args);
    QString out;
    ASSERT_TRUE(spinUntil([&] { return (out += QString::fromUtf8(p.readAllStandardOutput())).contains(u"Adding songs · 17 of 60"_s); }, 20000))
        << out.toStdString();
    ::kill(pid_t(p.processId()), SIGINT);
    const CliResult r = finish(p, args, 20000);
    EXPECT_EQ(r.exit, 0);
    EXPECT_GE(kitchen().queue.size(), 17);
    EXPECT_LT(kitchen().queue.size(), 60);
    EXPECT_TRUE(r.out.contains(u" songs queued before loading stopped."_s)) << r.out.toStdString();
    EXPECT_EQ(kitchen().state, u"PLAYING"_s); // what was queued keeps playing
}
