#include "core/networktransport.h"
#include "local/guesthouse.h"
#include "services/fakespeakers.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>

#include <benchmark/benchmark.h>

using namespace velotte;

namespace {

template<typename T>
T run(QCoro::Task<T> task)
{
    std::optional<T> out;
    auto body = [&]() -> QCoro::Task<void> { out = co_await task; };
    auto t = body();
    while (!out)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents); // sleeps until something happens
    return *out;
}

// One speaker with 20 ms of latency on every answer.
struct SlowSpeaker {
    fake::FakeSpeakers speakers{QStringLiteral("127.0.45.11"), 1};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};
    QString host = speakers.speakers[0].host;
    bool started = speakers.start();
    SlowSpeaker() { speakers.speakers[0].latencyMs = 20; }
};

// The baseline: a single request.
void OneRequestWith20msLatency(benchmark::State &state)
{
    SlowSpeaker s;
    if (!s.started) {
        state.SkipWithError("cannot bind port 1400 (needs root)");
        return;
    }
    run(s.house.volume(s.host)); // open the connection
    for (auto _ : state) {
        if (!run(s.house.volume(s.host)))
            state.SkipWithError("no answer");
    }
}
BENCHMARK(OneRequestWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(30)->UseRealTime();

// The four reads of what plays overlap: close to one request's latency.
void NowPlayingWith20msLatency(benchmark::State &state)
{
    SlowSpeaker s;
    if (!s.started) {
        state.SkipWithError("cannot bind port 1400 (needs root)");
        return;
    }
    run(s.house.nowPlaying(s.host)); // open the connections
    for (auto _ : state) {
        if (!run(s.house.nowPlaying(s.host)))
            state.SkipWithError("no answer");
    }
}
BENCHMARK(NowPlayingWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(30)->UseRealTime();

QString household(int n)
{
    QString groups;
    for (int i = 0; i < n; ++i) {
        const QString id = QStringLiteral("RINCON_%1%2").arg(i, 12, 16, QLatin1Char('0')).arg(QStringLiteral("01400")).toUpper();
        groups += QStringLiteral("<ZoneGroup Coordinator=\"%1\" ID=\"%1:%2\"><ZoneGroupMember UUID=\"%1\" Location=\"http://10.1.0.%2:1400/xml/device_description.xml\" "
                                 "ZoneName=\"Room %2\" Icon=\"x-rincon-roomicon:office\" Configuration=\"1\" SoftwareVersion=\"80.1-55240\" SWGen=\"2\" "
                                 "MinCompatibleVersion=\"79.0-00000\" BootSeq=\"93\" WirelessMode=\"0\" ChannelFreq=\"2437\" WifiEnabled=\"1\" "
                                 "RoomCalibrationState=\"4\" SecureRegState=\"3\" AirPlayEnabled=\"1\" IdleState=\"1\" MoreInfo=\"\" SSLPort=\"1443\"/></ZoneGroup>")
                      .arg(id).arg(i);
    }
    QString state = QStringLiteral("<ZoneGroupState><ZoneGroups>") + groups + QStringLiteral("</ZoneGroups></ZoneGroupState>");
    state.replace(QLatin1Char('&'), QStringLiteral("&amp;")).replace(QLatin1Char('<'), QStringLiteral("&lt;")).replace(QLatin1Char('>'), QStringLiteral("&gt;")).replace(QLatin1Char('"'), QStringLiteral("&quot;"));
    return QStringLiteral("<s:Envelope><s:Body><u:R><ZoneGroupState>") + state + QStringLiteral("</ZoneGroupState></u:R></s:Body></s:Envelope>");
}

void Parse32SpeakerTopology(benchmark::State &state)
{
    const QString reply = household(32);
    for (auto _ : state)
        benchmark::DoNotOptimize(GuestHouse::rooms(reply));
}
BENCHMARK(Parse32SpeakerTopology)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
