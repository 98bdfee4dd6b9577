#pragma once

#include "localports.h"

#include <QCoroTask>

#include <functional>
#include <memory>

namespace velotte {

class GuestHouse;

// Where speakers are found: a manual list, or Bonjour. Answers a map of
// service name (or host) to host.
using HostSource = std::function<QCoro::Task<QHash<QString, QString>>()>;

HostSource manualHosts(const QStringList &hosts);

// The local operations of the session bound to real speakers.
std::shared_ptr<LocalPorts> liveLocalPorts(GuestHouse &house, HostSource hosts);

} // namespace velotte
