#include "browsefixtures.h"
#include "browse/favoritematch.h"
#include "browse/sonosbrowsemodel.h"
#include "browse/textmatch.h"
#include "browse/classicalpiece.h"

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

TEST_F(Browse, EveryQueryWordMustMatchAndBetterMatchesComeFirst)
{
    EXPECT_EQ(visible({}).size(), favorites.size());
    EXPECT_EQ(visible(QStringLiteral("miles")), (QStringList{QStringLiteral("f8"), QStringLiteral("f6")}));
    EXPECT_EQ(visible(QStringLiteral("kind blue")), QStringList{QStringLiteral("f6")});
    EXPECT_EQ(visible(QStringLiteral("blue spotify")), QStringList());
    EXPECT_EQ(visible(QStringLiteral("concerto spotify")), QStringList{QStringLiteral("f9")});
    EXPECT_EQ(visible(QStringLiteral("podcasts")), QStringList{QStringLiteral("f5")});

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

TEST(FavoriteMatch, StationsSectionsAndServices)
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

TEST(TextMatch, WordsAndWhatAQueryWordMatches)
{
    EXPECT_EQ(TextMatch::words(QStringLiteral("Beethoven: Symphony No. 5, Op. 67")),
              (QStringList{QStringLiteral("beethoven"), QStringLiteral("symphony"), QStringLiteral("no"), QStringLiteral("5"),
                           QStringLiteral("op"), QStringLiteral("67")}));
    EXPECT_EQ(TextMatch::words(QString::fromUtf8("Don’t Stop 'Me' Now")),
              (QStringList{QStringLiteral("dont"), QStringLiteral("stop"), QStringLiteral("me"), QStringLiteral("now")}));
    EXPECT_EQ(TextMatch::normalized(QString::fromUtf8("  Radio   Swiss—Classic ")), QStringLiteral("radio swiss classic"));
    EXPECT_TRUE(TextMatch::words(QStringLiteral(" - · ")).isEmpty());

    EXPECT_TRUE(TextMatch::wordMatches(QStringLiteral("beet"), QStringLiteral("beethoven")));
    EXPECT_FALSE(TextMatch::wordMatches(QStringLiteral("hoven"), QStringLiteral("beethoven")));
    // Chinese has no blanks between words: a name inside a longer run matches.
    EXPECT_TRUE(TextMatch::wordMatches(TextMatch::key(QString::fromUtf8("杰伦")), TextMatch::key(QString::fromUtf8("周杰倫精選"))));
    EXPECT_TRUE(TextMatch::containsPhrase(TextMatch::words(QStringLiteral("Miles Davis Similar Artists")),
                                          TextMatch::words(QStringLiteral("similar artists"))));
    EXPECT_FALSE(TextMatch::containsPhrase(TextMatch::words(QStringLiteral("artists similar")), TextMatch::words(QStringLiteral("similar artists"))));
}

namespace {

struct Case {
    const char *title;
    const char *detail;
    const char *composer;
    ClassicalWork work;
};

// Titles as music services name favorites: "Composer: Work", dashes, German
// compounds, catalogue numbers, opera titles without a kind word, the
// composer only in the description.
const Case catalogue[] = {
    {"Beethoven: Symphony No. 5 in C minor, Op. 67", "", "Beethoven", ClassicalWork::symphonies},
    {"Mozart - Piano Concerto No. 21", "", "Mozart", ClassicalWork::concertos},
    {"Tchaikovsky: Symphony No. 6 \"Pathétique\"", "", "Tchaikovsky", ClassicalWork::symphonies},
    {"Tschaikowsky: Klavierkonzert Nr. 1", "", "Tchaikovsky", ClassicalWork::concertos},
    {"DVORAK - Cello Concerto in B minor", "", "Dvořák", ClassicalWork::concertos},
    {"Schubert: String Quartet No. 14 \"Death and the Maiden\"", "", "Schubert", ClassicalWork::chamber},
    {"Schubert: Winterreise, D. 911", "", "Schubert", ClassicalWork::vocal},
    {"Bach: Cello Suites, BWV 1007-1012", "Album", "Bach", ClassicalWork::chamber},
    {"J.S. Bach: Mass in B minor, BWV 232", "", "Bach", ClassicalWork::vocal},
    {"Bach – Cantata BWV 147: Sinfonia", "", "Bach", ClassicalWork::vocal},
    {"Chopin: Piano Sonata No. 2 in B-flat minor, Op. 35", "", "Chopin", ClassicalWork::sonatas},
    {"Chopin: Nocturnes", "Playlist", "Chopin", ClassicalWork::all},
    {"Beethoven: Klaviersonate Nr. 8 \"Pathétique\"", "", "Beethoven", ClassicalWork::sonatas},
    {"Verdi: La traviata", "Album", "Verdi", ClassicalWork::vocal},
    {"Mozart: Die Zauberflöte, K. 620", "", "Mozart", ClassicalWork::vocal},
    {"Vivaldi: The Four Seasons", "Violin concertos, RV 269", "Vivaldi", ClassicalWork::concertos},
    {"Handel: Messiah, HWV 56", "", "Handel", ClassicalWork::vocal},
    {"Händel: Water Music", "Album", "Handel", ClassicalWork::all},
    {"Rachmaninov: Piano Concerto No. 2 in C minor, Op. 18", "", "Rachmaninoff", ClassicalWork::concertos},
    {"Haydn: Symphony No. 94 \"Surprise\", Hob. I:94", "", "Haydn", ClassicalWork::symphonies},
    {"FAURE: Requiem", "", "Fauré", ClassicalWork::vocal},
    {"Debussy: Préludes, Book 1", "Album", "Debussy", ClassicalWork::all},
    {"Mendelssohn: Piano Trio No. 1 in D minor, Op. 49", "", "Mendelssohn", ClassicalWork::chamber},
    {"Arvo Pärt: Spiegel im Spiegel", "", "Pärt", ClassicalWork::all},
    {"Goldberg Variations, BWV 988", "Johann Sebastian Bach · Glenn Gould", "Bach", ClassicalWork::all},
    {"Symphonie fantastique, Op. 14", "Berlioz", "Berlioz", ClassicalWork::symphonies},
    {"Hildegard von Bingen: O virtus Sapientiae", "", "Hildegard von Bingen", ClassicalWork::all},
    {"Saint-Saëns: Symphony No. 3 \"Organ\"", "", "Saint-Saëns", ClassicalWork::symphonies},
    {"Mozart: Sinfonia concertante, K. 364", "", "Mozart", ClassicalWork::concertos},
    // An unknown composer counts when the rest is plainly a work.
    {"Florence Price: Symphony No. 1 in E minor", "", "Florence Price", ClassicalWork::symphonies},
    {"Amy Beach - Piano Concerto in C-sharp minor, Op. 45", "", "Amy Beach", ClassicalWork::concertos},
};

} // namespace

TEST(ClassicalPiece, ParsesACatalogueOfRealisticTitles)
{
    static_assert(std::size(catalogue) >= 30);
    for (const Case &c : catalogue) {
        SCOPED_TRACE(c.title);
        const auto piece = ClassicalPiece::parse(QString::fromUtf8(c.title), QString::fromUtf8(c.detail));
        ASSERT_TRUE(piece.has_value());
        EXPECT_EQ(piece->composer.toStdString(), c.composer);
        EXPECT_EQ(displayText(piece->work).toStdString(), displayText(c.work).toStdString());
    }
}

TEST(ClassicalPiece, PopMusicIsNotClassicalAndComposersAreListedOnce)
{
    for (const char *title : {"Coldplay - Yellow", "Daft Punk: Random Access Memories", "Symphony of Destruction", "Bohemian Rhapsody",
                              "Morning Coffee", "Rock Opera Classics - Live", "Taylor Swift - Red (Taylor's Version)", "Chill Mix"}) {
        SCOPED_TRACE(title);
        EXPECT_FALSE(ClassicalPiece::parse(QString::fromUtf8(title)).has_value());
    }
    // A station that says it plays classical music is classical, with no composer.
    const auto station = ClassicalPiece::parse(QStringLiteral("Classic FM"), QStringLiteral("Classical radio"));
    ASSERT_TRUE(station.has_value());
    EXPECT_TRUE(station->composer.isEmpty());

    QList<SonosFavorite> favorites;
    for (const char *title : {"Mozart: Requiem", "Beethoven: Symphony No. 7", "MOZART - Piano Concerto No. 21", "Dvorak: Symphony No. 8",
                              "Coldplay - Yellow", "Bach: Goldberg Variations, BWV 988", "Dvořák: Cello Concerto"})
        favorites.append(SonosFavorite{QString::fromUtf8(title), QString::fromUtf8(title), {}, {}, {}, {}});
    EXPECT_EQ(ClassicalPiece::composers(favorites),
              (QStringList{QStringLiteral("Bach"), QStringLiteral("Beethoven"), QString::fromUtf8("Dvořák"), QStringLiteral("Mozart")}));
    EXPECT_TRUE(ClassicalPiece::sameComposer(QStringLiteral("DVORAK"), QString::fromUtf8("Dvořák")));
    EXPECT_FALSE(ClassicalPiece::sameComposer(QString(), QString()));
}

