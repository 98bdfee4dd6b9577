#include "local/avahibrowser.h"
#include "local/speakerfinder.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

namespace {
class FakeBrowse final : public BrowseBackend {
public:
    bool daemon = true;
    int starts = 0;
    int stops = 0;
    QStringList resolves;
    Events events;
    bool start(Events e) override
    {
        ++starts;
        events = std::move(e);
        return daemon;
    }
    void resolve(const QString &name) override { resolves << name; }
    void stop() override { ++stops; }
};

struct Finder : ::testing::Test {
    VirtualClock clock;
    FakeBrowse backend;
    SpeakerFinder finder{backend, clock};
    std::optional<QHash<QString, QString>> first, second;
    QCoro::Task<void> ask(std::optional<QHash<QString, QString>> &into, bool twice = false)
    {
        // No co_await inside a conditional expression: GCC 12 miscompiles it.
        if (twice)
            into = co_await finder.hosts();
        else
            into = co_await finder.lookup();
    }
};
} // namespace

TEST_F(Finder, OverlappingCallersShareOneBrowse)
{
    auto a = ask(first);
    auto b = ask(second);
    EXPECT_EQ(backend.starts, 1);
    backend.events.found(QStringLiteral("Sonos-RINCON_A@Living Room"));
    backend.events.found(QStringLiteral("Sonos-RINCON_A@Living Room")); // again over IPv6
    backend.events.found(QStringLiteral("Sonos-RINCON_B@Kitchen"));
    backend.events.found(QStringLiteral("C"));
    EXPECT_EQ(backend.resolves.size(), 3);
    backend.events.resolved(QStringLiteral("C"), std::nullopt, QStringLiteral("...")); // no name at all: left out
    clock.advance(1s);
    backend.events.resolved(QStringLiteral("Sonos-RINCON_A@Living Room"), QStringLiteral("192.168.1.20"), QStringLiteral("sonos-a.local."));
    clock.advance(1s); // B still resolving: no finish yet
    EXPECT_FALSE(first.has_value());
    backend.events.resolved(QStringLiteral("Sonos-RINCON_B@Kitchen"), std::nullopt, QStringLiteral("sonos-b.local.."));
    clock.advance(499ms);
    EXPECT_FALSE(first.has_value());
    clock.advance(1ms);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(*first, *second);
    EXPECT_EQ(first->value(QStringLiteral("Sonos-RINCON_A@Living Room")), QStringLiteral("192.168.1.20"));
    EXPECT_EQ(first->value(QStringLiteral("Sonos-RINCON_B@Kitchen")), QStringLiteral("sonos-b.local")); // IPv6 only: by name
    EXPECT_EQ(first->size(), 2);
    EXPECT_EQ(backend.stops, 1);
    EXPECT_FALSE(finder.browsing());
}

TEST_F(Finder, AnEmptyFirstAnswerIsAskedAgainOnce)
{
    auto a = ask(first, true);
    clock.advance(5s);
    backend.events.allForNow(); // re-arms for 8 s
    clock.advance(7999ms);
    EXPECT_EQ(backend.starts, 1);
    clock.advance(1ms);
    EXPECT_FALSE(first.has_value());
    EXPECT_EQ(backend.starts, 2); // the second attempt browses afresh
    backend.events.found(QStringLiteral("S"));
    backend.events.resolved(QStringLiteral("S"), QStringLiteral("10.0.0.9"), {});
    clock.advance(500ms);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->value(QStringLiteral("S")), QStringLiteral("10.0.0.9"));
}

TEST_F(Finder, EachResolutionAndEveryEventReArmsTheTimer)
{
    auto a = ask(first);
    backend.events.found(QStringLiteral("A"));
    backend.events.found(QStringLiteral("B"));
    backend.events.resolved(QStringLiteral("A"), QStringLiteral("10.0.0.1"), {});
    clock.advance(7s); // B is still resolving: the 8 s timer of the start runs on
    EXPECT_FALSE(first.has_value());
    backend.events.allForNow(); // 8 s from here
    clock.advance(7999ms);
    EXPECT_FALSE(first.has_value());
    backend.events.failed(QStringLiteral("B")); // the last one: 0.5 s from here
    clock.advance(499ms);
    EXPECT_FALSE(first.has_value());
    clock.advance(1ms);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(*first, (QHash<QString, QString>{{QStringLiteral("A"), QStringLiteral("10.0.0.1")}}));
    clock.advance(10s); // the voided timers fire into nothing
    EXPECT_EQ(backend.starts, 1);
    EXPECT_EQ(backend.stops, 1);
}

TEST_F(Finder, AWaiterThatBrowsesAgainDoesNotChangeTheOthersAnswer)
{
    std::optional<QHash<QString, QString>> again;
    auto eager = [&]() -> QCoro::Task<void> {
        co_await finder.lookup();
        again = co_await finder.lookup(); // starts the next browse at once
    };
    auto a = eager();
    auto b = ask(second);
    backend.events.found(QStringLiteral("S"));
    backend.events.resolved(QStringLiteral("S"), QStringLiteral("10.0.0.9"), {});
    clock.advance(500ms);
    EXPECT_EQ(backend.starts, 2);
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(second->value(QStringLiteral("S")), QStringLiteral("10.0.0.9"));
    EXPECT_FALSE(again.has_value());
    clock.advance(8s);
    ASSERT_TRUE(again.has_value());
    EXPECT_TRUE(again->isEmpty()); // the next browse starts from a clean map
}

TEST(AvahiFinder, NoDaemonMeansAnEmptyMapAtOnce)
{
    // A system bus that is not there: no daemon can be reached.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/velotte-test-bus");
    AvahiBrowser backend;
    VirtualClock clock;
    SpeakerFinder finder(backend, clock);
    const auto hosts = test::await(finder.hosts(), 5000);
    EXPECT_TRUE(hosts.isEmpty());
    EXPECT_FALSE(finder.browsing());
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}
