#include "browse/classicalpiece.h"

#include <gtest/gtest.h>

using namespace velotte;

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

TEST(ClassicalPiece, PopMusicIsNotClassical)
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
}

TEST(ClassicalPiece, ComposersAreListedOnceAlphabetically)
{
    QList<SonosFavorite> favorites;
    for (const char *title : {"Mozart: Requiem", "Beethoven: Symphony No. 7", "MOZART - Piano Concerto No. 21", "Dvorak: Symphony No. 8",
                              "Coldplay - Yellow", "Bach: Goldberg Variations, BWV 988", "Dvořák: Cello Concerto"})
        favorites.append(SonosFavorite{QString::fromUtf8(title), QString::fromUtf8(title), {}, {}, {}, {}});
    EXPECT_EQ(ClassicalPiece::composers(favorites),
              (QStringList{QStringLiteral("Bach"), QStringLiteral("Beethoven"), QString::fromUtf8("Dvořák"), QStringLiteral("Mozart")}));
    EXPECT_TRUE(ClassicalPiece::sameComposer(QStringLiteral("DVORAK"), QString::fromUtf8("Dvořák")));
    EXPECT_FALSE(ClassicalPiece::sameComposer(QString(), QString()));
}
