#include "clirunner.h"

#include "services/fakenews.h"
#include "services/fakespeakers.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

const QString invalidText = u"Choose a room, time, news source and at least one day."_s;
const QString changedText = u"This schedule changed or was removed in Sonos. Refresh schedules before editing it."_s;
const QString unavailableText = u"News audio is unavailable for this language and category. Try another source or refresh later."_s;

struct CliNews : ::testing::Test {
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.61.11"_s, 5};
    fake::FakeNews news;

    void SetUp() override
    {
        if (!speakers.start())
            GTEST_SKIP() << "cannot bind port 1400 on 127.0.61.x (needs root)";
        ASSERT_TRUE(news.start());
    }
    CliResult ctl(QStringList args)
    {
        args.prepend(speakers.visibleHosts().join(u','));
        args.prepend(u"--speakers"_s);
        return runCli(args, home);
    }
    // The news service moves to the fake through the settings file.
    void useFakeNews()
    {
        QDir().mkpath(home.filePath(u"config/velotte"_s));
        QFile file(home.filePath(u"config/velotte/velotte.conf"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[services]\nnews=" + news.base().toEncoded() + "\n");
    }
    QJsonArray listed()
    {
        const auto r = ctl({u"news"_s, u"list"_s, u"--json"_s});
        EXPECT_EQ(r.exit, 0) << r.err.toStdString();
        return QJsonDocument::fromJson(r.out.toUtf8()).array();
    }
    // Everything the household keeps that is not a news schedule.
    QString others() const
    {
        fake::FakeAlarmClock copy;
        for (const auto &a : speakers.alarms.alarms) {
            if (QStringList{u"100"_s, u"101"_s, u"102"_s, u"104"_s}.contains(a.id))
                copy.alarms.append(a);
        }
        return copy.document();
    }
    fake::FakeSpeakers::Speaker &kitchen() { return speakers.speakers[2]; }
};

} // namespace

TEST_F(CliNews, CreateListEditPauseAndDelete)
{
    const QString before = others();
    QJsonArray list = listed();
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0].toObject().value(u"id"_s).toString(), u"103"_s);
    EXPECT_EQ(list[0].toObject().value(u"language"_s).toString(), u"bilingual"_s);
    EXPECT_EQ(list[1].toObject().value(u"days"_s).toArray(), (QJsonArray{1, 2, 3, 4, 5}));

    const auto added = ctl({u"news"_s, u"add"_s, u"Kitchen"_s, u"6:45"_s, u"sun,tue,thu"_s, u"--volume"_s, u"28"_s});
    ASSERT_EQ(added.exit, 0) << added.err.toStdString();
    EXPECT_TRUE(added.out.startsWith(u"Saved on Sonos. News will play even with the app closed.\n"_s)) << added.out.toStdString();
    const QString id = added.out.section(u"id "_s, 1).trimmed();
    const auto *alarm = speakers.alarms.find(id);
    ASSERT_TRUE(alarm) << id.toStdString();
    EXPECT_EQ(alarm->startTime, u"06:45:00"_s);
    EXPECT_EQ(alarm->recurrence, u"ON_024"_s);
    EXPECT_EQ(alarm->roomUUID, kitchen().id);
    EXPECT_EQ(alarm->volume, 28);
    EXPECT_TRUE(alarm->enabled);
    EXPECT_EQ(alarm->programURI, u"https://news.velotte.app/api/public/news-shadowing/sonos/latest.mp3?language=english&category=latest"_s);

    list = listed();
    ASSERT_EQ(list.size(), 3);
    const QJsonObject first = list[0].toObject(); // 06:45 sorts first
    EXPECT_EQ(first, (QJsonObject{{u"id"_s, id}, {u"roomID"_s, kitchen().id}, {u"hour"_s, 6}, {u"minute"_s, 45}, {u"days"_s, QJsonArray{0, 2, 4}},
                                  {u"volume"_s, 28}, {u"enabled"_s, true}, {u"language"_s, u"english"_s}, {u"category"_s, u"latest"_s}}));
    const auto human = ctl({u"news"_s, u"list"_s});
    EXPECT_TRUE(human.out.contains(u"06:45  Kitchen  sun,tue,thu  volume 28  english"_s)) << human.out.toStdString();
    EXPECT_TRUE(human.out.contains(u"bilingual  (paused)"_s));

    const auto edited = ctl({u"news"_s, u"edit"_s, id, u"07:05"_s, u"weekends"_s, u"--language"_s, u"japanese"_s, u"--volume"_s, u"40"_s});
    ASSERT_EQ(edited.exit, 0) << edited.err.toStdString();
    alarm = speakers.alarms.find(id);
    ASSERT_TRUE(alarm);
    EXPECT_EQ(alarm->startTime, u"07:05:00"_s);
    EXPECT_EQ(alarm->recurrence, u"ON_06"_s);
    EXPECT_EQ(alarm->volume, 40);
    EXPECT_TRUE(alarm->programURI.endsWith(u"?language=japanese&category=latest"_s));
    EXPECT_EQ(ctl({u"news"_s, u"edit"_s, id, u"weekdays"_s}).exit, 0);
    EXPECT_EQ(speakers.alarms.find(id)->recurrence, u"ON_12345"_s);

    const auto paused = ctl({u"news"_s, u"disable"_s, id});
    EXPECT_EQ(paused.exit, 0) << paused.err.toStdString();
    EXPECT_EQ(paused.out.trimmed(), u"Schedule saved and paused."_s);
    EXPECT_FALSE(speakers.alarms.find(id)->enabled);
    const auto resumed = ctl({u"news"_s, u"enable"_s, id});
    EXPECT_EQ(resumed.out.trimmed(), u"Saved on Sonos. News will play even with the app closed."_s);
    EXPECT_TRUE(speakers.alarms.find(id)->enabled);

    const auto deleted = ctl({u"news"_s, u"delete"_s, id});
    EXPECT_EQ(deleted.exit, 0);
    EXPECT_EQ(deleted.out.trimmed(), u"Schedule deleted from Sonos."_s);
    EXPECT_FALSE(speakers.alarms.find(id));
    EXPECT_EQ(listed().size(), 2);
    EXPECT_EQ(others(), before);
}

TEST_F(CliNews, RulesAndFailureSentences)
{
    const QString before = others();
    const int count = speakers.alarms.alarms.size();
    auto expectFailure = [&](const QStringList &args, const QString &sentence) {
        const auto r = ctl(args);
        EXPECT_EQ(r.exit, 1) << args.join(u' ').toStdString();
        EXPECT_EQ(r.err.trimmed().toStdString(), sentence.toStdString()) << args.join(u' ').toStdString();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.toStdString();
    };
    expectFailure({u"news"_s, u"add"_s, u"Kitchen"_s, u"06:00"_s, u"daily"_s, u"--volume"_s, u"101"_s}, invalidText);
    expectFailure({u"news"_s, u"add"_s, u"Kitchen"_s, u"24:00"_s, u"daily"_s}, invalidText);
    // The retired bilingual schedule may be paused, never switched on.
    expectFailure({u"news"_s, u"enable"_s, u"103"_s}, invalidText);
    EXPECT_EQ(ctl({u"news"_s, u"disable"_s, u"103"_s}).out.trimmed(), u"Schedule saved and paused."_s);
    EXPECT_EQ(speakers.alarms.find(u"103"_s)->duration, u"00:20:00"_s);
    // Music, radio, the buzzer and the near-news alarm are not news schedules.
    for (const QString &id : {u"1"_s, u"8"_s, u"100"_s, u"101"_s, u"102"_s, u"104"_s}) {
        expectFailure({u"news"_s, u"delete"_s, id}, changedText);
        expectFailure({u"news"_s, u"disable"_s, id}, changedText);
    }
    expectFailure({u"news"_s, u"edit"_s, u"99"_s, u"--volume"_s, u"5"_s}, changedText);

    speakers.alarms.createConflict = 801;
    expectFailure({u"news"_s, u"add"_s, u"Kitchen"_s, u"06:00"_s, u"weekdays"_s},
                  u"Sonos rejected this alarm. Check for another alarm at the same time, then refresh."_s);
    speakers.alarms.createConflict = 0;
    for (auto &speaker : speakers.speakers)
        speaker.upnpErrors.insert(u"ListAlarms"_s, 501);
    expectFailure({u"news"_s, u"list"_s}, u"Sonos rejected this alarm. Check for another alarm at the same time, then refresh."_s);
    expectFailure({u"news"_s, u"delete"_s, u"103"_s}, u"Sonos rejected this alarm. Check for another alarm at the same time, then refresh."_s);
    for (auto &speaker : speakers.speakers)
        speaker.upnpErrors.clear();
    EXPECT_EQ(speakers.alarms.alarms.size(), count);
    EXPECT_EQ(others(), before);

    // Words the command line itself refuses.
    EXPECT_EQ(ctl({u"news"_s, u"add"_s, u"Kitchen"_s, u"6h45"_s, u"daily"_s}).exit, 2);
    EXPECT_EQ(ctl({u"news"_s, u"add"_s, u"Kitchen"_s, u"06:45"_s, u"someday"_s}).exit, 2);
    EXPECT_EQ(ctl({u"news"_s, u"add"_s, u"Attic"_s, u"06:45"_s, u"daily"_s}).exit, 2);
    EXPECT_EQ(ctl({u"news"_s, u"add"_s, u"Kitchen"_s, u"06:45"_s, u"daily"_s, u"--language"_s, u"bilingual"_s}).exit, 2);
    EXPECT_EQ(ctl({u"news"_s, u"reschedule"_s}).exit, 2);
    EXPECT_EQ(speakers.alarms.alarms.size(), count);
}

TEST_F(CliNews, PlayNow)
{
    useFakeNews();
    const auto played = ctl({u"news"_s, u"play"_s, u"Kitchen"_s, u"--volume"_s, u"14"_s});
    ASSERT_EQ(played.exit, 0) << played.err.toStdString();
    EXPECT_EQ(played.out.trimmed(), u"Playing Dawnlet: the morning briefing."_s);
    EXPECT_EQ(kitchen().streamURI, news.base().toString() + u"/sonos/audio/dQw4-w9WgXc.mp3"_s);
    EXPECT_EQ(kitchen().volume, 14);
    EXPECT_EQ(kitchen().state, u"PLAYING"_s);
    EXPECT_EQ(kitchen().playMode, u"NORMAL"_s);
    EXPECT_EQ(news.bulletinRequests, 1);
    EXPECT_EQ(news.headRequests, 1);

    // Without --volume the room keeps its own.
    auto &bedroom = speakers.speakers[3];
    const int volume = bedroom.volume;
    const auto japanese = ctl({u"news"_s, u"play"_s, u"Bedroom"_s, u"--language"_s, u"japanese"_s});
    EXPECT_EQ(japanese.out.trimmed(), u"Playing Dawnlet 朝のニュース."_s);
    EXPECT_EQ(bedroom.volume, volume);

    // A grouped room cannot, and nothing it plays changes.
    bedroom.follows = kitchen().id;
    bedroom.streamURI.clear();
    const auto grouped = ctl({u"news"_s, u"play"_s, u"Bedroom"_s});
    EXPECT_EQ(grouped.exit, 1);
    EXPECT_EQ(grouped.err.trimmed(), u"Ungroup this room in Rooms before using Play now. Scheduled news plays only in the chosen room."_s);
    EXPECT_TRUE(bedroom.streamURI.isEmpty());
    bedroom.follows = bedroom.id;

    for (const QString &fault : {u"stale"_s, u"future"_s, u"bad-id"_s, u"short-clip"_s, u"audio-huge"_s, u"audio-type"_s, u"not-json"_s}) {
        ASSERT_TRUE(news.inject(fault));
        kitchen().streamURI.clear();
        const auto refused = ctl({u"news"_s, u"play"_s, u"Kitchen"_s});
        EXPECT_EQ(refused.exit, 1) << fault.toStdString();
        EXPECT_EQ(refused.err.trimmed(), unavailableText) << fault.toStdString();
        EXPECT_TRUE(kitchen().streamURI.isEmpty()) << fault.toStdString();
    }
}

// Forty speakers: the topology is refused (UPnP 501), so each speaker tells
// of its own group. The living room is a stereo pair; it plays alone.
TEST(CliNewsLargeHousehold, PlayNowInAStereoPair)
{
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.61.11"_s, 40};
    fake::FakeNews news;
    ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.61.x";
    ASSERT_TRUE(news.start());
    QDir().mkpath(home.filePath(u"config/velotte"_s));
    QFile file(home.filePath(u"config/velotte/velotte.conf"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[services]\nnews=" + news.base().toEncoded() + "\n");
    file.close();
    auto &s = speakers.speakers;
    s[2].follows = s[3].id; // the kitchen plays with the bedroom
    // Bonjour would find every speaker, the stereo partner too.
    auto ctl = [&](QStringList args) { return runCli(QStringList{u"--speakers"_s, speakers.hosts().join(u',')} + args, home, 60000); };

    const auto played = ctl({u"news"_s, u"play"_s, u"Living Room"_s});
    ASSERT_EQ(played.exit, 0) << played.err.toStdString();
    EXPECT_EQ(s[0].streamURI, news.base().toString() + u"/sonos/audio/dQw4-w9WgXc.mp3"_s);
    // A room grouped with another cannot.
    const auto grouped = ctl({u"news"_s, u"play"_s, u"Bedroom"_s});
    EXPECT_EQ(grouped.err.trimmed(), u"Ungroup this room in Rooms before using Play now. Scheduled news plays only in the chosen room."_s);
    EXPECT_TRUE(s[3].streamURI.isEmpty());
}

TEST_F(CliNews, WordsItCannotReadAndAnEmptyList)
{
    struct Case {
        QStringList args;
        int exit;
        QString said;
    };
    const std::vector<Case> cases{
        {{u"news"_s, u"add"_s, u"Kitchen"_s, u"half past six"_s, u"daily"_s}, 2, u"\"half past six\" is not a time. Use HH:MM, such as 06:45."_s},
        {{u"news"_s, u"add"_s, u"Kitchen"_s, u"06:45"_s, u"someday"_s}, 2,
         u"\"someday\" are not days. Use daily, weekdays, weekends, or names such as sun,tue,thu."_s},
        {{u"news"_s, u"play"_s, u"Attic"_s}, 2, u"No room or news schedule is called \"Attic\"."_s},
    };
    for (const Case &c : cases) {
        const auto r = ctl(c.args);
        EXPECT_EQ(r.exit, c.exit) << c.args.join(u' ').toStdString();
        EXPECT_EQ(r.err.trimmed().toStdString(), c.said.toStdString()) << c.args.join(u' ').toStdString();
    }
    // Alarms whose address is another host's are not news.
    speakers.alarms.alarms.removeIf([](const auto &a) { return a.programURI.contains(u"news-shadowing"_s); });
    const auto none = ctl({u"news"_s, u"list"_s});
    EXPECT_EQ(none.exit, 0) << none.err.toStdString();
    EXPECT_EQ(none.out.trimmed(), u"No news schedules."_s);
}
