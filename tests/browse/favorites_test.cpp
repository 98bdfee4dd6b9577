#include "browsefixtures.h"
#include "browse/favoritematch.h"
#include "browse/sonosbrowsemodel.h"
#include "browse/textmatch.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

namespace {
struct Browse : ::testing::Test {
    MemoryStore defaults;
    SonosBrowseModel model{defaults};
    QList<SonosFavorite> favorites = householdFavorites();
    QStringList visible(const QString &query) { return idsOf(model.visibleFavorites(favorites, query)); }
};
} // namespace

TEST_F(Browse, EveryQueryWordMustMatchNameDescriptionOrService)
{
    EXPECT_EQ(visible({}).size(), favorites.size());
    EXPECT_EQ(visible(QStringLiteral("miles")), (QStringList{QStringLiteral("f8"), QStringLiteral("f6")}));
    EXPECT_EQ(visible(QStringLiteral("kind blue")), QStringList{QStringLiteral("f6")});
    EXPECT_EQ(visible(QStringLiteral("blue spotify")), QStringList());
    EXPECT_EQ(visible(QStringLiteral("concerto spotify")), QStringList{QStringLiteral("f9")});
    EXPECT_EQ(visible(QStringLiteral("podcasts")), QStringList{QStringLiteral("f5")});
}

TEST_F(Browse, BetterMatchesComeFirstThenTheSpeakersOrder)
{
    favorites = {favorite(QStringLiteral("a"), QStringLiteral("Jazz Classics"), QStringLiteral("Playlist")),
                 favorite(QStringLiteral("b"), QStringLiteral("Late Night"), QStringLiteral("Jazz playlist")),
                 favorite(QStringLiteral("c"), QStringLiteral("Smooth Jazzy Evenings")),
                 favorite(QStringLiteral("d"), QStringLiteral("Jazz")),
                 favorite(QStringLiteral("e"), QStringLiteral("Best of Jazz")),
                 favorite(QStringLiteral("f"), QStringLiteral("Jazz Classics Vol. 2"))};
    // The whole name, then names that begin with it, then the word in the
    // name, then a word that only begins with it, then the description.
    EXPECT_EQ(visible(QStringLiteral("jazz")),
              (QStringList{QStringLiteral("d"), QStringLiteral("a"), QStringLiteral("f"), QStringLiteral("e"), QStringLiteral("c"),
                           QStringLiteral("b")}));
    EXPECT_EQ(visible(QStringLiteral("jazz class")), (QStringList{QStringLiteral("a"), QStringLiteral("f")}));
}

TEST_F(Browse, ServiceAndClassicalFilters)
{
    model.setService(QStringLiteral("spotify"));
    EXPECT_EQ(visible({}), (QStringList{QStringLiteral("f2"), QStringLiteral("f8"), QStringLiteral("f9"), QStringLiteral("f10")}));
    model.setService(QStringLiteral("Apple Music"));
    model.setMode(BrowseMode::classical);
    EXPECT_EQ(visible({}), (QStringList{QStringLiteral("f1"), QStringLiteral("f4")}));
    EXPECT_EQ(model.composers(favorites), (QStringList{QStringLiteral("Beethoven"), QStringLiteral("Mozart")}));
    model.setService(std::nullopt);
    EXPECT_EQ(model.composers(favorites), (QStringList{QStringLiteral("Beethoven"), QStringLiteral("Brahms"), QStringLiteral("Mozart")}));
    model.setWork(ClassicalWork::concertos);
    EXPECT_EQ(visible({}), (QStringList{QStringLiteral("f4"), QStringLiteral("f9")}));
    model.setComposer(QStringLiteral("BRAHMS"));
    EXPECT_EQ(visible({}), QStringList{QStringLiteral("f9")});
    EXPECT_EQ(visible(QStringLiteral("mozart")), QStringList());
    model.setWork(ClassicalWork::symphonies);
    EXPECT_EQ(visible({}), QStringList());
    // Back to all music: the classical filters no longer narrow.
    model.setMode(BrowseMode::all);
    EXPECT_EQ(visible({}).size(), favorites.size());
}

TEST(FavoriteMatch, StationsAreWholeWordsBetweenBlanks)
{
    auto station = [](const char *name, const char *detail) {
        return FavoriteMatch::isStation(favorite(QStringLiteral("x"), QString::fromUtf8(name), QString::fromUtf8(detail)));
    };
    EXPECT_TRUE(station("Radio Swiss Classic", ""));
    EXPECT_TRUE(station("Jazz24", "Station"));
    EXPECT_TRUE(station("Miles Davis", "Similar Artists"));
    EXPECT_TRUE(station("Deep Focus", "RADIO"));
    EXPECT_TRUE(station("Lo-fi Beats (Radio)", ""));
    EXPECT_TRUE(station("ＲＡＤＩＯ Paradise", ""));
    EXPECT_FALSE(station("Radiohead: OK Computer", "Album"));
    EXPECT_TRUE(station("Similar", "Artists")) << "name and description are read as one text";
    EXPECT_FALSE(station("Radiology", "Stationery"));
    MemoryStore defaults;
    SonosBrowseModel model(defaults);
    EXPECT_TRUE(model.isStation(favorite(QStringLiteral("x"), QStringLiteral("Radio Paradise"))));
}

TEST(FavoriteMatch, SectionsAndServices)
{
    const QList<SonosFavorite> list = {
        favorite(QStringLiteral("1"), QStringLiteral("Daily Mix 1"), QStringLiteral("Playlist"), QStringLiteral("Spotify")),
        favorite(QStringLiteral("2"), QStringLiteral("Discover Weekly"), QStringLiteral("Playlist"), QStringLiteral("Spotify")),
        favorite(QStringLiteral("3"), QStringLiteral("Sunday Jazz"), QStringLiteral("Playlist"), QStringLiteral("spotify")),
        favorite(QStringLiteral("4"), QStringLiteral("Kind of Blue"), QStringLiteral("Album"), QStringLiteral("Apple Music")),
        favorite(QStringLiteral("5"), QStringLiteral("Miles Davis"), QStringLiteral("Similar Artists"), QStringLiteral("Pandora")),
        favorite(QStringLiteral("6"), QStringLiteral("Mixed Feelings"), QStringLiteral("Album")),
        favorite(QStringLiteral("7"), QStringLiteral("My Playlist")),
        favorite(QStringLiteral("8"), QStringLiteral("Road Trip"), QStringLiteral("Apple Music playlist"), QStringLiteral("Apple Music")),
    };
    const FavoriteMatch::Sections s = FavoriteMatch::sections(list);
    EXPECT_EQ(idsOf(s.mixes), (QStringList{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("5")}));
    EXPECT_EQ(idsOf(s.playlists), (QStringList{QStringLiteral("3"), QStringLiteral("7"), QStringLiteral("8")}));
    EXPECT_EQ(idsOf(s.other), (QStringList{QStringLiteral("4"), QStringLiteral("6")}));
    EXPECT_EQ(FavoriteMatch::services(list), (QStringList{QStringLiteral("Spotify"), QStringLiteral("Apple Music"), QStringLiteral("Pandora")}));
}

TEST(TextMatch, WordsSplitOnPunctuationButKeepInnerApostrophes)
{
    EXPECT_EQ(TextMatch::words(QStringLiteral("Beethoven: Symphony No. 5, Op. 67")),
              (QStringList{QStringLiteral("beethoven"), QStringLiteral("symphony"), QStringLiteral("no"), QStringLiteral("5"),
                           QStringLiteral("op"), QStringLiteral("67")}));
    EXPECT_EQ(TextMatch::words(QString::fromUtf8("Don’t Stop 'Me' Now")),
              (QStringList{QStringLiteral("dont"), QStringLiteral("stop"), QStringLiteral("me"), QStringLiteral("now")}));
    EXPECT_EQ(TextMatch::normalized(QString::fromUtf8("  Radio   Swiss—Classic ")), QStringLiteral("radio swiss classic"));
    EXPECT_TRUE(TextMatch::words(QStringLiteral(" - · ")).isEmpty());
}

TEST(TextMatch, QueryWordsMatchWordStartsAndInsideUnspacedScripts)
{
    EXPECT_TRUE(TextMatch::wordMatches(QStringLiteral("beet"), QStringLiteral("beethoven")));
    EXPECT_FALSE(TextMatch::wordMatches(QStringLiteral("hoven"), QStringLiteral("beethoven")));
    // Chinese has no blanks between words: a name inside a longer run matches.
    EXPECT_TRUE(TextMatch::wordMatches(TextMatch::key(QString::fromUtf8("杰伦")), TextMatch::key(QString::fromUtf8("周杰倫精選"))));
    EXPECT_TRUE(TextMatch::containsPhrase(TextMatch::words(QStringLiteral("Miles Davis Similar Artists")),
                                          TextMatch::words(QStringLiteral("similar artists"))));
    EXPECT_FALSE(TextMatch::containsPhrase(TextMatch::words(QStringLiteral("artists similar")), TextMatch::words(QStringLiteral("similar artists"))));
}
