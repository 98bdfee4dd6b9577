#include "notes/trackmatching.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace M = velotte::TrackMatching;

TEST(TrackMatching, TitleLosesOnlyATrailingWorkRemark)
{
    EXPECT_EQ(M::title(u"夜車 （電影《夜行》主題曲）"_s), u"夜車"_s);
    EXPECT_EQ(M::title(u"Theme (from the Motion Picture soundtrack)"_s), u"Theme"_s);
    EXPECT_EQ(M::title(u"風箏 (概念版)"_s), u"風箏"_s);
    // In the middle, nested, or not about the work: left alone.
    EXPECT_EQ(M::title(u"夜車（主題曲）Remix"_s), u"夜車（主題曲）Remix"_s);
    EXPECT_EQ(M::title(u"Song (Live (主題曲))"_s), u"Song (Live (主題曲))"_s);
    EXPECT_EQ(M::title(u"Salt & Pepper (Acoustic)"_s), u"Salt & Pepper (Acoustic)"_s);
    // Only one remark goes.
    EXPECT_EQ(M::title(u"Song (插曲) (片頭曲)"_s), u"Song (插曲)"_s);
    EXPECT_EQ(M::title(u"  Clair de lune \t"_s), u"Clair de lune"_s);
}

TEST(TrackMatching, KeysFoldCaseWidthAccentsPunctuationAndScript)
{
    EXPECT_EQ(M::normalized(u"Salt & Pepper!"_s), u"saltpepper"_s);
    EXPECT_EQ(M::normalized(u"ＳＡＬＴ　＆　ＰＥＰＰＥＲ"_s), u"saltpepper"_s);
    EXPECT_EQ(M::normalized(u"Gymnopédie No. 1"_s), M::normalized(u"GYMNOPEDIE NO1"_s));
    EXPECT_EQ(M::normalized(u"Cafe\u0301"_s), u"cafe"_s);
    EXPECT_EQ(M::normalized(u"林曉風"_s), u"林晓风"_s);
    EXPECT_EQ(M::normalized(u"Чайковский 방탄소년단"_s), u"чаиковскии방탄소년단"_s); // other scripts' letters stay, syllables whole
    EXPECT_EQ(M::normalized(u"Straße"_s), M::normalized(u"STRASSE"_s));
    EXPECT_EQ(M::normalized(u"😀 Smile 🎵"_s), u"smile"_s);
    EXPECT_TRUE(M::normalized(u"?!… —— 、。"_s).isEmpty());
}

TEST(TrackMatching, LyricQueriesAreTitleMajor)
{
    EXPECT_EQ(M::lyricQueries(u"Clair de lune"_s, u"Claude Debussy"_s), (QList<LyricQuery>{{u"Clair de lune"_s, u"Claude Debussy"_s}}));
    const QList<LyricQuery> mixed = M::lyricQueries(u"舊街灯"_s, u"林曉风"_s);
    ASSERT_EQ(mixed.size(), 9);
    EXPECT_EQ(mixed[0], (LyricQuery{u"舊街灯"_s, u"林曉风"_s}));
    EXPECT_EQ(mixed[3], (LyricQuery{u"旧街灯"_s, u"林曉风"_s})); // every artist spelling, then the next title
    EXPECT_EQ(mixed[8], (LyricQuery{u"舊街燈"_s, u"林曉風"_s}));
    const QList<LyricQuery> traditional = M::lyricQueries(u"夜車"_s, u"林曉風"_s);
    EXPECT_EQ(traditional, (QList<LyricQuery>{{u"夜車"_s, u"林曉風"_s}, {u"夜車"_s, u"林晓风"_s}, {u"夜车"_s, u"林曉風"_s}, {u"夜车"_s, u"林晓风"_s}}));
    EXPECT_TRUE(M::lyricQueries(u" (插曲)"_s, u"Anyone"_s).isEmpty());
    EXPECT_EQ(M::lyricQueries(u"七里香"_s, u"Anyone"_s).size(), 1); // the same in both scripts
    // Punctuation is still a title to search for; only the key is empty.
    EXPECT_EQ(M::lyricQueries(u"…"_s, u"Anyone"_s).size(), 1);
    // The artist is searched as given, remarks and all.
    EXPECT_EQ(M::lyricQueries(u"Song"_s, u"Band (主題曲)"_s)[0].artist, u"Band (主題曲)"_s);
}

TEST(TrackMatching, SameTitleAndArtistRules)
{
    EXPECT_TRUE(M::sameTitle(u"夜車 (電影《夜行》主題曲)"_s, u"夜车"_s));
    EXPECT_TRUE(M::sameTitle(u"Gymnopédie No.1"_s, u"Gymnopedie No. 1"_s));
    EXPECT_FALSE(M::sameTitle(u"Salt & Pepper (Live)"_s, u"Salt & Pepper"_s));
    EXPECT_FALSE(M::sameTitle(u"!!!"_s, u"!!!"_s));

    EXPECT_TRUE(M::same(u"陳雨桐"_s, u"陈雨桐"_s));
    EXPECT_TRUE(M::same(u"the condiments"_s, u"The Condiments"_s));
    EXPECT_FALSE(M::same(QString(), u"The Condiments"_s));
    EXPECT_FALSE(M::same(QString(), QString()));
    EXPECT_FALSE(M::same(u"The Condiment"_s, u"The Condiments"_s));
}
