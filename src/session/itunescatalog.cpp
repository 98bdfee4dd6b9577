#include "applemusiccatalog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QUrlQuery>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

// Ids arrive as JSON numbers; anything else is not a catalog id.
QString catalogID(const QJsonValue &value)
{
    if (value.isDouble() && value.toDouble() >= 1 && value.toDouble() < 9.0e15)
        return QString::number(qint64(value.toDouble()));
    if (value.isString() && !value.toString().isEmpty() && value.toString().toLongLong() > 0)
        return value.toString();
    return {};
}

QString text(const QJsonObject &o, QLatin1StringView key)
{
    return o.value(key).toString().trimmed();
}

using Query = QList<QPair<QString, QString>>;

Query query(const QString &term, const QString &entity, int limit)
{
    return {{u"term"_s, term}, {u"media"_s, u"music"_s}, {u"entity"_s, entity}, {u"limit"_s, QString::number(limit)}};
}

bool sameArtist(const QString &a, const QString &b)
{
    return QString::compare(a.simplified(), b.simplified(), Qt::CaseInsensitive) == 0;
}

} // namespace

ITunesCatalog::ITunesCatalog(HttpTransport &transport, QUrl base, QString country)
    : m_transport(transport), m_base(std::move(base)), m_country(std::move(country))
{
}

QList<AppleMusicIdentity> ITunesCatalog::items(const QByteArray &body)
{
    QList<AppleMusicIdentity> out;
    const QJsonValue results = QJsonDocument::fromJson(body).object().value("results"_L1);
    for (const QJsonValue &v : results.toArray()) {
        const QJsonObject o = v.toObject();
        const QString wrapper = text(o, "wrapperType"_L1);
        AppleMusicIdentity item;
        if (wrapper == "track"_L1 && text(o, "kind"_L1) == "song"_L1) {
            item = {catalogID(o.value("trackId"_L1)), text(o, "trackName"_L1), text(o, "artistName"_L1), u"song"_s};
        } else if (wrapper == "collection"_L1) {
            item = {catalogID(o.value("collectionId"_L1)), text(o, "collectionName"_L1), text(o, "artistName"_L1), u"album"_s};
        } else {
            continue;
        }
        if (!item.key.isEmpty() && !item.title.isEmpty())
            out.append(item);
    }
    return out;
}

QCoro::Task<QList<AppleMusicIdentity>> ITunesCatalog::get(QString path, QList<QPair<QString, QString>> query)
{
    QUrl url = m_base;
    url.setPath(url.path().chopped(url.path().endsWith(u'/') ? 1 : 0) + path);
    QUrlQuery q;
    q.setQueryItems(query);
    q.addQueryItem(u"country"_s, m_country);
    url.setQuery(q);
    HttpRequest request;
    request.url = url;
    request.timeout = 15s;
    request.maxBytes = 4 * 1024 * 1024;
    request.setHeader("User-Agent", "Velotte/1.0 (+https://velotte.app)");
    HttpResponse response;
    try {
        response = co_await m_transport.send(std::move(request));
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        throw CatalogUnavailable();
    }
    if (response.status != 200)
        throw CatalogUnavailable();
    co_return items(response.body);
}

QCoro::Task<QList<AppleMusicIdentity>> ITunesCatalog::search(QString text)
{
    const QString term = text.simplified();
    if (term.isEmpty())
        co_return {};
    const Query songs = query(term, u"song"_s, 25);
    const Query albums = query(term, u"album"_s, 10);
    QList<AppleMusicIdentity> out = co_await get(u"/search"_s, songs);
    out += co_await get(u"/search"_s, albums);
    co_return out;
}

QCoro::Task<QList<AppleMusicIdentity>> ITunesCatalog::lookup(QStringList ids)
{
    QStringList numeric;
    for (const QString &id : ids) {
        if (!id.startsWith(u"pl."_s))
            numeric << id.trimmed();
    }
    QList<AppleMusicIdentity> found;
    if (!numeric.isEmpty()) {
        const Query ask{{u"id"_s, numeric.join(u',')}};
        found = co_await get(u"/lookup"_s, ask);
    }
    QList<AppleMusicIdentity> out;
    for (const QString &id : ids) {
        if (id.startsWith(u"pl."_s)) {
            out.append({id, id, {}, u"playlist"_s});
            continue;
        }
        for (const AppleMusicIdentity &item : std::as_const(found)) {
            if (item.key == id.trimmed()) {
                out.append(item);
                break;
            }
        }
    }
    co_return out;
}

QCoro::Task<QList<AppleMusicIdentity>> ITunesCatalog::artistSongs(QString artist)
{
    const QString name = artist.simplified();
    if (name.isEmpty())
        co_return {};
    Query ask = query(name, u"song"_s, 200);
    ask.append({u"attribute"_s, u"artistTerm"_s});
    const QList<AppleMusicIdentity> songs = co_await get(u"/search"_s, ask);
    QList<AppleMusicIdentity> out;
    QSet<QString> seen;
    for (const AppleMusicIdentity &song : songs) {
        // The search also finds songs that merely feature the artist.
        if (sameArtist(song.subtitle, name) && !seen.contains(song.key)) {
            seen.insert(song.key);
            out.append(song);
        }
    }
    co_return out;
}

} // namespace velotte
