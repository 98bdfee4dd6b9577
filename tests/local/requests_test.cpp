// The bytes each request flavour puts on the wire, how replies are read, and
// the sentence each failure gets.
#include "core/wakeup.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "local/soap.h"
#include "local/speakerfault.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray longForm(const char *action, const char *service, const char *inner)
{
    return QByteArray("<?xml version=\"1.0\"?>\n"
                      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\n"
                      "<s:Body>\n<u:")
        + action + " xmlns:u=\"urn:schemas-upnp-org:service:" + service + ":1\">\n" + inner + "\n</u:" + action + ">\n</s:Body>\n</s:Envelope>";
}

struct Wire : ::testing::Test {
    test::RecordingTransport transport{[](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(200, "<ok/>"); }};
    GuestHouse house{transport};
    const QString host = u"192.168.1.20"_s;
};

} // namespace

TEST(Soap, TextRules)
{
    EXPECT_EQ(Soap::escape(u"a&<>\"'"_s), u"a&amp;&lt;&gt;&quot;'"_s);
    EXPECT_EQ(Soap::escape(u"&lt;"_s), u"&amp;lt;"_s); // never escaped twice by accident
    EXPECT_EQ(Soap::unescape(u"&amp;lt;"_s), u"&lt;"_s); // ampersand last
    EXPECT_EQ(Soap::tag(u"CurrentVolume"_s, u"<u:R><CurrentVolume>\n 42 \n</CurrentVolume></u:R>"_s), u"42"_s);
    EXPECT_FALSE(Soap::tag(u"CurrentVolume"_s, u"<CurrentVolume>  \n </CurrentVolume>"_s).has_value());
    EXPECT_FALSE(Soap::tag(u"CurrentVolume"_s, u"<CurrentVolume>42"_s).has_value());
    EXPECT_EQ(Soap::tag(u"a.b+"_s, u"<axb>no</axb><a.b+ x=\"1\">yes</a.b+>"_s), u"yes"_s);
    EXPECT_EQ(Soap::tag(u"T"_s, u"<T>first</T><T>second</T>"_s), u"first"_s);
    EXPECT_EQ(Soap::integer(u"-7"_s), -7);
    for (const QString &bad : {u"12a"_s, u"-"_s, QString(), u"99999999999999999999"_s})
        EXPECT_FALSE(Soap::integer(bad).has_value()) << bad.toStdString();
    EXPECT_EQ(Soap::millis(u"0:03:07"_s), 187000);
    EXPECT_EQ(Soap::millis(u"NOT_IMPLEMENTED"_s), 0);
    EXPECT_EQ(Soap::millis(u"::5"_s), 5000);
    EXPECT_EQ(Soap::millis(u"99999999999999:0:0"_s), 0);
    EXPECT_EQ(Soap::playMode(true, true), u"SHUFFLE"_s);
    EXPECT_EQ(Soap::playMode(false, true), u"REPEAT_ALL"_s);
}

TEST_F(Wire, EachSpeakerRequestByteForByte)
{
    const char *rc = "/MediaRenderer/RenderingControl/Control", *av = "/MediaRenderer/AVTransport/Control";
    const struct {
        std::function<void()> call;
        const char *path, *service, *action, *inner;
    } cases[] = {
        {[&] { test::await(house.volume(host)); }, rc, "RenderingControl", "GetVolume", "<InstanceID>0</InstanceID><Channel>Master</Channel>"},
        {[&] { test::await(house.setVolume(host, -3)); }, rc, "RenderingControl", "SetVolume",
         "<InstanceID>0</InstanceID><Channel>Master</Channel><DesiredVolume>0</DesiredVolume>"},
        {[&] { test::await(house.setMuted(host, false)); }, rc, "RenderingControl", "SetMute",
         "<InstanceID>0</InstanceID><Channel>Master</Channel><DesiredMute>0</DesiredMute>"},
        {[&] { test::await(house.bass(host)); }, rc, "RenderingControl", "GetBass", "<InstanceID>0</InstanceID>"},
        {[&] { test::await(house.setBass(host, 14)); }, rc, "RenderingControl", "SetBass", "<InstanceID>0</InstanceID><DesiredBass>10</DesiredBass>"},
        {[&] { test::await(house.transport(u"Pause"_s, host)); }, av, "AVTransport", "Pause", "<InstanceID>0</InstanceID>"},
        {[&] { test::await(house.transport(u"Play"_s, host)); }, av, "AVTransport", "Play", "<InstanceID>0</InstanceID><Speed>1</Speed>"},
        {[&] { test::await(house.seek(host, -5)); }, av, "AVTransport", "Seek", "<InstanceID>0</InstanceID><Unit>REL_TIME</Unit><Target>0:00:00</Target>"},
        {[&] { test::await(house.seek(host, 3'725'000)); }, av, "AVTransport", "Seek", "<InstanceID>0</InstanceID><Unit>REL_TIME</Unit><Target>1:02:05</Target>"},
        // Hours are not wrapped at 24.
        {[&] { test::await(house.seek(host, 90'061'000)); }, av, "AVTransport", "Seek", "<InstanceID>0</InstanceID><Unit>REL_TIME</Unit><Target>25:01:01</Target>"},
        {[&] { test::await(house.playMode(host, true, false)); }, av, "AVTransport", "SetPlayMode",
         "<InstanceID>0</InstanceID><NewPlayMode>SHUFFLE_NOREPEAT</NewPlayMode>"},
        {[&] { test::await(house.delegate(u"RINCON_A&B<1>"_s, host)); }, av, "AVTransport", "DelegateGroupCoordinationTo",
         "<InstanceID>0</InstanceID><NewCoordinator>RINCON_A&amp;B&lt;1&gt;</NewCoordinator><RejoinGroup>0</RejoinGroup>"},
        {[&] { test::await(house.separate(host)); }, av, "AVTransport", "BecomeCoordinatorOfStandaloneGroup", "<InstanceID>0</InstanceID>"},
        {[&] { test::await(house.join(u"RINCON_C01400"_s, host)); }, av, "AVTransport", "SetAVTransportURI", nullptr},
        {[&] { test::await(house.zoneGroups(host)); }, "/ZoneGroupTopology/Control", "ZoneGroupTopology", "GetZoneGroupState", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.action);
        c.call();
        const HttpRequest &r = transport.requests.back();
        EXPECT_EQ(r.method, "POST");
        EXPECT_EQ(r.url.toString(), u"http://192.168.1.20:1400"_s + QLatin1String(c.path));
        EXPECT_EQ(r.timeout, 4s);
        const QByteArray soapAction = QByteArray("urn:schemas-upnp-org:service:") + c.service + ":1#" + c.action;
        EXPECT_EQ(r.headers, (Headers{{"Content-Type", "text/xml; charset=\"utf-8\""}, {"SOAPACTION", soapAction}}));
        EXPECT_EQ(r.body, c.inner ? longForm(c.action, c.service, c.inner) : Soap::setURIEnvelope(u"x-rincon:RINCON_C01400"_s, QString()).toUtf8());
    }
}

TEST(Envelopes, SetURIEnvelopeByteForByte)
{
    EXPECT_EQ(Soap::setURIEnvelope(u"x-rincon-mp3radio://http://radio.example/a?b=1&c=2"_s, u"Rock & \"Roll\""_s).toUtf8(),
              longForm("SetAVTransportURI", "AVTransport",
                       "<InstanceID>0</InstanceID>\n"
                       "<CurrentURI>x-rincon-mp3radio://http://radio.example/a?b=1&amp;c=2</CurrentURI>\n"
                       "<CurrentURIMetaData>&lt;DIDL-Lite xmlns:dc=&quot;http://purl.org/dc/elements/1.1/&quot; "
                       "xmlns:upnp=&quot;urn:schemas-upnp-org:metadata-1-0/upnp/&quot; xmlns=&quot;urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/&quot;&gt;"
                       "&lt;item id=&quot;0&quot; parentID=&quot;-1&quot; restricted=&quot;1&quot;&gt;&lt;dc:title&gt;Rock &amp;amp; &amp;quot;Roll&amp;quot;&lt;/dc:title&gt;"
                       "&lt;upnp:class&gt;object.item.audioItem.musicTrack&lt;/upnp:class&gt;"
                       "&lt;res&gt;x-rincon-mp3radio://http://radio.example/a?b=1&amp;amp;c=2&lt;/res&gt;&lt;/item&gt;&lt;/DIDL-Lite&gt;</CurrentURIMetaData>"));
}

TEST(Envelopes, QueueingRequestByteForByte)
{
    test::RecordingTransport transport{[](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(200, "<ok/>"); }};
    // Names in their given order, never sorted.
    const Soap::Fields fields{{u"UpdateID"_s, u"7"_s},
                              {u"NumberOfURIs"_s, u"1"_s},
                              {u"EnqueuedURIs"_s, u"x-sonos-http:song%3a1.mp4?sid=204&flags=8224"_s},
                              {u"EnqueuedURIsMetaData"_s, u"<DIDL-Lite>'It's'</DIDL-Lite>"_s},
                              {u"ContainerURI"_s, QString()},
                              {u"ContainerMetaData"_s, QString()},
                              {u"DesiredFirstTrackNumberEnqueued"_s, u"3"_s},
                              {u"EnqueueAsNext"_s, u"1"_s}};
    test::await(AppleMusicDirect::request(transport, u"10.0.0.7"_s, u"AddMultipleURIsToQueue"_s, fields));
    const HttpRequest &r = transport.requests.back();
    EXPECT_EQ(r.method, "POST");
    EXPECT_EQ(r.url.toString(), u"http://10.0.0.7:1400/MediaRenderer/AVTransport/Control"_s);
    EXPECT_EQ(r.timeout, 60s);
    EXPECT_EQ(r.headers, (Headers{{"Content-Type", "text/xml; charset=utf-8"}, {"SOAPACTION", "\"urn:schemas-upnp-org:service:AVTransport:1#AddMultipleURIsToQueue\""}}));
    EXPECT_EQ(r.body, "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>"
                      "<u:AddMultipleURIsToQueue xmlns:u=\"urn:schemas-upnp-org:service:AVTransport:1\">"
                      "<UpdateID>7</UpdateID><NumberOfURIs>1</NumberOfURIs>"
                      "<EnqueuedURIs>x-sonos-http:song%3a1.mp4?sid=204&amp;flags=8224</EnqueuedURIs>"
                      "<EnqueuedURIsMetaData>&lt;DIDL-Lite&gt;'It's'&lt;/DIDL-Lite&gt;</EnqueuedURIsMetaData>"
                      "<ContainerURI></ContainerURI><ContainerMetaData></ContainerMetaData>"
                      "<DesiredFirstTrackNumberEnqueued>3</DesiredFirstTrackNumberEnqueued><EnqueueAsNext>1</EnqueueAsNext>"
                      "</u:AddMultipleURIsToQueue></s:Body></s:Envelope>");
    test::await(AppleMusicDirect::request(transport, u"10.0.0.7"_s, u"SetPlayMode"_s, {{u"InstanceID"_s, u"0"_s}, {u"NewPlayMode"_s, u"NORMAL"_s}}));
    EXPECT_EQ(transport.requests.back().timeout, 10s);
}

TEST(Envelopes, QueueingFailuresCarryTheirCase)
{
    auto failure = [](HttpResponse response, const QString &host = u"10.0.0.7"_s) -> std::optional<AppleMusicDirect::Failure> {
        test::RecordingTransport transport{[response](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return response; }};
        return test::failure<AppleMusicDirect::Failure>(AppleMusicDirect::request(transport, host, u"Play"_s, {}));
    };
    // Only 200 is success, not any 2xx.
    auto f = failure(test::reply(204));
    ASSERT_TRUE(f);
    EXPECT_EQ(f->kind(), AppleMusicDirect::Failure::Kind::rejected);
    EXPECT_FALSE(failure(test::reply(200, "<u:PlayResponse/>")).has_value());
    f = failure(test::reply(200), QString());
    ASSERT_TRUE(f);
    EXPECT_EQ(f->sentence(), u"Sonos is unreachable on this local network. If a VPN is active, enable its approved local-network access. Also allow "
                             "Local Network access for Velotte in Settings."_s);
}

// One reading of a speaker's failure for every client: what counts as a
// fault, and the sentence each one gets.
TEST(SpeakerFaults, EachFailureItsSentence)
{
    const QString upnp = u"<s:Fault><faultstring>UPnPError</faultstring><detail><UPnPError><errorCode>%1</errorCode></UPnPError></detail></s:Fault>"_s;
    const struct {
        int status;
        QString body;
        QString sentence;
    } cases[] = {
        {500, upnp.arg(701), u"What is playing now does not allow that (701)."_s},
        {500, upnp.arg(712), u"What is playing now cannot shuffle or repeat (712)."_s},
        {500, upnp.arg(714), u"Sonos cannot play this kind of item (714)."_s},
        {500, upnp.arg(800), u"Another speaker leads this room’s group, and it could not be reached (800)."_s},
        {200, upnp.arg(711), u"The speaker refused the request (711)."_s}, // a fault in a 200 reply is one too
        {404, QString(), u"The speaker refused the request (HTTP 404)."_s},
    };
    for (const auto &c : cases) {
        const auto fault = SpeakerFault::of(c.status, c.body);
        ASSERT_TRUE(fault.has_value()) << c.status << c.body.toStdString();
        EXPECT_EQ(fault->sentence(), c.sentence);
    }
    EXPECT_FALSE(SpeakerFault::of(200, u"<u:PlayResponse/>"_s).has_value());
    EXPECT_EQ(SpeakerFault::noAnswer().sentence(), u"The speaker did not answer. Check that it is on the same Wi-Fi network."_s);
}

// A speaker scripted per action; every reply waits for `release` so the
// test can see which requests were in flight together.
TEST(Playing, FourReadsAtOnceIntoOneRecord)
{
    QHash<QByteArray, HttpResponse> replies{
        {"GetCurrentTransportActions", test::reply(200, "<Actions>Set, Stop, Pause,Play,  Next ,X_DLNA_SeekTime</Actions>")},
        {"GetPositionInfo", test::reply(200, "<Track>2</Track><TrackDuration>1:00:00</TrackDuration><RelTime>0:03:07</RelTime>"
                                             "<TrackMetaData>&lt;DIDL-Lite&gt;&lt;item&gt;&lt;title&gt;B&amp;amp;B&lt;/title&gt;"
                                             "&lt;creator&gt;Who&lt;/creator&gt;&lt;/item&gt;&lt;/DIDL-Lite&gt;</TrackMetaData>")},
        {"GetTransportInfo", test::reply(200, "<CurrentTransportState>TRANSITIONING</CurrentTransportState>")},
        {"GetVolume", test::reply(200, "<CurrentVolume>+30</CurrentVolume>")}};
    Wakeup release;
    test::RecordingTransport transport{[&](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        const QByteArray soapAction = r.header("SOAPACTION");
        const Wakeup wait = release;
        co_await wait;
        co_return replies.value(soapAction.mid(soapAction.indexOf('#') + 1));
    }};
    GuestHouse house{transport};
    std::optional<GuestHouse::Now> result;
    auto run = [&]() -> QCoro::Task<void> { result = co_await house.nowPlaying(u"10.0.0.2"_s); };
    auto task = run();
    EXPECT_EQ(transport.requests.size(), 4u); // all four sent before any answer
    release.fire();
    test::drain();
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->title, u"B&B"_s); // decoded once for the document, once for its texts
    EXPECT_EQ(result->artist, u"Who"_s);
    EXPECT_EQ(result->positionMillis, 187000);
    EXPECT_EQ(result->durationMillis, 3600000);
    EXPECT_TRUE(result->playing); // between tracks counts as playing
    EXPECT_EQ(result->volume, 30);
    EXPECT_TRUE(result->canSkip);
    EXPECT_FALSE(result->canSkipBack);
    EXPECT_TRUE(result->canSeek); // how speakers spell seeking
    for (const char *state : {"PAUSED_PLAYBACK", "STOPPED", "NO_MEDIA_PRESENT", "playing"}) {
        replies["GetTransportInfo"] = test::reply(200, QByteArray("<CurrentTransportState>") + state + "</CurrentTransportState>");
        const auto now = test::await(house.nowPlaying(u"10.0.0.2"_s));
        ASSERT_TRUE(now.has_value()) << state;
        EXPECT_FALSE(now->playing) << state;
    }
}

TEST(BadReplies, NoValueNeverACrash)
{
    QByteArray body;
    int status = 200;
    test::RecordingTransport transport{[&](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(status, body); }};
    GuestHouse house(transport);
    const QString host = u"10.0.0.2"_s;
    body = "<CurrentBass>14</CurrentBass>"; // no bass level
    EXPECT_FALSE(test::await(house.bass(host)).has_value());
    body = "<s:Envelope><s:Body><u:GetVolumeResponse/></s:Body></s:Envelope>"; // element missing
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    body = "<CurrentVolume>\xff\xfe" "12</CurrentVolume>"; // invalid UTF-8
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    body = QByteArray(10 * 1024 * 1024, 'x');
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    EXPECT_LE(transport.requests.back().maxBytes, 4 * 1024 * 1024); // the real transport refuses bigger replies
    body = "<UDN>uuid:</UDN><roomName>Den</roomName>"; // no id, no identity
    EXPECT_FALSE(test::await(house.identity(host)).has_value());
    status = 204; // only 200 counts
    body = "<UDN>uuid:R</UDN>";
    EXPECT_FALSE(test::await(house.identity(host)).has_value());
    status = 500;
    body = "<errorCode>701</errorCode>";
    EXPECT_FALSE(test::await(house.setMuted(host, true)));
    const size_t before = transport.requests.size();
    EXPECT_FALSE(test::await(house.setMuted(QString(), true)));
    EXPECT_FALSE(test::await(house.setMuted(u"bad host name"_s, true)));
    EXPECT_EQ(transport.requests.size(), before); // no request without a host
}
