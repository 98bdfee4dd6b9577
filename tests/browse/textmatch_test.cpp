#include "browse/textmatch.h"

#include <gtest/gtest.h>

using namespace velotte;

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
