#include "applemusicdirect.h"

namespace velotte {

using namespace std::chrono_literals;

AppleMusicDirect::Failure::Failure(Kind kind, QString code)
    : velotte::Failure(QStringLiteral("queueing failed %1 %2").arg(int(kind)).arg(code)), m_kind(kind), m_code(std::move(code))
{
}

QString AppleMusicDirect::Failure::sentence() const
{
    switch (m_kind) {
    case Kind::rejected:
        if (m_code == QLatin1String("1028"))
            return QStringLiteral("The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it.");
        return QStringLiteral("Sonos couldn’t load this Apple Music item (%1). Check that Apple Music is connected in the Sonos app and the item is available in your account.").arg(m_code);
    case Kind::unsupported:
        return QStringLiteral("This item has no playable Apple Music catalog link. Uploaded files and some private collections aren’t available to Sonos.");
    case Kind::network:
        return QStringLiteral("Sonos is unreachable on this local network. If a VPN is active, enable its approved local-network access. Also allow Local Network access for Velotte in Settings.");
    case Kind::invalidResponse:
        break;
    }
    return QStringLiteral("Sonos didn’t confirm the queue update. Refresh the room before trying again.");
}

QCoro::Task<QString> AppleMusicDirect::request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel)
{
    const auto timeout = action == QLatin1String("AddMultipleURIsToQueue") ? 60s : 10s;
    HttpResponse response;
    try {
        response = co_await Soap::postShort(transport, host, Soap::transportPath, Soap::avTransport, action, fields, timeout, cancel);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        throw Failure::network();
    }
    const QString text = QString::fromUtf8(response.body);
    const auto code = Soap::tag(QStringLiteral("errorCode"), text);
    if (response.status != 200 || code)
        throw Failure::rejected(code.value_or(QString::number(response.status)));
    co_return text;
}

} // namespace velotte
