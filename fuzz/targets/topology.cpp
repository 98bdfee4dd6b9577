// The zone group state and its members, as a speaker's reply carries them.
#include "fuzz/target.h"
#include "local/guesthouse.h"
#include "local/soap.h"

VELOTTE_FUZZ_TARGET(topology)
{
    const QString reply = velotte::fuzz::text(data);
    const auto rooms = velotte::GuestHouse::rooms(reply);
    velotte::GuestHouse::snapshot(rooms, {}, {});
    velotte::GuestHouse::members(reply);
    velotte::GuestHouse::members(velotte::Soap::unescape(reply));
}
