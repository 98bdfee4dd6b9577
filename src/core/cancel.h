#pragma once

#include <QtGlobal>

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

namespace velotte {

// Thrown when a task notices it was cancelled; callers end silently on it.
class Cancelled : public std::exception {
public:
    const char *what() const noexcept override { return "cancelled"; }
};

// Shared cancellation flag. Copies observe the same state; callbacks let a
// reply in flight be aborted the moment the owner gives up on it.
class CancelToken {
public:
    CancelToken() : d(std::make_shared<State>()) {}

    bool isCancelled() const { return d->cancelled; }
    void throwIfCancelled() const
    {
        if (d->cancelled)
            throw Cancelled();
    }

    void cancel()
    {
        if (d->cancelled)
            return;
        d->cancelled = true;
        auto callbacks = std::move(d->callbacks);
        d->callbacks.clear();
        for (auto &[id, fn] : callbacks)
            fn();
    }

    // Runs fn once on cancel (at once when already cancelled). Returns an id
    // for removeCallback.
    int onCancel(std::function<void()> fn) const
    {
        if (d->cancelled) {
            fn();
            return 0;
        }
        const int id = ++d->nextID;
        d->callbacks.emplace(id, std::move(fn));
        return id;
    }
    void removeCallback(int id) const { d->callbacks.erase(id); }

    bool operator==(const CancelToken &other) const { return d == other.d; }

private:
    struct State {
        bool cancelled = false;
        int nextID = 0;
        std::map<int, std::function<void()>> callbacks;
    };
    std::shared_ptr<State> d;
};

// Removes a cancel callback when the scope ends.
class CancelGuard {
public:
    CancelGuard(const CancelToken &token, std::function<void()> fn)
        : m_token(token), m_id(token.onCancel(std::move(fn))) {}
    ~CancelGuard() { m_token.removeCallback(m_id); }
    CancelGuard(const CancelGuard &) = delete;
    CancelGuard &operator=(const CancelGuard &) = delete;

private:
    CancelToken m_token;
    int m_id;
};

} // namespace velotte
