#include "news/newsalarmclient.h"

#include "services/fakealarms.h"

#include <benchmark/benchmark.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {

// A household with `count` alarms: the usual mix repeated, so about half are news.
QString alarmList(int count)
{
    fake::FakeAlarmClock clock;
    clock.seed({u"RINCON_347E5C0D000001400"_s, u"RINCON_347E5C0D000201400"_s, u"RINCON_347E5C0D000301400"_s}, u"news.velotte.app"_s);
    const auto mix = clock.alarms;
    clock.alarms.clear();
    for (int i = 0; i < count; ++i) {
        auto alarm = mix[i % mix.size()];
        alarm.id = QString::number(i + 1);
        clock.alarms.append(alarm);
    }
    return clock.document();
}

void ParseAlarmList(benchmark::State &state)
{
    const QString text = alarmList(int(state.range(0)));
    const NewsSource source;
    qsizetype kept = 0;
    for (auto _ : state) {
        const auto schedules = NewsAlarmClient::parse(text, source);
        kept = schedules.size();
        benchmark::DoNotOptimize(kept);
    }
    state.counters["news"] = double(kept);
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}
BENCHMARK(ParseAlarmList)->Arg(6)->Arg(60)->Arg(600);

} // namespace

