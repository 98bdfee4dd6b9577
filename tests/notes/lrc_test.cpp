#include "notes/tracklyrics.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

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
