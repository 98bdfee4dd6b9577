#include "cloud/fakes.h"
#include "cloud/records.h"
#include "cloud/sonosclient.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

using namespace velotte;

namespace {

QByteArray favoritesBody(int n)
{
    QJsonArray items;
    for (int i = 0; i < n; ++i) {
        items.append(QJsonObject{{QStringLiteral("id"), QString::number(i)},
                                 {QStringLiteral("name"), QStringLiteral("Favorite number %1 with a realistic name").arg(i)},
                                 {QStringLiteral("description"), QStringLiteral("Playlist")},
                                 {QStringLiteral("imageUrl"), QStringLiteral("https://images.example.test/%1.jpg").arg(i)},
                                 {QStringLiteral("service"), QJsonObject{{QStringLiteral("name"), QStringLiteral("Apple Music")}, {QStringLiteral("id"), QStringLiteral("52231")}}},
                                 {QStringLiteral("resource"), QJsonObject{{QStringLiteral("type"), QStringLiteral("PLAYLIST")}}}});
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("version"), QStringLiteral("1")}, {QStringLiteral("items"), items}}).toJson(QJsonDocument::Compact);
}

QByteArray groupsBody(int players)
{
    QJsonArray groups, list;
    for (int i = 0; i < players; ++i) {
        const QString id = QStringLiteral("RINCON_%1").arg(i, 12, 16, QLatin1Char('0')).toUpper() + QStringLiteral("01400");
        list.append(QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("name"), QStringLiteral("Room %1").arg(i)},
                                {QStringLiteral("websocketUrl"), QStringLiteral("wss://192.168.1.%1:1443/websocket/api").arg(i + 10)},
                                {QStringLiteral("capabilities"), QJsonArray{QStringLiteral("PLAYBACK"), QStringLiteral("CLOUD")}}});
        if (i % 2 == 0) {
            groups.append(QJsonObject{{QStringLiteral("id"), id + QStringLiteral(":12")}, {QStringLiteral("name"), QStringLiteral("Room %1").arg(i)},
                                      {QStringLiteral("coordinatorId"), id}, {QStringLiteral("playbackState"), QStringLiteral("PLAYBACK_STATE_IDLE")},
                                      {QStringLiteral("playerIds"), QJsonArray{id}}});
        }
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("groups"), groups}, {QStringLiteral("players"), list}}).toJson(QJsonDocument::Compact);
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
