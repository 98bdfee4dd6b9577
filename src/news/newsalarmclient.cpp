#include "newsalarmclient.h"

#include "alarmxml.h"

#include "local/speakerfault.h"

#include <algorithm>
#include <climits>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

QString NewsAlarmClient::Failure::sentence() const
{
    switch (m_kind) {
    case Kind::invalid: return QStringLiteral("Choose a room, time, news source and at least one day.");
    case Kind::network: return QStringLiteral("Connect to the same Wi-Fi as your Sonos and allow Local Network access.");
    case Kind::rejected: return QStringLiteral("Sonos rejected this alarm. Check for another alarm at the same time, then refresh.");
    case Kind::response: return QStringLiteral("Sonos didn’t confirm the alarm. Refresh schedules before trying again.");
    case Kind::changed: break;
    }
    return QStringLiteral("This schedule changed or was removed in Sonos. Refresh schedules before editing it.");
}

NewsAlarmClient::NewsAlarmClient(Send send, NewsSource source) : m_send(std::move(send)), m_source(std::move(source)) {}

NewsAlarmClient::NewsAlarmClient(HttpTransport &transport, NewsSource source, CancelToken cancel)
    : m_send([&transport, cancel](QString host, QString action, Soap::Fields fields) {
          return request(transport, std::move(host), std::move(action), std::move(fields), cancel);
      }),
      m_source(std::move(source))
{
}

QCoro::Task<QString> NewsAlarmClient::request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel)
{
    HttpResponse response;
    try {
        response = co_await Soap::postShort(transport, host, Soap::alarmPath, Soap::alarmClock, action, fields, 10s, cancel);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        throw Failure(Failure::Kind::network);
    }
    if (const auto fault = SpeakerFault::of(response)) {
        // Local control switched off refuses reading the list as much as saving.
        if (fault->kind() == SpeakerFault::Kind::localControlOff)
            throw *fault;
        throw Failure(Failure::Kind::rejected);
    }
    if (response.status != 200)
        throw Failure(Failure::Kind::rejected);
    co_return QString::fromUtf8(response.body);
}

Soap::Fields NewsAlarmClient::fields(const NewsSchedule &schedule, const NewsSource &source)
{
    const bool current = schedule.language == u"english"_s || schedule.language == u"japanese"_s;
    // An old bilingual schedule may still be switched off, never on or anew.
    const bool retiredPause = schedule.language == u"bilingual"_s && schedule.id && !schedule.enabled;
    if (!schedule.valid() || !(current || retiredPause))
        throw Failure(Failure::Kind::invalid);
    return {
        {u"StartLocalTime"_s, schedule.startTime()},
        {u"Duration"_s, schedule.language == u"bilingual"_s ? u"00:20:00"_s : u"00:12:00"_s},
        {u"Recurrence"_s, schedule.recurrence()},
        {u"Enabled"_s, schedule.enabled ? u"1"_s : u"0"_s},
        {u"RoomUUID"_s, schedule.roomID},
        {u"ProgramURI"_s, schedule.audioURL(source).toString(QUrl::FullyEncoded)},
        {u"ProgramMetaData"_s, QString()},
        {u"PlayMode"_s, u"NORMAL"_s},
        {u"Volume"_s, QString::number(schedule.volume)},
        {u"IncludeLinkedZones"_s, u"0"_s},
    };
}

std::optional<NewsSchedule> NewsAlarmClient::schedule(const QHash<QString, QString> &alarm, const NewsSource &source)
{
    NewsSchedule s;
    const QString id = alarm.value(u"ID"_s);
    s.roomID = alarm.value(u"RoomUUID"_s);
    if (id.isEmpty() || s.roomID.isEmpty())
        return std::nullopt;
    s.id = id;

    const auto selection = source.selection(alarm.value(u"ProgramURI"_s));
    if (!selection)
        return std::nullopt;
    s.language = selection->first;
    s.category = selection->second;

    const auto days = NewsSchedule::daysFor(alarm.value(u"Recurrence"_s));
    const auto volume = Soap::integer(alarm.value(u"Volume"_s));
    if (!days || !volume || *volume < INT_MIN || *volume > INT_MAX)
        return std::nullopt;
    s.days = *days;
    s.volume = int(*volume);

    const QStringList time = alarm.value(u"StartTime"_s).split(u':');
    if (time.size() != 3)
        return std::nullopt;
    std::optional<qint64> parts[3];
    for (int i = 0; i < 3; ++i) {
        parts[i] = Soap::integer(time[i]);
        if (!parts[i] || *parts[i] < INT_MIN || *parts[i] > INT_MAX)
            return std::nullopt;
    }
    s.hour = int(*parts[0]);
    s.minute = int(*parts[1]);
    s.enabled = alarm.value(u"Enabled"_s) == u"1"_s;
    if (!s.valid())
        return std::nullopt;
    return s;
}

QList<NewsSchedule> NewsAlarmClient::parse(const QString &text, const NewsSource &source)
{
    QList<NewsSchedule> out;
    for (const AlarmXML::Element &e : AlarmXML::elements(text)) {
        if (e.name != u"Alarm"_s)
            continue;
        if (auto s = schedule(e.attributes, source))
            out.append(std::move(*s));
    }
    return out;
}

QCoro::Task<QList<NewsSchedule>> NewsAlarmClient::list(QString host)
{
    const QString reply = co_await m_send(host, QStringLiteral("ListAlarms"), Soap::Fields());
    const QList<AlarmXML::Element> elements = AlarmXML::elements(reply);
    const AlarmXML::Element *alarms = AlarmXML::first(elements, u"CurrentAlarmList"_s);
    if (!alarms)
        throw Failure(Failure::Kind::response);
    co_return parse(alarms->text, m_source);
}

QCoro::Task<QString> NewsAlarmClient::save(NewsSchedule schedule, QString host)
{
    Soap::Fields arguments = fields(schedule, m_source);
    if (!schedule.id) {
        const QString reply = co_await m_send(host, u"CreateAlarm"_s, arguments);
        const QList<AlarmXML::Element> elements = AlarmXML::elements(reply);
        const AlarmXML::Element *assigned = AlarmXML::first(elements, u"AssignedID"_s);
        const QString id = assigned ? assigned->text.trimmed() : QString();
        if (id.isEmpty())
            throw Failure(Failure::Kind::response);
        co_return id;
    }
    // An alarm that vanished or stopped being news is not recreated.
    const QList<NewsSchedule> listed = co_await list(host);
    const bool present = std::any_of(listed.begin(), listed.end(), [&](const NewsSchedule &s) { return s.id == schedule.id; });
    if (!present)
        throw Failure(Failure::Kind::changed);
    arguments.prepend({u"ID"_s, *schedule.id});
    co_await m_send(host, u"UpdateAlarm"_s, arguments);
    co_return QString(*schedule.id);
}

QCoro::Task<void> NewsAlarmClient::destroy(QString id, QString host)
{
    Soap::Fields arguments;
    arguments.append({QStringLiteral("ID"), id});
    co_await m_send(host, QStringLiteral("DestroyAlarm"), arguments);
}

} // namespace velotte
