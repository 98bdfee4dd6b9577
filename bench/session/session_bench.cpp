#include "cloud/sonosclient.h"
#include "services/fakecloud.h"
#include "session/housesession.h"
#include "session/directtransport.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <benchmark/benchmark.h>

#include <chrono>

using namespace velotte;

namespace {

class StaticTokens final : public TokenProvider {
public:
    QCoro::Task<QString> validToken() override { co_return QStringLiteral("token"); }
    QCoro::Task<QString> forceRefresh() override { co_return QStringLiteral("token"); }
};

class StoredSignIn final : public SignInService {
public:
    QCoro::Task<bool> restore() override { co_return true; }
    QCoro::Task<void> authorize() override { co_return; }
    void signOut() override {}
};

// From toggle() to the command leaving the transport: the program's own
// time, with the fake cloud answering in-process.
void ToggleToTransport(benchmark::State &state)
{
    fake::FakeCloud cloud;
    std::chrono::steady_clock::time_point sentAt;
    bool sent = false;
    test::DirectTransport transport([&](const fake::Request &r) {
        if (r.method == "POST" && !sent) {
            sentAt = std::chrono::steady_clock::now();
            sent = true;
        }
        return cloud.respond(r);
    });
    StaticTokens tokens;
    VirtualClock clock;
    SonosConfig config = SonosConfig::defaults();
    config.apiRoot = QUrl(QStringLiteral("http://cloud.test/control/api/v1"));
    SonosClient api(config, tokens, transport, clock);
    StoredSignIn signIn;
    HouseSession::Services services;
    services.api = &api;
    services.auth = &signIn;
    services.clock = &clock;
    HouseSession session(services);
    auto boot = session.bootstrap();
    QCoreApplication::processEvents();
    for (auto _ : state) {
        sent = false;
        const auto start = std::chrono::steady_clock::now();
        session.playback()->toggle();
        if (!sent)
            state.SkipWithError("the command did not leave");
        state.SetIterationTime(std::chrono::duration<double>(sentAt - start).count());
        QCoreApplication::processEvents();
    }
}
BENCHMARK(ToggleToTransport)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Cloud requests a minute over ten minutes on the virtual clock, with the
// panel shown (polling on, a group playing) and hidden. Start-up reads
// (household, groups, playback, library) are counted in the first minute.
void CloudRequestsPerMinute(benchmark::State &state)
{
    const bool shown = state.range(0) == 1;
    for (auto _ : state) {
        fake::FakeCloud cloud;
        test::DirectTransport transport([&](const fake::Request &r) { return cloud.respond(r); });
        StaticTokens tokens;
        VirtualClock clock;
        SonosConfig config = SonosConfig::defaults();
        config.apiRoot = QUrl(QStringLiteral("http://cloud.test/control/api/v1"));
        SonosClient api(config, tokens, transport, clock);
        StoredSignIn signIn;
        HouseSession::Services services;
        services.api = &api;
        services.auth = &signIn;
        services.clock = &clock;
        HouseSession session(services);
        auto boot = session.bootstrap();
        QCoreApplication::processEvents();
        session.setPollingEnabled(shown);
        QCoreApplication::processEvents();
        const std::size_t startUp = cloud.requests.size();
        for (int i = 0; i < 10 * 60 * 2; ++i) {
            clock.advance(std::chrono::milliseconds(500));
            QCoreApplication::processEvents();
        }
        state.counters["startup_requests"] = double(startUp);
        state.counters["requests_per_minute"] = double(cloud.requests.size() - startUp) / 10.0;
    }
}
BENCHMARK(CloudRequestsPerMinute)->Arg(1)->Arg(0)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
