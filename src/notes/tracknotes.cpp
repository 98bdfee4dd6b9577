#include "tracknotes.h"

#include "trackmatching.h"

#include "core/logging.h"
#include "core/stillcurrent.h"

#include <QLocale>
#include <QMetaEnum>
#include <QUrlQuery>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

TrackNotes::TrackNotes(HttpTransport &network, Clock &clock, ServiceAddresses addresses, QObject *parent)
    : QObject(parent), m_providers(network, clock, std::move(addresses)), m_requestID(QUuid::createUuid())
{
}

TrackNotes::~TrackNotes()
{
    // Tasks still in flight see the cancellation before they touch this object.
    m_requestID = QUuid();
    m_cancel.cancel();
}

QString TrackNotes::noLyricsText() { return u"Lyrics not available for this song."_s; }

QString TrackNotes::stateName(TrackLyricsState state)
{
    return QString::fromLatin1(QMetaEnum::fromType<TrackLyricsState>().valueToKey(state));
}

QString TrackNotes::lyricsKey(const QString &title, const QStringList &artists, qint64 durationMillis)
{
    QStringList parts{TrackMatching::normalized(TrackMatching::title(title))};
    for (const QString &artist : artists)
        parts.append(TrackMatching::normalized(artist));
    parts.append(QString::number(durationMillis));
    return parts.join(u'\n');
}

void TrackNotes::cacheLyrics(const QString &key, const LyricsResult &result)
{
    // No eviction order on purpose: the cache only spares the few recent tracks.
    if (!m_cachedLyrics.contains(key) && m_cachedLyrics.size() >= cacheLimit)
        m_cachedLyrics.clear();
    m_cachedLyrics.insert(key, result);
}

std::optional<LyricsResult> TrackNotes::cachedLyrics(const QString &key) const
{
    const auto it = m_cachedLyrics.constFind(key);
    if (it == m_cachedLyrics.constEnd())
        return std::nullopt;
    return *it;
}

int TrackNotes::lineAt(qint64 positionMillis) const
{
    // Lines are ordered by time; untimed lines never become current.
    int current = -1;
    for (int i = 0; i < m_lines.size(); ++i) {
        if (!m_lines[i].time)
            continue;
        if (*m_lines[i].time > positionMillis)
            break;
        current = i;
    }
    return current;
}

QCoro::Task<void> TrackNotes::waitForLyricsService(CancelToken cancel)
{
    return m_providers.waitForLyricsService(std::move(cancel));
}

QCoro::Task<void> TrackNotes::load(QString title, QString artist, QUrl artwork, qint64 durationMillis)
{
    if (durationMillis < 0)
        durationMillis = 0;
    if (title.isEmpty()) {
        m_requestID = QUuid::createUuid();
        m_cancel.cancel();
        m_cancel = CancelToken();
        m_loaded.clear();
        setAlbum({});
        setCover({});
        setPicture({});
        setLines({});
        setLyricsSource(std::nullopt);
        setCatalogSongID(std::nullopt);
        setLyricsState(idle);
        co_return;
    }
    const QString identity = QStringList{title, artist, artwork.isValid() ? artwork.toString() : QString(), QString::number(durationMillis)}.join(u'\n');
    if (identity == m_loaded)
        co_return;

    // The new id first: whatever the cancellation wakes sees itself stale.
    const QUuid request = QUuid::createUuid();
    m_requestID = request;
    m_cancel.cancel();
    m_cancel = CancelToken();
    const CancelToken cancel = m_cancel;
    m_loaded = identity;
    const QStringList artists = artist.isEmpty() ? QStringList() : QStringList{artist};
    setAlbum({});
    setCover(artwork);
    setPicture({});
    setLines({});
    setLyricsSource(std::nullopt);
    setCatalogSongID(std::nullopt);
    setLyricArtists(artists);
    setLyricTitle(title);
    setLyricDurationMillis(durationMillis);
    setLyricsState(loading);

    const StillCurrent alive(this);
    auto media = loadMedia(title, artist, artwork, durationMillis, request, cancel);
    auto words = lyricHalf(title, artists, durationMillis, request, cancel);
    try {
        co_await media;
    } catch (...) {
        // Each half ends only itself.
    }
    try {
        co_await words;
    } catch (...) {
    }
    if (alive && m_requestID == request)
        Q_EMIT settled();
}

QCoro::Task<void> TrackNotes::lyricHalf(QString title, QStringList artists, qint64 durationMillis, QUuid request, CancelToken cancel)
{
    const QString key = lyricsKey(title, artists, durationMillis);
    if (const auto cached = cachedLyrics(key)) {
        applyLyrics(Outcome{cached, available});
        co_return;
    }
    const StillCurrent alive(this);
    const Outcome outcome = co_await lyricChain(title, artists, durationMillis, cancel);
    if (!alive || cancel.isCancelled() || m_requestID != request)
        co_return;
    if (outcome.result)
        cacheLyrics(key, *outcome.result);
    applyLyrics(outcome);
    if (outcome.state == serviceBusy)
        retryLater(title, artists, durationMillis, request, cancel); // runs on by itself
}

QCoro::Task<TrackNotes::Outcome> TrackNotes::lyricChain(QString title, QStringList artists, qint64 durationMillis, CancelToken cancel)
{
    bool busy = false;
    int failures = 0;
    auto note = [&](const std::exception &error) {
        const auto *lyrics = dynamic_cast<const LyricsError *>(&error);
        if (lyrics && lyrics->kind() != LyricsError::Kind::status)
            busy = true;
        ++failures;
        qCDebug(lcNotes) << "lyric search failed:" << error.what();
    };

    try {
        const LrclibAnswer answer = co_await m_providers.lrclibWords(title, artists, durationMillis, true, cancel);
        if (answer.result)
            co_return Outcome{answer.result, available};
        if (answer.instrumental)
            co_return Outcome{std::nullopt, instrumental};
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        note(error);
    }
    try {
        const auto found = co_await m_providers.neteaseWords(title, artists, durationMillis, cancel);
        if (found)
            co_return Outcome{found, available};
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        note(error);
    }
    try {
        const auto found = co_await m_providers.kugouWords(title, artists, durationMillis, cancel);
        if (found)
            co_return Outcome{found, available};
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        note(error);
    }
    if (busy)
        co_return Outcome{std::nullopt, serviceBusy};
    // One service that found nothing is an answer: the lookup failed only when
    // no service answered. NetEase and Kugou search by artist and are not
    // asked without one.
    const bool byArtist = std::any_of(artists.begin(), artists.end(), [](const QString &a) { return !a.isEmpty(); });
    const int asked = byArtist ? 3 : 1;
    co_return Outcome{std::nullopt, failures >= asked ? failed : unavailable};
}

QCoro::Task<void> TrackNotes::retryLater(QString title, QStringList artists, qint64 durationMillis, QUuid request, CancelToken cancel)
{
    const StillCurrent alive(this);
    try {
        // The whole back-off this time, however long: the track is still playing.
        for (;;) {
            cancel.throwIfCancelled();
            const auto until = m_providers.lyricsRetryAfter;
            const qint64 left = until ? m_providers.clock().now().msecsTo(*until) : 0;
            if (left <= 0)
                break;
            co_await m_providers.clock().sleep(Millis(left), cancel);
        }
        if (!alive || m_requestID != request)
            co_return;
        const Outcome outcome = co_await lyricChain(title, artists, durationMillis, cancel);
        if (!alive || cancel.isCancelled() || m_requestID != request)
            co_return;
        if (outcome.result)
            cacheLyrics(lyricsKey(title, artists, durationMillis), *outcome.result);
        applyLyrics(outcome);
        Q_EMIT settled();
    } catch (...) {
        // Cancelled or failed again: the state already says so.
    }
}

void TrackNotes::applyLyrics(const Outcome &outcome)
{
    if (outcome.result) {
        setLines(outcome.result->lines);
        setLyricsSource(outcome.result->source);
        setLyricsState(available);
        return;
    }
    setLines({});
    setLyricsSource(std::nullopt);
    setLyricsState(outcome.state);
}

namespace {
enum class Script { latin, simplified, traditional };

Script scriptOf(const QString &title)
{
    if (TrackMatching::toSimplified(title) != title)
        return Script::traditional;
    if (TrackMatching::toTraditional(title) != title)
        return Script::simplified;
    return Script::latin;
}

// The store follows the script of the title, else the listener's region.
QString countryFor(Script script)
{
    if (script == Script::simplified)
        return u"cn"_s;
    if (script == Script::traditional)
        return u"tw"_s;
    const QString code = QLocale::territoryToCode(QLocale::system().territory()).toLower();
    return code.size() == 2 ? code : u"us"_s;
}

QString languageFor(Script script)
{
    if (script == Script::simplified)
        return u"zh_CN"_s;
    if (script == Script::traditional)
        return u"zh_TW"_s;
    return u"en_US"_s;
}

QString queryText(const QList<std::pair<QString, QString>> &items)
{
    QString query;
    for (const auto &[name, value] : items) {
        if (!query.isEmpty())
            query += u'&';
        query += name + u'=' + QString::fromLatin1(QUrl::toPercentEncoding(value));
    }
    return query;
}
} // namespace

QCoro::Task<std::optional<QByteArray>> TrackNotes::image(QUrl url, CancelToken cancel)
{
    if (!url.isValid() || url.scheme().isEmpty())
        co_return std::nullopt;
    HttpRequest request;
    request.url = url;
    request.timeout = LyricProviders::timeout;
    request.maxBytes = 8 * 1024 * 1024;
    request.setHeader("User-Agent", "Velotte/1.0");
    try {
        const HttpResponse response = co_await m_providers.transport().send(std::move(request), cancel);
        if (response.ok() && !response.body.isEmpty())
            co_return response.body;
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        qCDebug(lcNotes) << "artwork not fetched:" << error.what();
    }
    co_return std::nullopt;
}

QCoro::Task<std::optional<ItunesSong>> TrackNotes::localizedSong(qint64 songID, qint64 durationMillis, QString script, CancelToken cancel)
{
    const Script s = script == u"simplified"_s ? Script::simplified : script == u"traditional"_s ? Script::traditional : Script::latin;
    const QString path = u"/lookup?id="_s + QString::number(songID) + u"&country="_s + countryFor(s) + u"&lang="_s + languageFor(s);
    const ItunesSearch found = co_await m_providers.itunes(path, cancel);
    for (const ItunesSong &song : found.results) {
        if (song.trackId == songID && LyricProviders::closeEnough(double(song.trackTimeMillis), durationMillis, song.trackTimeMillis > 0))
            co_return song;
    }
    co_return std::nullopt;
}

QCoro::Task<std::optional<TrackNotes::Catalog>> TrackNotes::catalogMatch(QString title, QString artist, qint64 durationMillis, CancelToken cancel)
{
    const Script script = scriptOf(title);
    const QString country = countryFor(script);
    const QString term = (TrackMatching::title(title) + u' ' + artist).trimmed();
    const QString path = u"/search?"_s
        + queryText({{u"term"_s, term}, {u"entity"_s, u"song"_s}, {u"limit"_s, u"5"_s}, {u"country"_s, country}});
    const ItunesSearch found = co_await m_providers.itunes(path, cancel);
    std::optional<ItunesSong> match;
    for (const ItunesSong &song : found.results) {
        if (!song.kind.isEmpty() && song.kind != u"song"_s)
            continue;
        if (song.trackId == 0 || !TrackMatching::sameTitle(song.trackName, title))
            continue;
        if (!artist.isEmpty() && !TrackMatching::same(song.artistName, artist))
            continue;
        if (!LyricProviders::closeEnough(double(song.trackTimeMillis), durationMillis, song.trackTimeMillis > 0))
            continue;
        match = song;
        break;
    }
    if (!match)
        co_return std::nullopt;
    // The entry again in the script of the title, when the search's store showed another.
    if (script != Script::latin) {
        const QString name = script == Script::simplified ? u"simplified"_s : u"traditional"_s;
        try {
            const auto localized = co_await localizedSong(match->trackId, durationMillis, name, cancel);
            // Taken only when the store really answered in the title's script.
            if (localized) {
                const QString shown = localized->trackName;
                const bool inScript = script == Script::simplified ? TrackMatching::toSimplified(shown) == shown : TrackMatching::toTraditional(shown) == shown;
                if (inScript)
                    match = localized;
            }
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &) {
            // The first answer serves.
        }
    }
    co_return Catalog{QUrl(match->artworkUrl100), match->collectionName, match->trackTimeMillis, match->trackId};
}

QCoro::Task<std::optional<TrackNotes::Catalog>> TrackNotes::loadMedia(QString title, QString artist, QUrl artwork, qint64 durationMillis,
                                                                      QUuid request, CancelToken cancel)
{
    const StillCurrent alive(this);
    auto current = [&] { return alive && !cancel.isCancelled() && m_requestID == request; };
    if (artwork.isValid()) {
        const auto picture = co_await image(artwork, cancel);
        if (!current())
            co_return std::nullopt;
        if (picture)
            setPicture(*picture);
    }
    std::optional<Catalog> catalog;
    try {
        catalog = co_await catalogMatch(title, artist, durationMillis, cancel);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        qCDebug(lcNotes) << "catalog lookup failed:" << error.what();
    }
    if (!current() || !catalog)
        co_return std::nullopt;
    setAlbum(catalog->album);
    setCatalogSongID(QString::number(catalog->trackID));
    // Without artwork from the speaker, the catalog's picture stands in.
    if (!artwork.isValid() && catalog->cover.isValid()) {
        setCover(catalog->cover);
        const auto picture = co_await image(catalog->cover, cancel);
        if (!current())
            co_return std::nullopt;
        if (picture)
            setPicture(*picture);
    }
    co_return catalog;
}

void TrackNotes::setCover(const QUrl &value) { change(m_cover, value, &TrackNotes::coverChanged); }
void TrackNotes::setPicture(const QByteArray &value) { change(m_picture, value, &TrackNotes::pictureChanged); }
void TrackNotes::setAlbum(const QString &value) { change(m_album, value, &TrackNotes::albumChanged); }
void TrackNotes::setLines(const QList<TrackLine> &value) { change(m_lines, value, &TrackNotes::linesChanged); }
void TrackNotes::setLyricsState(TrackLyricsState value) { change(m_lyricsState, value, &TrackNotes::lyricsStateChanged); }
void TrackNotes::setLyricsSource(const std::optional<TrackLyricsSource> &value) { change(m_lyricsSource, value, &TrackNotes::lyricsSourceChanged); }
void TrackNotes::setCatalogSongID(const std::optional<QString> &value) { change(m_catalogSongID, value, &TrackNotes::catalogSongIDChanged); }
void TrackNotes::setLyricArtists(const QStringList &value) { change(m_lyricArtists, value, &TrackNotes::lyricArtistsChanged); }
void TrackNotes::setLyricTitle(const QString &value) { change(m_lyricTitle, value, &TrackNotes::lyricTitleChanged); }
void TrackNotes::setLyricDurationMillis(qint64 value) { change(m_lyricDurationMillis, value, &TrackNotes::lyricDurationMillisChanged); }

} // namespace velotte
