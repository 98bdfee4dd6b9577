#pragma once

#include "cloud/tokenprovider.h"

#include <QCoreApplication>
#include <QCoroTask>

#include <optional>

namespace velotte::bench {

// A signed-in client's tokens, with nothing to refresh.
class StaticTokens final : public TokenProvider {
public:
    QCoro::Task<QString> validToken() override { co_return QStringLiteral("token"); }
    QCoro::Task<QString> forceRefresh() override { co_return QStringLiteral("token"); }
};

// Runs a task to its end on the event loop, sleeping until something happens.
template<typename T>
T run(QCoro::Task<T> task)
{
    std::optional<T> out;
    auto body = [&]() -> QCoro::Task<void> { out = co_await task; };
    auto t = body();
    while (!out)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    return *out;
}

} // namespace velotte::bench
