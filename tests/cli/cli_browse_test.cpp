// The browse commands on the demo household: each option reaches the
// browse model, and the output is velottectl's. The matching rules
// themselves are the browse model's, tested there.
#include "clirunner.h"

#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "services/fakemodel.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;

namespace {

QStringList lines(const QString &out) { return out.split(u'\n', Qt::SkipEmptyParts); }

struct CliBrowse : ::testing::Test {
    QTemporaryDir home;
    fake::FakeModel model;

    void SetUp() override
    {
        ASSERT_TRUE(model.listen());
        setSetting(home, u"services/model"_s, model.baseUrl().toString());
    }
    CliResult ctl(QStringList args) { return runCli(QStringList{u"--demo"_s} + args, home); }
    QStringList pins() const
    {
        return QSettings(home.filePath(u"config/velotte/velotte.conf"_s), QSettings::IniFormat).value(u"sonos.quickPicks.demo"_s).toStringList();
    }
};

} // namespace

TEST_F(CliBrowse, FavoritesSearchAndFilters)
{
    EXPECT_EQ(lines(ctl({u"favorites"_s}).out).size(), 5);
    struct Case {
        QStringList options;
        QStringList shown;
    };
    const std::vector<Case> cases{
        {{u"--search"_s, u"GOLDBÉRG"_s}, {u"Bach: Goldberg Variations, BWV 988  · Apple Music"_s}},
        {{u"--service"_s, u"tunein"_s}, {u"Classic FM  · TuneIn"_s}},
        {{u"--classical"_s, u"--work"_s, u"symphonies"_s}, {u"Beethoven: Symphony No. 7 in A major, Op. 92  · Apple Music"_s}},
        {{u"--classical"_s, u"--composer"_s, u"chopin"_s}, {u"Chopin: Nocturnes  · Apple Music"_s}},
        {{u"--classical"_s, u"--work"_s, u"Opera & choral"_s}, {u"No favorites match."_s}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(lines(ctl(QStringList{u"favorites"_s} + c.options).out), c.shown) << c.options.join(u' ').toStdString();
    const QJsonArray json = QJsonDocument::fromJson(ctl({u"--json"_s, u"favorites"_s, u"--search"_s, u"classic"_s}).out.toUtf8()).array();
    ASSERT_EQ(json.size(), 1);
    EXPECT_EQ(json[0][u"id"_s].toString(), u"demo-4"_s);

    // Wrong use is a usage error with a reason.
    const auto orphan = ctl({u"favorites"_s, u"--composer"_s, u"Bach"_s});
    EXPECT_EQ(orphan.exit, 2);
    EXPECT_TRUE(orphan.err.contains(u"add --classical"_s)) << orphan.err.toStdString();
    for (const QStringList &wrong : {QStringList{u"--classical"_s, u"--work"_s, u"ballet"_s}, QStringList{u"--search"_s}, QStringList{u"jazz"_s}})
        EXPECT_EQ(ctl(QStringList{u"favorites"_s} + wrong).exit, 2) << wrong.join(u' ').toStdString();
}

TEST_F(CliBrowse, PinsByName)
{
    EXPECT_EQ(ctl({u"pins"_s}).out.trimmed(), QuickPicksStore::hint());
    EXPECT_EQ(ctl({u"pin"_s, u"morning piano"_s}).exit, 0);
    EXPECT_EQ(ctl({u"pin"_s, u"Chopin"_s}).out.trimmed(), u"Pinned \"Chopin: Nocturnes\"."_s);
    EXPECT_EQ(ctl({u"pin"_s, u"Chopin"_s}).out.trimmed(), u"\"Chopin: Nocturnes\" is already pinned."_s);
    EXPECT_EQ(lines(ctl({u"pins"_s}).out), (QStringList{u"Morning Piano  · Spotify"_s, u"Chopin: Nocturnes  · Apple Music"_s}));
    EXPECT_EQ(pins(), (QStringList{u"demo-5"_s, u"demo-2"_s}));
    EXPECT_EQ(ctl({u"unpin"_s, u"Classic FM"_s}).out.trimmed(), u"\"Classic FM\" is not pinned."_s);
    const auto unknown = ctl({u"pin"_s, u"Nothing Like This"_s});
    EXPECT_EQ(unknown.exit, 1);
    EXPECT_EQ(unknown.err.trimmed(), u"No favorite is called \"Nothing Like This\"."_s);
    EXPECT_EQ(ctl({u"pin"_s}).exit, 2);

    // Six pins, some of favorites deleted since: a seventh is refused, and
    // a missing one can still be unpinned by its id.
    setSetting(home, u"sonos.quickPicks.demo"_s, QStringList{u"gone-1"_s, u"demo-2"_s, u"gone-2"_s, u"gone-3"_s, u"demo-3"_s, u"gone-4"_s});
    const auto full = ctl({u"pin"_s, u"Classic FM"_s});
    EXPECT_EQ(full.exit, 1);
    EXPECT_EQ(full.err.trimmed(), u"Six favorites are pinned already. "_s + QuickPicksStore::hint());
    EXPECT_EQ(ctl({u"unpin"_s, u"gone-2"_s}).exit, 0);
    EXPECT_EQ(pins(), (QStringList{u"gone-1"_s, u"demo-2"_s, u"gone-3"_s, u"demo-3"_s, u"gone-4"_s}));
}

TEST_F(CliBrowse, SuggestionsFromTheModelOrFromTheFavorites)
{
    model.indices = {0};
    const auto arranged = ctl({u"suggest"_s, u"recommend"_s, u"music"_s, u"by"_s, u"Bach,"_s, u"please"_s});
    ASSERT_EQ(arranged.exit, 0) << arranged.err.toStdString();
    ASSERT_EQ(model.completions.size(), 1);
    EXPECT_EQ(lines(arranged.out), (QStringList{u"1. Bach: Goldberg Variations, BWV 988  · Apple Music"_s,
                                                u"Evening Wind-Down — Starts quiet and stays unhurried."_s, u"Arranged by the music model."_s}));

    model.answer = fake::FakeModel::Answer::down;
    const QJsonObject out = QJsonDocument::fromJson(ctl({u"--json"_s, u"suggest"_s, u"quiet piano"_s}).out.toUtf8()).object();
    EXPECT_FALSE(out[u"arrangedByModel"_s].toBool());
    EXPECT_EQ(out[u"detail"_s].toString(), SonosBrowseModel::unavailableSentence());
    EXPECT_EQ(out[u"suggestions"_s][0][u"name"_s].toString(), u"Morning Piano"_s);
    const auto plain = ctl({u"suggest"_s, u"symphony"_s});
    EXPECT_EQ(lines(plain.out).first(), u"1. Beethoven: Symphony No. 7 in A major, Op. 92  · Apple Music"_s);
    EXPECT_EQ(lines(plain.out).last(), SonosBrowseModel::unavailableSentence());
    EXPECT_EQ(ctl({u"suggest"_s}).exit, 2);
}
