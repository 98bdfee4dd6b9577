#include "news/newsalarmclient.h"
#include "news/newsbulletin.h"

#include "services/fakealarms.h"

#include <QJsonDocument>
#include <QJsonObject>

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

void CheckBulletin(benchmark::State &state)
{
    const QByteArray json = QJsonDocument(QJsonObject{{u"videoID"_s, u"aB3_-9xYz01"_s},
                                                      {u"title"_s, u"Morning Briefing"_s},
                                                      {u"language"_s, u"english"_s},
                                                      {u"category"_s, u"latest"_s},
                                                      {u"publishedAt"_s, u"2026-03-02T05:00:00.250Z"_s},
                                                      {u"clipSeconds"_s, 400},
                                                      {u"contentType"_s, u"audio/mpeg"_s}})
                                .toJson();
    const NewsSource source;
    const QDateTime now(QDate(2026, 3, 2), QTime(6, 0), Qt::UTC);
    for (auto _ : state) {
        const auto bulletin = NewsBulletin::decode(json);
        auto url = bulletin->audioURL(source, now);
        benchmark::DoNotOptimize(url);
    }
}
BENCHMARK(CheckBulletin);

} // namespace

BENCHMARK_MAIN();
