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
    fuzz::each<AppleMusicDirect::Failure>(data, [](const QByteArray &d) { AppleMusicDirect::revision(fuzz::text(d)); });
    fuzz::each<DecodeError>(data, [](const QByteArray &d) { SpeakerQueue::page(fuzz::text(d), QStringLiteral("10.0.0.2")); });
}
