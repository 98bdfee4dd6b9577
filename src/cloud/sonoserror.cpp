#include "sonoserror.h"

namespace velotte {

SonosError::SonosError(Kind kind, int status, QDateTime until)
    : Failure(QStringLiteral("sonos error %1 %2").arg(int(kind)).arg(status)), m_kind(kind), m_status(status), m_until(std::move(until))
{
}

SonosError SonosError::http(int status) { return SonosError(Kind::http, status, {}); }
SonosError SonosError::rateLimited(const QDateTime &until) { return SonosError(Kind::rateLimited, 429, until); }
SonosError SonosError::authorization() { return SonosError(Kind::authorization, 0, {}); }
SonosError SonosError::missingCredentials() { return SonosError(Kind::missingCredentials, 0, {}); }

QString SonosError::sentence() const
{
    switch (m_kind) {
    case Kind::rateLimited:
        return QStringLiteral("Sonos is temporarily limiting cloud requests. Your connection is saved; updates will resume automatically.");
    case Kind::authorization:
        return QStringLiteral("Connect to Sonos again to renew your sign-in.");
    case Kind::missingCredentials:
        return QStringLiteral("Sonos sign-in is not configured in this build.");
    case Kind::http:
        break;
    }
    switch (m_status) {
    case 401:
        return QStringLiteral("Connect to Sonos again to renew your sign-in.");
    case 403:
        return QStringLiteral("Sonos denied this command. Check the account and music-service connection in the Sonos app.");
    case 404:
    case 410:
        return QStringLiteral("This room or saved item is no longer available. Refresh Sonos and select it again.");
    case 429:
        return QStringLiteral("Sonos is temporarily limiting cloud requests. Your connection is saved; try again later.");
    case 503:
        return QStringLiteral("The speaker cannot reach the music service. Check its connection in the Sonos app.");
    default:
        return QStringLiteral("Sonos rejected the request (%1). Try again.").arg(m_status);
    }
}

} // namespace velotte
