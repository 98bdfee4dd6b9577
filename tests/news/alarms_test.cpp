#include "news/newsalarmclient.h"
#include "news/newsschedule.h"
#include "local/speakerfault.h"

#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;
using Kind = NewsAlarmClient::Failure::Kind;

namespace {

NewsSchedule morning()
{
    NewsSchedule s;
    s.roomID = u"RINCON_A"_s;
    s.hour = 6;
    s.minute = 5;
    s.days = {1, 3, 5};
    s.volume = 25;
    return s;
}

QString news(const QString &query, const QString &prefix = u"https://news.velotte.app"_s)
{
    return prefix + u"/api/public/news-shadowing/sonos/latest.mp3"_s + query;
}

template<typename F>
Kind failureOf(F &&f)
{
    try {
        f();
    } catch (const NewsAlarmClient::Failure &failure) {
        return failure.kind();
    }
    ADD_FAILURE() << "no failure";
    return Kind::changed;
}

QString alarm(const QString &id, const QString &start, const QString &recurrence, const QString &uri, const QString &volume = u"20"_s,
              const QString &enabled = u"1"_s, const QString &room = u"RINCON_A"_s)
{
    const auto esc = [](QString v) { return v.replace(u'&', u"&amp;"_s).replace(u'"', u"&quot;"_s); };
    return u"<Alarm ID=\"%1\" StartTime=\"%2\" Duration=\"00:12:00\" Recurrence=\"%3\" Enabled=\"%4\" RoomUUID=\"%5\" ProgramURI=\"%6\" "
           "ProgramMetaData=\"\" PlayMode=\"NORMAL\" Volume=\"%7\" IncludeLinkedZones=\"0\"/>"_s.arg(id, start, recurrence, enabled, room, esc(uri), volume);
}

} // namespace

TEST(NewsSchedule, RecurrenceAndDays)
{
    // Other days and words are velottectl's and the controller's tests.
    NewsSchedule s = morning();
    s.days = {0, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(s.recurrence(), u"DAILY"_s);
    EXPECT_EQ(NewsSchedule::daysFor(u"DAILY"_s), (std::set<int>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(NewsSchedule::daysFor(u"ON_123412"_s), (std::set<int>{1, 2, 3, 4}));
    EXPECT_EQ(NewsSchedule::daysFor(u"ON_"_s), std::set<int>{});
    EXPECT_EQ(NewsSchedule::daysFor(u"ON_79"_s), (std::set<int>{7, 9})); // read, then not valid
    for (const QString &bad : {u"ON_1a"_s, u"ON_ 1"_s, u"ON_١"_s, u"ONCE"_s, u"daily"_s, QString()})
        EXPECT_FALSE(NewsSchedule::daysFor(bad)) << bad.toStdString();

    EXPECT_EQ(morning().startTime(), u"06:05:00"_s);
}

TEST(NewsSchedule, Validity)
{
    using Change = std::function<void(NewsSchedule &)>;
    const std::vector<std::pair<Change, bool>> cases{
        {[](NewsSchedule &) {}, true},
        {[](NewsSchedule &s) { s.roomID.clear(); }, false},
        {[](NewsSchedule &s) { s.hour = 24; }, false},
        {[](NewsSchedule &s) { s.hour = -1; }, false},
        {[](NewsSchedule &s) { s.minute = 60; }, false},
        {[](NewsSchedule &s) { s.days.clear(); }, false},
        {[](NewsSchedule &s) { s.days.insert(7); }, false},
        {[](NewsSchedule &s) { s.days.insert(-1); }, false},
        {[](NewsSchedule &s) { s.volume = 101; }, false},
        {[](NewsSchedule &s) { s.volume = -1; }, false},
        {[](NewsSchedule &s) { s.language = u"french"_s; }, false},
        {[](NewsSchedule &s) { s.language = u"English"_s; }, false},
        {[](NewsSchedule &s) { s.category = u"sports"_s; }, false},
        {[](NewsSchedule &s) { s.hour = 23, s.minute = 59, s.volume = 100, s.days = {0, 6}, s.language = u"bilingual"_s; }, true},
        {[](NewsSchedule &s) { s.hour = 0, s.minute = 0, s.volume = 0; }, true},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        NewsSchedule s = morning();
        cases[i].first(s);
        EXPECT_EQ(s.valid(), cases[i].second) << "case " << i;
    }
}

TEST(NewsSource, AudioAddressAndSelection)
{
    const NewsSource source;
    EXPECT_EQ(morning().audioURL(source).toString(), news(u"?language=english&category=latest"_s));
    NewsSchedule japanese = morning();
    japanese.language = u"japanese"_s;
    EXPECT_EQ(japanese.audioURL(source).toString(), news(u"?language=japanese&category=latest"_s));

    using Pair = std::pair<QString, QString>;
    EXPECT_EQ(source.selection(news(u"?language=english&category=latest"_s)), (Pair{u"english"_s, u"latest"_s}));
    EXPECT_EQ(source.selection(news(u"?category=latest&language=japanese"_s)), (Pair{u"japanese"_s, u"latest"_s}));
    EXPECT_EQ(source.selection(news(u"?language=bilingual&category=latest"_s)), (Pair{u"bilingual"_s, u"latest"_s}));
    EXPECT_EQ(source.selection(news(u"?langu%61ge=english&category=latest"_s)), (Pair{u"english"_s, u"latest"_s}));

    const QStringList notNews{
        news(u"?language=english&category=latest"_s, u"http://news.velotte.app"_s),
        news(u"?language=english&category=latest&voice=b"_s),
        news(u"?language=english&category=latest&"_s),
        news(QString()),
        news(u"?language=english&language=english"_s),
        news(u"?language=french&category=latest"_s),
        news(u"?language=english&category=top"_s),
        news(u"?language=english&category=latest"_s, u"https://news.velotte.app:443"_s),
        news(u"?language=english&category=latest"_s, u"https://user@news.velotte.app"_s),
        news(u"?language=english&category=latest"_s, u"https://@news.velotte.app"_s),
        news(u"?language=english&category=latest"_s, u"https://news.example.org"_s),
        news(u"?language=english&category=latest#now"_s),
        u"https://news.velotte.app/api/public/news-shadowing/sonos/audio/abc.mp3?language=english&category=latest"_s,
        u"not a url at all"_s,
    };
    for (const QString &uri : notNews)
        EXPECT_FALSE(source.selection(uri)) << uri.toStdString();

    // The settings move the host; the path stays the program's.
    const NewsSource moved(QUrl(u"http://127.0.0.1:8080/elsewhere?x=1"_s));
    EXPECT_EQ(moved.base().toString(), u"http://127.0.0.1:8080/api/public/news-shadowing"_s);
    EXPECT_EQ(NewsSource().base().toString(), u"https://news.velotte.app/api/public/news-shadowing"_s);
}

TEST(NewsAlarmClient, ParseKeepsOnlyNewsSchedules)
{
    const NewsSource source;
    const QString english = news(u"?language=english&category=latest"_s);
    const QString document = u"<Alarms>"_s + alarm(u"1"_s, u"07:30:00"_s, u"DAILY"_s, english)
        + alarm(u"2"_s, u"07:30:00"_s, u"ON_"_s, english)                                             // no day
        + alarm(u"3"_s, u"07:30"_s, u"DAILY"_s, english)                                              // two parts
        + alarm(u"7"_s, u"06:00:00"_s, u"DAILY"_s, news(u"?language=english&category=latest"_s), u"101"_s)
        + alarm(u"8"_s, u"06:00:00"_s, u"DAILY"_s, news(u"?language=english&category=latest"_s), u"loud"_s)
        + alarm(QString(), u"06:00:00"_s, u"DAILY"_s, news(u"?language=english&category=latest"_s))
        + alarm(u"10"_s, u"06:00:00"_s, u"DAILY"_s, news(u"?language=english&category=latest"_s), u"20"_s, u"1"_s, QString())
        + alarm(u"11"_s, u"24:00:00"_s, u"DAILY"_s, news(u"?language=english&category=latest"_s))
        + alarm(u"12"_s, u"06:00:00"_s, u"ONCE"_s, news(u"?language=english&category=latest"_s))
        + alarm(u"13"_s, u"05:45:10"_s, u"ON_60"_s, news(u"?category=latest&language=japanese"_s), u"0"_s, u"true"_s)
        + alarm(u"14"_s, u"05:00:00"_s, u"WEEKDAYS"_s, u"x-sonosapi-stream:s24861?sid=254"_s) + u"</Alarms>"_s;
    const QList<NewsSchedule> parsed = NewsAlarmClient::parse(document, source);
    ASSERT_EQ(parsed.size(), 2);
    EXPECT_EQ(parsed[0].id, u"1"_s);
    EXPECT_EQ(parsed[0].hour, 7);
    EXPECT_EQ(parsed[0].minute, 30);
    EXPECT_EQ(parsed[0].days.size(), 7u);
    EXPECT_TRUE(parsed[0].enabled);
    EXPECT_EQ(parsed[1].id, u"13"_s); // document order, not time order
    EXPECT_EQ(parsed[1].language, u"japanese"_s);
    EXPECT_EQ(parsed[1].days, (std::set<int>{0, 6}));
    EXPECT_EQ(parsed[1].volume, 0);
    EXPECT_FALSE(parsed[1].enabled); // only "1" is on

    EXPECT_EQ(failureOf([&] { NewsAlarmClient::parse(u"<Alarms><Alarm"_s, source); }), Kind::response);
}

namespace {
// A scripted AlarmClock that records what was sent.
struct Script {
    QList<QPair<QString, Soap::Fields>> sent;
    std::function<QString(const QString &action)> reply;
    NewsAlarmClient client()
    {
        return NewsAlarmClient(
            [this](QString, QString action, Soap::Fields fields) -> QCoro::Task<QString> {
                sent.append({action, fields});
                co_return reply(action);
            },
            NewsSource());
    }
};

QString listReply(const QString &alarms)
{
    return u"<s:Envelope><s:Body><u:ListAlarmsResponse><CurrentAlarmList>"_s + Soap::escape(u"<Alarms>"_s + alarms + u"</Alarms>"_s)
        + u"</CurrentAlarmList><CurrentAlarmListVersion>RINCON_A:3</CurrentAlarmListVersion></u:ListAlarmsResponse></s:Body></s:Envelope>"_s;
}

template<typename T>
Kind awaitFailure(QCoro::Task<T> task)
{
    return test::failure<NewsAlarmClient::Failure>(std::move(task)).value().kind();
}
} // namespace

// Creating, updating and deleting against the fake speakers is the
// controller's test; here, what real firmware does to the replies.
TEST(NewsAlarmClient, RepliesAsFirmwareSendsThem)
{
    const QString english = news(u"?language=english&category=latest"_s);
    Script script;
    script.reply = [&](const QString &action) {
        if (action == u"ListAlarms"_s)
            return listReply(alarm(u"7"_s, u"06:00:00"_s, u"DAILY"_s, english) + alarm(u"8"_s, u"06:00:00"_s, u"DAILY"_s, u"x-rincon-buzzer:0"_s));
        return u"<s:Envelope><s:Body><u:CreateAlarmResponse><AssignedID> 12 </AssignedID></u:CreateAlarmResponse></s:Body></s:Envelope>"_s;
    };
    NewsAlarmClient client = script.client();
    const auto listed = test::await(client.list(u"127.0.0.1"_s));
    ASSERT_EQ(listed.size(), 1);
    EXPECT_EQ(test::await(client.save(morning(), u"127.0.0.1"_s)), u"12"_s);
    // Some firmware leaves the quotes of the escaped list raw.
    const auto scripted = script.reply;
    script.reply = [&](const QString &action) { return scripted(action).replace(u"&quot;"_s, u"\""_s); };
    EXPECT_EQ(test::await(client.list(u"127.0.0.1"_s)), listed);

    // Replies without what they must hold.
    for (const QString &broken : {u"<s:Envelope><AssignedID></AssignedID></s:Envelope>"_s, u"<s:Envelope><broken"_s}) {
        script.reply = [&](const QString &) { return broken; };
        EXPECT_EQ(awaitFailure(client.list(u"127.0.0.1"_s)), Kind::response);
        EXPECT_EQ(awaitFailure(client.save(morning(), u"127.0.0.1"_s)), Kind::response);
    }
}

// The short form of the speakers' SOAP, and what its answers become.
TEST(NewsAlarmClient, RequestOutcomes)
{
    test::RecordingTransport transport;
    auto outcome = [&](std::function<HttpResponse()> reply) {
        transport.setHandler([reply](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return reply(); });
        return NewsAlarmClient::request(transport, u"10.0.0.3"_s, u"ListAlarms"_s, {});
    };
    EXPECT_EQ(test::await(outcome([] { return test::reply(200, "<ok>fine</ok>"); })), u"<ok>fine</ok>"_s);
    // The path and action reach the fake speakers in the controller's tests; the envelope is the queueing request's.
    EXPECT_EQ(transport.requests.back().header("SOAPACTION"), "\"urn:schemas-upnp-org:service:AlarmClock:1#ListAlarms\"");
    EXPECT_EQ(transport.requests.back().timeout, std::chrono::seconds(10));
    // A fault inside a 200 is still a fault.
    EXPECT_EQ(awaitFailure(outcome([] { return test::reply(200, "<s:Envelope><UPnPError><errorCode>402</errorCode></UPnPError></s:Envelope>"); })),
              Kind::rejected);
    EXPECT_EQ(awaitFailure(outcome([]() -> HttpResponse { throw TransportError(TransportError::Kind::Network, u"refused"_s); })), Kind::network);
    EXPECT_THROW(test::await(outcome([] { return test::reply(403); })), SpeakerFault); // local control switched off, said as such
    EXPECT_THROW(test::await(outcome([]() -> HttpResponse { throw Cancelled(); })), Cancelled);
    EXPECT_EQ(NewsAlarmClient::Failure(Kind::response).sentence(), u"Sonos didn’t confirm the alarm. Refresh schedules before trying again."_s);
}
