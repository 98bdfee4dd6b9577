#pragma once

#include <coroutine>
#include <memory>
#include <utility>
#include <vector>

namespace velotte {

// A one-shot event coroutines can co_await. fire() resumes every waiter
// once; firing before anyone waits makes later waits return at once.
class Wakeup {
public:
    Wakeup() : d(std::make_shared<State>()) {}

    void fire() const
    {
        if (d->fired)
            return;
        d->fired = true;
        auto waiters = std::exchange(d->waiters, {});
        for (auto h : waiters)
            h.resume();
    }
    bool fired() const { return d->fired; }

    bool await_ready() const noexcept { return d->fired; }
    void await_suspend(std::coroutine_handle<> h) const { d->waiters.push_back(h); }
    void await_resume() const noexcept {}

private:
    struct State {
        bool fired = false;
        std::vector<std::coroutine_handle<>> waiters;
    };
    std::shared_ptr<State> d;
};

} // namespace velotte
