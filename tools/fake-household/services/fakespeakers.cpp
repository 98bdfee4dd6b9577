#include "fakespeakers.h"

#include "fakecaptures.h"
#include "fakespeakersoap.h"
#include "kit/registry.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QTimer>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;
using namespace speakersoap;

namespace {

// A queue entry from a captured GetPositionInfo reply, its metadata as sent.
FakeSpeakers::Track capturedTrack(const QString &capture)
{
    const QString body = captures::body(capture);
    auto element = [&body](const QString &name) { return argument(body, name); };
    const QString metadata = QRegularExpression(u"<TrackMetaData>(.*?)</TrackMetaData>"_s, QRegularExpression::DotMatchesEverythingOption)
                                 .match(body)
                                 .captured(1);
    const QString didl = unescape(metadata);
    auto field = [&didl](const QString &name) { return argument(didl, name); };
    return {field(u"dc:title"_s), field(u"dc:creator"_s), field(u"upnp:album"_s), parseClock(element(u"TrackDuration"_s)).value_or(0),
            element(u"TrackURI"_s), metadata};
}

// No capture of a favorites browse was found: these follow the Apple Music
// address form, a household whose favorites hold its own number (5) and one
// older entry with 1, and a captured radio station.
QList<FakeSpeakers::Favorite> seededFavorites()
{
    return {
        {u"Clair de lune"_s, u"x-sonos-http:song%3a1440857781.mp4?sid=204&flags=8224&sn=5"_s, u"object.item.audioItem.musicTrack"_s},
        {u"Kind of Blue"_s, u"x-rincon-cpcontainer:1004206calbum%3a268443092?sid=204&flags=8300&sn=5"_s, u"object.container.album.musicAlbum"_s},
        {u"So What"_s, u"x-sonos-http:song%3a268443097.mp4?sid=204&flags=8224&sn=5"_s, u"object.item.audioItem.musicTrack"_s},
        {u"Gymnopédie No. 1"_s, u"x-sonos-http:song%3a1452858722.mp4?sid=204&flags=8224&sn=1"_s, u"object.item.audioItem.musicTrack"_s},
        {u"Lugna Favoriter"_s, u"x-sonosapi-stream:s17553?sid=254&flags=8224&sn=0"_s, u"object.item.audioItem.audioBroadcast"_s},
    };
}

} // namespace

FakeSpeakers::FakeSpeakers(const QString &base, int count, QObject *parent) : FakeSpeakers(Options{base, count}, parent) {}

FakeSpeakers::FakeSpeakers(const Options &options, QObject *parent)
    : QObject(parent), m_events(new FakeEvents([this](const QString &host, const QString &path) { return eventBody(host, path); }, this))
{
    m_clock.start();
    topologyLimit = options.topologyLimit;
    const QHostAddress first(options.base);
    const bool standard = options.household == Household::standard;
    const QStringList rooms = standard
        ? QStringList{u"Living Room"_s, u"Living Room"_s, u"Kitchen"_s, u"Bedroom"_s, u"TV Room"_s, u"Office"_s, u"Kids/Play"_s, u"Patio & Garden"_s}
        : QStringList{u"Living Room"_s, u"Kitchen"_s, u"Bedroom"_s, u"Office"_s, u"Kids/Play"_s, u"Patio & Garden"_s};
    const QList<Track> queue{
        {u"Clair de lune"_s, u"Claude Debussy"_s, u"Suite bergamasque"_s, 300000, u"x-sonos-http:song%3a1.mp4?sid=204"_s},
        {u"Salt & Pepper"_s, u"The Condiments"_s, u"Kitchen Songs"_s, 201000, u"x-sonos-http:song%3a2.mp4?sid=204"_s},
        {u"Gymnopédie No. 1"_s, u"Erik Satie"_s, u"Gymnopédies"_s, 185000, u"x-sonos-http:song%3a3.mp4?sid=204"_s},
    };
    const int count = std::max(1, options.count);
    for (int i = 0; i < count; ++i) {
        Speaker s;
        s.host = QHostAddress(first.toIPv4Address() + quint32(i)).toString();
        s.id = u"RINCON_347E5C0D%1%2"_s.arg(i, 4, 16, QLatin1Char('0')).arg(u"01400"_s).toUpper();
        s.room = i < rooms.size() ? rooms[i] : u"Room %1"_s.arg(i + 1);
        s.follows = s.id;
        s.queue = queue;
        s.volume = 20 + 3 * i % 60;
        if (standard && i == 1) {
            s.invisible = true; // right channel of the living room pair
            s.model = u"Sonos One SL"_s;
        }
        if (standard && i == 4) {
            s.model = u"Sonos Playbar"_s;
            s.satellites = {u"RINCON_5CAAFD0B0001401400"_s, u"RINCON_5CAAFD0B0002401400"_s, u"RINCON_5CAAFD0B0003401400"_s};
        }
        if (s.room.contains(u'/'))
            s.model = u"Sonos Roam 2"_s;
        // The bedroom plays what real speakers reported playing.
        if (s.room == u"Bedroom"_s)
            s.queue = {capturedTrack(u"positioninfo-spotify-jishi.xml"_s), capturedTrack(u"positioninfo-spotify-rxsonoslib.xml"_s),
                       capturedTrack(u"positioninfo-library-rxsonoslib.xml"_s)};
        speakers.push_back(s);
    }
    if (standard && count > 1)
        speakers[1].follows = speakers[0].id;
    speakers[0].state = u"PLAYING"_s;
    speakers[0].position = 42000;

    QStringList visible;
    for (const Speaker &s : speakers) {
        if (!s.invisible)
            visible << s.id;
    }
    alarms.versionPrefix = speakers[0].id;
    alarms.seed(visible, options.newsHost);
    favorites = seededFavorites();
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

bool FakeSpeakers::inject(const QString &fault, QString *why)
{
    auto refuse = [why](const QString &reason) {
        if (why)
            *why = reason;
        return false;
    };
    const QStringList kind = fault.section(u'=', 1).split(u':');
    if (fault.startsWith(u"alarm-conflict"_s)) {
        const QStringList parts = fault.split(u':');
        alarms.createConflict = parts.size() > 1 ? parts[1].toInt() : 801;
        return alarms.createConflict > 0 ? true : refuse(u"alarm-conflict takes a positive error code"_s);
    }
    Speaker *s = byHost(fault.section(u'=', 0, 0));
    if (!s)
        return refuse(u"no fake speaker at %1"_s.arg(fault.section(u'=', 0, 0)));
    bool ok = true;
    if (kind[0] == u"latency"_s && kind.size() == 2)
        s->latencyMs = kind[1].toInt(&ok);
    else if (kind[0] == u"silent"_s && kind.size() == 1)
        s->noAnswer = true;
    else if (kind[0] == u"forbidden"_s && kind.size() == 1)
        s->forbidden = true;
    else if (kind[0] == u"error"_s && kind.size() <= 2) {
        s->serverError = true;
        if (kind.size() == 2)
            s->serverErrorCode = kind[1].toInt(&ok);
    } else if (kind[0] == u"upnp"_s && kind.size() == 3) {
        s->upnpErrors.insert(kind[1], kind[2].toInt(&ok));
    } else if (kind[0] == u"events"_s && kind.size() == 2 && QStringList{u"refused"_s, u"silent"_s, u"gap"_s}.contains(kind[1])) {
        FakeEvents::Faults &f = m_events->faults[s->host];
        f.refused = f.refused || kind[1] == u"refused"_s;
        f.silent = f.silent || kind[1] == u"silent"_s;
        f.gap = f.gap || kind[1] == u"gap"_s;
    } else
        return refuse(u"unknown fault \"%1\""_s.arg(fault));
    return ok ? true : refuse(u"not a number in \"%1\""_s.arg(fault));
}

QString FakeSpeakers::zoneGroupState() const
{
    // Newer firmware nests the whole document; a stereo partner comes before
    // its visible twin, home-theatre satellites sit inside their member, and
    // attribute values may span lines.
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
                                 "MicEnabled=\"0\" AirPlayEnabled=\"1\" IdleState=\"1\" MoreInfo=\"\nTVConfigurationError:0\" SSLPort=\"1443\" HHSSLPort=\"1843\""_s
                                     .arg(m->id, m->host, escape(m->room));
            if (m->invisible)
                attributes += u" Invisible=\"1\" ChannelMapSet=\"%1:LF,LF;%2:RF,RF\""_s.arg(c.id, m->id);
            if (m->satellites.isEmpty()) {
                members += u"<ZoneGroupMember "_s + attributes + u"/>"_s;
            } else {
                members += u"<ZoneGroupMember "_s + attributes + u">"_s;
                for (qsizetype i = 0; i < m->satellites.size(); ++i)
                    members += u"<Satellite UUID=\"%1\" Location=\"http://169.254.1.%2:1400/xml/device_description.xml\" ZoneName=\"%3\" "
                               "Invisible=\"1\" HTSatChanMapSet=\"%4:LF,RF;%1:SW\"/>"_s.arg(m->satellites[i]).arg(11 + i).arg(escape(m->room), m->id);
                members += u"</ZoneGroupMember>"_s;
            }
        }
        groups += u"<ZoneGroup Coordinator=\"%1\" ID=\"%1:%2\">"_s.arg(c.id).arg(c.updateID + 1000) + members + u"</ZoneGroup>"_s;
    }
    return u"<ZoneGroupState><ZoneGroups>"_s + groups + u"</ZoneGroups><VanishedDevices></VanishedDevices></ZoneGroupState>"_s;
}

Response FakeSpeakers::handle(Speaker &speaker, const Request &request)
{
    static const QHash<QString, QString> services{
        {u"/MediaRenderer/RenderingControl/Control"_s, renderingService},
        {u"/MediaRenderer/AVTransport/Control"_s, transportService},
        {u"/ZoneGroupTopology/Control"_s, topologyService},
        {u"/AlarmClock/Control"_s, alarmService},
        {u"/MediaServer/ContentDirectory/Control"_s, contentService},
    };
    ++speaker.requests;
    Response r;
    if (speaker.noAnswer) {
        r.noAnswer = true;
        return r;
    }
    settle();
    // Subscribers hear of whatever this request changes, once it is answered.
    if (!m_publishing) {
        m_publishing = true;
        QTimer::singleShot(0, this, [this] {
            m_publishing = false;
            publish();
        });
    }
    const QString path = request.path();
    if (speaker.forbidden) {
        // Local control switched off: everything is refused, the description too.
        r = Response::text("<html><body><h1>403 Forbidden</h1></body></html>", "text/html", 403);
    } else if (request.method == "SUBSCRIBE" || request.method == "UNSUBSCRIBE") {
        r = m_events->handle(speaker.host, request);
    } else if (request.method == "GET" && path == u"/xml/device_description.xml"_s) {
        r = Response::text(captures::description(speaker.model, speaker.id, speaker.host, speaker.room).toUtf8(), "text/xml");
    } else if (!services.contains(path)) {
        r = Response::text("", "text/html", 404);
    } else if (request.method != "POST") {
        r = Response::text("", "text/html", 405);
    } else if (speaker.serverError) {
        r = fault(speaker.serverErrorCode);
    } else {
        // Speakers take the action with or without quotes around it.
        const QString header = QString::fromUtf8(request.header("SOAPACTION")).remove(u'"');
        const QString service = header.section(u'#', 0, 0);
        const QString action = header.section(u'#', 1);
        const QString body = QString::fromUtf8(request.body);
        if (service != services.value(path) || !body.contains(u":"_s + action + u' '))
            r = fault(401); // invalid action
        else if (speaker.upnpErrors.contains(action))
            r = fault(speaker.upnpErrors.value(action));
        else
            r = soap(speaker, service, action, body);
    }
    r.delayMs = speaker.latencyMs;
    return r;
}

Response FakeSpeakers::soap(Speaker &speaker, const QString &service, const QString &action, const QString &body)
{
    if (service == renderingService)
        return rendering(speaker, action, body);
    if (service == topologyService) {
        if (action == u"GetZoneGroupState"_s) {
            const QString state = escape(zoneGroupState());
            if (topologyLimit > 0 && state.size() > topologyLimit)
                return fault(501);
            return envelope(action, topologyService, u"<ZoneGroupState>"_s + state + u"</ZoneGroupState>"_s);
        }
        if (action == u"GetZoneGroupAttributes"_s) {
            // Every speaker answers for its own group; the list's order does
            // not say who leads (the members' transport addresses do).
            const Speaker &c = coordinatorOf(speaker);
            QStringList members;
            for (const Speaker *m : membersOf(c.id))
                members << m->id;
            return envelope(action, topologyService,
                            u"<CurrentZoneGroupName>%1</CurrentZoneGroupName><CurrentZoneGroupID>%2:%3</CurrentZoneGroupID>"
                            "<CurrentZonePlayerUUIDsInGroup>%4</CurrentZonePlayerUUIDsInGroup>"
                            "<CurrentMuseHouseholdId>Sonos_fakeHousehold0000000001</CurrentMuseHouseholdId>"_s.arg(escape(c.room), c.id)
                                .arg(c.updateID + 1000)
                                .arg(members.join(u',')));
        }
        return fault(401);
    }
    if (service == contentService)
        return action == u"Browse"_s ? browse(speaker, body) : fault(401);
    if (service == alarmService) {
        if (auto reply = alarms.handle(action, body))
            return *reply;
        return fault(401);
    }
    return transport(speaker, action, body);
}

Response FakeSpeakers::rendering(Speaker &speaker, const QString &action, const QString &body)
{
    bool ok = true;
    if (action == u"GetVolume"_s)
        return envelope(action, renderingService, u"<CurrentVolume>%1</CurrentVolume>"_s.arg(speaker.volume));
    if (action == u"SetVolume"_s) {
        const int volume = argument(body, u"DesiredVolume"_s).toInt(&ok);
        if (!ok)
            return fault(402);
        speaker.volume = std::clamp(volume, 0, 100);
    } else if (action == u"GetMute"_s) {
        return envelope(action, renderingService, u"<CurrentMute>%1</CurrentMute>"_s.arg(speaker.muted ? 1 : 0));
    } else if (action == u"SetMute"_s) {
        const QString mute = argument(body, u"DesiredMute"_s);
        if (mute != u"1"_s && mute != u"0"_s)
            return fault(402);
        speaker.muted = mute == u"1"_s;
    } else if (action == u"GetBass"_s) {
        return envelope(action, renderingService, u"<CurrentBass>%1</CurrentBass>"_s.arg(speaker.bass));
    } else if (action == u"SetBass"_s) {
        const int bass = argument(body, u"DesiredBass"_s).toInt(&ok);
        if (!ok)
            return fault(402);
        speaker.bass = std::clamp(bass, -10, 10);
    } else {
        return fault(401);
    }
    return envelope(action, renderingService, {});
}

namespace {
const Registration registration({
    "speakers",
    [](QCommandLineParser &parser) {
        parser.addOption(QCommandLineOption(u"speakers-base"_s, u"Address of the first fake speaker (default 127.0.0.11)."_s, u"address"_s, u"127.0.0.11"_s));
        parser.addOption(QCommandLineOption(u"speakers-count"_s, u"How many fake speakers (default 5)."_s, u"n"_s, u"5"_s));
        parser.addOption(QCommandLineOption(u"speakers-topology-limit"_s,
                                            u"Bytes of topology past which speakers answer GetZoneGroupState with UPnP error 501, as real ones do (default 16384; 0: never)."_s,
                                            u"bytes"_s, u"16384"_s));
        parser.addOption(QCommandLineOption(u"speakers-household"_s, u"\"standard\" (a stereo pair and a home theatre) or \"plain\" (one room per speaker)."_s,
                                            u"kind"_s, u"standard"_s));
        parser.addOption(QCommandLineOption(u"speakers-news-host"_s, u"Host of the news addresses in the speakers' alarms."_s, u"host"_s,
                                            u"news.velotte.app"_s));
        parser.addOption(QCommandLineOption(u"speakers-fault"_s,
                                            u"A fault, repeatable: HOST=latency:MS, HOST=silent, HOST=forbidden, HOST=error[:CODE], "
                                            "HOST=upnp:ACTION:CODE, HOST=events:refused (SUBSCRIBE answered 503), HOST=events:silent "
                                            "(subscriptions taken, no events sent), HOST=events:gap (the next event skips a SEQ), alarm-conflict[:CODE]."_s,
                                            u"fault"_s));
        parser.addOption(QCommandLineOption(u"speakers-queue"_s, u"Tracks in every speaker's queue, made up (default: three)."_s, u"n"_s));
        parser.addOption(QCommandLineOption(u"speakers-subscription-seconds"_s,
                                            u"Longest subscription the speakers grant; one not renewed in time lapses (default 1800)."_s,
                                            u"seconds"_s, u"1800"_s));
    },
    [](const QCommandLineParser &parser, QObject *parent) -> QStringList {
        FakeSpeakers::Options options;
        options.base = parser.value(u"speakers-base"_s);
        options.count = std::clamp(parser.value(u"speakers-count"_s).toInt(), 1, 200);
        options.newsHost = parser.value(u"speakers-news-host"_s);
        options.topologyLimit = parser.value(u"speakers-topology-limit"_s).toInt();
        const QString household = parser.value(u"speakers-household"_s);
        if (household == u"plain"_s)
            options.household = FakeSpeakers::Household::plain;
        else if (household != u"standard"_s)
            return {u"error: unknown household \"%1\" (standard or plain)"_s.arg(household)};
        if (QHostAddress(options.base).protocol() != QAbstractSocket::IPv4Protocol)
            return {u"error: --speakers-base must be an IPv4 address"_s};
        auto *speakers = new FakeSpeakers(options, parent);
        if (parser.isSet(u"speakers-queue"_s)) {
            const QList<FakeSpeakers::Track> queue = FakeSpeakers::generatedQueue(std::clamp(parser.value(u"speakers-queue"_s).toInt(), 0, 40000));
            for (auto &s : speakers->speakers)
                s.queue = queue;
        }
        speakers->events().grantedSeconds = std::max(1, parser.value(u"speakers-subscription-seconds"_s).toInt());
        for (const QString &fault : parser.values(u"speakers-fault"_s)) {
            QString why;
            if (!speakers->inject(fault, &why))
                return {u"error: "_s + why};
        }
        if (!speakers->start())
            return {u"error: cannot listen on port 1400 of %1 and the addresses after it (port 1400 needs root)"_s.arg(options.base)};
        QStringList lines;
        for (const auto &s : speakers->speakers)
            lines << u"%1:1400  %2%3  %4  %5"_s.arg(s.host, s.room, s.invisible ? u" (stereo partner)"_s : QString(), s.model, s.id);
        lines << u"use: velottectl --speakers %1 status"_s.arg(speakers->visibleHosts().join(u','));
        return lines;
    },
});
} // namespace

} // namespace velotte::fake
