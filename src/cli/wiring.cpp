#include "wiring.h"

#include "session/localports.h"

namespace velotte::cli {

struct Wiring::Parts {
    GlobalOptions options;
    std::shared_ptr<LocalPorts> local;
};

Wiring::Wiring(const GlobalOptions &options) : d(std::make_unique<Parts>())
{
    d->options = options;
}

Wiring::~Wiring() = default;

HouseSession::Services Wiring::services()
{
    HouseSession::Services s;
    if (d->options.guest || !d->options.speakers.isEmpty())
        s.arguments << QStringLiteral("-VelotteGuest");
    s.local = d->local;
    return s;
}

} // namespace velotte::cli
