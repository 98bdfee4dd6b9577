#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "news/newsalarmclient.h"
#include "local/soap.h"
#include "local/speakerfault.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

TEST(Soap, LongEnvelopeByteForByte)
{
    EXPECT_EQ(Soap::envelope(QStringLiteral("GetBass"), Soap::renderingControl, QStringLiteral("<InstanceID>0</InstanceID>")),
              QStringLiteral("<?xml version=\"1.0\"?>\n"
                             "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\n"
                             "<s:Body>\n"
                             "<u:GetBass xmlns:u=\"urn:schemas-upnp-org:service:RenderingControl:1\">\n"
                             "<InstanceID>0</InstanceID>\n"
                             "</u:GetBass>\n"
                             "</s:Body>\n"
                             "</s:Envelope>"));
}

TEST(Soap, ShortEnvelopeKeepsArgumentOrderAndEscapes)
{
    const Soap::Fields fields{{QStringLiteral("InstanceID"), QStringLiteral("0")},
                              {QStringLiteral("CurrentURI"), QStringLiteral("x-rincon-queue:RINCON_1#0")},
                              {QStringLiteral("CurrentURIMetaData"), QStringLiteral("<a href=\"x\">R&B's</a>")}};
    EXPECT_EQ(Soap::shortEnvelope(Soap::avTransport, QStringLiteral("SetAVTransportURI"), fields),
              QStringLiteral("<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>"
                             "<u:SetAVTransportURI xmlns:u=\"urn:schemas-upnp-org:service:AVTransport:1\">"
                             "<InstanceID>0</InstanceID><CurrentURI>x-rincon-queue:RINCON_1#0</CurrentURI>"
                             "<CurrentURIMetaData>&lt;a href=&quot;x&quot;&gt;R&amp;B's&lt;/a&gt;</CurrentURIMetaData>"
                             "</u:SetAVTransportURI></s:Body></s:Envelope>"));
}

TEST(Soap, EscapingOrderAndDecoding)
{
    EXPECT_EQ(Soap::escape(QStringLiteral("a&<>\"'")), QStringLiteral("a&amp;&lt;&gt;&quot;'"));
    EXPECT_EQ(Soap::escape(QStringLiteral("&lt;")), QStringLiteral("&amp;lt;")); // never escaped twice by accident
    EXPECT_EQ(Soap::unescape(QStringLiteral("&amp;lt;")), QStringLiteral("&lt;")); // ampersand last
    EXPECT_EQ(Soap::unescape(Soap::escape(QStringLiteral("R&B <3 \"x\""))), QStringLiteral("R&B <3 \"x\""));
}

TEST(Soap, TagExtractor)
{
    EXPECT_EQ(Soap::tag(QStringLiteral("CurrentVolume"), QStringLiteral("<u:R><CurrentVolume>\n 42 \n</CurrentVolume></u:R>")), QStringLiteral("42"));
    EXPECT_FALSE(Soap::tag(QStringLiteral("CurrentVolume"), QStringLiteral("<CurrentVolume>  \n </CurrentVolume>")).has_value());
    EXPECT_FALSE(Soap::tag(QStringLiteral("CurrentVolume"), QStringLiteral("<CurrentVolume>42")).has_value());
    EXPECT_EQ(Soap::tag(QStringLiteral("a.b+"), QStringLiteral("<axb>no</axb><a.b+ x=\"1\">yes</a.b+>")), QStringLiteral("yes"));
    EXPECT_EQ(Soap::tag(QStringLiteral("T"), QStringLiteral("<T>first</T><T>second</T>")), QStringLiteral("first"));
    EXPECT_EQ(Soap::tag(QStringLiteral("T"), QStringLiteral("<T attr=\"v\">multi\nline</T>")), QStringLiteral("multi\nline"));
}

TEST(Soap, IntegersClocksAndModes)
{
    EXPECT_EQ(Soap::integer(QStringLiteral("+12")), 12);
    EXPECT_EQ(Soap::integer(QStringLiteral("-7")), -7);
    EXPECT_FALSE(Soap::integer(QStringLiteral("12a")).has_value());
    EXPECT_FALSE(Soap::integer(QStringLiteral("-")).has_value());
    EXPECT_FALSE(Soap::integer(QStringLiteral("")).has_value());
    EXPECT_FALSE(Soap::integer(QStringLiteral("99999999999999999999")).has_value());
    EXPECT_EQ(Soap::clock(3725000), QStringLiteral("1:02:05"));
    EXPECT_EQ(Soap::clock(-5), QStringLiteral("0:00:00"));
    EXPECT_EQ(Soap::millis(QStringLiteral("0:03:07")), 187000);
    EXPECT_EQ(Soap::millis(QStringLiteral("1:00:00")), 3600000);
    EXPECT_EQ(Soap::millis(QStringLiteral("NOT_IMPLEMENTED")), 0);
    EXPECT_EQ(Soap::millis(QStringLiteral("::5")), 5000);
    EXPECT_EQ(Soap::millis(QStringLiteral("99999999999999:0:0")), 0);
    EXPECT_EQ(Soap::playMode(true, false), QStringLiteral("SHUFFLE_NOREPEAT"));
    EXPECT_EQ(Soap::playMode(true, true), QStringLiteral("SHUFFLE"));
    EXPECT_EQ(Soap::playMode(false, true), QStringLiteral("REPEAT_ALL"));
    EXPECT_EQ(Soap::playMode(false, false), QStringLiteral("NORMAL"));
}

namespace {
struct Calls : ::testing::Test {
    test::RecordingTransport transport{[](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        co_return test::reply(200, "<s:Envelope><s:Body><u:R><CurrentVolume>+30</CurrentVolume><CurrentBass>14</CurrentBass></u:R></s:Body></s:Envelope>");
    }};
    GuestHouse house{transport};
};
} // namespace

TEST_F(Calls, ReadsValuesAndRefusesOutOfRange)
{
    EXPECT_EQ(test::await(house.volume(QStringLiteral("h"))), 30);
    EXPECT_FALSE(test::await(house.bass(QStringLiteral("h"))).has_value()); // 14 is no bass level
}

TEST_F(Calls, FailuresAreNoValue)
{
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(500, "<errorCode>701</errorCode>"); });
    EXPECT_FALSE(test::await(house.setMuted(QStringLiteral("h"), true)));
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        throw TransportError(TransportError::Kind::Timeout, QStringLiteral("late"));
        co_return test::reply(200);
    });
    EXPECT_FALSE(test::await(house.volume(QStringLiteral("h"))).has_value());
    EXPECT_FALSE(test::await(house.nowPlaying(QStringLiteral("h"))).has_value());
    const size_t before = transport.requests.size();
    EXPECT_FALSE(test::await(house.setMuted(QStringLiteral(""), true)));
    EXPECT_FALSE(test::await(house.setMuted(QStringLiteral("bad host name"), true)));
    EXPECT_EQ(transport.requests.size(), before); // no request without a host
}

TEST(Track, MetadataIsDecodedOnceForTheDocumentAndOnceForItsTexts)
{
    const QString reply = QStringLiteral("&lt;DIDL-Lite&gt;&lt;item&gt;&lt;dc:title&gt;Salt &amp;amp; Pepper&lt;/dc:title&gt;"
                                         "&lt;dc:creator&gt;Simon &amp;amp; Garfunkel&lt;/dc:creator&gt;&lt;/item&gt;&lt;/DIDL-Lite&gt;");
    const auto [title, artist] = GuestHouse::track(reply);
    EXPECT_EQ(title, QStringLiteral("Salt & Pepper"));
    EXPECT_EQ(artist, QStringLiteral("Simon & Garfunkel"));
    EXPECT_EQ(GuestHouse::track(QStringLiteral("&lt;item&gt;&lt;title&gt;Plain&lt;/title&gt;&lt;/item&gt;")).first, QStringLiteral("Plain"));
    EXPECT_TRUE(GuestHouse::track(QStringLiteral("NOT_IMPLEMENTED")).first.isEmpty());
    EXPECT_TRUE(GuestHouse::track(QStringLiteral("&lt;DIDL-Lite&gt;&lt;item&gt;&lt;dc:title&gt;cut off")).first.isEmpty());
}

// One reading of a speaker's failure for every client: what counts as a
// fault, and the sentence each one gets.
TEST(SpeakerFaults, EachFailureItsSentence)
{
    const QString upnp = QStringLiteral("<s:Fault><faultstring>UPnPError</faultstring><detail><UPnPError><errorCode>%1</errorCode></UPnPError></detail></s:Fault>");
    const struct {
        int status;
        QString body;
        QString sentence;
    } cases[] = {
        {403, QStringLiteral("<html>403 Forbidden</html>"),
         QStringLiteral("This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer.")},
        {500, upnp.arg(701), QStringLiteral("What is playing now does not allow that (701).")},
        {500, upnp.arg(712), QStringLiteral("What is playing now cannot shuffle or repeat (712).")},
        {500, upnp.arg(714), QStringLiteral("Sonos cannot play this kind of item (714).")},
        {500, upnp.arg(800), QStringLiteral("Another speaker leads this room’s group, and it could not be reached (800).")},
        {500, upnp.arg(402), QStringLiteral("The speaker refused the request (402).")},
        {200, upnp.arg(711), QStringLiteral("The speaker refused the request (711).")}, // a fault in a 200 reply is one too
        {404, QString(), QStringLiteral("The speaker refused the request (HTTP 404).")},
    };
    for (const auto &c : cases) {
        const auto fault = SpeakerFault::of(c.status, c.body);
        ASSERT_TRUE(fault.has_value()) << c.status << c.body.toStdString();
        EXPECT_EQ(fault->sentence(), c.sentence);
    }
    EXPECT_FALSE(SpeakerFault::of(200, QStringLiteral("<u:PlayResponse/>")).has_value());
    EXPECT_EQ(SpeakerFault::noAnswer().sentence(), QStringLiteral("The speaker did not answer. Check that it is on the same Wi-Fi network."));
}

TEST(ShortForm, QueueRequestsQuoteTheActionAndMapFailures)
{
    test::RecordingTransport transport{[](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.body.contains("Remove"))
            co_return test::reply(200, "<s:Fault><UPnPError><errorCode>1028</errorCode></UPnPError></s:Fault>");
        if (r.body.contains("Seek"))
            co_return test::reply(500, "");
        co_return test::reply(200, "<NewUpdateID>3</NewUpdateID>");
    }};
    const Soap::Fields fields{{QStringLiteral("UpdateID"), QStringLiteral("0")}, {QStringLiteral("NumberOfURIs"), QStringLiteral("1")}};
    EXPECT_TRUE(test::await(AppleMusicDirect::request(transport, QStringLiteral("10.0.0.2"), QStringLiteral("AddMultipleURIsToQueue"), fields)).contains(QStringLiteral("3")));
    const HttpRequest &r = transport.requests.back();
    EXPECT_EQ(r.header("SOAPACTION"), "\"urn:schemas-upnp-org:service:AVTransport:1#AddMultipleURIsToQueue\"");
    EXPECT_EQ(r.header("Content-Type"), "text/xml; charset=utf-8");
    EXPECT_EQ(r.timeout, 60s);
    EXPECT_TRUE(r.body.startsWith("<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><u:AddMultipleURIsToQueue"));
    try {
        test::await(AppleMusicDirect::request(transport, QStringLiteral("10.0.0.2"), QStringLiteral("RemoveTrackRangeFromQueue"), {}));
        FAIL();
    } catch (const AppleMusicDirect::Failure &e) {
        EXPECT_EQ(transport.requests.back().timeout, 10s);
        EXPECT_EQ(e.sentence(), QStringLiteral("The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it."));
    }
    try {
        test::await(AppleMusicDirect::request(transport, QStringLiteral("10.0.0.2"), QStringLiteral("Seek"), {}));
        FAIL();
    } catch (const AppleMusicDirect::Failure &e) {
        EXPECT_EQ(e.kind(), AppleMusicDirect::Failure::Kind::rejected);
        EXPECT_EQ(e.code(), QStringLiteral("500"));
    }
    EXPECT_EQ(AppleMusicDirect::Failure::network().sentence().left(37), QStringLiteral("Sonos is unreachable on this local ne"));
}

TEST(ShortForm, AlarmRequestsAndTheirFailures)
{
    test::RecordingTransport transport{[](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.body.contains("CreateAlarm"))
            co_return test::reply(200, "<s:Fault><errorCode>801</errorCode></s:Fault>");
        if (r.body.contains("DestroyAlarm"))
            throw TransportError(TransportError::Kind::Network, QStringLiteral("refused"));
        co_return test::reply(200, "<CurrentAlarmList>x</CurrentAlarmList>");
    }};
    EXPECT_EQ(test::await(NewsAlarmClient::request(transport, QStringLiteral("10.0.0.3"), QStringLiteral("ListAlarms"), {})),
              QStringLiteral("<CurrentAlarmList>x</CurrentAlarmList>"));
    const HttpRequest &r = transport.requests.back();
    EXPECT_EQ(r.url.toString(), QStringLiteral("http://10.0.0.3:1400/AlarmClock/Control"));
    EXPECT_EQ(r.header("SOAPACTION"), "\"urn:schemas-upnp-org:service:AlarmClock:1#ListAlarms\"");
    EXPECT_EQ(r.body, "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><u:ListAlarms xmlns:u=\"urn:schemas-upnp-org:service:AlarmClock:1\"></u:ListAlarms></s:Body></s:Envelope>");
    EXPECT_EQ(r.timeout, 10s);
    auto kindOf = [&](const char *action) {
        try {
            test::await(NewsAlarmClient::request(transport, QStringLiteral("10.0.0.3"), QLatin1String(action), {}));
        } catch (const NewsAlarmClient::Failure &e) {
            return e.kind();
        }
        return NewsAlarmClient::Failure::Kind::invalid;
    };
    EXPECT_EQ(kindOf("CreateAlarm"), NewsAlarmClient::Failure::Kind::rejected);
    EXPECT_EQ(kindOf("DestroyAlarm"), NewsAlarmClient::Failure::Kind::network);
    EXPECT_EQ(NewsAlarmClient::Failure(NewsAlarmClient::Failure::Kind::response).sentence(),
              QStringLiteral("Sonos didn’t confirm the alarm. Refresh schedules before trying again."));
}
