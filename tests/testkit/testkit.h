#pragma once

#include "core/cancel.h"
#include "core/http.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace velotte::test {

// Runs the event loop until `done` holds; false when it still does not
// after limitMs of real time (a guard against hanging, not a measure).
inline bool until(const std::function<bool()> &done, int limitMs = 10000)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > limitMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

// Runs a task to its end on a nested event loop and returns its value or
// rethrows its exception. Never hangs: gives up after limitMs of real time.
template<typename T>
T await(QCoro::Task<T> task, int limitMs = 20000)
{
    using Value = std::conditional_t<std::is_void_v<T>, bool, T>;
    std::optional<Value> value;
    std::exception_ptr error;
    bool done = false;
    auto body = [&](QCoro::Task<T> t) -> QCoro::Task<void> {
        try {
            if constexpr (std::is_void_v<T>) {
                co_await t;
                value.emplace(true);
            } else {
                value.emplace(co_await t);
            }
        } catch (...) {
            error = std::current_exception();
        }
        done = true;
    };
    auto runner = body(std::move(task));
    if (!until([&] { return done; }, limitMs))
        throw std::runtime_error("task did not finish in time");
    if (error)
        std::rethrow_exception(error);
    if constexpr (!std::is_void_v<T>)
        return std::move(*value);
}

// What a task failed with, as E; nothing when it finished. Any other
// exception escapes and fails the test.
template<typename E, typename T>
std::optional<E> failure(QCoro::Task<T> task, int limitMs = 20000)
{
    try {
        await(std::move(task), limitMs);
    } catch (const E &e) {
        return e;
    }
    return std::nullopt;
}

// The sentence of the failure a task ended with; nothing when it finished.
template<typename T>
std::optional<QString> failureSentence(QCoro::Task<T> task)
{
    try {
        await(std::move(task));
    } catch (const Failure &e) {
        return e.sentence();
    }
    return std::nullopt;
}

// Lets queued events and zero-timers run.
inline void drain(int rounds = 5)
{
    for (int i = 0; i < rounds; ++i)
        QCoreApplication::processEvents();
}


// A transport that records every request and answers from a script.
class RecordingTransport final : public HttpTransport {
public:
    using Handler = std::function<QCoro::Task<HttpResponse>(const HttpRequest &, CancelToken)>;
    explicit RecordingTransport(Handler handler = {}) : m_handler(std::move(handler)) {}
    void setHandler(Handler handler) { m_handler = std::move(handler); }

    QCoro::Task<HttpResponse> send(HttpRequest request, CancelToken cancel = {}) override
    {
        requests.push_back(request);
        cancel.throwIfCancelled();
        if (!m_handler)
            co_return HttpResponse{200, "{}", {}};
        co_return co_await m_handler(requests.back(), cancel);
    }

    std::vector<HttpRequest> requests;

private:
    Handler m_handler;
};

inline HttpResponse reply(int status, QByteArray body = {}, Headers headers = {})
{
    return HttpResponse{status, std::move(body), std::move(headers)};
}

} // namespace velotte::test
