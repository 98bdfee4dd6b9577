// NOTIFY bodies of the speakers: the property set, the LastChange document
// inside it and the records read from both, for every service.
#include "fuzz/target.h"
#include "local/speakerevent.h"

VELOTTE_FUZZ_TARGET(events)
{
    using namespace velotte;
    for (const EventService service : {EventService::transport, EventService::rendering, EventService::topology, EventService::queue})
        SpeakerEvent::read(service, data);
    SpeakerEvent::lastChange(fuzz::text(data));
}
