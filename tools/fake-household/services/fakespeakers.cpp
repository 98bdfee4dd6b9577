#include "fakespeakers.h"

#include "kit/registry.h"

#include <QHostAddress>
#include <QRegularExpression>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {

QString escape(QString s)
{
    s.replace(u'&', u"&amp;"_s);
    s.replace(u'<', u"&lt;"_s);
    s.replace(u'>', u"&gt;"_s);
    s.replace(u'"', u"&quot;"_s);
    return s;
}

QString unescape(QString s)
{
    s.replace(u"&lt;"_s, u"<"_s);
    s.replace(u"&gt;"_s, u">"_s);
    s.replace(u"&quot;"_s, u"\""_s);
    s.replace(u"&amp;"_s, u"&"_s);
    return s;
}

QString argument(const QString &body, const QString &name)
{
    const QRegularExpression re(u"<"_s + name + u">(.*?)</"_s + name + u">"_s, QRegularExpression::DotMatchesEverythingOption);
    return unescape(re.match(body).captured(1));
}

QString clock(qint64 ms)
{
    const qint64 s = std::max<qint64>(0, ms) / 1000;
    return QString::asprintf("%d:%02d:%02d", int(s / 3600), int(s / 60 % 60), int(s % 60));
}

qint64 parseClock(const QString &text)
{
    qint64 total = 0;
    for (const QString &p : text.split(u':'))
        total = total * 60 + p.toLongLong();
    return total * 1000;
}

Response envelope(const QString &action, const QString &service, const QString &inner)
{
    const QString body = u"<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"
                         "<s:Body><u:"_s
        + action + u"Response xmlns:u=\""_s + service + u"\">"_s + inner + u"</u:"_s + action + u"Response></s:Body></s:Envelope>"_s;
    return Response::text(body.toUtf8(), "text/xml; charset=\"utf-8\"");
}

// A UPnP fault as speakers send it: HTTP 500, no description.
Response fault(int code)
{
    const QString body = u"<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"
                         "<s:Body><s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError</faultstring><detail>"
                         "<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\"><errorCode>%1</errorCode></UPnPError>"
                         "</detail></s:Fault></s:Body></s:Envelope>"_s.arg(code);
    return Response::text(body.toUtf8(), "text/xml; charset=\"utf-8\"", 500);
}

QString didl(const FakeSpeakers::Track &t)
{
    // The metadata document is escaped once inside the reply, and the texts
    // inside it once more, as real speakers do.
    const QString inner = u"<DIDL-Lite xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
                          "xmlns:r=\"urn:schemas-rinconnetworks-com:metadata-1-0/\" xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\">"
                          "<item id=\"-1\" parentID=\"-1\" restricted=\"true\"><res protocolInfo=\"sonos.com-http:*:audio/mp4:*\" duration=\""_s
        + clock(t.duration) + u"\">"_s + escape(t.uri) + u"</res><r:streamContent></r:streamContent><upnp:albumArtURI>/getaa?s=1&amp;u="_s
        + QString::fromLatin1(QUrl::toPercentEncoding(t.uri)) + u"</upnp:albumArtURI><dc:title>"_s + escape(t.title)
        + u"</dc:title><upnp:class>object.item.audioItem.musicTrack</upnp:class><dc:creator>"_s + escape(t.artist)
        + u"</dc:creator><upnp:album>"_s + escape(t.album) + u"</upnp:album></item></DIDL-Lite>"_s;
    return escape(inner);
}

const QString renderingService = u"urn:schemas-upnp-org:service:RenderingControl:1"_s;
const QString transportService = u"urn:schemas-upnp-org:service:AVTransport:1"_s;
const QString topologyService = u"urn:schemas-upnp-org:service:ZoneGroupTopology:1"_s;
const QString alarmService = u"urn:schemas-upnp-org:service:AlarmClock:1"_s;

} // namespace

FakeSpeakers::FakeSpeakers(const QString &base, int count, QObject *parent) : QObject(parent)
{
    m_clock.start();
    const QHostAddress first(base);
    const QStringList rooms{u"Living Room"_s, u"Living Room"_s, u"Kitchen"_s, u"Bedroom"_s, u"TV Room"_s};
    const QList<Track> queue{
        {u"Clair de lune"_s, u"Claude Debussy"_s, u"Suite bergamasque"_s, 300000, u"x-sonos-http:song%3a1.mp4?sid=204"_s},
        {u"Salt & Pepper"_s, u"The Condiments"_s, u"Kitchen Songs"_s, 201000, u"x-sonos-http:song%3a2.mp4?sid=204"_s},
        {u"Gymnopédie No. 1"_s, u"Erik Satie"_s, u"Gymnopédies"_s, 185000, u"x-sonos-http:song%3a3.mp4?sid=204"_s},
    };
    for (int i = 0; i < count; ++i) {
        Speaker s;
        s.host = QHostAddress(first.toIPv4Address() + quint32(i)).toString();
        s.id = u"RINCON_%1%2"_s.arg(QStringLiteral("347E5C0D%1").arg(i, 4, 16, QLatin1Char('0')).toUpper()).arg(u"01400"_s);
        s.room = i < rooms.size() ? rooms[i] : u"Room %1"_s.arg(i + 1);
        s.follows = s.id;
        s.queue = queue;
        s.volume = 20 + 3 * i;
        if (i == 1) {
            s.invisible = true; // right channel of the living room pair
            s.model = u"Sonos One SL"_s;
        }
        if (i == 4) {
            s.model = u"Sonos Arc"_s;
            s.satellites = {u"RINCON_5CAAFD0B0001401400"_s, u"RINCON_5CAAFD0B0002401400"_s, u"RINCON_5CAAFD0B0003401400"_s};
        }
        speakers.push_back(s);
    }
    if (count > 1)
        speakers[1].follows = speakers[0].id;
    speakers[0].state = u"PLAYING"_s;
    speakers[0].position = 42000;
}

FakeSpeakers::~FakeSpeakers() = default;

bool FakeSpeakers::start()
{
    for (size_t i = 0; i < speakers.size(); ++i) {
        const QString host = speakers[i].host;
        auto server = std::make_unique<HttpServer>([this, host](const Request &r) {
            Speaker *s = byHost(host);
            return s ? handle(*s, r) : Response::text("gone", "text/plain", 404);
        }, this);
        if (!server->listen(QHostAddress(host), 1400))
            return false;
        m_servers.push_back(std::move(server));
    }
    return true;
}

QStringList FakeSpeakers::hosts() const
{
    QStringList out;
    for (const Speaker &s : speakers)
        out << s.host;
    return out;
}

QStringList FakeSpeakers::visibleHosts() const
{
    QStringList out;
    for (const Speaker &s : speakers) {
        if (!s.invisible)
            out << s.host;
    }
    return out;
}

FakeSpeakers::Speaker *FakeSpeakers::byHost(const QString &host)
{
    for (Speaker &s : speakers) {
        if (s.host == host)
            return &s;
    }
    return nullptr;
}

FakeSpeakers::Speaker *FakeSpeakers::byID(const QString &id)
{
    for (Speaker &s : speakers) {
        if (s.id == id)
            return &s;
    }
    return nullptr;
}

FakeSpeakers::Speaker &FakeSpeakers::coordinatorOf(Speaker &s)
{
    Speaker *c = byID(s.follows);
    return c ? *c : s;
}

QList<const FakeSpeakers::Speaker *> FakeSpeakers::membersOf(const QString &coordinator) const
{
    QList<const Speaker *> out;
    for (const Speaker &s : speakers) {
        if (s.follows == coordinator)
            out << &s;
    }
    return out;
}

qint64 FakeSpeakers::positionOf(const Speaker &s) const
{
    qint64 p = s.position;
    if (s.state == u"PLAYING"_s)
        p += m_clock.elapsed() - s.since;
    const qint64 duration = s.streamURI.isEmpty() && !s.queue.isEmpty() ? s.queue[s.track % s.queue.size()].duration : 0;
    return duration > 0 ? std::min(p, duration) : p;
}

void FakeSpeakers::setState(Speaker &s, const QString &state)
{
    s.position = positionOf(s);
    s.since = m_clock.elapsed();
    s.state = state;
}

QString FakeSpeakers::zoneGroupState() const
{
    // Newer firmware nests the whole document; the coordinator is not always
    // listed first, and a stereo partner may come before its visible twin.
    QString groups;
    for (const Speaker &c : speakers) {
        if (c.follows != c.id)
            continue;
        QString members;
        QList<const Speaker *> list = membersOf(c.id);
        std::stable_sort(list.begin(), list.end(), [](const Speaker *a, const Speaker *b) { return a->invisible && !b->invisible; });
        for (const Speaker *m : list) {
            QString attributes = u"UUID=\"%1\" Location=\"http://%2:1400/xml/device_description.xml\" ZoneName=\"%3\" Icon=\"x-rincon-roomicon:living\" "
                                 "Configuration=\"1\" SoftwareVersion=\"80.1-55240\" SWGen=\"2\" MinCompatibleVersion=\"79.0-00000\" "
                                 "LegacyCompatibleVersion=\"58.0-00000\" BootSeq=\"93\" TVConfigurationError=\"0\" HdmiCecAvailable=\"0\" "
                                 "WirelessMode=\"0\" WirelessLeafOnly=\"0\" ChannelFreq=\"2437\" BehindWifiExtender=\"0\" WifiEnabled=\"1\" "
                                 "EthLink=\"0\" Orientation=\"0\" RoomCalibrationState=\"4\" SecureRegState=\"3\" VoiceConfigState=\"0\" "
                                 "MicEnabled=\"0\" AirPlayEnabled=\"1\" IdleState=\"1\" MoreInfo=\"\" SSLPort=\"1443\" HHSSLPort=\"1843\""_s
                                     .arg(m->id, m->host, escape(m->room));
            if (m->invisible)
                attributes += u" Invisible=\"1\" ChannelMapSet=\"%1:LF,LF;%2:RF,RF\""_s.arg(c.id, m->id);
            if (m->satellites.isEmpty()) {
                members += u"<ZoneGroupMember "_s + attributes + u"/>"_s;
            } else {
                members += u"<ZoneGroupMember "_s + attributes + u">"_s;
                for (const QString &sat : m->satellites)
                    members += u"<Satellite UUID=\"%1\" Location=\"http://169.254.1.%2:1400/xml/device_description.xml\" ZoneName=\"%3\" "
                               "Invisible=\"1\" HTSatChanMapSet=\"%4:LF,RF;%1:SW\"/>"_s.arg(sat).arg(sat.right(6).left(2).toInt() + 10).arg(escape(m->room), m->id);
                members += u"</ZoneGroupMember>"_s;
            }
        }
        groups += u"<ZoneGroup Coordinator=\"%1\" ID=\"%1:%2\">"_s.arg(c.id).arg(c.updateID + 1000) + members + u"</ZoneGroup>"_s;
    }
    return u"<ZoneGroupState><ZoneGroups>"_s + groups + u"</ZoneGroups><VanishedDevices></VanishedDevices></ZoneGroupState>"_s;
}

Response FakeSpeakers::handle(Speaker &speaker, const Request &request)
{
    ++speaker.requests;
    Response r;
    if (speaker.noAnswer) {
        r.noAnswer = true;
        return r;
    }
    const QString path = request.path();
    if (request.method == "GET" && path == u"/xml/device_description.xml"_s) {
        const QString body = u"<?xml version=\"1.0\" encoding=\"utf-8\" ?><root xmlns=\"urn:schemas-upnp-org:device-1-0\"><specVersion><major>1</major>"
                             "<minor>0</minor></specVersion><device><deviceType>urn:schemas-upnp-org:device:ZonePlayer:1</deviceType>"
                             "<friendlyName>%1 - %2 - %3</friendlyName><manufacturer>Sonos, Inc.</manufacturer><modelName>%2</modelName>"
                             "<softwareVersion>80.1-55240</softwareVersion><roomName>%4</roomName><displayName>%2</displayName>"
                             "<UDN>uuid:%3</UDN></device></root>"_s
                                 .arg(speaker.host, speaker.model, speaker.id, escape(speaker.room));
        r = Response::text(body.toUtf8(), "text/xml");
    } else if (request.method != "POST") {
        r = Response::text("", "text/plain", 405);
    } else if (speaker.forbidden) {
        r = Response::text("", "text/html", 403);
    } else if (speaker.serverError) {
        r = Response::text("", "text/html", 500);
    } else {
        QString action = QString::fromUtf8(request.header("SOAPACTION")).remove(u'"');
        action = action.section(u'#', 1);
        if (speaker.upnpErrors.contains(action))
            r = fault(speaker.upnpErrors.value(action));
        else
            r = soap(speaker, action, QString::fromUtf8(request.body));
    }
    r.delayMs = speaker.latencyMs;
    return r;
}

Response FakeSpeakers::soap(Speaker &speaker, const QString &action, const QString &body)
{
    if (action == u"GetVolume"_s)
        return envelope(action, renderingService, u"<CurrentVolume>%1</CurrentVolume>"_s.arg(speaker.volume));
    if (action == u"SetVolume"_s) {
        speaker.volume = std::clamp(argument(body, u"DesiredVolume"_s).toInt(), 0, 100);
        return envelope(action, renderingService, {});
    }
    if (action == u"GetMute"_s)
        return envelope(action, renderingService, u"<CurrentMute>%1</CurrentMute>"_s.arg(speaker.muted ? 1 : 0));
    if (action == u"SetMute"_s) {
        speaker.muted = argument(body, u"DesiredMute"_s) == u"1"_s;
        return envelope(action, renderingService, {});
    }
    if (action == u"GetBass"_s)
        return envelope(action, renderingService, u"<CurrentBass>%1</CurrentBass>"_s.arg(speaker.bass));
    if (action == u"SetBass"_s) {
        speaker.bass = std::clamp(argument(body, u"DesiredBass"_s).toInt(), -10, 10);
        return envelope(action, renderingService, {});
    }
    if (action == u"GetZoneGroupState"_s)
        return envelope(action, topologyService, u"<ZoneGroupState>"_s + escape(zoneGroupState()) + u"</ZoneGroupState>"_s);
    if (action == u"ListAlarms"_s)
        return envelope(action, alarmService, u"<CurrentAlarmList>"_s + escape(u"<Alarms></Alarms>"_s) + u"</CurrentAlarmList><CurrentAlarmListVersion>RINCON_0:1</CurrentAlarmListVersion>"_s);
    return transport(speaker, action, body);
}

Response FakeSpeakers::transport(Speaker &speaker, const QString &action, const QString &body)
{
    Speaker &c = coordinatorOf(speaker);
    const bool following = &c != &speaker;
    if (action == u"GetTransportInfo"_s)
        return envelope(action, transportService, u"<CurrentTransportState>%1</CurrentTransportState><CurrentTransportStatus>OK</CurrentTransportStatus><CurrentSpeed>1</CurrentSpeed>"_s.arg(c.state));
    if (action == u"GetCurrentTransportActions"_s)
        return envelope(action, transportService, u"<Actions>Set, Stop, Pause, Play, X_DLNA_SeekTime, Next, X_DLNA_SeekTrackNr, Previous, Seek</Actions>"_s);
    if (action == u"GetTransportSettings"_s)
        return envelope(action, transportService, u"<PlayMode>%1</PlayMode><RecQualityMode>NOT_IMPLEMENTED</RecQualityMode>"_s.arg(c.playMode));
    if (action == u"GetPositionInfo"_s) {
        if (!c.streamURI.isEmpty()) {
            return envelope(action, transportService, u"<Track>1</Track><TrackDuration>0:00:00</TrackDuration><TrackMetaData>NOT_IMPLEMENTED</TrackMetaData>"
                                                      "<TrackURI>%1</TrackURI><RelTime>%2</RelTime><AbsTime>NOT_IMPLEMENTED</AbsTime>"_s.arg(escape(c.streamURI), clock(positionOf(c))));
        }
        if (c.queue.isEmpty())
            return envelope(action, transportService, u"<Track>0</Track><TrackDuration>0:00:00</TrackDuration><TrackMetaData></TrackMetaData><TrackURI></TrackURI><RelTime>0:00:00</RelTime>"_s);
        const Track &t = c.queue[c.track % c.queue.size()];
        return envelope(action, transportService,
                        u"<Track>%1</Track><TrackDuration>%2</TrackDuration><TrackMetaData>%3</TrackMetaData><TrackURI>%4</TrackURI>"
                        "<RelTime>%5</RelTime><AbsTime>NOT_IMPLEMENTED</AbsTime><RelCount>2147483647</RelCount><AbsCount>2147483647</AbsCount>"_s
                            .arg(c.track % c.queue.size() + 1).arg(clock(t.duration), didl(t), escape(t.uri), clock(positionOf(c))));
    }
    if (action == u"Play"_s) {
        setState(c, u"PLAYING"_s);
    } else if (action == u"Pause"_s) {
        setState(c, u"PAUSED_PLAYBACK"_s);
    } else if (action == u"Stop"_s) {
        setState(c, u"STOPPED"_s);
        c.position = 0;
    } else if (action == u"Next"_s || action == u"Previous"_s) {
        if (c.queue.isEmpty())
            return fault(701);
        const int n = int(c.queue.size());
        c.track = (c.track + (action == u"Next"_s ? 1 : n - 1)) % n;
        c.position = 0;
        c.since = m_clock.elapsed();
    } else if (action == u"Seek"_s) {
        const QString unit = argument(body, u"Unit"_s);
        const QString target = argument(body, u"Target"_s);
        if (unit == u"REL_TIME"_s) {
            c.position = parseClock(target);
        } else if (unit == u"TRACK_NR"_s) {
            const int nr = target.toInt();
            if (nr < 1 || nr > c.queue.size())
                return fault(711);
            c.track = nr - 1;
            c.position = 0;
        } else {
            return fault(710);
        }
        c.since = m_clock.elapsed();
    } else if (action == u"SetPlayMode"_s) {
        const QString mode = argument(body, u"NewPlayMode"_s);
        static const QStringList modes{u"NORMAL"_s, u"REPEAT_ALL"_s, u"REPEAT_ONE"_s, u"SHUFFLE"_s, u"SHUFFLE_NOREPEAT"_s, u"SHUFFLE_REPEAT_ONE"_s};
        if (!modes.contains(mode))
            return fault(712);
        c.playMode = mode;
    } else if (action == u"SetAVTransportURI"_s) {
        const QString uri = argument(body, u"CurrentURI"_s);
        if (uri.startsWith(u"x-rincon:"_s)) {
            Speaker *leader = byID(uri.mid(9));
            if (!leader || leader == &speaker)
                return fault(800);
            // Joining follows the leader's own coordinator; the stereo partner comes along.
            for (Speaker &s : speakers) {
                if (s.follows == speaker.id && s.invisible)
                    s.follows = coordinatorOf(*leader).id;
            }
            speaker.follows = coordinatorOf(*leader).id;
        } else if (uri.startsWith(u"x-rincon-queue:"_s)) {
            speaker.streamURI.clear();
        } else {
            if (following)
                return fault(800);
            c.streamURI = uri;
            c.position = 0;
            c.since = m_clock.elapsed();
        }
    } else if (action == u"BecomeCoordinatorOfStandaloneGroup"_s) {
        if (following) {
            speaker.follows = speaker.id;
            for (Speaker &s : speakers) {
                if (s.invisible && s.room == speaker.room && s.follows == c.id)
                    s.follows = speaker.id;
            }
        }
    } else if (action == u"DelegateGroupCoordinationTo"_s) {
        Speaker *next = byID(argument(body, u"NewCoordinator"_s));
        if (!next || following || next->follows != speaker.id)
            return fault(800);
        next->state = speaker.state;
        next->position = positionOf(speaker);
        next->since = m_clock.elapsed();
        next->queue = speaker.queue;
        next->track = speaker.track;
        for (Speaker &s : speakers) {
            if (s.follows == speaker.id)
                s.follows = next->id;
        }
    } else if (action == u"AddMultipleURIsToQueue"_s) {
        if (argument(body, u"UpdateID"_s).toInt() != 0 && argument(body, u"UpdateID"_s).toInt() != c.updateID)
            return fault(1028);
        const int count = argument(body, u"NumberOfURIs"_s).toInt();
        const QStringList uris = argument(body, u"EnqueuedURIs"_s).split(u' ', Qt::SkipEmptyParts);
        if (count < 1 || uris.size() != count)
            return fault(402);
        int at = argument(body, u"DesiredFirstTrackNumberEnqueued"_s).toInt();
        if (at < 1 || at > c.queue.size() + 1)
            at = int(c.queue.size()) + 1;
        for (int i = 0; i < count; ++i)
            c.queue.insert(at - 1 + i, Track{u"Queued song %1"_s.arg(c.queue.size() + 1), u"Apple Music"_s, {}, 200000, uris[i]});
        ++c.updateID;
        return envelope(action, transportService, u"<FirstTrackNumberEnqueued>%1</FirstTrackNumberEnqueued><NumTracksAdded>%2</NumTracksAdded>"
                                                  "<NewQueueLength>%3</NewQueueLength><NewUpdateID>%4</NewUpdateID>"_s
                                                      .arg(at).arg(count).arg(c.queue.size()).arg(c.updateID));
    } else if (action == u"RemoveTrackRangeFromQueue"_s) {
        if (argument(body, u"UpdateID"_s).toInt() != c.updateID)
            return fault(1028);
        const int start = argument(body, u"StartingIndex"_s).toInt(), count = argument(body, u"NumberOfTracks"_s).toInt();
        if (start < 1 || count < 0 || start - 1 + count > c.queue.size())
            return fault(402);
        c.queue.remove(start - 1, count);
        c.track = std::max(0, c.track - count);
        ++c.updateID;
        return envelope(action, transportService, u"<NewUpdateID>%1</NewUpdateID>"_s.arg(c.updateID));
    } else {
        return fault(401); // invalid action
    }
    return envelope(action, transportService, {});
}

namespace {
const Registration registration({
    "speakers",
    [](QCommandLineParser &parser) {
        parser.addOption(QCommandLineOption(u"speakers-base"_s, u"Address of the first fake speaker (default 127.0.0.11)."_s, u"address"_s, u"127.0.0.11"_s));
        parser.addOption(QCommandLineOption(u"speakers-count"_s, u"How many fake speakers (default 5)."_s, u"n"_s, u"5"_s));
    },
    [](const QCommandLineParser &parser, QObject *parent) -> QStringList {
        auto *speakers = new FakeSpeakers(parser.value(u"speakers-base"_s), std::clamp(parser.value(u"speakers-count"_s).toInt(), 1, 200), parent);
        if (!speakers->start())
            return {u"error: cannot listen on port 1400 of %1 and the addresses after it (port 1400 needs root)"_s.arg(parser.value(u"speakers-base"_s))};
        QStringList lines;
        for (const auto &s : speakers->speakers)
            lines << u"%1:1400  %2%3  %4"_s.arg(s.host, s.room, s.invisible ? u" (stereo partner)"_s : QString(), s.id);
        lines << u"use: velottectl --speakers %1 status"_s.arg(speakers->visibleHosts().join(u','));
        return lines;
    },
});
} // namespace

} // namespace velotte::fake
