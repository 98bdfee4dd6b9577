// The fake household as its clients meet it over loopback: the queue, the
// alarm clock, the program and its options.
#include "core/networktransport.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "local/localconnections.h"
#include "local/soap.h"
#include "news/newsalarmclient.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct FakeHome : ::testing::Test {
    fake::FakeSpeakers speakers{u"127.0.50.11"_s, 5};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};

    void SetUp() override
    {
        if (!speakers.start())
            GTEST_SKIP() << "cannot bind port 1400 on 127.0.50.x (needs root)";
    }
    QString host(int i) const { return speakers.speakers[size_t(i)].host; }
    QString id(int i) const { return speakers.speakers[size_t(i)].id; }

    // One AlarmClock action in the short form; status and body.
    std::pair<int, QString> alarm(const QString &action, const Soap::Fields &fields = {})
    {
        const HttpResponse r = test::await(Soap::postShort(transport, host(0), Soap::alarmPath, Soap::alarmClock, action, fields, 10s));
        return {r.status, QString::fromUtf8(r.body)};
    }
    static Soap::Fields alarmFields(const QString &time, const QString &recurrence, const QString &room)
    {
        return {{u"StartLocalTime"_s, time},
                {u"Duration"_s, u"00:12:00"_s},
                {u"Recurrence"_s, recurrence},
                {u"Enabled"_s, u"1"_s},
                {u"RoomUUID"_s, room},
                {u"ProgramURI"_s, fake::FakeAlarmClock::newsAddress(u"news.velotte.app"_s, u"japanese"_s)},
                {u"ProgramMetaData"_s, QString()},
                {u"PlayMode"_s, u"NORMAL"_s},
                {u"Volume"_s, u"25"_s},
                {u"IncludeLinkedZones"_s, u"0"_s}};
    }
    // The alarm list document, unescaped once as its readers do.
    QString alarmList()
    {
        const auto [status, body] = alarm(u"ListAlarms"_s);
        EXPECT_EQ(status, 200);
        return Soap::unescape(Soap::tag(u"CurrentAlarmList"_s, body).value_or(QString()));
    }
    std::optional<AppleMusicDirect::Failure> queueFailure(const QString &host, const QString &action, const Soap::Fields &fields)
    {
        try {
            test::await(AppleMusicDirect::request(transport, host, action, fields));
        } catch (const AppleMusicDirect::Failure &f) {
            return f;
        }
        return std::nullopt;
    }
};

Soap::Fields enqueue(const QString &updateID, const QStringList &uris, const QStringList &titles, int at)
{
    QStringList metadata;
    for (const QString &t : titles)
        metadata << u"<DIDL-Lite><item><dc:title>"_s + Soap::escape(t) + u"</dc:title></item></DIDL-Lite>"_s;
    return {{u"UpdateID"_s, updateID},
            {u"NumberOfURIs"_s, QString::number(uris.size())},
            {u"EnqueuedURIs"_s, uris.join(u' ')},
            {u"EnqueuedURIsMetaData"_s, metadata.join(u' ')},
            {u"ContainerURI"_s, QString()},
            {u"ContainerMetaData"_s, QString()},
            {u"DesiredFirstTrackNumberEnqueued"_s, QString::number(at)},
            {u"EnqueueAsNext"_s, at ? u"1"_s : u"0"_s}};
}

} // namespace

TEST_F(FakeHome, QueueWithUpdateIDs)
{
    const QString kitchen = host(2);
    const QString reply = test::await(AppleMusicDirect::request(transport, kitchen, u"AddMultipleURIsToQueue"_s,
                                                                enqueue(u"0"_s, {u"x-sonos-http:song%3a10.mp4?sid=204"_s}, {u"Tea & Toast"_s}, 0)));
    EXPECT_EQ(Soap::tag(u"FirstTrackNumberEnqueued"_s, reply), u"4"_s);
    EXPECT_EQ(Soap::tag(u"NumTracksAdded"_s, reply), u"1"_s);
    EXPECT_EQ(Soap::tag(u"NewQueueLength"_s, reply), u"4"_s);
    const QString revision = Soap::tag(u"NewUpdateID"_s, reply).value_or(QString());
    EXPECT_EQ(revision, u"2"_s);

    // A stale revision is the queue-changed fault.
    const auto stale = queueFailure(kitchen, u"AddMultipleURIsToQueue"_s, enqueue(u"1"_s, {u"x-sonos-http:song%3a11.mp4"_s}, {u"Late"_s}, 0));
    ASSERT_TRUE(stale.has_value());
    EXPECT_EQ(stale->code(), u"1028"_s);
    EXPECT_EQ(stale->sentence(), u"The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it."_s);

    // Point the room at its queue, jump to the new track, drop the old ones.
    test::await(AppleMusicDirect::request(transport, kitchen, u"SetAVTransportURI"_s,
                                          {{u"InstanceID"_s, u"0"_s}, {u"CurrentURI"_s, u"x-rincon-queue:"_s + id(2) + u"#0"_s}, {u"CurrentURIMetaData"_s, {}}}));
    test::await(AppleMusicDirect::request(transport, kitchen, u"Seek"_s, {{u"InstanceID"_s, u"0"_s}, {u"Unit"_s, u"TRACK_NR"_s}, {u"Target"_s, u"4"_s}}));
    test::await(AppleMusicDirect::request(transport, kitchen, u"Play"_s, {{u"InstanceID"_s, u"0"_s}, {u"Speed"_s, u"1"_s}}));
    const QString removed = test::await(AppleMusicDirect::request(
        transport, kitchen, u"RemoveTrackRangeFromQueue"_s,
        {{u"InstanceID"_s, u"0"_s}, {u"UpdateID"_s, revision}, {u"StartingIndex"_s, u"1"_s}, {u"NumberOfTracks"_s, u"3"_s}}));
    EXPECT_EQ(Soap::tag(u"NewUpdateID"_s, removed), u"3"_s);
    const auto now = test::await(house.nowPlaying(kitchen));
    ASSERT_TRUE(now.has_value());
    EXPECT_EQ(now->title, u"Tea & Toast"_s);
    EXPECT_TRUE(now->playing);
    EXPECT_EQ(speakers.speakers[2].queue.size(), 1);

    // Queueing goes to the coordinator; a member refuses.
    ASSERT_TRUE(test::await(house.join(id(2), host(3))));
    const auto member = queueFailure(host(3), u"AddMultipleURIsToQueue"_s, enqueue(u"0"_s, {u"x"_s}, {u"x"_s}, 0));
    ASSERT_TRUE(member.has_value());
    EXPECT_EQ(member->code(), u"800"_s);
    // Nobody at the address: the network case.
    const auto nobody = queueFailure(u"127.0.50.99"_s, u"Play"_s, {});
    ASSERT_TRUE(nobody.has_value());
    EXPECT_EQ(nobody->kind(), AppleMusicDirect::Failure::Kind::network);
}

TEST_F(FakeHome, AlarmListAsRealSpeakersSendIt)
{
    const auto [status, raw] = alarm(u"ListAlarms"_s);
    ASSERT_EQ(status, 200);
    // Metadata inside the list is escaped twice; an "&" in a title three times.
    EXPECT_TRUE(raw.contains(u"ProgramMetaData=&quot;&amp;lt;DIDL-Lite"_s));
    EXPECT_TRUE(raw.contains(u"Sunday Morning &amp;amp;amp; Coffee"_s));
    EXPECT_TRUE(raw.contains(u"<CurrentAlarmListVersion>"_s + id(0) + u":"_s));
    const QString list = alarmList();
    static const QRegularExpression alarmTag(u"<Alarm ([^>]*)/>"_s);
    QStringList programs, recurrences;
    for (auto it = alarmTag.globalMatch(list); it.hasNext();) {
        const QString attributes = it.next().captured(1);
        programs << Soap::unescape(QRegularExpression(u"ProgramURI=\"([^\"]*)\""_s).match(attributes).captured(1));
        recurrences << QRegularExpression(u"Recurrence=\"([^\"]*)\""_s).match(attributes).captured(1);
        EXPECT_TRUE(attributes.contains(u"StartTime=\""_s)) << attributes.toStdString();
    }
    ASSERT_EQ(programs.size(), 10); // four captured from real speakers, six of the household's own
    EXPECT_TRUE(programs.contains(u"x-rincon-buzzer:0"_s));
    const QString news = u"https://news.velotte.app/api/public/news-shadowing/sonos/latest.mp3?language="_s;
    EXPECT_TRUE(programs.contains(news + u"english&category=latest"_s));
    EXPECT_TRUE(programs.contains(news + u"bilingual&category=latest"_s));
    EXPECT_TRUE(programs.contains(news + u"english&category=latest&voice=b"_s));
    EXPECT_TRUE(programs[0].startsWith(u"x-rincon-cpcontainer:"_s));
    for (const char *r : {"DAILY", "WEEKDAYS", "WEEKENDS", "ONCE", "ON_0246"})
        EXPECT_TRUE(recurrences.contains(QLatin1String(r))) << r;
}

TEST_F(FakeHome, AlarmsAreCreatedUpdatedAndDestroyed)
{
    auto [status, created] = alarm(u"CreateAlarm"_s, alarmFields(u"06:05:00"_s, u"ON_135"_s, id(2)));
    ASSERT_EQ(status, 200);
    const QString assigned = Soap::tag(u"AssignedID"_s, created).value_or(QString());
    EXPECT_EQ(assigned, u"106"_s);
    EXPECT_TRUE(alarmList().contains(u"<Alarm ID=\"106\" StartTime=\"06:05:00\" Duration=\"00:12:00\" Recurrence=\"ON_135\" Enabled=\"1\" RoomUUID=\""_s + id(2)));

    Soap::Fields update = alarmFields(u"06:45:00"_s, u"WEEKENDS"_s, id(2));
    update.prepend({u"ID"_s, assigned});
    EXPECT_EQ(alarm(u"UpdateAlarm"_s, update).first, 200);
    EXPECT_TRUE(alarmList().contains(u"<Alarm ID=\"106\" StartTime=\"06:45:00\""_s));
    update[0].second = u"99"_s;
    EXPECT_TRUE(alarm(u"UpdateAlarm"_s, update).second.contains(u"<errorCode>802</errorCode>"_s));

    EXPECT_EQ(alarm(u"DestroyAlarm"_s, {{u"ID"_s, assigned}}).first, 200);
    EXPECT_FALSE(alarmList().contains(u"ID=\"106\""_s));
    EXPECT_EQ(alarm(u"DestroyAlarm"_s, {{u"ID"_s, assigned}}).first, 500);

    // Refusals: nonsense recurrences, a two-part time, an injected conflict.
    EXPECT_EQ(alarm(u"CreateAlarm"_s, alarmFields(u"06:05:00"_s, u"ON_7"_s, id(2))).first, 500);
    EXPECT_EQ(alarm(u"CreateAlarm"_s, alarmFields(u"06:05"_s, u"DAILY"_s, id(2))).first, 500);
    speakers.alarms.createConflict = 801;
    const auto [conflictStatus, conflict] = alarm(u"CreateAlarm"_s, alarmFields(u"07:15:00"_s, u"WEEKDAYS"_s, id(0)));
    EXPECT_EQ(conflictStatus, 500);
    EXPECT_TRUE(conflict.contains(u"<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\"><errorCode>801</errorCode></UPnPError>"_s));
    EXPECT_FALSE(conflict.contains(u"errorDescription"_s));
    EXPECT_EQ(speakers.alarms.alarms.size(), 10);
}

TEST_F(FakeHome, GroupingChangesTheTopology)
{
    const auto before = test::await(house.zoneGroups(host(0)));
    ASSERT_TRUE(before.has_value());
    ASSERT_EQ(before->size(), 4);
    ASSERT_TRUE(test::await(house.join(id(0), host(2))));
    ASSERT_TRUE(test::await(house.join(id(0), host(4)))); // the home theatre, satellites and all
    const auto after = test::await(house.zoneGroups(host(3)));
    ASSERT_TRUE(after.has_value());
    ASSERT_EQ(after->size(), 2);
    const GuestHouse::Room &living = after->at(0);
    EXPECT_EQ(living.coordinator, id(0));
    EXPECT_EQ(living.members.size(), 3); // the stereo partner and satellites stay hidden
    EXPECT_EQ(living.hosts.size(), 4);
    // Hand the group over, then leave it.
    ASSERT_TRUE(test::await(house.delegate(id(2), host(0))));
    ASSERT_TRUE(test::await(house.separate(host(0))));
    const auto last = test::await(house.zoneGroups(host(0)));
    ASSERT_EQ(last->size(), 3);
    EXPECT_EQ(test::await(house.standaloneRoom(id(0), host(1))), true); // the pair left together
    EXPECT_EQ(test::await(house.standaloneRoom(id(2), host(1))), false);
    EXPECT_FALSE(test::await(house.delegate(id(3), host(3)))); // not a coordinator: a fault, so false
}

TEST_F(FakeHome, TransitioningCountsAsPlaying)
{
    auto &kitchen = speakers.speakers[2];
    kitchen.transitionMs = 60000;
    ASSERT_TRUE(test::await(house.transport(u"Play"_s, host(2))));
    EXPECT_EQ(speakers.reportedState(kitchen), u"TRANSITIONING"_s);
    EXPECT_TRUE(test::await(house.nowPlaying(host(2)))->playing);
    ASSERT_TRUE(test::await(house.transport(u"Stop"_s, host(2))));
    EXPECT_FALSE(test::await(house.nowPlaying(host(2)))->playing);
}

TEST(PlainHousehold, ManualHostsDiscoverEveryRoom)
{
    fake::FakeSpeakers::Options options;
    options.base = u"127.0.51.11"_s;
    options.count = 7;
    options.household = fake::FakeSpeakers::Household::plain;
    fake::FakeSpeakers speakers(options);
    if (!speakers.start())
        GTEST_SKIP() << "cannot bind port 1400 on 127.0.51.x (needs root)";
    QNetworkAccessManager manager;
    NetworkTransport transport(&manager);
    GuestHouse house(transport);
    const LocalHouseConnection rooms = LocalHouseConnection::live(house, manualHosts(speakers.hosts()));
    const GuestHouse::Snapshot snapshot = test::await(rooms.discover());
    ASSERT_EQ(snapshot.groups.size(), 7);
    ASSERT_EQ(snapshot.players.size(), 7);
    QStringList names;
    for (const SonosGroup &g : snapshot.groups)
        names << g.name;
    EXPECT_TRUE(names.contains(u"Kids/Play"_s));
    EXPECT_TRUE(names.contains(u"Patio & Garden"_s));
    EXPECT_TRUE(names.contains(u"Room 7"_s));
    EXPECT_EQ(snapshot.hosts.size(), 7);
}

TEST(FakeProgram, PrintsItsSpeakersAndTakesFaults)
{
    QProcess fakes;
    fakes.start(QStringLiteral(VELOTTE_FAKE_HOUSEHOLD),
                {u"--only"_s, u"speakers"_s, u"--speakers-base"_s, u"127.0.52.11"_s, u"--speakers-count"_s, u"3"_s, u"--speakers-fault"_s,
                 u"127.0.52.13=forbidden"_s, u"--speakers-fault"_s, u"127.0.52.11=upnp:GetVolume:714"_s});
    ASSERT_TRUE(fakes.waitForStarted());
    QString out;
    for (int i = 0; i < 100 && !out.contains(u"ready"_s) && fakes.state() == QProcess::Running; ++i) {
        fakes.waitForReadyRead(100);
        out += QString::fromUtf8(fakes.readAllStandardOutput());
    }
    if (out.contains(u"needs root"_s))
        GTEST_SKIP() << out.toStdString();
    ASSERT_TRUE(out.contains(u"ready"_s)) << out.toStdString();
    EXPECT_TRUE(out.contains(u"speakers: 127.0.52.11:1400  Living Room  Sonos One  RINCON_347E5C0D000001400"_s)) << out.toStdString();
    EXPECT_TRUE(out.contains(u"127.0.52.12:1400  Living Room (stereo partner)"_s));
    EXPECT_TRUE(out.contains(u"127.0.52.13:1400  Kitchen"_s));

    QNetworkAccessManager manager;
    NetworkTransport transport(&manager);
    GuestHouse house(transport);
    EXPECT_FALSE(test::await(house.volume(u"127.0.52.11"_s)).has_value()); // UPnP 714
    EXPECT_TRUE(test::await(house.bass(u"127.0.52.11"_s)).has_value());
    EXPECT_FALSE(test::await(house.bass(u"127.0.52.13"_s)).has_value()); // local control off
    EXPECT_FALSE(test::await(house.identity(u"127.0.52.13"_s)).has_value()); // refused like everything else
    EXPECT_TRUE(house.refusesLocalControl(u"127.0.52.13"_s));
    fakes.terminate();
    fakes.waitForFinished(3000);

    QProcess refused;
    refused.start(QStringLiteral(VELOTTE_FAKE_HOUSEHOLD), {u"--only"_s, u"speakers"_s, u"--speakers-base"_s, u"127.0.52.31"_s, u"--speakers-fault"_s, u"10.9.9.9=silent"_s});
    ASSERT_TRUE(refused.waitForFinished(5000));
    EXPECT_EQ(refused.exitCode(), 1);
    EXPECT_TRUE(refused.readAllStandardOutput().contains("error: no fake speaker at 10.9.9.9"));
}

TEST_F(FakeHome, DirectQueueingRunOnTheSpeaker)
{
    AppleMusicDirect direct(transport);
    EXPECT_TRUE(test::await(direct.isCoordinator(id(2), host(2))));
    EXPECT_FALSE(test::await(direct.isCoordinator(id(1), host(2))));

    QList<AppleMusicIdentity> songs;
    for (int i = 0; i < 18; ++i)
        songs.append({QString::number(500 + i), u"Song %1"_s.arg(i + 1), u"Band"_s, u"song"_s});
    std::vector<int> progress;
    test::await(direct.play(songs, host(2), id(2), AppleMusicAction::replace, [&](int n) { progress.push_back(n); }));
    EXPECT_EQ(progress, (std::vector<int>{1, 17, 18}));
    const auto &kitchen = speakers.speakers[2];
    ASSERT_EQ(kitchen.queue.size(), 18); // the three old tracks are gone
    EXPECT_EQ(kitchen.queue.first().title, u"Song 1"_s);
    EXPECT_EQ(kitchen.queue.last().title, u"Song 18"_s);
    // The household's favorites carry account 5 (one older entry 1): every song goes out with 5.
    for (const auto &t : kitchen.queue)
        EXPECT_TRUE(t.uri.endsWith(u"&sn=5"_s)) << t.uri.toStdString();
    const auto now = test::await(house.nowPlaying(host(2)));
    ASSERT_TRUE(now.has_value());
    EXPECT_EQ(now->title, u"Song 1"_s);
    EXPECT_TRUE(now->playing);

    // Two more after the playing track.
    test::await(direct.play({{u"900"_s, u"Next One"_s, {}, u"song"_s}, {u"901"_s, u"Next Two"_s, {}, u"song"_s}}, host(2), id(2),
                            AppleMusicAction::addAfterCurrent));
    ASSERT_EQ(kitchen.queue.size(), 20);
    EXPECT_EQ(kitchen.queue[1].title, u"Next One"_s);
    EXPECT_EQ(kitchen.queue[2].title, u"Next Two"_s);
    EXPECT_EQ(test::await(house.nowPlaying(host(2)))->title, u"Song 1"_s);

    // A song the speaker cannot play (here: of an account the household
    // does not have) is refused with 714: the queueing sentence with the code.
    speakers.appleMusicAccount = 7;
    try {
        test::await(direct.play({{u"902"_s, u"Elsewhere"_s, {}, u"song"_s}}, host(2), id(2), AppleMusicAction::replace));
        ADD_FAILURE() << "queued";
    } catch (const AppleMusicDirect::Failure &f) {
        EXPECT_EQ(f.sentence(), u"Sonos couldn’t load this Apple Music item (714). Check that Apple Music is connected in the Sonos app and the item is "
                                "available in your account."_s);
    }
}

TEST_F(FakeHome, LocalControlOffIsSaidByEveryClient)
{
    speakers.speakers[2].forbidden = true;
    const QString kitchen = host(2);
    const QString sentence = u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s;
    auto said = [&](auto task) -> QString {
        try {
            test::await(std::move(task));
        } catch (const std::exception &e) {
            return sentenceOf(e);
        }
        return u"no failure"_s;
    };
    // The speaker operations say "no value"; the house says why.
    EXPECT_FALSE(test::await(house.transport(u"Play"_s, kitchen)));
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    EXPECT_FALSE(test::await(house.bass(kitchen)).has_value());
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    EXPECT_FALSE(test::await(house.identity(kitchen)).has_value());
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    // The alarm and queueing clients throw it.
    NewsAlarmClient alarms(transport, NewsSource(QUrl(u"https://news.velotte.app/api/public/news-shadowing"_s)));
    EXPECT_EQ(said(alarms.list(kitchen)), sentence);
    NewsSchedule schedule;
    schedule.roomID = id(2);
    schedule.hour = 7;
    schedule.days = {1};
    schedule.volume = 20;
    schedule.language = u"english"_s;
    schedule.category = u"latest"_s;
    EXPECT_EQ(said(alarms.save(schedule, kitchen)), sentence);
    AppleMusicDirect direct(transport);
    EXPECT_EQ(said(direct.isCoordinator(id(2), kitchen)), sentence);
    EXPECT_EQ(said(direct.play({{u"900"_s, u"One"_s, {}, u"song"_s}}, kitchen, id(2), AppleMusicAction::replace)), sentence);
}
