// The alarm list as a speaker sends it, through the XML reader and the
// rules that pick out news alarms.
#include "fuzz/target.h"
#include "local/soap.h"
#include "news/alarmxml.h"
#include "news/newsalarmclient.h"

VELOTTE_FUZZ_TARGET(news_alarms)
{
    using namespace velotte;
    const QString text = fuzz::text(data);
    try {
        AlarmXML::elements(text); // XML that does not parse is refused, nothing worse
    } catch (const NewsAlarmClient::Failure &) {
    }
    const NewsSource source(QUrl(QStringLiteral("https://news.velotte.app")));
    for (const QString &list : {text, Soap::unescape(text)}) {
        try {
            NewsAlarmClient::parse(list, source);
        } catch (const NewsAlarmClient::Failure &) {
        }
    }
}
