// The bytes each request flavour puts on the wire, and how replies are read.
#include "core/wakeup.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "local/soap.h"
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

    // Every field of the last request, in one comparable text.
    void expectLast(const char *path, const char *soapAction, const QByteArray &body)
    {
        ASSERT_FALSE(transport.requests.empty());
        const HttpRequest &r = transport.requests.back();
        EXPECT_EQ(r.method, "POST");
        EXPECT_EQ(r.url.toString(), u"http://192.168.1.20:1400"_s + QLatin1String(path));
        EXPECT_EQ(r.timeout, 4s);
        EXPECT_EQ(r.headers, (Headers{{"Content-Type", "text/xml; charset=\"utf-8\""}, {"SOAPACTION", soapAction}}));
        EXPECT_EQ(r.body, body);
    }
};

} // namespace

TEST_F(Wire, RenderingControlRequests)
{
    test::await(house.volume(host));
    expectLast("/MediaRenderer/RenderingControl/Control", "urn:schemas-upnp-org:service:RenderingControl:1#GetVolume",
               longForm("GetVolume", "RenderingControl", "<InstanceID>0</InstanceID><Channel>Master</Channel>"));
    test::await(house.setVolume(host, -3));
    expectLast("/MediaRenderer/RenderingControl/Control", "urn:schemas-upnp-org:service:RenderingControl:1#SetVolume",
               longForm("SetVolume", "RenderingControl", "<InstanceID>0</InstanceID><Channel>Master</Channel><DesiredVolume>0</DesiredVolume>"));
    test::await(house.setMuted(host, false));
    expectLast("/MediaRenderer/RenderingControl/Control", "urn:schemas-upnp-org:service:RenderingControl:1#SetMute",
               longForm("SetMute", "RenderingControl", "<InstanceID>0</InstanceID><Channel>Master</Channel><DesiredMute>0</DesiredMute>"));
    test::await(house.bass(host));
    expectLast("/MediaRenderer/RenderingControl/Control", "urn:schemas-upnp-org:service:RenderingControl:1#GetBass",
               longForm("GetBass", "RenderingControl", "<InstanceID>0</InstanceID>"));
    test::await(house.setBass(host, 14));
    expectLast("/MediaRenderer/RenderingControl/Control", "urn:schemas-upnp-org:service:RenderingControl:1#SetBass",
               longForm("SetBass", "RenderingControl", "<InstanceID>0</InstanceID><DesiredBass>10</DesiredBass>"));
}

TEST_F(Wire, TransportRequests)
{
    test::await(house.transport(u"Pause"_s, host));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#Pause",
               longForm("Pause", "AVTransport", "<InstanceID>0</InstanceID>"));
    test::await(house.transport(u"Play"_s, host));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#Play",
               longForm("Play", "AVTransport", "<InstanceID>0</InstanceID><Speed>1</Speed>"));
    test::await(house.seek(host, -5));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#Seek",
               longForm("Seek", "AVTransport", "<InstanceID>0</InstanceID><Unit>REL_TIME</Unit><Target>0:00:00</Target>"));
    test::await(house.seek(host, 90'061'000)); // hours are not wrapped at 24
    EXPECT_TRUE(transport.requests.back().body.contains("<Target>25:01:01</Target>"));
    test::await(house.playMode(host, true, false));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#SetPlayMode",
               longForm("SetPlayMode", "AVTransport", "<InstanceID>0</InstanceID><NewPlayMode>SHUFFLE_NOREPEAT</NewPlayMode>"));
}

TEST_F(Wire, GroupingAndTopologyRequests)
{
    test::await(house.delegate(u"RINCON_A&B<1>"_s, host));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#DelegateGroupCoordinationTo",
               longForm("DelegateGroupCoordinationTo", "AVTransport",
                        "<InstanceID>0</InstanceID><NewCoordinator>RINCON_A&amp;B&lt;1&gt;</NewCoordinator><RejoinGroup>0</RejoinGroup>"));
    test::await(house.separate(host));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#BecomeCoordinatorOfStandaloneGroup",
               longForm("BecomeCoordinatorOfStandaloneGroup", "AVTransport", "<InstanceID>0</InstanceID>"));
    test::await(house.join(u"RINCON_C01400"_s, host));
    expectLast("/MediaRenderer/AVTransport/Control", "urn:schemas-upnp-org:service:AVTransport:1#SetAVTransportURI",
               Soap::setURIEnvelope(u"x-rincon:RINCON_C01400"_s, QString()).toUtf8());
    test::await(house.zoneGroups(host));
    expectLast("/ZoneGroupTopology/Control", "urn:schemas-upnp-org:service:ZoneGroupTopology:1#GetZoneGroupState",
               longForm("GetZoneGroupState", "ZoneGroupTopology", ""));
}

TEST_F(Wire, DeviceDescriptionIsAPlainGet)
{
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        co_return test::reply(200, "<root><device><roomName>Patio &amp; Garden</roomName><UDN>uuid:RINCON_B01400</UDN></device></root>");
    });
    const auto id = test::await(house.identity(host));
    const HttpRequest &r = transport.requests.back();
    EXPECT_EQ(r.method, "GET");
    EXPECT_EQ(r.url.toString(), u"http://192.168.1.20:1400/xml/device_description.xml"_s);
    EXPECT_TRUE(r.body.isEmpty());
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(id->id, u"RINCON_B01400"_s);
    EXPECT_EQ(id->name, u"Patio & Garden"_s);
    // Only 200 counts; a description behind a redirect or an error has no identity.
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(204, "<UDN>uuid:R</UDN>"); });
    EXPECT_FALSE(test::await(house.identity(host)).has_value());
}

TEST(Envelopes, SetURIEnvelopeByteForByte)
{
    EXPECT_EQ(Soap::setURIEnvelope(u"x-rincon-mp3radio://http://radio.example/a?b=1&c=2"_s, u"Rock & \"Roll\""_s),
              u"<?xml version=\"1.0\"?>\n"
              "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\n"
              "<s:Body>\n"
              "<u:SetAVTransportURI xmlns:u=\"urn:schemas-upnp-org:service:AVTransport:1\">\n"
              "<InstanceID>0</InstanceID>\n"
              "<CurrentURI>x-rincon-mp3radio://http://radio.example/a?b=1&amp;c=2</CurrentURI>\n"
              "<CurrentURIMetaData>&lt;DIDL-Lite xmlns:dc=&quot;http://purl.org/dc/elements/1.1/&quot; "
              "xmlns:upnp=&quot;urn:schemas-upnp-org:metadata-1-0/upnp/&quot; xmlns=&quot;urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/&quot;&gt;"
              "&lt;item id=&quot;0&quot; parentID=&quot;-1&quot; restricted=&quot;1&quot;&gt;&lt;dc:title&gt;Rock &amp; &quot;Roll&quot;&lt;/dc:title&gt;"
              "&lt;upnp:class&gt;object.item.audioItem.musicTrack&lt;/upnp:class&gt;"
              "&lt;res&gt;x-rincon-mp3radio://http://radio.example/a?b=1&amp;c=2&lt;/res&gt;&lt;/item&gt;&lt;/DIDL-Lite&gt;</CurrentURIMetaData>\n"
              "</u:SetAVTransportURI>\n"
              "</s:Body>\n"
              "</s:Envelope>"_s);
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
        try {
            test::await(AppleMusicDirect::request(transport, host, u"Play"_s, {}));
        } catch (const AppleMusicDirect::Failure &f) {
            return f;
        }
        return std::nullopt;
    };
    // A fault in a 200 reply is still a fault.
    auto f = failure(test::reply(200, "<s:Fault><detail><UPnPError><errorCode>714</errorCode></UPnPError></detail></s:Fault>"));
    ASSERT_TRUE(f);
    EXPECT_EQ(f->code(), u"714"_s);
    EXPECT_EQ(f->sentence(), u"Sonos couldn’t load this Apple Music item (714). Check that Apple Music is connected in the Sonos app and the item is "
                             "available in your account."_s);
    // Only 200 is success, not any 2xx.
    f = failure(test::reply(204));
    ASSERT_TRUE(f);
    EXPECT_EQ(f->kind(), AppleMusicDirect::Failure::Kind::rejected);
    EXPECT_FALSE(failure(test::reply(200, "<u:PlayResponse/>")).has_value());
    f = failure(test::reply(200), QString());
    ASSERT_TRUE(f);
    EXPECT_EQ(f->kind(), AppleMusicDirect::Failure::Kind::network);
    EXPECT_EQ(f->sentence(), u"Sonos is unreachable on this local network. If a VPN is active, enable its approved local-network access. Also allow "
                             "Local Network access for Velotte in Settings."_s);
    EXPECT_EQ(AppleMusicDirect::Failure::unsupported().sentence(),
              u"This item has no playable Apple Music catalog link. Uploaded files and some private collections aren’t available to Sonos."_s);
    EXPECT_EQ(AppleMusicDirect::Failure::invalidResponse().sentence(), u"Sonos didn’t confirm the queue update. Refresh the room before trying again."_s);
}

namespace {
// A speaker scripted per action; every reply waits for `release` so the
// test can see which requests were in flight together.
struct Playing : ::testing::Test {
    QHash<QByteArray, HttpResponse> replies;
    Wakeup release;
    test::RecordingTransport transport{[this](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        const QByteArray soapAction = r.header("SOAPACTION");
        const QByteArray action = soapAction.mid(soapAction.indexOf('#') + 1);
        const Wakeup wait = release;
        co_await wait;
        if (!replies.contains(action))
            throw TransportError(TransportError::Kind::Timeout, u"late"_s);
        co_return replies.value(action);
    }};
    GuestHouse house{transport};

    void SetUp() override
    {
        release.fire();
        replies["GetCurrentTransportActions"] = test::reply(200, "<Actions>Set, Stop, Pause,Play,  Next ,X_DLNA_SeekTime</Actions>");
        replies["GetPositionInfo"] = test::reply(200, "<Track>2</Track><TrackDuration>1:00:00</TrackDuration><RelTime>0:03:07</RelTime>"
                                                      "<TrackMetaData>&lt;DIDL-Lite&gt;&lt;item&gt;&lt;title&gt;B&amp;amp;B&lt;/title&gt;"
                                                      "&lt;creator&gt;Who&lt;/creator&gt;&lt;/item&gt;&lt;/DIDL-Lite&gt;</TrackMetaData>");
        replies["GetTransportInfo"] = test::reply(200, "<CurrentTransportState>TRANSITIONING</CurrentTransportState>");
        replies["GetVolume"] = test::reply(200, "<CurrentVolume>+30</CurrentVolume>");
    }
    std::optional<GuestHouse::Now> now() { return test::await(house.nowPlaying(u"10.0.0.2"_s)); }
};
} // namespace

TEST_F(Playing, FourReadsAtOnceIntoOneRecord)
{
    release = Wakeup();
    std::optional<GuestHouse::Now> result;
    auto run = [&]() -> QCoro::Task<void> { result = co_await house.nowPlaying(u"10.0.0.2"_s); };
    auto task = run();
    EXPECT_EQ(transport.requests.size(), 4u); // all four sent before any answer
    release.fire();
    test::drain();
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->title, u"B&B"_s);
    EXPECT_EQ(result->artist, u"Who"_s);
    EXPECT_EQ(result->positionMillis, 187000);
    EXPECT_EQ(result->durationMillis, 3600000);
    EXPECT_TRUE(result->playing); // between tracks counts as playing
    EXPECT_EQ(result->volume, 30);
    EXPECT_TRUE(result->canSkip);
    EXPECT_FALSE(result->canSkipBack);
    EXPECT_TRUE(result->canSeek); // how speakers spell seeking
}

TEST_F(Playing, StatesThatAreNotPlaying)
{
    for (const char *state : {"PAUSED_PLAYBACK", "STOPPED", "NO_MEDIA_PRESENT", "playing"}) {
        replies["GetTransportInfo"] = test::reply(200, QByteArray("<CurrentTransportState>") + state + "</CurrentTransportState>");
        ASSERT_TRUE(now().has_value()) << state;
        EXPECT_FALSE(now()->playing) << state;
    }
}

TEST_F(Playing, MissingPiecesLeaveGapsNotFailures)
{
    replies.remove("GetCurrentTransportActions");
    replies["GetVolume"] = test::reply(500, "<errorCode>701</errorCode>");
    replies["GetPositionInfo"] = test::reply(200, "<RelTime>NOT_IMPLEMENTED</RelTime><TrackDuration></TrackDuration><TrackMetaData>NOT_IMPLEMENTED</TrackMetaData>");
    auto n = now();
    ASSERT_TRUE(n.has_value());
    EXPECT_FALSE(n->canSkip || n->canSkipBack || n->canSeek);
    EXPECT_FALSE(n->volume.has_value());
    EXPECT_EQ(n->positionMillis, 0);
    EXPECT_TRUE(n->title.isEmpty());
    // Without the state there is no record.
    replies.remove("GetTransportInfo");
    EXPECT_FALSE(now().has_value());
}

TEST_F(Playing, VolumeTextWithLettersIsAbsent)
{
    replies["GetVolume"] = test::reply(200, "<CurrentVolume>3O</CurrentVolume>");
    EXPECT_FALSE(now()->volume.has_value());
    replies["GetVolume"] = test::reply(200, "<CurrentVolume> 7 </CurrentVolume>");
    EXPECT_EQ(now()->volume, 7);
}

TEST(BadReplies, NoValueNeverACrash)
{
    QByteArray body;
    test::RecordingTransport transport{[&body](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(200, body); }};
    GuestHouse house(transport);
    const QString host = u"10.0.0.2"_s;
    body = "<CurrentVolume>4"; // truncated
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    body = "<s:Envelope><s:Body><u:GetVolumeResponse/></s:Body></s:Envelope>"; // element missing
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    body = "<CurrentVolume>\xff\xfe" "12</CurrentVolume>"; // invalid UTF-8
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    body = "<ZoneGroupState>&lt;ZoneGroup ID=&quot;\xc3&quot;&gt;</ZoneGroupState>";
    EXPECT_TRUE(test::await(house.zoneGroups(host))->isEmpty());
    body = QByteArray(10 * 1024 * 1024, 'x');
    EXPECT_FALSE(test::await(house.volume(host)).has_value());
    EXPECT_TRUE(test::await(house.zoneGroups(host))->isEmpty());
    EXPECT_LE(transport.requests.back().maxBytes, 4 * 1024 * 1024); // the real transport refuses bigger replies
    body = "<UDN>uuid:</UDN><roomName>Den</roomName>"; // no id, no identity
    EXPECT_FALSE(test::await(house.identity(host)).has_value());
}
