#include "lyricproviders.h"

#include "trackmatching.h"

#include "core/logging.h"

#include <QLocale>
#include <QStringDecoder>

#include <algorithm>
#include <cmath>
#include <exception>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

QString LyricsError::sentence() const
{
    switch (m_kind) {
    case Kind::busy:
    // matrix: unshown (the notes show their state, not this)
    case Kind::rateLimited: return u"The lyrics service asked to wait a moment."_s;
    case Kind::status: break;
    }
    // matrix: unshown (the notes show their state, not this)
    return u"The lyrics service did not answer."_s;
}

namespace {

// Query text with everything but unreserved characters escaped, so "&",
// "+" and "=" in titles survive.
QUrl address(const QUrl &base, const QString &path, const QList<std::pair<QString, QString>> &items)
{
    QUrl url = base;
    QString basePath = base.path();
    while (basePath.endsWith(u'/'))
        basePath.chop(1);
    url.setPath(basePath + path);
    QString query;
    for (const auto &[name, value] : items) {
        if (!query.isEmpty())
            query += u'&';
        query += QString::fromLatin1(QUrl::toPercentEncoding(name)) + u'=' + QString::fromLatin1(QUrl::toPercentEncoding(value));
    }
    url.setQuery(query, QUrl::StrictMode);
    return url;
}

// The error of a search that found nothing, rethrown once the provider has
// tried every query; cancellation ends it at once.
class ErrorKeeper {
public:
    void keep(std::exception_ptr error)
    {
        if (!m_error)
            m_error = error;
    }
    void rethrow() const
    {
        if (m_error)
            std::rethrow_exception(m_error);
    }

private:
    std::exception_ptr m_error;
};

bool endsSearch(const std::exception &error)
{
    const auto *lyrics = dynamic_cast<const LyricsError *>(&error);
    return lyrics && (lyrics->kind() == LyricsError::Kind::busy || lyrics->kind() == LyricsError::Kind::rateLimited);
}

QString firstArtist(const QStringList &artists)
{
    for (const QString &artist : artists) {
        if (!artist.isEmpty())
            return artist;
    }
    return {};
}

} // namespace

LyricProviders::LyricProviders(HttpTransport &transport, Clock &clock, ServiceAddresses addresses)
    : m_transport(transport), m_clock(clock), m_addresses(std::move(addresses))
{
}

QByteArray LyricProviders::userAgent() { return "Velotte/1.0 (https://velotte.app)"; }

bool LyricProviders::sameService(const QUrl &url, const QUrl &service)
{
    return url.host().compare(service.host(), Qt::CaseInsensitive) == 0 && url.port(url.scheme() == u"https"_s ? 443 : 80)
        == service.port(service.scheme() == u"https"_s ? 443 : 80);
}

bool LyricProviders::closeEnough(double candidateMillis, qint64 durationMillis, bool candidateKnown)
{
    if (durationMillis < 1 || !candidateKnown)
        return true;
    return std::abs(candidateMillis - double(durationMillis)) <= double(durationTolerance);
}

Millis LyricProviders::retryDelay(const QByteArray &retryAfter, const QDateTime &now)
{
    const QString text = QString::fromLatin1(retryAfter).trimmed();
    double seconds = 1;
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (isNumber && std::isfinite(number)) {
        seconds = number;
    } else {
        // "Wed, 21 Oct 2026 07:28:00 GMT"
        const qsizetype zone = text.lastIndexOf(u' ');
        const QString zoneName = text.mid(zone + 1);
        if (zone > 0 && (zoneName == u"GMT"_s || zoneName == u"UTC"_s)) {
            QDateTime date = QLocale::c().toDateTime(text.left(zone), u"ddd, dd MMM yyyy HH:mm:ss"_s);
            if (date.isValid()) {
                date.setTimeSpec(Qt::UTC);
                seconds = double(now.msecsTo(date)) / 1000.0;
            }
        }
    }
    // At least a second; a day at most, so an absurd value cannot overflow the instant.
    seconds = std::clamp(seconds, 1.0, 86400.0);
    return Millis(qint64(std::ceil(seconds * 1000.0)));
}

QCoro::Task<QByteArray> LyricProviders::get(QUrl url, CancelToken cancel)
{
    cancel.throwIfCancelled();
    HttpRequest request;
    request.url = url;
    request.timeout = timeout;
    request.setHeader("User-Agent", userAgent());
    // These two services set tracking cookies that later requests need not carry.
    if (sameService(url, m_addresses.netease) || sameService(url, m_addresses.kugou))
        request.cookies = false;
    const HttpResponse response = co_await m_transport.send(std::move(request), cancel);
    cancel.throwIfCancelled();
    if (sameService(url, m_addresses.lrclib) && (response.status == 429 || response.status >= 500)) {
        const QDateTime now = m_clock.now();
        const Millis delay = retryDelay(response.header("Retry-After"), now);
        lyricsRetryAfter = now.addMSecs(delay.count());
        qCDebug(lcNotes) << "LRCLIB answered" << response.status << "; waiting" << delay.count() << "ms";
        throw LyricsError(LyricsError::Kind::rateLimited, u"LRCLIB status %1"_s.arg(response.status));
    }
    if (response.status != 200)
        throw LyricsError(LyricsError::Kind::status, u"status %1 from %2"_s.arg(response.status).arg(url.host()));
    co_return response.body;
}

QCoro::Task<void> LyricProviders::waitForLyricsService(CancelToken cancel)
{
    for (;;) {
        cancel.throwIfCancelled();
        if (!lyricsRetryAfter)
            co_return;
        const qint64 left = m_clock.now().msecsTo(*lyricsRetryAfter);
        if (left > 2000)
            throw LyricsError(LyricsError::Kind::busy, u"LRCLIB back-off of %1 ms"_s.arg(left));
        if (left <= 0)
            co_return;
        co_await m_clock.sleep(Millis(left), cancel);
    }
}

QCoro::Task<QList<LyricHit>> LyricProviders::lyricHits(QUrl url, bool waitsForService, CancelToken cancel)
{
    if (waitsForService)
        co_await waitForLyricsService(cancel);
    const QByteArray body = co_await get(url, cancel);
    co_return decodeLyricHits(body);
}

QCoro::Task<LrclibAnswer> LyricProviders::lrclibWords(QString title, QStringList artists, qint64 durationMillis, bool waitsForService,
                                                      CancelToken cancel)
{
    const QString artist = firstArtist(artists);
    const QString titleKey = TrackMatching::normalized(TrackMatching::title(title));
    const QString artistKey = TrackMatching::normalized(artist);
    LrclibAnswer answer;
    if (titleKey.isEmpty())
        co_return answer; // nothing could ever be accepted
    ErrorKeeper errors;
    for (const LyricQuery &query : TrackMatching::lyricQueries(title, artist)) {
        cancel.throwIfCancelled();
        const QUrl url = address(m_addresses.lrclib, u"/api/search"_s, {{u"track_name"_s, query.title}, {u"artist_name"_s, query.artist}});
        QList<LyricHit> hits;
        try {
            hits = co_await lyricHits(url, waitsForService, cancel);
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &error) {
            errors.keep(std::current_exception());
            if (endsSearch(error))
                break;
            continue;
        }
        QList<LyricHit> accepted;
        for (const LyricHit &hit : std::as_const(hits)) {
            if (TrackMatching::normalized(TrackMatching::title(hit.trackName)) != titleKey || hit.artistName.isEmpty())
                continue;
            if (!artistKey.isEmpty() && TrackMatching::normalized(hit.artistName) != artistKey)
                continue;
            if (!closeEnough(hit.duration.value_or(0) * 1000.0, durationMillis, hit.duration.has_value()))
                continue;
            accepted.append(hit);
        }
        // Hits with synced text first; otherwise the service's order.
        std::stable_sort(accepted.begin(), accepted.end(),
                         [](const LyricHit &a, const LyricHit &b) { return !a.syncedLyrics.isEmpty() && b.syncedLyrics.isEmpty(); });
        for (const LyricHit &hit : std::as_const(accepted)) {
            QList<TrackLine> lines = timed(hit.syncedLyrics);
            if (lines.isEmpty())
                lines = untimed(hit.plainLyrics);
            if (!lines.isEmpty()) {
                answer.result = LyricsResult{lines, TrackLyricsSource::lrclib()};
                answer.instrumental = false;
                co_return answer;
            }
            if (hit.instrumental)
                answer.instrumental = true;
        }
        if (answer.instrumental)
            co_return answer;
    }
    errors.rethrow();
    co_return answer;
}

QCoro::Task<std::optional<LyricsResult>> LyricProviders::neteaseWords(QString title, QStringList artists, qint64 durationMillis,
                                                                      CancelToken cancel)
{
    const QString cleaned = TrackMatching::toSimplified(TrackMatching::title(title));
    ErrorKeeper errors;
    for (const QString &artist : std::as_const(artists)) {
        if (artist.isEmpty())
            continue;
        cancel.throwIfCancelled();
        try {
            const QUrl searchURL = address(m_addresses.netease, u"/api/search/get"_s,
                                           {{u"s"_s, cleaned + u' ' + TrackMatching::toSimplified(artist)},
                                            {u"type"_s, u"1"_s},
                                            {u"offset"_s, u"0"_s},
                                            {u"limit"_s, u"20"_s}});
            const QByteArray body = co_await get(searchURL, cancel);
            const NetEaseSearch search = NetEaseSearch::decode(body);
            const NetEaseSearch::Song *chosen = nullptr;
            for (const NetEaseSearch::Song &song : search.songs) {
                const bool byArtist = std::any_of(song.artists.begin(), song.artists.end(),
                                                  [&](const QString &name) { return TrackMatching::same(name, artist); });
                if (TrackMatching::sameTitle(song.name, title) && byArtist && closeEnough(double(song.duration), durationMillis, song.duration > 0)) {
                    chosen = &song;
                    break;
                }
            }
            if (!chosen)
                continue;
            const qint64 songID = chosen->id;
            const QUrl lyricURL = address(m_addresses.netease, u"/api/song/lyric"_s,
                                          {{u"id"_s, QString::number(songID)}, {u"lv"_s, u"-1"_s}, {u"tv"_s, u"-1"_s}, {u"kv"_s, u"-1"_s}});
            const QByteArray lyricBody = co_await get(lyricURL, cancel);
            const QList<TrackLine> lines = timed(NetEaseLyric::decode(lyricBody).lyric);
            if (!lines.isEmpty())
                co_return LyricsResult{lines, TrackLyricsSource::netEase(songID)};
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &) {
            errors.keep(std::current_exception());
        }
    }
    errors.rethrow();
    co_return std::nullopt;
}

namespace {
// Base64 of UTF-8 text; anything else gives no text at all.
std::optional<QString> kugouText(const QString &content)
{
    for (QChar c : content) {
        if (c.unicode() > 0x7f)
            return std::nullopt;
    }
    const auto decoded = QByteArray::fromBase64Encoding(content.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8(*decoded);
    if (utf8.hasError())
        return std::nullopt;
    return text;
}
} // namespace

QCoro::Task<std::optional<LyricsResult>> LyricProviders::kugouWords(QString title, QStringList artists, qint64 durationMillis,
                                                                    CancelToken cancel)
{
    const QString cleaned = TrackMatching::toSimplified(TrackMatching::title(title));
    ErrorKeeper errors;
    for (const QString &artist : std::as_const(artists)) {
        if (artist.isEmpty())
            continue;
        cancel.throwIfCancelled();
        try {
            const QUrl searchURL = address(m_addresses.kugou, u"/search"_s,
                                           {{u"ver"_s, u"1"_s},
                                            {u"man"_s, u"yes"_s},
                                            {u"client"_s, u"pc"_s},
                                            {u"keyword"_s, cleaned + u' ' + TrackMatching::toSimplified(artist)},
                                            {u"duration"_s, QString::number(durationMillis)}});
            const QByteArray body = co_await get(searchURL, cancel);
            const KugouSearch search = KugouSearch::decode(body);
            const KugouSearch::Candidate *chosen = nullptr;
            for (const KugouSearch::Candidate &candidate : search.candidates) {
                if (TrackMatching::sameTitle(candidate.song, title) && TrackMatching::same(candidate.singer, artist)
                    && closeEnough(double(candidate.duration), durationMillis, candidate.duration > 0)) {
                    chosen = &candidate;
                    break;
                }
            }
            if (!chosen)
                continue;
            const QUrl downloadURL = address(m_addresses.kugou, u"/download"_s,
                                             {{u"ver"_s, u"1"_s},
                                              {u"client"_s, u"pc"_s},
                                              {u"id"_s, chosen->id},
                                              {u"accesskey"_s, chosen->accesskey},
                                              {u"fmt"_s, u"lrc"_s},
                                              {u"charset"_s, u"utf8"_s}});
            const QByteArray lyricBody = co_await get(downloadURL, cancel);
            const std::optional<QString> text = kugouText(KugouLyric::decode(lyricBody).content);
            if (!text)
                continue;
            const QList<TrackLine> lines = timed(*text);
            if (!lines.isEmpty())
                co_return LyricsResult{lines, TrackLyricsSource::kugou()};
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &) {
            errors.keep(std::current_exception());
        }
    }
    errors.rethrow();
    co_return std::nullopt;
}

QCoro::Task<ItunesSearch> LyricProviders::itunes(QString pathAndQuery, CancelToken cancel)
{
    QUrl url = m_addresses.itunes;
    QString basePath = url.path();
    while (basePath.endsWith(u'/'))
        basePath.chop(1);
    const qsizetype mark = pathAndQuery.indexOf(u'?');
    url.setPath(basePath + pathAndQuery.left(mark));
    if (mark >= 0)
        url.setQuery(pathAndQuery.mid(mark + 1), QUrl::StrictMode);
    const QByteArray body = co_await get(url, cancel);
    co_return ItunesSearch::decode(body);
}

} // namespace velotte
