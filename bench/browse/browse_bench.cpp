// The favorites browser filters on every key stroke: searching and the
// classical view must stay well under a frame for a large household.
#include "browse/classicalpiece.h"
#include "browse/favoritematch.h"
#include "browse/sonosbrowsemodel.h"

#include <benchmark/benchmark.h>

using namespace velotte;

namespace {

QList<SonosFavorite> household(int count)
{
    const char *names[] = {"Beethoven: Symphony No. %1 in C minor, Op. 67", "Morning Coffee %1", "Radio Paradise %1",
                           "Mozart - Piano Concerto No. %1", "周杰倫 精選 %1", "Café del Mar Chill Mix %1",
                           "Bach: Cello Suite No. %1, BWV 1007", "Kind of Blue (Legacy Edition) %1"};
    const char *services[] = {"Apple Music", "Spotify", "TuneIn", "Apple Podcasts"};
    QList<SonosFavorite> list;
    for (int i = 0; i < count; ++i) {
        SonosFavorite f;
        f.id = QString::number(i);
        f.name = QString::fromUtf8(names[i % 8]).arg(i);
        f.detail = i % 3 ? QStringLiteral("Album by Various Artists") : QStringLiteral("Playlist");
        f.service = SonosService{std::nullopt, QString::fromUtf8(services[i % 4])};
        list.append(f);
    }
    return list;
}

void searchFavorites(benchmark::State &state)
{
    const QList<SonosFavorite> favorites = household(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(FavoriteMatch::search(favorites, QStringLiteral("cafe mix")));
}
BENCHMARK(searchFavorites)->Arg(100)->Arg(500)->Unit(benchmark::kMicrosecond);

void classicalView(benchmark::State &state)
{
    const QList<SonosFavorite> favorites = household(int(state.range(0)));
    MemoryStore defaults;
    SonosBrowseModel model(defaults);
    model.setMode(BrowseMode::classical);
    model.setWork(ClassicalWork::concertos);
    for (auto _ : state) {
        benchmark::DoNotOptimize(model.visibleFavorites(favorites, {}));
        benchmark::DoNotOptimize(model.composers(favorites));
    }
}
BENCHMARK(classicalView)->Arg(100)->Arg(500)->Unit(benchmark::kMicrosecond);

} // namespace
