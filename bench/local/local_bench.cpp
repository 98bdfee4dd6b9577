#include "core/networktransport.h"
#include "local/applemusicdirect.h"
#include "local/eventsubscriptions.h"
#include "local/guesthouse.h"
#include "local/speakerqueue.h"
#include "services/fakecaptures.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QTcpSocket>

#include <benchmark/benchmark.h>

using namespace velotte;

namespace {

// Sleeps until something happens, so the CPU column is the program's own time.
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

// One speaker with `latency` ms on every answer; `started` is false, and
// the benchmark says so, when its port cannot be bound.
struct OneSpeaker {
    fake::FakeSpeakers speakers;
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};
    QString host = speakers.speakers[0].host;
    bool started = speakers.start();
    OneSpeaker(benchmark::State &state, const QString &address, int latency) : speakers(address, 1)
    {
        speakers.speakers[0].latencyMs = latency;
        if (!started)
            state.SkipWithError("cannot bind port 1400");
    }
};

// The four reads of what plays overlap: close to one request's 20 ms.
void NowPlayingWith20msLatency(benchmark::State &state)
{
    OneSpeaker s(state, QStringLiteral("127.0.45.11"), 20);
    if (!s.started)
        return;
    run(s.house.nowPlaying(s.host)); // open the connections
    for (auto _ : state) {
        if (!run(s.house.nowPlaying(s.host)))
            state.SkipWithError("no answer");
    }
}
BENCHMARK(NowPlayingWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(30)->UseRealTime();

// 500 songs into a speaker's queue with 20 ms on every answer: the run is
// bound by round trips; what the program adds per batch is reported apart.
void Queue500SongsWith20msLatency(benchmark::State &state)
{
    OneSpeaker s(state, QStringLiteral("127.0.45.11"), 20);
    if (!s.started)
        return;
    QList<AppleMusicIdentity> songs;
    for (int i = 0; i < 500; ++i)
        songs.append({QString::number(1000000 + i), QStringLiteral("Song %1").arg(i), QStringLiteral("Band"), QStringLiteral("song")});
    int requests = 0;
    double overheadMs = 0;
    int batches = 0;
    AppleMusicDirect direct(s.transport, [&](QString host, QString action, Soap::Fields fields, CancelToken cancel) -> QCoro::Task<QString> {
        ++requests;
        QElapsedTimer t;
        t.start();
        const QString reply = co_await AppleMusicDirect::request(s.transport, host, action, fields, cancel);
        // The speaker's own 20 ms is not the program's time.
        if (action == QLatin1String("AddMultipleURIsToQueue")) {
            overheadMs += std::max(0.0, t.nsecsElapsed() / 1e6 - 20.0);
            ++batches;
        }
        co_return reply;
    });
    for (auto _ : state) {
        s.speakers.speakers[0].queue.clear();
        requests = 0;
        run([&]() -> QCoro::Task<bool> {
            co_await direct.play(songs, s.host, s.speakers.speakers[0].id, AppleMusicAction::replace);
            co_return true;
        }());
    }
    state.counters["requests"] = requests;
    state.counters["ms_per_batch_beyond_latency"] = batches ? overheadMs / batches : 0;
}
BENCHMARK(Queue500SongsWith20msLatency)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

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

// The program's own time for one event: from the last byte of a speaker's
// NOTIFY (the captured transport event, the largest kind) on a connected
// socket to its record delivered.
void NotifyToRecord(benchmark::State &state)
{
    EventListener listener(0);
    const QUrl callback = listener.callback(QStringLiteral("127.0.45.21"));
    listener.accept(QStringLiteral("uuid:bench"), QStringLiteral("127.0.45.21"), EventService::transport);
    int received = 0;
    QObject::connect(&listener, &EventListener::received, [&received](const SpeakerEvent &) { ++received; });
    const QByteArray body = fake::captures::text(QStringLiteral("event-avtransport.xml")).toUtf8();
    quint32 seq = 0;
    for (auto _ : state) {
        QTcpSocket socket;
        socket.bind(QHostAddress(QStringLiteral("127.0.45.21")));
        socket.connectToHost(QHostAddress(callback.host()), quint16(callback.port()));
        if (!test::until([&] { return socket.state() == QAbstractSocket::ConnectedState; })) {
            state.SkipWithError("no connection");
            return;
        }
        const QByteArray request = "NOTIFY /events HTTP/1.1\r\nNT: upnp:event\r\nNTS: upnp:propchange\r\nSID: uuid:bench\r\nSEQ: "
            + QByteArray::number(seq++) + "\r\nCONTENT-LENGTH: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
        const int before = received;
        QElapsedTimer t;
        t.start();
        socket.write(request);
        socket.flush();
        if (!test::until([&] { return received > before; })) {
            state.SkipWithError("no record");
            return;
        }
        state.SetIterationTime(double(t.nsecsElapsed()) / 1e9);
    }
    state.counters["bytes"] = double(body.size());
}
BENCHMARK(NotifyToRecord)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(200);

// A queue of 1,000 tracks with 10 ms on every answer: the first page, then
// the other nine together.
void Queue1000With10msLatency(benchmark::State &state)
{
    OneSpeaker s(state, QStringLiteral("127.0.45.41"), 10);
    if (!s.started)
        return;
    s.speakers.speakers[0].queue = fake::FakeSpeakers::generatedQueue(1000);
    SpeakerQueue queue(s.transport);
    for (auto _ : state) {
        if (run(queue.read(s.host)).items.size() != 1000)
            state.SkipWithError("short queue");
    }
}
BENCHMARK(Queue1000With10msLatency)->Unit(benchmark::kMillisecond)->Iterations(20)->UseRealTime();

} // namespace
