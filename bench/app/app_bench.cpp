// The panel's start and memory against a minimal Qt Quick window, each run
// in a fresh process on the same platform and scene-graph backend.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QProcess>
#include <QString>

#include <map>

namespace {

std::map<QString, double> run(const char *mode)
{
    QProcess p;
    p.start(QCoreApplication::applicationDirPath() + QStringLiteral("/app_probe"), {QString::fromLatin1(mode)});
    std::map<QString, double> figures;
    if (!p.waitForFinished(30000) || p.exitCode() != 0)
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
        auto f = run(mode);
        if (!f.count(QStringLiteral("rss-kb"))) {
            state.SkipWithError("the probe did not draw a frame");
            return;
        }
        frame += f[QStringLiteral("first-frame-ms")];
        rss += f[QStringLiteral("rss-kb")];
        ++runs;
    }
    state.counters["first_frame_ms"] = frame / runs;
    state.counters["rss_mb"] = rss / runs / 1024.0;
}

void BM_MinimalQuickWindow(benchmark::State &state) { measure(state, "minimal"); }
void BM_DemoPanel(benchmark::State &state) { measure(state, "panel"); }
BENCHMARK(BM_MinimalQuickWindow)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DemoPanel)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
