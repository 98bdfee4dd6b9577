#include "news/newsschedulecontroller.h"

#include "core/clock.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;
using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

// The session as the news controller sees it.
struct FakeNewsPort final : NewsSessionPort {
    QString household = u"H1"_s;
    QHash<QString, QString> hosts; // player id -> host of its coordinator
    bool busy = false;
    bool sending = false;
    QList<bool> sendingChanges;

    QString newsHouseholdID() const override { return household; }
    QCoro::Task<QString> newsHost(QString playerID) override
    {
        if (!hosts.contains(playerID))
            throw TransportError(TransportError::Kind::Network, u"no host"_s);
        co_return hosts.value(playerID);
    }
    bool musicBusy() const override { return busy; }
    void setSendingPlaybackCommand(bool on) override
    {
        sending = on;
        sendingChanges.append(on);
    }
};

// Speakers and the news service behind one scripted transport: the fake
// household's own alarm clock and topology answer without sockets.
struct NewsRig {
    VirtualClock clock{QDateTime(QDate(2026, 3, 2), QTime(6, 0), Qt::UTC)};
    fake::FakeSpeakers speakers{u"127.0.0.11"_s, 5};
    RecordingTransport transport;
    FakeNewsPort port;
    NewsSource source; // the program's own host: the seeded alarms are news
    QJsonObject bulletin{{u"videoID"_s, u"aB3_-9xYz01"_s}, {u"title"_s, u"Morning Briefing"_s}, {u"language"_s, u"english"_s},
                         {u"category"_s, u"latest"_s}, {u"publishedAt"_s, u"2026-03-02T05:00:00Z"_s}, {u"clipSeconds"_s, 400},
                         {u"contentType"_s, u"audio/mpeg"_s}};
    int bulletinStatus = 200;
    QByteArray bulletinBody; // overrides the object when set
    HttpResponse head{200, {}, {{"Content-Type", "audio/mpeg"}, {"Content-Length", "5123456"}}};
    Millis latency{0};
    QSet<QString> failingActions; // answered by a dropped connection
    QStringList actions;          // every SOAP action, in order

    NewsRig()
    {
        for (const auto &s : speakers.speakers) {
            const fake::FakeSpeakers::Speaker &leader = *speakers.byID(s.follows);
            port.hosts.insert(s.id, leader.host);
        }
        transport.setHandler([this](const HttpRequest &r, CancelToken cancel) { return answer(r, cancel); });
    }

    QString living() const { return speakers.speakers[0].id; }
    QString kitchen() const { return speakers.speakers[2].id; }

    QCoro::Task<HttpResponse> answer(HttpRequest r, CancelToken cancel)
    {
        if (latency.count() > 0)
            co_await clock.sleep(latency, cancel);
        cancel.throwIfCancelled();
        if (r.url.path().startsWith(u"/api/public/news-shadowing/"_s))
            co_return news(r);
        QString action = QString::fromUtf8(r.header("SOAPACTION")).remove(u'"').section(u'#', 1);
        actions << action;
        if (failingActions.contains(action))
            throw TransportError(TransportError::Kind::Network, u"dropped"_s);
        fake::FakeSpeakers::Speaker *speaker = speakers.byHost(r.url.host());
        if (!speaker)
            throw TransportError(TransportError::Kind::Network, u"no speaker"_s);
        const fake::Response reply = speakers.handle(*speaker, {r.method, r.url.path().toUtf8(), r.url, r.headers, r.body, {}});
        co_return HttpResponse{reply.status, reply.body, reply.headers};
    }

    HttpResponse news(const HttpRequest &r)
    {
        if (r.method == "HEAD")
            return head;
        return HttpResponse{bulletinStatus, bulletinBody.isEmpty() ? QJsonDocument(bulletin).toJson() : bulletinBody, {}};
    }

    const HttpRequest *lastRequest(const QByteArray &method) const
    {
        for (auto it = transport.requests.rbegin(); it != transport.requests.rend(); ++it) {
            if (it->method == method && it->url.path().startsWith(u"/api/"_s))
                return &*it;
        }
        return nullptr;
    }
};

const QString busyText = u"Wait for the current Sonos action to finish."_s;
const QString changedText = u"This schedule changed or was removed in Sonos. Refresh schedules before editing it."_s;
const QString invalidText = u"Choose a room, time, news source and at least one day."_s;
const QString networkText = u"Connect to the same Wi-Fi as your Sonos and allow Local Network access."_s;

struct Controller : ::testing::Test {
    NewsRig rig;
    NewsScheduleController news{rig.transport, rig.source, rig.clock};

    NewsSchedule schedule(const QString &room, int hour, int minute)
    {
        NewsSchedule s;
        s.roomID = room;
        s.hour = hour;
        s.minute = minute;
        s.days = {1, 2, 3};
        s.volume = 33;
        return s;
    }
    void read() { await(news.read(rig.port, rig.port.household, rig.port.hosts.value(rig.living()))); }
    QStringList ids() const
    {
        QStringList out;
        for (const NewsSchedule &s : news.schedules())
            out << s.id.value_or(QString());
        return out;
    }
    const fake::FakeAlarmClock::Alarm *alarm(const QString &id) { return rig.speakers.alarms.find(id); }
};

} // namespace

TEST_F(Controller, ReadListsNewsSortedByTimeRoomAndID)
{
    // A failed read is shown, and cleared by the next one.
    rig.failingActions.insert(u"ListAlarms"_s);
    read();
    EXPECT_EQ(news.message(), networkText);
    EXPECT_TRUE(news.failed());
    EXPECT_FALSE(news.loaded());
    rig.failingActions.clear();

    auto &alarms = rig.speakers.alarms;
    const QString address = fake::FakeAlarmClock::newsAddress(u"news.velotte.app"_s, u"japanese"_s);
    // Same time in two rooms, the later room first; then an earlier one.
    alarms.alarms.append({u"20"_s, u"06:30:00"_s, u"00:12:00"_s, u"DAILY"_s, true, rig.kitchen(), address, {}, u"NORMAL"_s, 10, false});
    alarms.alarms.append({u"21"_s, u"06:30:00"_s, u"00:12:00"_s, u"DAILY"_s, true, rig.living(), address, {}, u"NORMAL"_s, 10, false});
    alarms.alarms.append({u"19"_s, u"06:30:00"_s, u"00:12:00"_s, u"DAILY"_s, true, rig.living(), address, {}, u"NORMAL"_s, 10, false});
    alarms.alarms.append({u"22"_s, u"05:59:00"_s, u"00:12:00"_s, u"WEEKENDS"_s, true, rig.kitchen(), address, {}, u"NORMAL"_s, 10, false});
    ASSERT_LT(rig.living(), rig.kitchen());
    read();
    EXPECT_TRUE(news.loaded());
    EXPECT_FALSE(news.failed());
    EXPECT_EQ(ids(), (QStringList{u"22"_s, u"19"_s, u"21"_s, u"20"_s, u"103"_s, u"105"_s}));
    EXPECT_EQ(news.scope(), u"H1"_s);
    EXPECT_FALSE(news.message());

    // The pane's rows follow the list.
    QAbstractListModel *rows = news.scheduleModel();
    ASSERT_EQ(rows->rowCount(), 6);
    const QModelIndex first = rows->index(0);
    EXPECT_EQ(rows->data(first, NewsScheduleModel::ScheduleIDRole), u"22"_s);
    EXPECT_EQ(rows->data(first, NewsScheduleModel::TimeRole), u"05:59"_s);
    EXPECT_EQ(rows->data(first, NewsScheduleModel::DaysRole), (QVariantList{0, 6}));
    EXPECT_EQ(rows->data(first, NewsScheduleModel::LanguageRole), u"japanese"_s);
    news.reset(u"H9"_s);
    EXPECT_EQ(rows->rowCount(), 0);
}

TEST_F(Controller, RetiredBilingualCanBePausedOnly)
{
    read();
    NewsSchedule bilingual = news.schedules()[0];
    ASSERT_EQ(bilingual.language, u"bilingual"_s);
    bilingual.volume = 15;
    EXPECT_EQ(await(news.save(bilingual, rig.port)), u"103"_s);
    EXPECT_EQ(news.message(), u"Schedule saved and paused."_s);
    EXPECT_EQ(alarm(u"103"_s)->duration, u"00:20:00"_s);
    EXPECT_EQ(alarm(u"103"_s)->volume, 15);

    bilingual.enabled = true;
    EXPECT_FALSE(await(news.save(bilingual, rig.port)));
    EXPECT_EQ(news.message(), invalidText);
    EXPECT_TRUE(news.failed());
    EXPECT_FALSE(alarm(u"103"_s)->enabled);

    const int before = rig.speakers.alarms.alarms.size();
    NewsSchedule fresh = schedule(rig.living(), 8, 0);
    fresh.language = u"bilingual"_s;
    fresh.enabled = false;
    EXPECT_FALSE(await(news.save(fresh, rig.port)));
    EXPECT_EQ(news.message(), invalidText);
    EXPECT_EQ(rig.speakers.alarms.alarms.size(), before);
}

TEST_F(Controller, ChangedRejectedAndUnconfirmedSaves)
{
    const auto before = rig.speakers.alarms.alarms.size();
    // Vanished, or not news any more (music alarm 1, third query item 5).
    for (const QString &id : {u"99"_s, u"100"_s, u"104"_s}) {
        NewsSchedule gone = schedule(rig.living(), 6, 0);
        gone.id = id;
        EXPECT_FALSE(await(news.save(gone, rig.port)));
        EXPECT_EQ(news.message(), changedText);
        EXPECT_FALSE(rig.actions.contains(u"CreateAlarm"_s));
        EXPECT_FALSE(rig.actions.contains(u"UpdateAlarm"_s));
    }
    EXPECT_EQ(rig.speakers.alarms.alarms.size(), before);

    rig.speakers.alarms.createConflict = 801;
    EXPECT_FALSE(await(news.save(schedule(rig.living(), 6, 0), rig.port)));
    EXPECT_EQ(news.message(), u"Sonos rejected this alarm. Check for another alarm at the same time, then refresh."_s);
    rig.speakers.alarms.createConflict = 0;

    // Saved, but the list could not be read again.
    rig.failingActions.insert(u"ListAlarms"_s);
    EXPECT_TRUE(await(news.save(schedule(rig.living(), 9, 10), rig.port)));
    EXPECT_EQ(news.message(), u"Saved on Sonos. Refresh to check the latest schedule list."_s);
    EXPECT_FALSE(news.failed());

    rig.failingActions.insert(u"CreateAlarm"_s);
    EXPECT_FALSE(await(news.save(schedule(rig.living(), 9, 10), rig.port)));
    EXPECT_EQ(news.message(), networkText);
}

TEST_F(Controller, OneOperationAtATimeAndScopeChanges)
{
    rig.latency = 1s;
    auto first = news.save(schedule(rig.living(), 6, 0), rig.port);
    drain();
    EXPECT_TRUE(news.busy());
    EXPECT_FALSE(await(news.save(schedule(rig.kitchen(), 6, 0), rig.port)));
    EXPECT_EQ(news.message(), busyText);
    EXPECT_FALSE(await(news.play(schedule(rig.kitchen(), 6, 0), rig.port)));
    EXPECT_EQ(news.message(), busyText);
    for (int i = 0; i < 6 && news.busy(); ++i)
        rig.clock.advance(1s);
    EXPECT_TRUE(await(std::move(first)));
    EXPECT_EQ(news.message(), u"Saved on Sonos. News will play even with the app closed."_s);

    // The household changes while a read is out: its result is dropped.
    auto reading = news.read(rig.port, u"H1"_s, rig.speakers.speakers[0].host);
    drain();
    rig.port.household = u"H2"_s;
    news.reset(u"H2"_s);
    EXPECT_TRUE(news.schedules().isEmpty());
    EXPECT_FALSE(news.message());
    rig.clock.advance(2s);
    await(std::move(reading));
    EXPECT_TRUE(news.schedules().isEmpty());
    EXPECT_FALSE(news.loaded());
    EXPECT_EQ(news.scope(), u"H2"_s);

    // A save outlived by a household change shows nothing.
    auto saving = news.save(schedule(rig.living(), 6, 0), rig.port);
    drain();
    rig.port.household = u"H3"_s;
    for (int i = 0; i < 6 && news.busy(); ++i)
        rig.clock.advance(1s);
    EXPECT_FALSE(await(std::move(saving)));
    EXPECT_FALSE(news.message());
    EXPECT_FALSE(news.busy());

    // An edit whose check of the list is outlived never updates the old household's alarm.
    NewsSchedule edited = schedule(rig.living(), 7, 30);
    edited.id = u"106"_s;
    const QString seeded = alarm(u"106"_s)->startTime;
    rig.actions.clear();
    auto editing = news.save(edited, rig.port);
    drain();
    rig.port.household = u"H4"_s;
    for (int i = 0; i < 6 && news.busy(); ++i)
        rig.clock.advance(1s);
    EXPECT_FALSE(await(std::move(editing)));
    EXPECT_EQ(rig.actions, QStringList{u"ListAlarms"_s});
    EXPECT_EQ(alarm(u"106"_s)->startTime, seeded);
}

TEST_F(Controller, PlayNowInAStandaloneRoomAndItsRefusals)
{
    auto &living = rig.speakers.speakers[0];
    ASSERT_TRUE(await(news.play(schedule(rig.living(), 6, 0), rig.port)));
    EXPECT_EQ(news.message(), u"Playing Morning Briefing."_s);
    EXPECT_EQ(living.volume, 33);
    EXPECT_EQ(living.streamURI, u"https://news.velotte.app/api/public/news-shadowing/sonos/audio/aB3_-9xYz01.mp3"_s);
    EXPECT_EQ(living.state, u"PLAYING"_s);
    EXPECT_EQ(rig.actions, (QStringList{u"GetZoneGroupState"_s, u"SetVolume"_s, u"SetAVTransportURI"_s, u"SetPlayMode"_s, u"Play"_s}));
    EXPECT_EQ(rig.port.sendingChanges, (QList<bool>{true, false}));

    ASSERT_TRUE(rig.lastRequest("GET"));
    EXPECT_EQ(rig.lastRequest("GET")->url.toString(), u"https://news.velotte.app/api/public/news-shadowing/sonos/latest?language=english&category=latest"_s);
    EXPECT_EQ(rig.lastRequest("HEAD")->url, QUrl(living.streamURI));

    // Refusals; those velottectl meets (a grouped room, no bulletin) are its tests.
    rig.actions.clear();
    rig.transport.requests.clear();
    rig.port.busy = true;
    EXPECT_FALSE(await(news.play(schedule(rig.living(), 6, 0), rig.port)));
    EXPECT_EQ(news.message(), busyText);
    rig.port.busy = false;
    NewsSchedule noDays = schedule(rig.living(), 6, 0);
    noDays.days.clear();
    EXPECT_FALSE(await(news.play(noDays, rig.port)));
    EXPECT_EQ(news.message(), invalidText);
    EXPECT_TRUE(rig.actions.isEmpty());
    EXPECT_FALSE(rig.lastRequest("GET"));

    for (const QString &action : {u"SetVolume"_s, u"Play"_s}) {
        rig.failingActions = {action};
        EXPECT_FALSE(await(news.play(schedule(rig.living(), 6, 0), rig.port))) << action.toStdString();
        EXPECT_EQ(news.message(), networkText) << action.toStdString();
        EXPECT_EQ(rig.port.sendingChanges.last(), false);
    }
}

namespace {
struct Bulletins : Controller {
    // True when the bulletin as now set up plays.
    bool prepared()
    {
        try {
            await(news.prepare(schedule(rig.living(), 6, 0)));
            return true;
        } catch (const NewsPlaybackFailure &failure) {
            EXPECT_EQ(failure.kind(), NewsPlaybackFailure::Kind::unavailable);
            return false;
        }
    }
    bool with(const QString &key, const QJsonValue &value)
    {
        const QJsonObject kept = rig.bulletin;
        if (value.isUndefined())
            rig.bulletin.remove(key);
        else
            rig.bulletin.insert(key, value);
        const bool ok = prepared();
        rig.bulletin = kept;
        return ok;
    }
    bool withHead(HttpResponse head)
    {
        const HttpResponse kept = rig.head;
        rig.head = std::move(head);
        const bool ok = prepared();
        rig.head = kept;
        return ok;
    }
};
} // namespace

TEST_F(Bulletins, EveryRuleOfTheBulletin)
{
    EXPECT_TRUE(prepared());
    // The clock reads 2026-03-02 06:00 UTC.
    const struct {
        const char *key;
        QJsonValue value;
        bool plays;
    } cases[] = {
        {"clipSeconds", 180, true}, {"clipSeconds", 720, true}, {"clipSeconds", 179, false}, {"clipSeconds", 721, false},
        {"clipSeconds", 300.5, false}, {"clipSeconds", u"300"_s, false},
        {"videoID", u"aB3_-9x.z01"_s, false}, {"videoID", u"aB3_-9xYz0"_s, false}, {"videoID", u"aB3_-9xYz012"_s, false},
        {"publishedAt", u"2026-03-02T05:59:59.123Z"_s, true}, {"publishedAt", u"2026-03-02T14:00:00+09:00"_s, true},
        {"publishedAt", u"2026-02-23T06:00:00Z"_s, true}, {"publishedAt", u"2026-03-02T06:00:00Z"_s, true}, // seven days; just now
        {"publishedAt", u"2026-02-23T05:59:59Z"_s, false}, {"publishedAt", u"2026-03-02T06:00:01Z"_s, false}, // too old; in the future
        {"publishedAt", u"2026-03-02T05:00:00"_s, false}, {"publishedAt", u"2026-02-30T05:00:00Z"_s, false}, {"publishedAt", u"yesterday"_s, false},
        {"contentType", u"audio/aac"_s, false}, {"contentType", u"audio/mpeg; charset=binary"_s, false},
        {"title", QJsonValue::Undefined, false}, {"title", QJsonValue::Null, false}, {"extra", u"ignored"_s, true},
    };
    for (const auto &c : cases)
        EXPECT_EQ(with(QString::fromLatin1(c.key), c.value), c.plays) << c.key << " " << c.value.toVariant().toString().toStdString();
    // The description itself.
    rig.bulletinStatus = 503;
    EXPECT_FALSE(prepared());
    rig.bulletinStatus = 200;
    for (const QByteArray body : {"<html>maintenance</html>", "[]"}) {
        rig.bulletinBody = body;
        EXPECT_FALSE(prepared());
    }
}

TEST_F(Bulletins, TheAudioAnswersHead)
{
    using H = Headers;
    EXPECT_TRUE(withHead({200, {}, H{{"content-type", "audio/mpeg; charset=binary"}, {"content-length", "1"}}}));
    EXPECT_TRUE(withHead({200, {}, H{{"Content-Type", "Audio/MPEG"}, {"Content-Length", "20000000"}}}));
    EXPECT_FALSE(withHead({200, {}, H{{"Content-Type", "audio/mpeg"}, {"Content-Length", "20000001"}}}));
    EXPECT_FALSE(withHead({200, {}, H{{"Content-Type", "audio/mpeg"}, {"Content-Length", "0"}}}));
    EXPECT_FALSE(withHead({200, {}, H{{"Content-Type", "audio/mpeg"}}}));
    EXPECT_FALSE(withHead({200, {}, H{{"Content-Type", "text/html"}, {"Content-Length", "512"}}}));
    EXPECT_FALSE(withHead({200, {}, H{{"Content-Length", "512"}}}));
    EXPECT_FALSE(withHead({206, {}, H{{"Content-Type", "audio/mpeg"}, {"Content-Length", "512"}}}));

    NewsSchedule japanese = schedule(rig.living(), 6, 0);
    japanese.language = u"japanese"_s;
    await(news.prepare(japanese));
    EXPECT_EQ(QUrlQuery(rig.lastRequest("GET")->url).query(), u"language=japanese&category=latest"_s);
}

