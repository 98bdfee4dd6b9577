// The news service's bulletin and the alarm program addresses.
#include "fuzz/target.h"
#include "news/newsbulletin.h"
#include "news/newsschedule.h"

VELOTTE_FUZZ_TARGET(news_bulletin)
{
    using namespace velotte;
    const NewsSource source(QUrl(QStringLiteral("https://news.velotte.app")));
    if (const auto bulletin = NewsBulletin::decode(data))
        bulletin->audioURL(source, QDateTime(QDate(2026, 11, 22), QTime(6, 0), Qt::UTC));
    const QString text = fuzz::text(data);
    NewsBulletin::parseDate(text);
    source.selection(text);
}
