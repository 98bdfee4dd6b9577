// Live updates from the fake speakers: subscriptions taken out, renewed on
// virtual time and taken up again, events read into records, and what the
// listener refuses.
#include "core/networktransport.h"
#include "local/eventsubscriptions.h"
#include "local/guesthouse.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

struct Events : ::testing::Test {
    fake::FakeSpeakers speakers{u"127.0.44.11"_s, 5};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};
    VirtualClock clock;
    std::unique_ptr<EventSubscriptions> events;
    QList<SpeakerEvent> heard;
    int missed = 0;

    void SetUp() override
    {
        ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.44.x";
        speakers.events().now = [this] { return clock.monotonicMillis(); };
        events = subscriptions(0);
    }
    std::unique_ptr<EventSubscriptions> subscriptions(quint16 port)
    {
        auto e = std::make_unique<EventSubscriptions>(transport, clock, port);
        QObject::connect(e.get(), &EventSubscriptions::changed, [this](const SpeakerEvent &event) { heard.append(event); });
        QObject::connect(e.get(), &EventSubscriptions::missed, [this] { ++missed; });
        return e;
    }
    QString host(int i) const { return speakers.speakers[size_t(i)].host; }
    QString id(int i) const { return speakers.speakers[size_t(i)].id; }
    bool hears(const std::function<bool(const SpeakerEvent &)> &what)
    {
        return test::until([&] { return std::any_of(heard.begin(), heard.end(), what); });
    }
    QStringList sids()
    {
        QStringList out;
        for (const auto &s : speakers.events().subscriptions)
            out << s->sid;
        return out;
    }
};

} // namespace

TEST_F(Events, ChangesByAnyControllerArriveAsRecords)
{
    events->follow({{host(0), EventService::transport}, {host(0), EventService::rendering}, {host(0), EventService::topology}});
    ASSERT_TRUE(test::until([&] { return events->holding(); }));
    // The first event of each holds the whole state.
    EXPECT_TRUE(hears([&](const SpeakerEvent &e) { return e.title == u"Clair de lune"_s && e.playing() == true && e.host == host(0); }));
    EXPECT_TRUE(hears([](const SpeakerEvent &e) { return e.volume == 20 && e.muted == false; }));

    heard.clear();
    ASSERT_TRUE(test::await(house.setVolume(host(0), 33)));
    // Only the Master channel counts; the speaker's left and right stay at 100.
    EXPECT_TRUE(hears([](const SpeakerEvent &e) { return e.service == EventService::rendering && e.volume == 33; }));
    ASSERT_TRUE(test::await(house.transport(u"Next"_s, host(0))));
    EXPECT_TRUE(hears([](const SpeakerEvent &e) {
        return e.title == u"Salt & Pepper"_s && e.artist == u"The Condiments"_s && e.durationMillis == 201000 && e.track == 2 && e.actions
            && e.actions->canSkipBack;
    }));
    ASSERT_TRUE(test::await(house.join(id(0), host(2))));
    EXPECT_TRUE(hears([&](const SpeakerEvent &e) {
        return e.rooms && std::any_of(e.rooms->begin(), e.rooms->end(), [&](const auto &r) { return r.coordinator == id(0) && r.members.size() == 2; });
    }));
    // A change made on the speaker itself, by no request of ours.
    speakers.speakers[0].muted = true;
    speakers.publish();
    EXPECT_TRUE(hears([](const SpeakerEvent &e) { return e.muted == true; }));
    EXPECT_EQ(missed, 0);

    // Sources no longer followed are ended; on exit all of them.
    events->follow({{host(0), EventService::transport}});
    EXPECT_TRUE(test::until([&] { return speakers.events().subscriptions.size() == 1; }));
    test::await(events->stop());
    EXPECT_TRUE(speakers.events().subscriptions.empty());
}

TEST_F(Events, RenewedBeforeTheyLapseAndTakenOutAgainOnceLapsed)
{
    events->follow({{host(0), EventService::transport}, {host(0), EventService::rendering}});
    ASSERT_TRUE(test::until([&] { return events->holding(); }));
    const QStringList first = sids();
    auto renewedBy = [&](int renewals) { return test::until([&] { return speakers.events().renewals == renewals && clock.sleepers() == 2; }); };

    clock.advance(1439s);
    test::drain();
    EXPECT_EQ(speakers.events().renewals, 0);
    // A fifth of the granted 30 minutes before they lapse, on the speakers' clock too.
    clock.advance(1s);
    ASSERT_TRUE(renewedBy(2));
    clock.advance(1440s);
    ASSERT_TRUE(renewedBy(4));
    EXPECT_EQ(sids(), first);
    EXPECT_TRUE(events->holding());

    // The speaker restarted and forgot them: the renewal is refused and a
    // fresh subscription taken out, with its first event.
    speakers.events().lapse();
    clock.advance(1440s);
    ASSERT_TRUE(test::until([&] { return sids().size() == 2 && events->holding(); }));
    EXPECT_NE(sids(), first);
    heard.clear();
    ASSERT_TRUE(test::await(house.setVolume(host(0), 9)));
    EXPECT_TRUE(hears([](const SpeakerEvent &e) { return e.volume == 9; }));
}

TEST_F(Events, AGapInSequenceIsReportedOnce)
{
    events->follow({{host(0), EventService::rendering}});
    ASSERT_TRUE(test::until([&] { return events->holding(); }));
    QString why;
    ASSERT_TRUE(speakers.inject(host(0) + u"=events:gap"_s, &why)) << why.toStdString();
    ASSERT_TRUE(test::await(house.setVolume(host(0), 41)));
    // The event after the gap still counts: it is the newest state.
    EXPECT_TRUE(hears([](const SpeakerEvent &e) { return e.volume == 41; }));
    EXPECT_EQ(missed, 1);
    ASSERT_TRUE(test::await(house.setVolume(host(0), 42)));
    EXPECT_TRUE(hears([](const SpeakerEvent &e) { return e.volume == 42; }));
    EXPECT_EQ(missed, 1);
}

TEST_F(Events, WhyNoUpdatesCome)
{
    QTcpServer squatter;
    ASSERT_TRUE(squatter.listen(QHostAddress::LocalHost));
    const int taken = squatter.serverPort();
    const struct {
        QString fault;
        QString host;
        quint16 port;
        QString sentence;
    } cases[] = {
        {u"127.0.44.11=events:refused"_s, u"127.0.44.11"_s, 0, u"The speaker at 127.0.44.11 refused to send updates (HTTP 503)."_s},
        {u"127.0.44.12=events:silent"_s, u"127.0.44.12"_s, 0,
         u"The speakers cannot reach this computer on port %1: allow incoming connections on that port in the firewall."_s},
        {u"127.0.44.13=forbidden"_s, u"127.0.44.13"_s, 0,
         u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s},
        // No route takes a datagram to the broadcast address, and nothing is sent to find out.
        {{}, u"255.255.255.255"_s, 0, u"No address of this computer reaches the speaker at 255.255.255.255, so it cannot send updates."_s},
        {{}, u"127.0.44.14"_s, quint16(taken), u"Port %1 is taken by another program, so the speakers cannot send updates to this computer."_s.arg(taken)},
    };
    for (const auto &c : cases) {
        if (!c.fault.isEmpty()) {
            ASSERT_TRUE(speakers.inject(c.fault));
        }
        auto e = subscriptions(c.port);
        auto probe = e->probe(c.host);
        // Refused at once, or waiting for a first event that does not come.
        ASSERT_TRUE(test::until([&] { return probe.isReady() || clock.sleepers() > 0; })) << c.host.toStdString();
        clock.advance(EventSubscriptions::firstEventWait + 1s);
        const std::optional<EventFailure> failure = test::await(std::move(probe));
        ASSERT_TRUE(failure.has_value()) << c.host.toStdString();
        EXPECT_EQ(failure->sentence(), c.sentence.contains(u"%1"_s) ? c.sentence.arg(e->listener().port()) : c.sentence);
        EXPECT_FALSE(e->holding());
    }
    // A speaker whose events come through has nothing to say.
    EXPECT_FALSE(test::await(events->probe(host(4))).has_value());
}

// The listener on its own, spoken to as a speaker (or a stranger) would.
TEST(EventListenerAlone, TakesOnlyItsOwnSubscriptionsAndNoHugeBodies)
{
    EventListener listener(0);
    const QUrl callback = listener.callback(u"127.0.44.12"_s);
    listener.accept(u"uuid:held"_s, u"127.0.44.12"_s, EventService::rendering);
    QList<int> volumes;
    int missed = 0;
    QObject::connect(&listener, &EventListener::received, [&](const SpeakerEvent &e) { volumes.append(e.volume.value_or(-1)); });
    QObject::connect(&listener, &EventListener::missed, [&] { ++missed; });
    auto body = [](int volume) {
        return u"<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\"><e:property><LastChange>&lt;Event&gt;&lt;InstanceID val=&quot;0&quot;&gt;"
               "&lt;Volume channel=&quot;Master&quot; val=&quot;%1&quot;/&gt;&lt;/InstanceID&gt;&lt;/Event&gt;</LastChange></e:property></e:propertyset>"_s
            .arg(volume)
            .toUtf8();
    };
    // The status line of the answer to a request from `from`.
    auto send = [&](const QString &from, const QByteArray &request) {
        QTcpSocket socket;
        EXPECT_TRUE(socket.bind(QHostAddress(from)));
        socket.connectToHost(QHostAddress(callback.host()), quint16(callback.port()));
        socket.write(request);
        QByteArray answer;
        EXPECT_TRUE(test::until([&] {
            answer += socket.readAll();
            return answer.contains("\r\n") || socket.state() == QAbstractSocket::UnconnectedState;
        }));
        return answer.left(answer.indexOf("\r\n"));
    };
    auto notify = [&](const char *sid, int seq, const QByteArray &payload, qint64 length = -1) {
        return "NOTIFY /events HTTP/1.1\r\nNT: upnp:event\r\nNTS: upnp:propchange\r\nSID: " + QByteArray(sid) + "\r\nSEQ: " + QByteArray::number(seq)
            + "\r\nCONTENT-LENGTH: " + QByteArray::number(length < 0 ? payload.size() : length) + "\r\n\r\n" + payload;
    };
    const struct {
        QString from;
        QByteArray request;
        QByteArray status;
        QList<int> volumes;
    } cases[] = {
        {u"127.0.44.12"_s, notify("uuid:held", 0, body(30)), "HTTP/1.1 200 OK", {30}},
        {u"127.0.44.12"_s, notify("uuid:unknown", 1, body(31)), "HTTP/1.1 412 Precondition Failed", {30}},
        {u"127.0.44.13"_s, notify("uuid:held", 1, body(32)), "HTTP/1.1 412 Precondition Failed", {30}},
        {u"127.0.44.12"_s, "NOTIFY /events HTTP/1.1\r\nSID: uuid:held\r\nSEQ: 1\r\nCONTENT-LENGTH: 0\r\n\r\n", "HTTP/1.1 400 Bad Request", {30}},
        // Answered from the head alone: the megabyte is never sent, nor waited for.
        {u"127.0.44.12"_s, notify("uuid:held", 1, {}, 1024 * 1024), "HTTP/1.1 413 Content Too Large", {30}},
        // Older than what was taken: it would undo newer state.
        {u"127.0.44.12"_s, notify("uuid:held", 0, body(33)), "HTTP/1.1 200 OK", {30}},
        {u"127.0.44.12"_s, notify("uuid:held", 1, body(34)), "HTTP/1.1 200 OK", {30, 34}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(send(c.from, c.request), c.status) << c.request.left(120).toStdString();
        EXPECT_EQ(volumes, c.volumes) << c.request.left(120).toStdString();
    }
    EXPECT_EQ(missed, 0);
}
