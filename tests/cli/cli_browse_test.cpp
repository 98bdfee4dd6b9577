// The browse commands on the demo household: each option reaches the
// browse model, and the output is velottectl's. The matching rules
// themselves are the browse model's, tested there.
#include "clirunner.h"

#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "services/fakemodel.h"

#include <QJsonArray>
#include <QJsonDocument>

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

// Each command's words reach the browse model and come back as velottectl's output.
TEST_F(CliBrowse, FavoritesPinsAndSuggestions)
{
    struct Case {
        QStringList args;
        QStringList shown; // standard output then error, line by line
        int exit = 0;
    };
    model.answer = fake::FakeModel::Answer::down;
    const std::vector<Case> cases{
        {{u"favorites"_s, u"--search"_s, u"GOLDBÉRG"_s}, {u"Bach: Goldberg Variations, BWV 988  · Apple Music"_s}},
        {{u"favorites"_s, u"--service"_s, u"tunein"_s}, {u"Classic FM  · TuneIn"_s}},
        {{u"favorites"_s, u"--classical"_s, u"--work"_s, u"symphonies"_s}, {u"Beethoven: Symphony No. 7 in A major, Op. 92  · Apple Music"_s}},
        {{u"favorites"_s, u"--classical"_s, u"--composer"_s, u"chopin"_s}, {u"Chopin: Nocturnes  · Apple Music"_s}},
        {{u"favorites"_s, u"--classical"_s, u"--work"_s, u"Opera & choral"_s}, {u"No favorites match."_s}},
        {{u"pins"_s}, {QuickPicksStore::hint()}},
        {{u"pin"_s, u"Chopin"_s}, {u"Pinned \"Chopin: Nocturnes\"."_s}},
        {{u"pin"_s, u"chopin"_s}, {u"\"Chopin: Nocturnes\" is already pinned."_s}},
        {{u"unpin"_s, u"Classic FM"_s}, {u"\"Classic FM\" is not pinned."_s}},
        {{u"pin"_s, u"Nothing Like This"_s}, {u"No favorite is called \"Nothing Like This\"."_s}, 1},
    };
    for (const Case &c : cases) {
        const auto r = ctl(c.args);
        EXPECT_EQ(r.exit, c.exit) << c.args.join(u' ').toStdString();
        EXPECT_EQ(lines(r.out + r.err), c.shown) << c.args.join(u' ').toStdString();
    }
    const QStringList plain = lines(ctl({u"suggest"_s, u"symphony"_s}).out);
    EXPECT_EQ(plain.first(), u"1. Beethoven: Symphony No. 7 in A major, Op. 92  · Apple Music"_s);
    EXPECT_EQ(plain.last(), SonosBrowseModel::unavailableSentence());
    // Wrong use is a usage error with a reason.
    EXPECT_TRUE(ctl({u"favorites"_s, u"--composer"_s, u"Bach"_s}).err.contains(u"add --classical"_s));
    for (const QStringList &wrong : {QStringList{u"favorites"_s, u"--classical"_s, u"--work"_s, u"ballet"_s}, QStringList{u"favorites"_s, u"--search"_s},
                                     QStringList{u"favorites"_s, u"jazz"_s}, QStringList{u"pin"_s}, QStringList{u"suggest"_s}})
        EXPECT_EQ(ctl(wrong).exit, 2) << wrong.join(u' ').toStdString();
    const QJsonArray json = QJsonDocument::fromJson(ctl({u"--json"_s, u"favorites"_s, u"--search"_s, u"classic"_s}).out.toUtf8()).array();
    ASSERT_EQ(json.size(), 1);
    EXPECT_EQ(json[0][u"id"_s].toString(), u"demo-4"_s);

    // Six pins, some of favorites deleted since: a seventh is refused, and a
    // missing one can still be unpinned by its id.
    setSetting(home, u"sonos.quickPicks.demo"_s, QStringList{u"gone-1"_s, u"demo-2"_s, u"gone-2"_s, u"gone-3"_s, u"demo-3"_s, u"gone-4"_s});
    const auto full = ctl({u"pin"_s, u"Classic FM"_s});
    EXPECT_EQ(full.exit, 1);
    EXPECT_EQ(full.err.trimmed(), u"Six favorites are pinned already. "_s + QuickPicksStore::hint());
    EXPECT_EQ(ctl({u"unpin"_s, u"gone-2"_s}).exit, 0);
    EXPECT_EQ(pins(), (QStringList{u"gone-1"_s, u"demo-2"_s, u"gone-3"_s, u"demo-3"_s, u"gone-4"_s}));
}

TEST_F(CliBrowse, SuggestionsArrangedByTheModel)
{
    model.indices = {0};
    const auto arranged = ctl({u"suggest"_s, u"recommend"_s, u"music"_s, u"by"_s, u"Bach,"_s, u"please"_s});
    ASSERT_EQ(arranged.exit, 0) << arranged.err.toStdString();
    ASSERT_EQ(model.completions.size(), 1);
    EXPECT_EQ(lines(arranged.out), (QStringList{u"1. Bach: Goldberg Variations, BWV 988  · Apple Music"_s,
                                                u"Evening Wind-Down — Starts quiet and stays unhurried."_s, u"Arranged by the music model."_s}));
}
