#include "applemusicaccount.h"

#include "soap.h"

#include <QRegularExpression>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

const QString contentDirectory = u"urn:schemas-upnp-org:service:ContentDirectory:1"_s;
const QString contentPath = u"/MediaServer/ContentDirectory/Control"_s;

Soap::Fields browse(const QString &object)
{
    return {{u"ObjectID"_s, object},     {u"BrowseFlag"_s, u"BrowseDirectChildren"_s}, {u"Filter"_s, u"*"_s},
            {u"StartingIndex"_s, u"0"_s}, {u"RequestedCount"_s, u"100"_s},             {u"SortCriteria"_s, QString()}};
}

// Replies nest documents escaped once (a browse result) or twice (an alarm's
// program): decode until the text stops changing.
QString decoded(QString text)
{
    for (int i = 0; i < 4; ++i) {
        const QString once = Soap::unescape(text);
        if (once == text)
            break;
        text = once;
    }
    return text;
}

} // namespace

std::optional<int> AppleMusicAccount::learn(const QStringList &replies)
{
    // Apple Music is service 204; the account number follows in the query.
    static const QRegularExpression entry(u"[?&]sid=204(?:&[A-Za-z_]+=[^&\\s\"<>]*)*?&sn=(\\d{1,6})\\b"_s);
    QHash<int, int> counts;
    QList<int> order;
    for (const QString &reply : replies) {
        const QString text = decoded(reply);
        for (auto it = entry.globalMatch(text); it.hasNext();) {
            const int number = it.next().captured(1).toInt();
            if (!counts.contains(number))
                order << number;
            ++counts[number];
        }
    }
    if (order.isEmpty())
        return std::nullopt;
    int best = order.first();
    for (int number : std::as_const(order)) {
        if (counts.value(number) > counts.value(best))
            best = number;
    }
    return best;
}

QCoro::Task<std::optional<int>> AppleMusicAccount::read(QString host, CancelToken cancel)
{
    struct Source {
        QString path;
        QString service;
        QString action;
        Soap::Fields fields;
    };
    const Source sources[] = {
        {contentPath, contentDirectory, u"Browse"_s, browse(u"FV:2"_s)}, // the speakers' own favorites
        {contentPath, contentDirectory, u"Browse"_s, browse(u"Q:0"_s)},  // the queue
        {Soap::alarmPath, Soap::alarmClock, u"ListAlarms"_s, {}},
    };
    QStringList replies;
    for (const Source &s : sources) {
        try {
            const HttpResponse r = co_await Soap::postShort(m_transport, host, s.path, s.service, s.action, s.fields, 10s, cancel);
            if (r.status == 200)
                replies << QString::fromUtf8(r.body);
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &) {
            // A source that does not answer tells nothing; the others may.
        }
    }
    co_return learn(replies);
}

QCoro::Task<int> AppleMusicAccount::number(QString household, QString host, CancelToken cancel)
{
    const std::shared_ptr<QHash<QString, int>> learned = m_learned;
    if (learned->contains(household))
        co_return learned->value(household);
    const std::optional<int> number = co_await read(host, cancel);
    if (!number)
        co_return fallback; // asked again next time: a favorite may come
    learned->insert(household, *number);
    co_return *number;
}

} // namespace velotte
