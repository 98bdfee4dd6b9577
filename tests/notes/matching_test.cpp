#include "notes/trackmatching.h"
#include "notes/tracklyrics.h"

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

namespace {
TrackLine at(qint64 time, const QString &text) { return TrackLine{time, text}; }
} // namespace

TEST(Lrc, TagsTimesAndText)
{
    EXPECT_EQ(timed(u"[01:02.5][02:10]Hello"_s), (QList<TrackLine>{at(62500, u"Hello"_s), at(130000, u"Hello"_s)}));
    // Out of order tags and lines come back ordered; fractions of two and three digits.
    EXPECT_EQ(timed(u"[00:20.10]b\n[00:05.123][00:30.00] a \n[00:00.99]c"_s),
              (QList<TrackLine>{at(990, u"c"_s), at(5123, u"a"_s), at(20100, u"b"_s), at(30000, u"a"_s)}));
    // A tag anywhere on the line; the text is what remains.
    EXPECT_EQ(timed(u"Hello [00:01.00]world"_s), QList<TrackLine>{at(1000, u"Hello world"_s)});
    // Word timings of enhanced LRC are not words; one blank stays between words.
    EXPECT_EQ(timed(u"[00:41.75]<00:41.75>Pass <00:42.10>it <00:42.40>down"_s), QList<TrackLine>{at(41750, u"Pass it down"_s)});
    EXPECT_EQ(timed(u"[00:33.58]<00:33.58> Salt <00:34.00> and<00:34.50> pepper <00:35.1>"_s), QList<TrackLine>{at(33580, u"Salt and pepper"_s)});
    EXPECT_EQ(timed(u"[00:01.00]夜车 <01:02:3>開"_s), QList<TrackLine>{at(1000, u"夜车 開"_s)});
    // Angle brackets that are not times stay.
    EXPECT_EQ(timed(u"[00:01.00]<3 you <chorus> <1:2> <00:0a>"_s), QList<TrackLine>{at(1000, u"<3 you <chorus> <1:2> <00:0a>"_s)});
    // Windows line ends, blanks and tabs trimmed.
    EXPECT_EQ(timed(u"[00:01.00]\tone \r\n[00:02.00]two\r\n"_s), (QList<TrackLine>{at(1000, u"one"_s), at(2000, u"two"_s)}));
    // Big minutes are fine as long as they fit.
    EXPECT_EQ(timed(u"[120:00]late"_s), QList<TrackLine>{at(7200000, u"late"_s)});
    // The fraction is read exactly, and truncated past milliseconds.
    EXPECT_EQ(timed(u"[00:01.005]x\n[00:01.0059]y"_s), (QList<TrackLine>{at(1005, u"x"_s), at(1005, u"y"_s)}));
}

TEST(Lrc, WhatGivesNoLine)
{
    EXPECT_TRUE(timed(u"[00:60]sixty is too many"_s).isEmpty());
    EXPECT_EQ(timed(u"[00:59.999]ok"_s), QList<TrackLine>{at(59999, u"ok"_s)});
    // The bad tag goes, its neighbour stays.
    EXPECT_EQ(timed(u"[00:61.00][00:02.00]half"_s), QList<TrackLine>{at(2000, u"half"_s)});
    EXPECT_TRUE(timed(u"[153722867280912:00.00]overflow"_s).isEmpty());
    EXPECT_TRUE(timed(u"[03:25.72] "_s).isEmpty());
    EXPECT_TRUE(timed(u"[00:52.03]<00:52.03>\n[00:53.10] <00:53.10> <00:54.00> "_s).isEmpty());
    EXPECT_TRUE(timed(u"[ar:The Condiments]\n[by:]\n[length: 2:50]\n[offset:0]"_s).isEmpty());
    EXPECT_TRUE(timed(u"no tags at all\n\n"_s).isEmpty());
    EXPECT_TRUE(timed(u"[1:2.]x\n[:01.00]x\n[01:.5]x\n[01:02.5x"_s).isEmpty());
}

TEST(Lrc, RealWorldFileAndBrackets)
{
    const QString file = u"ÿþLRC exported\n[ar:The Condiments]\n[ti:Salt & Pepper]\n[by:]\n[length: 3:21]\n"
                         "[00:12.40]Shake a little\n[00:23.10][01:31.10]Salt and pepper\n[00:34.20] \n[01:31.10]\n"_s;
    EXPECT_EQ(timed(file), (QList<TrackLine>{at(12400, u"Shake a little"_s), at(23100, u"Salt and pepper"_s), at(91100, u"Salt and pepper"_s)}));

    QString brackets(1 << 20, u'[');
    EXPECT_TRUE(timed(brackets).isEmpty());
}

TEST(Lrc, PlainTextBecomesUntimedLines)
{
    const QList<TrackLine> lines = untimed(u"Pour it slow\n\n\nEvery pan \t\n  Olive oil blues\r\n"_s);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_FALSE(lines[0].time.has_value());
    EXPECT_EQ(lines[0].text, u"Pour it slow"_s);
    EXPECT_EQ(lines[1].text, u"Every pan"_s);
    EXPECT_EQ(lines[2].text, u"Olive oil blues"_s);
    EXPECT_TRUE(untimed(u"\n\n"_s).isEmpty());
}
