#pragma once

#include <coroutine>
#include <memory>
#include <utility>

namespace velotte {

// A one-shot event a coroutine can co_await. fire() resumes the waiter (at
// most once); firing before anyone waits makes the wait return at once.
class Wakeup {
public:
    Wakeup() : d(std::make_shared<State>()) {}

    void fire() const
    {
        if (d->fired)
            return;
        d->fired = true;
        if (auto h = std::exchange(d->waiter, nullptr))
            h.resume();
    }
    bool fired() const { return d->fired; }

    bool await_ready() const noexcept { return d->fired; }
    void await_suspend(std::coroutine_handle<> h) const noexcept { d->waiter = h; }
    void await_resume() const noexcept {}

private:
    struct State {
        bool fired = false;
        std::coroutine_handle<> waiter;
    };
    std::shared_ptr<State> d;
};

} // namespace velotte
