#include "fakealarms.h"

#include "fakecaptures.h"
#include "fakespeakersoap.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;
using namespace speakersoap;

namespace {
QString didl(const QString &id, const QString &title, const QString &upnpClass)
{
    return u"<DIDL-Lite xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
           "xmlns:r=\"urn:schemas-rinconnetworks-com:metadata-1-0/\" xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\">"
           "<item id=\"%1\" parentID=\"-1\" restricted=\"true\"><dc:title>%2</dc:title><upnp:class>%3</upnp:class>"
           "<desc id=\"cdudn\" nameSpace=\"urn:schemas-rinconnetworks-com:metadata-1-0/\">SA_RINCON52231_X_#Svc52231-0-Token</desc></item></DIDL-Lite>"_s
        .arg(escape(id), escape(title), upnpClass);
}

// The alarms of a captured "ListAlarms" reply, for rooms of another household.
QList<FakeAlarmClock::Alarm> capturedAlarms(const QString &capture)
{
    QList<FakeAlarmClock::Alarm> out;
    QXmlStreamReader xml(argument(captures::body(capture), u"CurrentAlarmList"_s));
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != u"Alarm"_s)
            continue;
        const auto a = xml.attributes();
        auto value = [&a](const char *name) { return a.value(QLatin1String(name)).toString(); };
        out.append({value("ID"), value("StartTime"), value("Duration"), value("Recurrence"), value("Enabled") == u"1"_s, value("RoomUUID"),
                    value("ProgramURI"), value("ProgramMetaData"), value("PlayMode"), value("Volume").toInt(), value("IncludeLinkedZones") == u"1"_s});
    }
    return out;
}
} // namespace

QString FakeAlarmClock::newsAddress(const QString &newsHost, const QString &language, const QString &category, const QString &extraQuery)
{
    QString address = u"https://%1/api/public/news-shadowing/sonos/latest.mp3?language=%2&category=%3"_s.arg(newsHost, language, category);
    if (!extraQuery.isEmpty())
        address += u'&' + extraQuery;
    return address;
}

void FakeAlarmClock::seed(const QStringList &rooms, const QString &newsHost)
{
    // Alarms real speakers listed come first, with their own ids; the
    // household's own follow from 100.
    alarms = capturedAlarms(u"alarms-sonosnet.xml"_s) + capturedAlarms(u"alarms-buzzer.xml"_s);
    m_nextID = 100;
    if (rooms.isEmpty())
        return;
    auto room = [&](int i) { return rooms[i % rooms.size()]; };
    auto add = [&](Alarm a) {
        a.id = QString::number(m_nextID++);
        alarms.append(a);
    };
    // Music: an Apple Music playlist, shuffled, on weekends.
    add({{}, u"09:30:00"_s, u"01:00:00"_s, u"WEEKENDS"_s, true, room(0),
         u"x-rincon-cpcontainer:1006206cplaylist%3apl.u-8aAVZAaCPD6ZWk?sid=204&flags=8300&sn=5"_s,
         didl(u"1006206cplaylist%3apl.u-8aAVZAaCPD6ZWk"_s, u"Sunday Morning & Coffee"_s, u"object.container.playlistContainer"_s),
         u"SHUFFLE_NOREPEAT"_s, 18, false});
    // Radio: a station, and an address that nests schemes.
    add({{}, u"06:45:00"_s, u"00:30:00"_s, u"WEEKDAYS"_s, true, room(1), u"x-sonosapi-stream:s24861?sid=254&flags=8224&sn=0"_s,
         didl(u"F00092020s24861"_s, u"BBC Radio 4"_s, u"object.item.audioItem.audioBroadcast"_s), u"NORMAL"_s, 25, false});
    add({{}, u"22:15:00"_s, u"00:45:00"_s, u"ONCE"_s, false, room(2), u"x-rincon-mp3radio://http://stream.example.org/jazz.mp3"_s, {}, u"NORMAL"_s,
         12, false});
    // News: retired bilingual, switched off; an address with a third query
    // item; and a valid English schedule.
    add({{}, u"07:00:00"_s, u"00:20:00"_s, u"ON_0246"_s, false, room(0), newsAddress(newsHost, u"bilingual"_s), {}, u"NORMAL"_s, 20, false});
    add({{}, u"06:30:00"_s, u"00:12:00"_s, u"DAILY"_s, true, room(1), newsAddress(newsHost, u"english"_s, u"latest"_s, u"voice=b"_s), {},
         u"NORMAL"_s, 22, false});
    add({{}, u"07:15:00"_s, u"00:12:00"_s, u"WEEKDAYS"_s, true, room(0), newsAddress(newsHost, u"english"_s), {}, u"NORMAL"_s, 30, false});
    ++version;
}

QString FakeAlarmClock::document() const
{
    // Built by concatenation: addresses carry "%3a" and the like.
    QString out = u"<Alarms>"_s;
    for (const Alarm &a : alarms) {
        const QList<QPair<QString, QString>> attributes{
            {u"ID"_s, a.id},
            {u"StartTime"_s, a.startTime},
            {u"Duration"_s, a.duration},
            {u"Recurrence"_s, a.recurrence},
            {u"Enabled"_s, a.enabled ? u"1"_s : u"0"_s},
            {u"RoomUUID"_s, a.roomUUID},
            {u"ProgramURI"_s, a.programURI},
            {u"ProgramMetaData"_s, a.programMetaData},
            {u"PlayMode"_s, a.playMode},
            {u"Volume"_s, QString::number(a.volume)},
            {u"IncludeLinkedZones"_s, a.includeLinkedZones ? u"1"_s : u"0"_s},
        };
        out += u"<Alarm"_s;
        for (const auto &[name, value] : attributes)
            out += u' ' + name + u"=\""_s + escape(value) + u'"';
        out += u"/>"_s;
    }
    return out + u"</Alarms>"_s;
}

const FakeAlarmClock::Alarm *FakeAlarmClock::find(const QString &id) const
{
    for (const Alarm &a : alarms) {
        if (a.id == id)
            return &a;
    }
    return nullptr;
}

std::optional<Response> FakeAlarmClock::read(Alarm &alarm, const QString &body) const
{
    static const QRegularExpression recurrence(u"^(DAILY|WEEKDAYS|WEEKENDS|ONCE|ON_[0-6]+)$"_s);
    static const QRegularExpression time(u"^([01]\\d|2[0-3]):[0-5]\\d:[0-5]\\d$"_s);
    static const QRegularExpression duration(u"^\\d\\d:[0-5]\\d:[0-5]\\d$"_s);
    static const QStringList required{u"StartLocalTime"_s, u"Duration"_s, u"Recurrence"_s, u"Enabled"_s, u"RoomUUID"_s, u"ProgramURI"_s,
                                      u"ProgramMetaData"_s, u"PlayMode"_s, u"Volume"_s, u"IncludeLinkedZones"_s};
    for (const QString &name : required) {
        if (!hasArgument(body, name))
            return fault(402); // invalid args
    }
    bool volumeOK = false;
    const int volume = argument(body, u"Volume"_s).toInt(&volumeOK);
    if (!time.match(argument(body, u"StartLocalTime"_s)).hasMatch() || !duration.match(argument(body, u"Duration"_s)).hasMatch()
        || !recurrence.match(argument(body, u"Recurrence"_s)).hasMatch() || !volumeOK || volume < 0 || volume > 100
        || argument(body, u"RoomUUID"_s).isEmpty())
        return fault(402);
    alarm.startTime = argument(body, u"StartLocalTime"_s);
    alarm.duration = argument(body, u"Duration"_s);
    alarm.recurrence = argument(body, u"Recurrence"_s);
    alarm.enabled = argument(body, u"Enabled"_s) == u"1"_s;
    alarm.roomUUID = argument(body, u"RoomUUID"_s);
    alarm.programURI = argument(body, u"ProgramURI"_s);
    alarm.programMetaData = argument(body, u"ProgramMetaData"_s);
    alarm.playMode = argument(body, u"PlayMode"_s);
    alarm.volume = volume;
    alarm.includeLinkedZones = argument(body, u"IncludeLinkedZones"_s) == u"1"_s;
    return std::nullopt;
}

std::optional<Response> FakeAlarmClock::handle(const QString &action, const QString &body)
{
    if (action == u"ListAlarms"_s) {
        // The document is escaped into the reply; the metadata inside its
        // attributes is therefore escaped twice.
        return envelope(action, alarmService,
                        u"<CurrentAlarmList>"_s + escape(document()) + u"</CurrentAlarmList><CurrentAlarmListVersion>"_s + versionPrefix + u':'
                            + QString::number(version) + u"</CurrentAlarmListVersion>"_s);
    }
    if (action == u"CreateAlarm"_s) {
        if (createConflict)
            return fault(createConflict);
        Alarm alarm;
        if (auto refused = read(alarm, body))
            return refused;
        alarm.id = QString::number(m_nextID++);
        alarms.append(alarm);
        ++version;
        return envelope(action, alarmService, u"<AssignedID>%1</AssignedID>"_s.arg(alarm.id));
    }
    if (action == u"UpdateAlarm"_s) {
        const QString id = argument(body, u"ID"_s);
        for (Alarm &a : alarms) {
            if (a.id != id)
                continue;
            Alarm changed = a;
            if (auto refused = read(changed, body))
                return refused;
            a = changed;
            ++version;
            return envelope(action, alarmService, {});
        }
        return fault(802); // no such alarm
    }
    if (action == u"DestroyAlarm"_s) {
        const QString id = argument(body, u"ID"_s);
        for (qsizetype i = 0; i < alarms.size(); ++i) {
            if (alarms[i].id == id) {
                alarms.removeAt(i);
                ++version;
                return envelope(action, alarmService, {});
            }
        }
        return fault(802);
    }
    return std::nullopt;
}

} // namespace velotte::fake
