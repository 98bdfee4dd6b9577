#include "cloud/fakes.h"
#include "cloud/sonosclient.h"
#include "services/fakecloud.h"
#include "session/housesession.h"
#include "session/directtransport.h"

#include <benchmark/benchmark.h>

#include <chrono>

using namespace velotte;

namespace {

class StoredSignIn final : public SignInService {
public:
    QCoro::Task<bool> restore() override { co_return true; }
    QCoro::Task<void> authorize() override { co_return; }
    void signOut() override {}
};

// A signed-in session on the fake cloud, answering in-process on a virtual clock.
struct CloudSession {
    fake::FakeCloud cloud;
    std::function<void(const fake::Request &)> onRequest = [](const fake::Request &) {};
    test::DirectTransport transport{[this](const fake::Request &r) {
        onRequest(r);
        return cloud.respond(r);
    }};
    test::StaticTokens tokens;
    VirtualClock clock;
    SonosClient api{config(), tokens, transport, clock};
    StoredSignIn signIn;
    HouseSession session{services()};
    QCoro::Task<void> boot = session.bootstrap();

    CloudSession() { QCoreApplication::processEvents(); }
    static SonosConfig config()
    {
        SonosConfig c = SonosConfig::defaults();
        c.apiRoot = QUrl(QStringLiteral("http://cloud.test/control/api/v1"));
        return c;
    }
    HouseSession::Services services()
    {
        HouseSession::Services s;
        s.api = &api;
        s.auth = &signIn;
        s.clock = &clock;
        return s;
    }
};

// From toggle() to the command leaving the transport: the program's own
// time, with the fake cloud answering in-process.
void ToggleToTransport(benchmark::State &state)
{
    CloudSession s;
    std::chrono::steady_clock::time_point sentAt;
    bool sent = false;
    s.onRequest = [&](const fake::Request &r) {
        if (r.method == "POST" && !sent) {
            sentAt = std::chrono::steady_clock::now();
            sent = true;
        }
    };
    for (auto _ : state) {
        sent = false;
        const auto start = std::chrono::steady_clock::now();
        s.session.playback()->toggle();
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
    for (auto _ : state) {
        CloudSession s;
        s.session.setPollingEnabled(state.range(0) == 1);
        QCoreApplication::processEvents();
        const std::size_t startUp = s.cloud.requests.size();
        for (int i = 0; i < 10 * 60 * 2; ++i) {
            s.clock.advance(std::chrono::milliseconds(500));
            QCoreApplication::processEvents();
        }
        state.counters["startup_requests"] = double(startUp);
        state.counters["requests_per_minute"] = double(s.cloud.requests.size() - startUp) / 10.0;
    }
}
BENCHMARK(CloudRequestsPerMinute)->Arg(1)->Arg(0)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
