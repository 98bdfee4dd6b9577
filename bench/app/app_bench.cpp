// The panel's start and memory against a minimal Qt Quick window, and its
// running cost; each run in a fresh process on the same platform and backend.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QProcess>
#include <QString>

#include <map>

namespace {

std::map<QString, double> run(QStringList arguments)
{
    QProcess p;
    p.start(QCoreApplication::applicationDirPath() + QStringLiteral("/app_probe"), arguments);
    std::map<QString, double> figures;
    if (!p.waitForFinished(60000) || p.exitCode() != 0)
        return figures;
    for (const QByteArray &line : p.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() == 2)
            figures[QString::fromLatin1(parts[0])] = parts[1].toDouble();
    }
    return figures;
}

void measure(benchmark::State &state, const char *mode)
{
    double frame = 0, rss = 0;
    int runs = 0;
    for (auto _ : state) {
        auto f = run({QString::fromLatin1(mode)});
        if (!f.count(QStringLiteral("rss-kb")))
            return state.SkipWithError("the probe did not draw a frame");
        frame += f[QStringLiteral("first-frame-ms")];
        rss += f[QStringLiteral("rss-kb")];
        ++runs;
    }
    state.counters["first_frame_ms"] = frame / runs;
    state.counters["rss_mb"] = rss / runs / 1024.0;
}

void BM_MinimalQuickWindow(benchmark::State &state) { measure(state, "minimal"); }
void BM_DemoPanel(benchmark::State &state) { measure(state, "panel"); }
// The panel's running cost: a song playing on a fake speaker, shown and hidden.
void load(benchmark::State &state, const char *mode)
{
    for (auto _ : state) {
        auto f = run({QStringLiteral(VELOTTE_FAKE_HOUSEHOLD), QString::fromLatin1(mode)});
        if (!f.count(QStringLiteral("cpu-percent")))
            return state.SkipWithError("the panel did not run");
        state.counters["cpu_percent"] = f[QStringLiteral("cpu-percent")];
        state.counters["wakeups_per_s"] = f[QStringLiteral("wakeups-per-s")];
    }
}

void BM_PanelShownPlaying(benchmark::State &state) { load(state, "shown"); }
void BM_PanelHidden(benchmark::State &state) { load(state, "hidden"); }
BENCHMARK(BM_PanelShownPlaying)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PanelHidden)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MinimalQuickWindow)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DemoPanel)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
