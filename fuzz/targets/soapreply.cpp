// SOAP replies: the tag extractor, integer values, fault codes and the
// queue's revision.
#include "fuzz/target.h"
#include "local/applemusicdirect.h"
#include "local/soap.h"

VELOTTE_FUZZ_TARGET(soapreply)
{
    using namespace velotte;
    const QString reply = fuzz::text(data);
    for (const char *name : {"errorCode", "CurrentVolume", "Track", "RelTime", "TrackDuration", "NewUpdateID", "CurrentTransportActions"}) {
        if (const auto value = Soap::tag(QLatin1String(name), reply)) {
            Soap::integer(*value);
            Soap::millis(*value);
        }
    }
    Soap::integer(reply);
    Soap::unescape(reply);
    try {
        AppleMusicDirect::revision(reply);
    } catch (const AppleMusicDirect::Failure &) {
    }
}
