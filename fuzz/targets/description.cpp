// A speaker's device description.
#include "fuzz/target.h"
#include "local/guesthouse.h"

VELOTTE_FUZZ_TARGET(description)
{
    velotte::GuestHouse::identityOf(velotte::fuzz::text(data));
}
