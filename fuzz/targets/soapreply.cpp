// SOAP replies: the tag extractor, integer values, fault codes, the
// queue's revision and a page of the queue.
#include "fuzz/target.h"
#include "local/applemusicdirect.h"
#include "local/soap.h"
#include "local/speakerqueue.h"

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
    try {
        SpeakerQueue::page(reply, QStringLiteral("10.0.0.2"));
    } catch (const DecodeError &) {
    }
}
