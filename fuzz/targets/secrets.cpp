// The "SonosSecrets" property list.
#include "fuzz/target.h"
#include "cloud/sonosconfig.h"

VELOTTE_FUZZ_TARGET(secrets)
{
    velotte::SonosConfig::parse(data);
}
