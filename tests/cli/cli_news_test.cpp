// velottectl news on fake speakers: the words for times and days, the list's
// two forms and the exit status. The schedule rules are the controller's.
#include "clirunner.h"

#include "services/fakenews.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;

namespace {

struct CliNews : SpeakerCli<61> {
    fake::FakeNews news;

    void SetUp() override
    {
        SpeakerCli::SetUp();
        ASSERT_TRUE(news.start());
    }
    QJsonArray listed()
    {
        const auto r = ctl({u"news"_s, u"list"_s, u"--json"_s});
        EXPECT_EQ(r.exit, 0) << r.err.toStdString();
        return QJsonDocument::fromJson(r.out.toUtf8()).array();
    }
};

} // namespace

TEST_F(CliNews, AddListEditAndDelete)
{
    QJsonArray list = listed();
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0][u"language"_s].toString(), u"bilingual"_s);
    EXPECT_EQ(list[1][u"days"_s].toArray(), (QJsonArray{1, 2, 3, 4, 5}));

    const auto added = ctl({u"news"_s, u"add"_s, u"Kitchen"_s, u"6:45"_s, u"sun,tue,thu"_s, u"--volume"_s, u"28"_s});
    ASSERT_EQ(added.exit, 0) << added.err.toStdString();
    EXPECT_TRUE(added.out.startsWith(u"Saved on Sonos. News will play even with the app closed.\n"_s)) << added.out.toStdString();
    const QString id = added.out.section(u"id "_s, 1).trimmed();
    ASSERT_TRUE(speakers.alarms.find(id)) << id.toStdString();
    EXPECT_EQ(speakers.alarms.find(id)->recurrence, u"ON_024"_s);

    list = listed();
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list[0].toObject(), (QJsonObject{{u"id"_s, id}, {u"roomID"_s, kitchen().id}, {u"hour"_s, 6}, {u"minute"_s, 45}, {u"days"_s, QJsonArray{0, 2, 4}},
                                               {u"volume"_s, 28}, {u"enabled"_s, true}, {u"language"_s, u"english"_s}, {u"category"_s, u"latest"_s}}));
    const auto human = ctl({u"news"_s, u"list"_s});
    EXPECT_TRUE(human.out.contains(u"06:45  Kitchen  sun,tue,thu  volume 28  english"_s)) << human.out.toStdString();
    EXPECT_TRUE(human.out.contains(u"bilingual  (paused)"_s));

    const auto edited = ctl({u"news"_s, u"edit"_s, id, u"07:05"_s, u"weekends"_s, u"--language"_s, u"japanese"_s, u"--volume"_s, u"40"_s});
    ASSERT_EQ(edited.exit, 0) << edited.err.toStdString();
    const auto *alarm = speakers.alarms.find(id);
    EXPECT_EQ(alarm->startTime, u"07:05:00"_s);
    EXPECT_EQ(alarm->recurrence, u"ON_06"_s);
    EXPECT_EQ(alarm->volume, 40);
    EXPECT_TRUE(alarm->programURI.endsWith(u"?language=japanese&category=latest"_s));
    EXPECT_EQ(ctl({u"news"_s, u"edit"_s, id, u"weekdays"_s}).exit, 0);
    EXPECT_EQ(speakers.alarms.find(id)->recurrence, u"ON_12345"_s);
    EXPECT_EQ(ctl({u"news"_s, u"disable"_s, id}).exit, 0);
    EXPECT_FALSE(speakers.alarms.find(id)->enabled);

    const auto deleted = ctl({u"news"_s, u"delete"_s, id});
    EXPECT_EQ(deleted.exit, 0);
    EXPECT_EQ(deleted.out.trimmed(), u"Schedule deleted from Sonos."_s);
    EXPECT_FALSE(speakers.alarms.find(id));
}

TEST_F(CliNews, PlayNow)
{
    setService(u"news"_s, news.base());
    const auto played = ctl({u"news"_s, u"play"_s, u"Kitchen"_s, u"--volume"_s, u"14"_s});
    ASSERT_EQ(played.exit, 0) << played.err.toStdString();
    EXPECT_EQ(played.out.trimmed(), u"Playing Dawnlet: the morning briefing."_s);
    EXPECT_EQ(kitchen().streamURI, news.base().toString() + u"/sonos/audio/dQw4-w9WgXc.mp3"_s);
    EXPECT_EQ(kitchen().volume, 14);
    EXPECT_EQ(kitchen().state, u"PLAYING"_s);
    // Without --volume the room keeps its own.
    const int volume = bedroom().volume;
    EXPECT_EQ(ctl({u"news"_s, u"play"_s, u"Bedroom"_s, u"--language"_s, u"japanese"_s}).out.trimmed(), u"Playing Dawnlet 朝のニュース."_s);
    EXPECT_EQ(bedroom().volume, volume);
    ASSERT_TRUE(news.inject(u"stale"_s));
    const auto refused = ctl({u"news"_s, u"play"_s, u"Kitchen"_s});
    EXPECT_EQ(refused.exit, 1);
    EXPECT_EQ(refused.err.trimmed(), u"News audio is unavailable for this language and category. Try another source or refresh later."_s);
}

TEST_F(CliNews, WordsItCannotReadAndAnEmptyList)
{
    const int count = speakers.alarms.alarms.size();
    struct Case {
        QStringList args;
        int exit;
        QString said; // empty: only the exit status counts
    };
    const std::vector<Case> cases{
        {{u"add"_s, u"Kitchen"_s, u"half past six"_s, u"daily"_s}, 2, u"\"half past six\" is not a time. Use HH:MM, such as 06:45."_s},
        {{u"add"_s, u"Kitchen"_s, u"06:45"_s, u"someday"_s}, 2, u"\"someday\" are not days. Use daily, weekdays, weekends, or names such as sun,tue,thu."_s},
        {{u"play"_s, u"Attic"_s}, 2, u"No room or news schedule is called \"Attic\"."_s},
        {{u"add"_s, u"Kitchen"_s, u"6h45"_s, u"daily"_s}, 2, {}},
        {{u"add"_s, u"Attic"_s, u"06:45"_s, u"daily"_s}, 2, {}},
        {{u"add"_s, u"Kitchen"_s, u"06:45"_s, u"daily"_s, u"--language"_s, u"bilingual"_s}, 2, {}},
        {{u"reschedule"_s}, 2, {}},
        // Words it reads, but a schedule the controller refuses.
        {{u"add"_s, u"Kitchen"_s, u"24:00"_s, u"daily"_s}, 1, u"Choose a room, time, news source and at least one day."_s},
        {{u"delete"_s, u"100"_s}, 1, u"This schedule changed or was removed in Sonos. Refresh schedules before editing it."_s},
    };
    for (const Case &c : cases) {
        const auto r = ctl(QStringList{u"news"_s} + c.args);
        EXPECT_EQ(r.exit, c.exit) << c.args.join(u' ').toStdString();
        if (!c.said.isEmpty())
            EXPECT_EQ(r.err.trimmed(), c.said) << c.args.join(u' ').toStdString();
    }
    EXPECT_EQ(speakers.alarms.alarms.size(), count);
    // Alarms whose address is another host's are not news.
    speakers.alarms.alarms.removeIf([](const auto &a) { return a.programURI.contains(u"news-shadowing"_s); });
    const auto none = ctl({u"news"_s, u"list"_s});
    EXPECT_EQ(none.exit, 0) << none.err.toStdString();
    EXPECT_EQ(none.out.trimmed(), u"No news schedules."_s);
}

// Forty speakers: the topology is refused (UPnP 501), so each speaker tells
// of its own group. The living room is a stereo pair; it plays alone.
TEST(CliNewsLargeHousehold, PlayNowInAStereoPair)
{
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.62.11"_s, 40};
    fake::FakeNews news;
    ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.62.x";
    ASSERT_TRUE(news.start());
    setSetting(home, u"services/news"_s, news.base().toString());
    auto &s = speakers.speakers;
    s[2].follows = s[3].id; // the kitchen plays with the bedroom
    // Bonjour would find every speaker, the stereo partner too.
    auto ctl = [&](const QString &room) { return runCli({u"--speakers"_s, speakers.hosts().join(u','), u"news"_s, u"play"_s, room}, home, 60000); };

    const auto played = ctl(u"Living Room"_s);
    ASSERT_EQ(played.exit, 0) << played.err.toStdString();
    EXPECT_EQ(s[0].streamURI, news.base().toString() + u"/sonos/audio/dQw4-w9WgXc.mp3"_s);
    // A room grouped with another cannot.
    EXPECT_EQ(ctl(u"Bedroom"_s).err.trimmed(), u"Ungroup this room in Rooms before using Play now. Scheduled news plays only in the chosen room."_s);
    EXPECT_TRUE(s[3].streamURI.isEmpty());
}
