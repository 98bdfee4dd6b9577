#pragma once

#include "core/failure.h"

namespace velotte {

// Failures of the speakers' alarm clock, each with its sentence.
class NewsAlarmFailure : public Failure {
public:
    enum class Kind { invalid, network, rejected, response, changed };
    explicit NewsAlarmFailure(Kind kind) : Failure(QStringLiteral("alarm failure %1").arg(int(kind))), m_kind(kind) {}
    Kind kind() const { return m_kind; }
    QString sentence() const override
    {
        switch (m_kind) {
        case Kind::invalid: return QStringLiteral("Choose a room, time, news source and at least one day.");
        case Kind::network: return QStringLiteral("Connect to the same Wi-Fi as your Sonos and allow Local Network access.");
        case Kind::rejected: return QStringLiteral("Sonos rejected this alarm. Check for another alarm at the same time, then refresh.");
        case Kind::response: return QStringLiteral("Sonos didn’t confirm the alarm. Refresh schedules before trying again.");
        case Kind::changed: break;
        }
        return QStringLiteral("This schedule changed or was removed in Sonos. Refresh schedules before editing it.");
    }

private:
    Kind m_kind;
};

} // namespace velotte
