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
    AlarmXML::elements(text);
    const NewsSource source(QUrl(QStringLiteral("https://news.velotte.app")));
    // A list that cannot be read is the client's own failure, nothing worse.
    for (const QString &list : {text, Soap::unescape(text)}) {
        try {
            NewsAlarmClient::parse(list, source);
        } catch (const NewsAlarmClient::Failure &) {
        }
    }
}
