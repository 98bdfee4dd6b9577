#pragma once

#include "localports.h"

#include "local/localconnections.h"

#include <memory>

namespace velotte {

// The local operations of the session bound to real speakers: the room and
// bass connections plus the single-speaker operations.
std::shared_ptr<LocalPorts> liveLocalPorts(GuestHouse &house, HostSource hosts);

} // namespace velotte
