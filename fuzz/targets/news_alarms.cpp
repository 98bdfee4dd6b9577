// The alarm list as a speaker sends it, through the XML reader and the
// rules that pick out news alarms.
#include "fuzz/target.h"
#include "local/soap.h"
#include "news/alarmxml.h"
#include "news/newsalarmclient.h"

VELOTTE_FUZZ_TARGET(news_alarms)
{
    using namespace velotte;
    const NewsSource source(QUrl(QStringLiteral("https://news.velotte.app")));
    // XML that does not parse is refused, nothing worse.
    fuzz::each<NewsAlarmClient::Failure>(
        data, [](const QByteArray &d) { AlarmXML::elements(fuzz::text(d)); },
        [&](const QByteArray &d) { NewsAlarmClient::parse(fuzz::text(d), source); },
        [&](const QByteArray &d) { NewsAlarmClient::parse(Soap::unescape(fuzz::text(d)), source); });
}
