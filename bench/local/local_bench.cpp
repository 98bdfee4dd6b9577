#include "testkit/testkit.h"
#include "core/networktransport.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "services/fakespeakers.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>

#include <benchmark/benchmark.h>

using namespace velotte;

namespace {

// One speaker with 20 ms of latency on every answer.
struct SlowSpeaker {
    fake::FakeSpeakers speakers{QStringLiteral("127.0.45.11"), 1};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};
    QString host = speakers.speakers[0].host;
    bool started = speakers.start();
    SlowSpeaker() { speakers.speakers[0].latencyMs = 20; }
    bool ready(benchmark::State &state)
    {
        if (!started)
            state.SkipWithError("cannot bind port 1400 on 127.0.45.11");
        return started;
    }
};

// The baseline: a single request.
void OneRequestWith20msLatency(benchmark::State &state)
{
    SlowSpeaker s;
    if (!s.ready(state))
        return;
    test::await(s.house.volume(s.host)); // open the connection
    for (auto _ : state) {
        if (!test::await(s.house.volume(s.host)))
            state.SkipWithError("no answer");
    }
}
BENCHMARK(OneRequestWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(30)->UseRealTime();

// The four reads of what plays overlap: close to one request's latency.
void NowPlayingWith20msLatency(benchmark::State &state)
{
    SlowSpeaker s;
    if (!s.ready(state))
        return;
    test::await(s.house.nowPlaying(s.host)); // open the connections
    for (auto _ : state) {
        if (!test::await(s.house.nowPlaying(s.host)))
            state.SkipWithError("no answer");
    }
}
BENCHMARK(NowPlayingWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(30)->UseRealTime();

QList<AppleMusicIdentity> songs500()
{
    QList<AppleMusicIdentity> songs;
    for (int i = 0; i < 500; ++i)
        songs.append({QString::number(1000000 + i), QStringLiteral("Song %1").arg(i), QStringLiteral("Band"), QStringLiteral("song")});
    return songs;
}

// 500 songs into a speaker's queue with 20 ms on every answer: the run is
// bound by round trips.
void Queue500SongsWith20msLatency(benchmark::State &state)
{
    SlowSpeaker s;
    if (!s.ready(state))
        return;
    int requests = 0;
    AppleMusicDirect direct(s.transport, [&](QString host, QString action, Soap::Fields fields, CancelToken cancel) {
        ++requests;
        return AppleMusicDirect::request(s.transport, host, action, fields, cancel);
    });
    for (auto _ : state) {
        s.speakers.speakers[0].queue.clear();
        requests = 0;
        test::await(direct.play(songs500(), s.host, s.speakers.speakers[0].id, AppleMusicAction::replace), 60000);
    }
    state.counters["requests"] = requests;
}
BENCHMARK(Queue500SongsWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// The same run with a speaker that answers at once: what the program itself
// spends per batch (resources, envelopes, reply checks).
void Queue500SongsProgramOnly(benchmark::State &state)
{
    const QList<AppleMusicIdentity> songs = songs500();
    int length = 0;
    FunctionTransport none([](HttpRequest, CancelToken) -> QCoro::Task<HttpResponse> { co_return HttpResponse{}; });
    AppleMusicDirect direct(none, [&length](QString, QString action, Soap::Fields fields, CancelToken) -> QCoro::Task<QString> {
        if (action != QLatin1String("AddMultipleURIsToQueue"))
            co_return QString();
        const int n = fields[2].second.toInt();
        const int first = length + 1;
        length += n;
        // Through the real envelope builder, as the live request would.
        const QString envelope = Soap::shortEnvelope(Soap::avTransport, action, fields);
        benchmark::DoNotOptimize(envelope);
        co_return QStringLiteral("<FirstTrackNumberEnqueued>%1</FirstTrackNumberEnqueued><NumTracksAdded>%2</NumTracksAdded>"
                                 "<NewQueueLength>%3</NewQueueLength><NewUpdateID>%4</NewUpdateID>")
            .arg(first)
            .arg(n)
            .arg(length)
            .arg(length);
    });
    for (auto _ : state) {
        length = 0;
        test::await(direct.play(songs, QStringLiteral("10.0.0.2"), QStringLiteral("RINCON_A"), AppleMusicAction::replace));
    }
    state.counters["us_per_batch"] = benchmark::Counter(33, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(Queue500SongsProgramOnly)->Unit(benchmark::kMillisecond);

void Parse32SpeakerTopology(benchmark::State &state)
{
    // The fake household's own report: a stereo pair, a home theatre with
    // satellites, dozens of attributes per member.
    const fake::FakeSpeakers speakers(QStringLiteral("10.20.0.11"), 32);
    const QString reply = QStringLiteral("<s:Envelope><s:Body><u:GetZoneGroupStateResponse><ZoneGroupState>") + Soap::escape(speakers.zoneGroupState())
        + QStringLiteral("</ZoneGroupState></u:GetZoneGroupStateResponse></s:Body></s:Envelope>");
    state.counters["bytes"] = double(reply.size());
    for (auto _ : state)
        benchmark::DoNotOptimize(GuestHouse::rooms(reply));
}
BENCHMARK(Parse32SpeakerTopology)->Unit(benchmark::kMicrosecond);

} // namespace
