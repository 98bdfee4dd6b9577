#include "cloud/fakes.h"
#include "cloud/records.h"
#include "cloud/sonosclient.h"

#include <benchmark/benchmark.h>

using namespace velotte;

namespace {

QByteArray favoritesBody(int n)
{
    QByteArray items;
    for (int i = 0; i < n; ++i) {
        items += (i ? "," : "") + QStringLiteral(R"({"id":"%1","name":"Favorite number %1 with a realistic name","description":"Playlist",)"
                                                 R"("imageUrl":"https://images.example.test/%1.jpg","service":{"name":"Apple Music","id":"52231"},)"
                                                 R"("resource":{"type":"PLAYLIST"}})").arg(i).toUtf8();
    }
    return R"({"version":"1","items":[)" + items + "]}";
}

QByteArray groupsBody(int players)
{
    QByteArray groups, list;
    for (int i = 0; i < players; ++i) {
        const QByteArray id = QStringLiteral("RINCON_%1").arg(i, 12, 16, QLatin1Char('0')).toUpper().toUtf8() + "01400";
        list += (i ? "," : "") + QStringLiteral(R"({"id":"%1","name":"Room %2","websocketUrl":"wss://192.168.1.%3:1443/websocket/api",)"
                                                R"("capabilities":["PLAYBACK","CLOUD"]})").arg(QLatin1String(id)).arg(i).arg(i + 10).toUtf8();
        if (i % 2 == 0) {
            groups += (i ? "," : "") + QStringLiteral(R"({"id":"%1:12","name":"Room %2","coordinatorId":"%1",)"
                                                      R"("playbackState":"PLAYBACK_STATE_IDLE","playerIds":["%1"]})").arg(QLatin1String(id)).arg(i).toUtf8();
        }
    }
    return R"({"groups":[)" + groups + R"(],"players":[)" + list + "]}";
}

void DecodeFavorites500(benchmark::State &state)
{
    const QByteArray body = favoritesBody(500);
    for (auto _ : state)
        benchmark::DoNotOptimize(Decode::favorites(body));
}
BENCHMARK(DecodeFavorites500)->Unit(benchmark::kMicrosecond);

void DecodeGroups32(benchmark::State &state)
{
    const QByteArray body = groupsBody(32);
    for (auto _ : state)
        benchmark::DoNotOptimize(Decode::groups(body));
}
BENCHMARK(DecodeGroups32)->Unit(benchmark::kMicrosecond);

// One GET through the whole pipeline (token, horizon, request building,
// decoding) against a transport that answers at once.
void ClientGetPipeline(benchmark::State &state)
{
    test::StaticTokens tokens;
    const QByteArray body = R"({"playbackState":"PLAYBACK_STATE_PLAYING","positionMillis":1234,"playModes":{"shuffle":false}})";
    FunctionTransport transport([&body](HttpRequest, CancelToken) -> QCoro::Task<HttpResponse> { co_return HttpResponse{200, body, {}}; });
    SonosConfig config = SonosConfig::defaults();
    config.clientID = QStringLiteral("id");
    SonosClient client(config, tokens, transport);
    for (auto _ : state) {
        auto task = client.playback(QStringLiteral("RINCON_48A6B8C0FFEE01400:1845"));
        benchmark::DoNotOptimize(task.isReady());
    }
}
BENCHMARK(ClientGetPipeline)->Unit(benchmark::kMicrosecond);

} // namespace
