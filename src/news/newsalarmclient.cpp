#include "newsalarmclient.h"

namespace velotte {

using namespace std::chrono_literals;

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
    const QString text = QString::fromUtf8(response.body);
    if (response.status != 200 || Soap::tag(QStringLiteral("errorCode"), text))
        throw Failure(Failure::Kind::rejected);
    co_return text;
}

} // namespace velotte
