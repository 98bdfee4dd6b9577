#pragma once

#include "guesthouse.h"

#include <QCoroTask>
#include <QHash>

#include <functional>
#include <optional>

namespace velotte {

// Where speakers are found: a manual list, or Bonjour. Answers a map of
// service name (or host) to host.
using HostSource = std::function<QCoro::Task<QHash<QString, QString>>()>;
HostSource manualHosts(const QStringList &hosts);
// The manual list when one is given (each host its own entry), else Bonjour
// through the shared finder.
HostSource speakerHosts(const QStringList &manual);

// The room operations of local-only operation, each a replaceable function
// so tests and the demo can stand in for the network.
struct LocalHouseConnection {
    std::function<QCoro::Task<GuestHouse::Snapshot>()> discover;
    std::function<QCoro::Task<std::optional<GuestHouse::Now>>(QString host)> nowPlaying;
    std::function<QCoro::Task<bool>(QString coordinator, QString host)> join;
    std::function<QCoro::Task<bool>(QString host)> separate;
    std::function<QCoro::Task<bool>(QString coordinator, QString host)> delegate;

    static LocalHouseConnection live(GuestHouse &house, HostSource hosts);
};

// Bass lives on the local network even in cloud operation.
struct LocalBassConnection {
    std::function<QCoro::Task<QHash<QString, QString>>()> discover; // service name -> host
    std::function<QCoro::Task<std::optional<int>>(QString host)> read;
    std::function<QCoro::Task<bool>(QString host, int bass)> write;

    static LocalBassConnection live(GuestHouse &house, HostSource hosts);
    // The host of the first service whose name carries the player's device id.
    static std::optional<QString> host(const QString &playerID, const QHash<QString, QString> &services);
    static QString deviceID(const QString &text);
};

} // namespace velotte
