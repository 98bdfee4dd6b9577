// DIDL-Lite track metadata, escaped as it arrives inside a reply.
#include "fuzz/target.h"
#include "local/guesthouse.h"
#include "local/soap.h"

VELOTTE_FUZZ_TARGET(didl)
{
    const QString text = velotte::fuzz::text(data);
    velotte::GuestHouse::track(text);
    velotte::GuestHouse::track(velotte::Soap::escape(text));
}
