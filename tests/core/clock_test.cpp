#include "core/clock.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

namespace {
QCoro::Task<void> sleeper(Clock &clock, Millis d, std::vector<int> &order, int id, CancelToken cancel = {})
{
    co_await clock.sleep(d, cancel);
    order.push_back(cancel.isCancelled() ? -id : id);
}
} // namespace

TEST(VirtualClock, WakesSleepersInDeadlineOrderAtTheirOwnTimeOrOnCancel)
{
    VirtualClock clock;
    const QDateTime start = clock.now();
    std::vector<int> order;
    qint64 seenAt = -1;
    int ticks = 0;
    auto a = sleeper(clock, 300ms, order, 1);
    auto b = sleeper(clock, 100ms, order, 2);
    auto cBody = [&]() -> QCoro::Task<void> {
        co_await clock.sleep(200ms);
        seenAt = clock.monotonicMillis();
        for (int i = 0; i < 10; ++i) { // chained sleeps within one advance all run
            co_await clock.sleep(500ms);
            ++ticks;
        }
    };
    auto c = cBody();
    clock.advance(150ms);
    EXPECT_EQ(order, (std::vector<int>{2}));
    clock.advance(2650ms);
    EXPECT_EQ(order, (std::vector<int>{2, 1}));
    EXPECT_EQ(seenAt, 200);
    EXPECT_EQ(ticks, 5);
    EXPECT_EQ(start.msecsTo(clock.now()), 2800);
    clock.advance(10s);
    EXPECT_EQ(ticks, 10);

    CancelToken cancel;
    auto d = sleeper(clock, 10s, order, 7, cancel);
    EXPECT_EQ(clock.sleepers(), 1);
    cancel.cancel();
    EXPECT_EQ(order.size(), 2u); // never resumed inside cancel()
    test::drain();
    EXPECT_EQ(order.back(), -7);
    EXPECT_EQ(clock.sleepers(), 0);
}

TEST(SystemClock, SleepsAndCancels)
{
    test::await(Clock::system().sleep(30ms));
    // A minute's sleep that did not end on cancel would outlast the wait.
    CancelToken cancel;
    QTimer::singleShot(10, [&] { cancel.cancel(); });
    test::await(Clock::system().sleep(60s, cancel));
}

TEST(CancelToken, CallbacksRunOnceAndCanBeRemoved)
{
    CancelToken token;
    int runs = 0;
    const int removed = token.onCancel([&] { runs += 100; });
    token.onCancel([&] { ++runs; });
    token.removeCallback(removed);
    CancelToken copy = token;
    copy.cancel();
    token.cancel();
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(token.isCancelled());
    EXPECT_THROW(token.throwIfCancelled(), Cancelled);
    token.onCancel([&] { ++runs; }); // already cancelled: runs at once
    EXPECT_EQ(runs, 2);
}
