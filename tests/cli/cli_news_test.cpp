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

TEST_F(CliNews, AddListEditDeleteAndPlay)
{
    const auto added = ctl({u"news"_s, u"add"_s, u"Kitchen"_s, u"6:45"_s, u"sun,tue,thu"_s, u"--volume"_s, u"28"_s});
    ASSERT_EQ(added.exit, 0) << added.err.toStdString();
    EXPECT_TRUE(added.out.startsWith(u"Saved on Sonos. News will play even with the app closed.\n"_s)) << added.out.toStdString();
    const QString id = added.out.section(u"id "_s, 1).trimmed();
    ASSERT_TRUE(speakers.alarms.find(id)) << id.toStdString();
    EXPECT_EQ(speakers.alarms.find(id)->recurrence, u"ON_024"_s);

    const QJsonArray list = listed();
    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list[0].toObject(), (QJsonObject{{u"id"_s, id}, {u"roomID"_s, kitchen().id}, {u"hour"_s, 6}, {u"minute"_s, 45}, {u"days"_s, QJsonArray{0, 2, 4}},
                                               {u"volume"_s, 28}, {u"enabled"_s, true}, {u"language"_s, u"english"_s}, {u"category"_s, u"latest"_s}}));
    const auto human = ctl({u"news"_s, u"list"_s});
    EXPECT_TRUE(human.out.contains(u"06:45  Kitchen  sun,tue,thu  volume 28  english"_s)) << human.out.toStdString();
    EXPECT_TRUE(human.out.contains(u"bilingual  (paused)"_s));

    ASSERT_EQ(ctl({u"news"_s, u"edit"_s, id, u"07:05"_s, u"weekdays"_s, u"--language"_s, u"japanese"_s}).exit, 0);
    const auto *alarm = speakers.alarms.find(id);
    EXPECT_EQ(alarm->startTime, u"07:05:00"_s);
    EXPECT_EQ(alarm->recurrence, u"ON_12345"_s);
    EXPECT_TRUE(alarm->programURI.endsWith(u"?language=japanese&category=latest"_s));
    EXPECT_EQ(ctl({u"news"_s, u"disable"_s, id}).exit, 0);
    EXPECT_FALSE(speakers.alarms.find(id)->enabled);
    EXPECT_EQ(ctl({u"news"_s, u"delete"_s, id}).out.trimmed(), u"Schedule deleted from Sonos."_s);
    EXPECT_FALSE(speakers.alarms.find(id));

    setService(u"news"_s, news.base());
    const auto played = ctl({u"news"_s, u"play"_s, u"Kitchen"_s, u"--volume"_s, u"14"_s});
    ASSERT_EQ(played.exit, 0) << played.err.toStdString();
    EXPECT_EQ(played.out.trimmed(), u"Playing Dawnlet: the morning briefing."_s);
    EXPECT_EQ(kitchen().streamURI, news.base().toString() + u"/sonos/audio/dQw4-w9WgXc.mp3"_s);
    EXPECT_EQ(kitchen().volume, 14);
    // A grouped room cannot; a bulletin the service no longer has is said so.
    bedroom().follows = living().id;
    EXPECT_EQ(ctl({u"news"_s, u"play"_s, u"Bedroom"_s}).err.trimmed(),
              u"Ungroup this room in Rooms before using Play now. Scheduled news plays only in the chosen room."_s);
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
        {{u"add"_s, u"Kitchen"_s, u"06:45"_s, u"daily"_s, u"--language"_s, u"bilingual"_s}, 2, {}},
        // Words it reads, but a schedule the controller refuses.
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
