#pragma once

#include "kit/fakehttpserver.h"

#include <QString>

#include <optional>

// The pieces of a speaker's SOAP replies that every simulated service shares.
namespace velotte::fake::speakersoap {

inline const QString renderingService = QStringLiteral("urn:schemas-upnp-org:service:RenderingControl:1");
inline const QString transportService = QStringLiteral("urn:schemas-upnp-org:service:AVTransport:1");
inline const QString topologyService = QStringLiteral("urn:schemas-upnp-org:service:ZoneGroupTopology:1");
inline const QString alarmService = QStringLiteral("urn:schemas-upnp-org:service:AlarmClock:1");
inline const QString contentService = QStringLiteral("urn:schemas-upnp-org:service:ContentDirectory:1");

// Error codes real speakers use.
constexpr int invalidAction = 401;
constexpr int invalidArgs = 402;
constexpr int transitionNotAvailable = 701;
constexpr int seekModeNotSupported = 710;
constexpr int illegalSeekTarget = 711;
constexpr int playModeNotSupported = 712;
constexpr int illegalMimeType = 714;
constexpr int notCoordinator = 800;
constexpr int queueChanged = 1028;

QString escape(QString s);
QString unescape(QString s);
// The decoded text of the first argument element called `name`; empty when missing.
QString argument(const QString &body, const QString &name);
bool hasArgument(const QString &body, const QString &name);
// An argument that is a decimal number; none for anything else.
std::optional<int> number(const QString &body, const QString &name);
QString clock(qint64 ms);
// "H:MM:SS" into milliseconds; none for anything else.
std::optional<qint64> parseClock(const QString &text);

// `<u:ActionResponse>` inside an envelope, as speakers answer.
Response envelope(const QString &action, const QString &service, const QString &inner);
// A UPnP fault: HTTP 500, UPnPError with the code and no description.
Response fault(int code);

} // namespace velotte::fake::speakersoap
