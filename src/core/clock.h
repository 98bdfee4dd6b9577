#pragma once

#include "cancel.h"

#include <QCoroTask>
#include <QDateTime>

#include <chrono>
#include <vector>

namespace velotte {

using Millis = std::chrono::milliseconds;

// The one clock of the program: wall time for readings, monotonic sleeps for
// loops, debounces and back-offs. Tests inject VirtualClock.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    virtual qint64 monotonicMillis() const = 0;
    // Returns after `duration`, or soon after `cancel` fires (check it).
    virtual QCoro::Task<void> sleep(Millis duration, CancelToken cancel = {}) = 0;

    // The process-wide real clock.
    static Clock &system();
};

class SystemClock final : public Clock {
public:
    SystemClock();
    QDateTime now() const override;
    qint64 monotonicMillis() const override;
    QCoro::Task<void> sleep(Millis duration, CancelToken cancel = {}) override;

private:
    qint64 m_origin;
};

// Time that moves only when a test says so. Sleepers wake in deadline order,
// each seeing the clock at its own deadline.
class VirtualClock final : public Clock {
public:
    explicit VirtualClock(QDateTime start = QDateTime(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC));
    // Wakes whoever still sleeps, so no waiting task outlives the clock.
    ~VirtualClock() override;
    QDateTime now() const override;
    qint64 monotonicMillis() const override { return m_mono; }
    QCoro::Task<void> sleep(Millis duration, CancelToken cancel = {}) override;

    // Moves time forward, waking every sleeper whose deadline is reached and
    // letting queued events run after each wake-up.
    void advance(Millis duration);
    // Moves the wall clock alone (a user changing the system time).
    void shiftWall(Millis duration) { m_wallOffset += duration.count(); }
    int sleepers() const { return int(m_sleepers.size()); }

private:
    struct Sleeper;
    QDateTime m_start;
    qint64 m_mono = 0;
    qint64 m_wallOffset = 0;
    quint64 m_seq = 0;
    std::vector<std::shared_ptr<Sleeper>> m_sleepers;
};

} // namespace velotte
