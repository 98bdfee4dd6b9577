#include "browsefixtures.h"
#include "browse/sonosbrowsemodel.h"
#include "browse/quickpicksstore.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

namespace {

const QString householdA = QStringLiteral("Sonos_hhA.1");
const QString householdB = QStringLiteral("Sonos_hhB.2");

SonosFavorite numbered(int i) { return favorite(QStringLiteral("fav-%1").arg(i), QStringLiteral("Favorite %1").arg(i), {}, QStringLiteral("Spotify")); }

QList<SonosFavorite> stored(const KeyValueStore &store, const QString &household)
{
    return Decode::favoriteArray(store.value(SonosBrowseModel::historyKeyPrefix() + household).toByteArray());
}

struct History : ::testing::Test {
    MemoryStore defaults;
    SonosBrowseModel model{defaults};
};

} // namespace

TEST_F(History, NewestFirstEachFavoriteOnceAtMostTwelve)
{
    model.selectHousehold(householdA);
    model.recordPlayed(numbered(1));
    model.recordPlayed(numbered(2));
    model.recordPlayed(numbered(1));
    EXPECT_EQ(idsOf(model.recentFavorites()), (QStringList{QStringLiteral("fav-1"), QStringLiteral("fav-2")}));
    // The entry played again replaces the older copy even if its name changed.
    SonosFavorite renamed = numbered(2);
    renamed.name = QStringLiteral("Favorite Two");
    model.recordPlayed(renamed);
    EXPECT_EQ(model.recentFavorites().front().name, QStringLiteral("Favorite Two"));

    for (int i = 3; i <= 13; ++i)
        model.recordPlayed(numbered(i));
    ASSERT_EQ(model.recentFavorites().size(), 12);
    EXPECT_EQ(model.recentFavorites().front().id, QStringLiteral("fav-13"));
    EXPECT_EQ(model.recentFavorites().back().id, QStringLiteral("fav-2")) << "the oldest, fav-1, was pushed out";
    EXPECT_EQ(stored(defaults, householdA), model.recentFavorites());
}

TEST_F(History, OnlyAChosenRealHouseholdKeepsMusicAndEachItsOwn)
{
    model.recordPlayed(numbered(1)); // no household yet
    EXPECT_TRUE(model.recentFavorites().isEmpty());
    // The demo's list lives in memory only; even a stored one is never read.
    model.selectHousehold(QStringLiteral("demo"));
    model.recordPlayed(numbered(1));
    EXPECT_EQ(idsOf(model.recentFavorites()), QStringList{QStringLiteral("fav-1")});
    EXPECT_EQ(defaults.writes(), 0);
    defaults.setValue(SonosBrowseModel::historyKeyPrefix() + QStringLiteral("demo"), encodeFavorites({numbered(9)}));
    model.selectHousehold(QStringLiteral("demo"));
    EXPECT_TRUE(model.recentFavorites().isEmpty());

    model.selectHousehold(householdA);
    model.recordPlayed(numbered(1));
    const int writes = defaults.writes();
    model.recordPlayed(favorite(QStringLiteral("pod"), QStringLiteral("The Daily"), QStringLiteral("Show"), QStringLiteral("Apple Podcasts")));
    model.recordPlayed(favorite(QStringLiteral("pod2"), QStringLiteral("Hard Fork"), {}, QStringLiteral("PODCAST ADDICT")));
    EXPECT_EQ(defaults.writes(), writes);

    model.selectHousehold(householdB);
    EXPECT_TRUE(model.recentFavorites().isEmpty());
    model.recordPlayed(numbered(2));
    model.selectHousehold(householdA);
    EXPECT_EQ(idsOf(model.recentFavorites()), QStringList{QStringLiteral("fav-1")});

    for (const QVariant &junk : {QVariant(QByteArray("not json")), QVariant(QByteArray("{\"id\":\"x\"}")), QVariant(QByteArray("[{\"name\":1}]")),
                                 QVariant(42), QVariant(QStringList{QStringLiteral("a")})}) {
        defaults.setValue(SonosBrowseModel::historyKeyPrefix() + householdB, junk);
        model.selectHousehold(householdB);
        EXPECT_TRUE(model.recentFavorites().isEmpty()) << junk.toString().toStdString();
    }
    // Played again, the unreadable value is replaced by a good one.
    model.recordPlayed(numbered(3));
    EXPECT_EQ(idsOf(stored(defaults, householdB)), QStringList{QStringLiteral("fav-3")});

    // Clearing forgets the household and the filters, never what is stored.
    model.setMode(BrowseMode::classical);
    model.clear();
    EXPECT_EQ(model.mode(), BrowseMode::all);
    EXPECT_EQ(model.historyHousehold(), std::nullopt);
    model.recordPlayed(numbered(4));
    EXPECT_TRUE(model.recentFavorites().isEmpty());
    EXPECT_EQ(idsOf(stored(defaults, householdA)), QStringList{QStringLiteral("fav-1")});
}

namespace {

QStringList ids(std::initializer_list<const char *> list)
{
    QStringList out;
    for (const char *id : list)
        out << QLatin1String(id);
    return out;
}

struct QuickPicks : ::testing::Test {
    MemoryStore defaults;
    QuickPicksStore store{defaults};
    QVariant storedFor(const QString &household) { return defaults.value(QStringLiteral("sonos.quickPicks.") + household); }
};

} // namespace

TEST_F(QuickPicks, SixAtMostAndUnpinningKeepsTheOrder)
{
    store.toggle(QStringLiteral("f1")); // before a household is chosen: nothing
    EXPECT_TRUE(store.ids().isEmpty());
    EXPECT_EQ(defaults.writes(), 0);

    store.selectHousehold(QStringLiteral("H1"));
    for (const char *id : {"a", "b", "c", "d", "e", "f"})
        store.toggle(QLatin1String(id));
    EXPECT_TRUE(store.isFull());
    const int writes = defaults.writes();
    store.toggle(QStringLiteral("g"));
    EXPECT_EQ(store.ids(), ids({"a", "b", "c", "d", "e", "f"}));
    EXPECT_EQ(defaults.writes(), writes);

    QSignalSpy changed(&store, &QuickPicksStore::idsChanged);
    store.toggle(QStringLiteral("b"));
    store.toggle(QStringLiteral("e"));
    EXPECT_EQ(changed.count(), 2);
    EXPECT_EQ(store.ids(), ids({"a", "c", "d", "f"}));
    EXPECT_EQ(storedFor(QStringLiteral("H1")).toStringList(), ids({"a", "c", "d", "f"}));
    store.toggle(QStringLiteral("b")); // pinned again: at the end
    EXPECT_EQ(store.ids(), ids({"a", "c", "d", "f", "b"}));

    // A stored list that somehow holds an id twice loses every copy.
    defaults.setValue(QStringLiteral("sonos.quickPicks.H2"), ids({"p", "q", "p"}));
    store.selectHousehold(QStringLiteral("H2"));
    store.toggle(QStringLiteral("p"));
    EXPECT_EQ(store.ids(), ids({"q"}));
}

TEST_F(QuickPicks, EachHouseholdItsPinsAndWhatTheSettingsFileKeeps)
{
    store.selectHousehold(QStringLiteral("H1"));
    store.toggle(QStringLiteral("one"));
    store.selectHousehold(QStringLiteral("H2"));
    EXPECT_TRUE(store.ids().isEmpty());
    store.selectHousehold(QStringLiteral("H1"));
    EXPECT_EQ(store.ids(), ids({"one"}));
    defaults.setValue(QStringLiteral("sonos.quickPicks.H3"), 7);
    store.selectHousehold(QStringLiteral("H3"));
    EXPECT_TRUE(store.ids().isEmpty());
    store.clear();
    EXPECT_TRUE(store.key().isEmpty() && store.ids().isEmpty());

    // The file as another run of the program left it: one pin is written as
    // plain text.
    QTemporaryDir dir;
    const QString written = dir.filePath(QStringLiteral("written.conf"));
    QFile f(written);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("[General]\nsonos.quickPicks.H1=one\nsonos.quickPicks.H2=two, three\nsonos.quickPicks.H3=@Invalid()\n");
    f.close();
    SettingsStore fromFile(written);
    QuickPicksStore third(fromFile);
    const QList<QPair<const char *, QStringList>> expected{{"H1", ids({"one"})}, {"H2", ids({"two", "three"})}, {"H3", {}}};
    for (const auto &[household, pins] : expected) {
        third.selectHousehold(QLatin1String(household));
        EXPECT_EQ(third.ids(), pins) << household;
    }

    // Recent favorites come back after a restart, odd characters and all.
    const QString file = dir.filePath(QStringLiteral("sub/velotte.conf")); // a folder not made yet
    SonosFavorite full = favorite(QStringLiteral("fav-1"), QString::fromUtf8("Café del Mar, \"Vol. 1\""), QStringLiteral("Playlist"), QStringLiteral("Spotify"));
    full.imageUrl = QStringLiteral("https://example.invalid/a.jpg");
    {
        SettingsStore before(file);
        SonosBrowseModel first(before);
        first.selectHousehold(householdA);
        first.recordPlayed(numbered(2));
        first.recordPlayed(full);
    }
    SettingsStore reopened(file);
    SonosBrowseModel second(reopened);
    second.selectHousehold(householdA);
    EXPECT_EQ(second.recentFavorites(), (QList<SonosFavorite>{full, numbered(2)}));

    // Items follow the pins, skipping podcasts and favorites deleted since.
    const QList<SonosFavorite> favorites = householdFavorites();
    store.selectHousehold(QStringLiteral("H4"));
    for (const char *id : {"f6", "gone", "f5", "f1", "f3"})
        store.toggle(QLatin1String(id));
    EXPECT_EQ(idsOf(store.items(favorites)), ids({"f6", "f1", "f3"}));
    // The deleted favorite and the podcast stay pinned.
    EXPECT_EQ(storedFor(QStringLiteral("H4")).toStringList(), ids({"f6", "gone", "f5", "f1", "f3"}));
    // A favorite with no service is kept.
    QList<SonosFavorite> bare = {favorite(QStringLiteral("gone"), QStringLiteral("Back again"))};
    EXPECT_EQ(idsOf(store.items(bare)), ids({"gone"}));
    EXPECT_TRUE(store.items({}).isEmpty());
}
