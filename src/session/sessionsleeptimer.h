#pragma once

#include "core/stillcurrent.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>

#include <optional>

namespace velotte {

class HouseSession;

// The speaker's own sleep timer on the active group's coordinator: it
// pauses the group when it runs out, whether this program runs or not.
class SessionSleepTimer : public QObject {
    Q_OBJECT
    Q_PROPERTY(QDateTime endsAt READ endsAt NOTIFY changed)
    Q_PROPERTY(bool running READ running NOTIFY changed)

public:
    explicit SessionSleepTimer(HouseSession &session);

    // Pauses after `millis`; none cancels.
    QCoro::Task<void> set(std::optional<qint64> millis);
    // The view's choices: minutes, 0 for off.
    Q_INVOKABLE void setMinutes(int minutes);
    QCoro::Task<void> refresh();

    // When the speaker pauses; invalid when no timer runs.
    QDateTime endsAt() const { return m_endsAt; }
    bool running() const { return m_endsAt.isValid(); }
    // Time left now, on the session's clock.
    std::optional<qint64> remainingMillis() const;

Q_SIGNALS:
    void changed();

private:
    void setRemaining(std::optional<qint64> millis);

    HouseSession &m_session;
    QDateTime m_endsAt;
    Token m_requestID;
};

} // namespace velotte
