#pragma once

#include "core/http.h"

#include <QCoroTask>
#include <QList>
#include <QPair>
#include <QString>

#include <optional>

namespace velotte::Soap {

// An ordered argument list; order is kept on the wire.
using Fields = QList<QPair<QString, QString>>;

inline const QString renderingControl = QStringLiteral("urn:schemas-upnp-org:service:RenderingControl:1");
inline const QString avTransport = QStringLiteral("urn:schemas-upnp-org:service:AVTransport:1");
inline const QString zoneGroupTopology = QStringLiteral("urn:schemas-upnp-org:service:ZoneGroupTopology:1");
inline const QString alarmClock = QStringLiteral("urn:schemas-upnp-org:service:AlarmClock:1");

inline const QString renderingPath = QStringLiteral("/MediaRenderer/RenderingControl/Control");
inline const QString transportPath = QStringLiteral("/MediaRenderer/AVTransport/Control");
inline const QString topologyPath = QStringLiteral("/ZoneGroupTopology/Control");
inline const QString alarmPath = QStringLiteral("/AlarmClock/Control");
inline const QString descriptionPath = QStringLiteral("/xml/device_description.xml");

// "&", "<", ">" and '"' as entities, ampersand first; apostrophes stay.
QString escape(const QString &value);
// The four entities back, "&amp;" last so nothing is decoded twice.
QString unescape(const QString &value);

// The long form: XML declaration, encoding style, line breaks.
QString envelope(const QString &action, const QString &service, const QString &inner);
// The short form of the queueing and alarm requests.
QString shortEnvelope(const QString &service, const QString &action, const Fields &fields);
// "SetAVTransportURI" pointing a speaker at one stream, with its title.
QString setURIEnvelope(const QString &uri, const QString &title);

// The trimmed text of the first element called `name`; none when missing or blank.
std::optional<QString> tag(const QString &name, const QString &text);
// An optionally signed decimal integer; none on any other character or overflow.
std::optional<qint64> integer(const QString &text);
// "H:MM:SS" of milliseconds (negative counts as zero).
QString clock(qint64 millis);
// "0:03:07" into 187000; pieces that are not numbers are skipped.
qint64 millis(const QString &text);
// The play-mode word for a shuffle and repeat pair.
QString playMode(bool shuffle, bool repeats);
// The shuffle and repeat flags of a play mode; repeating one track counts as repeating.
std::pair<bool, bool> playModeFlags(const QString &mode);

// POSTs a short-form action with its action quoted, as the queueing and
// alarm clients send them. Throws TransportError (also for a host that makes
// no address) or Cancelled; any HTTP reply comes back.
QCoro::Task<HttpResponse> postShort(HttpTransport &transport, QString host, QString path, QString service, QString action, Fields fields,
                                    std::chrono::milliseconds timeout, CancelToken cancel = {});

} // namespace velotte::Soap
