#include "browsefixtures.h"

#include "browse/quickpicksstore.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

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

TEST_F(QuickPicks, ItemsFollowPinOrderSkippingPodcastsAndMissingFavorites)
{
    const QList<SonosFavorite> favorites = householdFavorites();
    store.selectHousehold(QStringLiteral("H1"));
    for (const char *id : {"f6", "gone", "f5", "f1", "f3"})
        store.toggle(QLatin1String(id));
    EXPECT_EQ(idsOf(store.items(favorites)), ids({"f6", "f1", "f3"}));
    // The deleted favorite and the podcast stay pinned.
    EXPECT_EQ(storedFor(QStringLiteral("H1")).toStringList(), ids({"f6", "gone", "f5", "f1", "f3"}));
    // A favorite with no service is kept.
    QList<SonosFavorite> bare = {favorite(QStringLiteral("gone"), QStringLiteral("Back again"))};
    EXPECT_EQ(idsOf(store.items(bare)), ids({"gone"}));
    EXPECT_TRUE(store.items({}).isEmpty());
}

TEST_F(QuickPicks, EachHouseholdItsPinsAndWhatTheSettingsFileHolds)
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
}
