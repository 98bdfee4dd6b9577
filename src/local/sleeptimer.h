#pragma once

#include "core/http.h"

#include <QCoroTask>
#include <QString>

#include <optional>

namespace velotte {

// The speaker's own sleep timer: it pauses the group when it runs out, with
// or without this program. Sent to the group's coordinator.
struct SleepTimer {
    // Pauses after `duration` (clamped to a second up to a day); none or
    // nothing left cancels. Throws SpeakerFault.
    static QCoro::Task<void> set(HttpTransport &transport, QString host, std::optional<qint64> millis);
    // The time left; none when no timer runs. Throws SpeakerFault.
    static QCoro::Task<std::optional<qint64>> remaining(HttpTransport &transport, QString host);
};

} // namespace velotte
