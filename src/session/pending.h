#pragma once

#include "core/wakeup.h"

#include <memory>
#include <vector>

namespace velotte {

// Sends in flight, shared so that a send outliving the session stays safe;
// settle() waits until the count drops to zero.
struct PendingSends {
    int count = 0;
    std::vector<Wakeup> waiters;
};

class Pending {
public:
    explicit Pending(std::shared_ptr<PendingSends> state) : m_state(std::move(state)) { ++m_state->count; }
    ~Pending()
    {
        if (--m_state->count == 0) {
            auto waiters = std::move(m_state->waiters);
            m_state->waiters.clear();
            for (auto &w : waiters)
                w.fire();
        }
    }
    Pending(const Pending &) = delete;
    Pending &operator=(const Pending &) = delete;

private:
    std::shared_ptr<PendingSends> m_state;
};

} // namespace velotte
