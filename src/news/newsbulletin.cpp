#include "newsbulletin.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <climits>
#include <cmath>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

QString NewsPlaybackFailure::sentence() const
{
    switch (m_kind) {
    case Kind::unavailable:
        return QStringLiteral("News audio is unavailable for this language and category. Try another source or refresh later.");
    case Kind::busy: return QStringLiteral("Wait for the current Sonos action to finish.");
    case Kind::grouped: break;
    }
    return QStringLiteral("Ungroup this room in Rooms before using Play now. Scheduled news plays only in the chosen room.");
}

namespace {

std::optional<QString> text(const QJsonObject &o, const QString &key)
{
    const QJsonValue v = o.value(key);
    if (!v.isString())
        return std::nullopt;
    return v.toString();
}

[[noreturn]] void unavailable()
{
    throw NewsPlaybackFailure(NewsPlaybackFailure::Kind::unavailable);
}

} // namespace

std::optional<NewsBulletin> NewsBulletin::decode(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    const QJsonObject o = doc.object();
    NewsBulletin b;
    const auto videoID = text(o, u"videoID"_s);
    const auto title = text(o, u"title"_s);
    const auto language = text(o, u"language"_s);
    const auto category = text(o, u"category"_s);
    const auto publishedAt = text(o, u"publishedAt"_s);
    const auto contentType = text(o, u"contentType"_s);
    const QJsonValue clip = o.value(u"clipSeconds"_s);
    if (!videoID || !title || !language || !category || !publishedAt || !contentType || !clip.isDouble())
        return std::nullopt;
    // A whole number in range; 300.5 is not a length in seconds.
    const double seconds = clip.toDouble();
    if (seconds != std::floor(seconds) || seconds < INT_MIN || seconds > INT_MAX)
        return std::nullopt;
    return NewsBulletin{*videoID, *title, *language, *category, *publishedAt, int(seconds), *contentType};
}

std::optional<QDateTime> NewsBulletin::parseDate(const QString &text)
{
    static const QRegularExpression form(u"^(\\d{4})-(\\d{2})-(\\d{2})T(\\d{2}):(\\d{2}):(\\d{2})(?:\\.(\\d+))?(Z|([+-])(\\d{2}):(\\d{2}))$"_s);
    const auto m = form.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    const QDate date(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
    const int millis = m.hasCaptured(7) ? m.captured(7).left(3).leftJustified(3, u'0').toInt() : 0;
    const QTime time(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(6).toInt(), millis);
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    int offset = 0;
    if (m.captured(8) != u"Z"_s) {
        const int hours = m.captured(10).toInt();
        const int minutes = m.captured(11).toInt();
        if (hours > 23 || minutes > 59)
            return std::nullopt;
        offset = (hours * 60 + minutes) * 60 * (m.captured(9) == u"-"_s ? -1 : 1);
    }
    return QDateTime(date, time, Qt::OffsetFromUTC, offset).toUTC();
}

std::optional<QUrl> NewsBulletin::audioURL(const NewsSource &source, const QDateTime &now) const
{
    static const QRegularExpression id(u"^[A-Za-z0-9_-]{11}$"_s);
    if (!id.match(videoID).hasMatch() || clipSeconds < 180 || clipSeconds > 720 || contentType != u"audio/mpeg"_s)
        return std::nullopt;
    const auto published = parseDate(publishedAt);
    if (!published)
        return std::nullopt;
    const qint64 age = published->msecsTo(now);
    if (age < 0 || age > 604800 * 1000LL)
        return std::nullopt;
    return source.address(u"sonos/audio/"_s + videoID + u".mp3"_s);
}

QCoro::Task<std::pair<NewsBulletin, QUrl>> NewsBulletin::prepare(HttpTransport &transport, NewsSource source, const Clock &clock, NewsSchedule schedule,
                                                                 CancelToken cancel)
{
    HttpRequest get;
    get.url = source.address(u"sonos/latest"_s, {{u"language"_s, schedule.language}, {u"category"_s, schedule.category}});
    get.timeout = 20s;
    get.cookies = false;
    get.maxBytes = 1024 * 1024;
    get.setHeader("Accept", "application/json");
    HttpResponse reply;
    try {
        reply = co_await transport.send(get, cancel);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        unavailable();
    }
    if (reply.status != 200)
        unavailable();
    const auto bulletin = decode(reply.body);
    if (!bulletin)
        unavailable();
    const auto audio = bulletin->audioURL(source, clock.now());
    if (!audio)
        unavailable();

    // The speaker fetches the file itself; make sure it is there first.
    HttpRequest head;
    head.method = "HEAD";
    head.url = *audio;
    head.timeout = 240s;
    head.cookies = false;
    HttpResponse checked;
    try {
        checked = co_await transport.send(head, cancel);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        unavailable();
    }
    const QString type = QString::fromLatin1(checked.header("Content-Type")).section(u';', 0, 0).trimmed().toLower();
    bool numeric = false;
    const qint64 length = checked.header("Content-Length").trimmed().toLongLong(&numeric);
    if (checked.status != 200 || type != u"audio/mpeg"_s || !numeric || length < 1 || length > 20000000)
        unavailable();
    co_return std::pair{*bulletin, *audio};
}

} // namespace velotte
