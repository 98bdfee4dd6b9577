#pragma once

#include "localports.h"

#include "local/eventlistener.h"
#include "local/localconnections.h"

#include <memory>

namespace velotte {

// The local operations of the session bound to real speakers: the room and
// bass connections plus the single-speaker operations.
// The speakers' updates come to `eventPort` (0: any free port).
std::shared_ptr<LocalPorts> liveLocalPorts(GuestHouse &house, HostSource hosts, quint16 eventPort = EventListener::defaultPort);

} // namespace velotte
