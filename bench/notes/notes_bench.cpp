#include "notes/tracklyrics.h"
#include "notes/trackmatching.h"

#include <benchmark/benchmark.h>

#include <QStringList>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {

// Half Chinese (both scripts, remarks, full-width forms), half Latin with accents.
QStringList titles()
{
    const QStringList chinese{u"舊街燈"_s, u"云的另一边"_s, u"夜車 (電影《夜行》主題曲)"_s, u"記得那天"_s, u"风筝"_s, u"海邊的信（Live）"_s, u"Ｂｌｕｅ　Ｈｏｕｒ 藍色時刻"_s};
    const QStringList latin{u"Salt & Pepper"_s, u"Gymnopédie No. 1"_s, u"Clair de lune (from \"Suite bergamasque\")"_s, u"Café Crème"_s,
                            u"Olive Oil Blues"_s, u"Vinegar Heart (Acoustic)"_s, u"Straße nach Süden"_s};
    QStringList list;
    list.reserve(10000);
    for (int i = 0; i < 10000; ++i) {
        const QStringList &pool = i % 2 ? chinese : latin;
        list.append(pool[i / 2 % pool.size()] + u' ' + QString::number(i));
    }
    return list;
}

void NormalizedTenThousandTitles(benchmark::State &state)
{
    const QStringList list = titles();
    TrackMatching::normalized(list.front()); // the transliterators are built once, outside the timing
    for (auto _ : state) {
        for (const QString &t : list)
            benchmark::DoNotOptimize(TrackMatching::normalized(t));
    }
    state.SetItemsProcessed(state.iterations() * list.size());
}
BENCHMARK(NormalizedTenThousandTitles)->Unit(benchmark::kMillisecond);

QString lrc(int lines)
{
    QString text = u"[ar:The Condiments]\n[ti:Salt & Pepper]\n[by:]\n[length: 3:21]\n"_s;
    for (int i = 0; i < lines; ++i) {
        const int ms = i * 1370;
        const QString tag = u"[%1:%2.%3]"_s.arg(ms / 60000, 2, 10, QLatin1Char('0')).arg(ms / 1000 % 60, 2, 10, QLatin1Char('0')).arg(ms % 1000 / 10, 2, 10, QLatin1Char('0'));
        text += i % 25 == 0 ? tag + tag + u"Salt and pepper, side by side\n"_s : tag + u"A line of words number "_s + QString::number(i) + u'\n';
    }
    return text;
}

void ParseFiveHundredLineLrc(benchmark::State &state)
{
    const QString text = lrc(500);
    for (auto _ : state)
        benchmark::DoNotOptimize(timed(text));
}
BENCHMARK(ParseFiveHundredLineLrc)->Unit(benchmark::kMicrosecond);

} // namespace

