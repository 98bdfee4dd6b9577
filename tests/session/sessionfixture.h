#pragma once

#include "directtransport.h"

#include "cloud/fakes.h"
#include "cloud/sonosclient.h"
#include "services/fakecloud.h"
#include "session/housesession.h"
#include "session/localports.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

namespace velotte::test {

// A sign-in that is already there (or not), counting what the session asks.
class FakeSignIn final : public SignInService {
public:
    bool stored = true;
    int restores = 0;
    int signOuts = 0;
    bool failAuthorize = false;
    QCoro::Task<bool> restore() override
    {
        ++restores;
        co_return bool(stored);
    }
    QCoro::Task<void> authorize() override
    {
        if (failAuthorize)
            throw Cancelled();
        stored = true;
        co_return;
    }
    void signOut() override
    {
        ++signOuts;
        stored = false;
    }
};

// A local household of functions: two rooms, counting reads.
struct FakeLocal {
    LocalSnapshot snapshot;
    LocalNow now;
    bool reachable = true;
    int discovers = 0;
    int reads = 0;
    QStringList commands;

    FakeLocal()
    {
        snapshot.players = {{QStringLiteral("RINCON_A"), QStringLiteral("Kitchen")}, {QStringLiteral("RINCON_B"), QStringLiteral("Den")}};
        snapshot.groups = {{QStringLiteral("RINCON_A:1"), QStringLiteral("Kitchen"), QStringLiteral("RINCON_A"), std::nullopt, {QStringLiteral("RINCON_A")}},
                           {QStringLiteral("RINCON_B:1"), QStringLiteral("Den"), QStringLiteral("RINCON_B"), std::nullopt, {QStringLiteral("RINCON_B")}}};
        snapshot.hosts = {{QStringLiteral("RINCON_A"), QStringLiteral("127.0.0.11")}, {QStringLiteral("RINCON_B"), QStringLiteral("127.0.0.12")}};
        now = {QStringLiteral("Salt & Pepper"), QStringLiteral("The Condiments"), 5000, 200000, true, 30, true, true, true};
    }

    // Each command is recorded and succeeds while the speakers are reachable.
    QCoro::Task<bool> sent(QString command)
    {
        commands << command;
        co_return bool(reachable);
    }
    QCoro::Task<std::optional<int>> reading(int value) { co_return reachable ? std::optional<int>(value) : std::nullopt; }

    std::shared_ptr<LocalPorts> ports()
    {
        auto p = std::make_shared<LocalPorts>();
        p->discover = [this]() -> QCoro::Task<LocalSnapshot> {
            ++discovers;
            co_return reachable ? snapshot : LocalSnapshot{};
        };
        p->nowPlaying = [this](QString) -> QCoro::Task<std::optional<LocalNow>> {
            ++reads;
            co_return reachable ? std::optional<LocalNow>(now) : std::nullopt;
        };
        p->transport = [this](QString action, QString host) {
            if (action == QLatin1String("Pause") || action == QLatin1String("Play"))
                now.playing = action == QLatin1String("Play");
            return sent(action + QLatin1Char('@') + host);
        };
        p->seek = [this](QString host, qint64 millis) { return sent(QStringLiteral("Seek %1@%2").arg(millis).arg(host)); };
        p->playMode = [this](QString, bool shuffle, bool repeats) { return sent(QStringLiteral("PlayMode %1 %2").arg(shuffle).arg(repeats)); };
        p->volume = [this](QString host) { return reading(volumes.value(host, 20)); };
        p->setVolume = [this](QString host, int volume) {
            volumes[host] = volume;
            return sent(QStringLiteral("Volume %1@%2").arg(volume).arg(host));
        };
        p->setMuted = [this](QString host, bool muted) { return sent(QStringLiteral("Mute %1@%2").arg(muted).arg(host)); };
        p->bass = [this](QString) { return reading(bassLevel); };
        p->setBass = [this](QString host, int level) {
            if (reachable)
                bassLevel = level;
            return sent(QStringLiteral("Bass %1@%2").arg(level).arg(host));
        };
        p->hostForPlayer = [this](QString player) -> QCoro::Task<std::optional<QString>> {
            co_return bonjour.value(player).isEmpty() ? std::nullopt : std::optional<QString>(bonjour.value(player));
        };
        p->join = [this](QString coordinator, QString host) { return sent(QStringLiteral("Join %1@%2").arg(coordinator, host)); };
        p->separate = [this](QString host) { return sent(QStringLiteral("Separate@%1").arg(host)); };
        p->delegate = [this](QString coordinator, QString host) { return sent(QStringLiteral("Delegate %1@%2").arg(coordinator, host)); };
        return p;
    }
    // The two rooms as one group the kitchen leads.
    void groupBoth()
    {
        snapshot.groups = {{QStringLiteral("RINCON_A:1"), QStringLiteral("Kitchen + 1"), QStringLiteral("RINCON_A"), std::nullopt,
                            {QStringLiteral("RINCON_A"), QStringLiteral("RINCON_B")}}};
    }
    QHash<QString, int> volumes;
    int bassLevel = 0;
    QHash<QString, QString> bonjour; // player id -> host found by Bonjour
};

struct SessionTest : ::testing::Test {
    VirtualClock clock;
    fake::FakeCloud cloud;
    DirectTransport transport{[this](const fake::Request &r) { return cloud.respond(r); }};
    StaticTokens tokens;
    std::unique_ptr<SonosClient> api;
    FakeSignIn signIn;
    FakeLocal local;
    std::unique_ptr<HouseSession> session;

    // A new session; `more` adds the services a test needs beyond these.
    void make(QStringList arguments = {}, const std::function<void(HouseSession::Services &)> &more = {})
    {
        SonosConfig config = SonosConfig::defaults();
        config.clientID = QStringLiteral("id");
        config.apiRoot = QUrl(QStringLiteral("http://cloud.test/control/api/v1"));
        api = std::make_unique<SonosClient>(config, tokens, transport, clock);
        HouseSession::Services services;
        services.api = api.get();
        services.auth = &signIn;
        services.local = local.ports();
        services.clock = &clock;
        services.arguments = arguments;
        if (more)
            more(services);
        session = std::make_unique<HouseSession>(services);
    }
    void SetUp() override { make(); }
    // Started, with the requests of the start forgotten.
    void boot()
    {
        test::await(session->bootstrap());
        cloud.requests.clear();
    }
    // A new session on the local household alone.
    void bootLocally()
    {
        signIn.stored = false;
        make();
        test::await(session->bootstrap());
    }
    // Lets every held reply go, and the ones they lead to.
    void releaseAll()
    {
        transport.hold = false;
        while (!transport.held.empty()) {
            transport.release();
            test::drain();
        }
    }
    // Each POST as "route body", or only the bodies of routes ending in `suffix`.
    QStringList posts(const QString &suffix = {}) const
    {
        QStringList out;
        for (const auto &r : cloud.requests) {
            if (r.method == "POST" && suffix.isEmpty())
                out << r.path.section(QLatin1Char('/'), 2) + QLatin1Char(' ') + QString::fromUtf8(r.body);
            else if (r.method == "POST" && r.path.endsWith(suffix))
                out << QString::fromUtf8(r.body);
        }
        return out;
    }

    int cloudReads(const QString &suffix = QStringLiteral("/playback")) const
    {
        int n = 0;
        for (const auto &r : cloud.requests)
            n += r.method == "GET" && r.path.endsWith(suffix);
        return n;
    }
    void ticks(int n)
    {
        for (int i = 0; i < n; ++i)
            clock.advance(std::chrono::milliseconds(500));
    }
    // Runs a task that sleeps on the virtual clock, moving time on in small
    // steps until it ends.
    template <typename T>
    T run(QCoro::Task<T> task)
    {
        std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> value;
        bool done = false;
        auto body = [&]() -> QCoro::Task<void> {
            if constexpr (std::is_void_v<T>)
                co_await task;
            else
                value.emplace(co_await task);
            done = true;
        };
        auto runner = body();
        for (int i = 0; i < 600 && !done; ++i) {
            test::drain();
            if (!done)
                clock.advance(std::chrono::milliseconds(50));
        }
        EXPECT_TRUE(done) << "the task still sleeps after 30 virtual seconds";
        if constexpr (!std::is_void_v<T>)
            return value.value_or(T{});
    }
    QString living() const { return cloud.groups.front().id; }
};

struct Booted : SessionTest {
    void SetUp() override
    {
        make();
        boot();
    }
};

} // namespace velotte::test
