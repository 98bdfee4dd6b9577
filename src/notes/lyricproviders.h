#pragma once

#include "lyricrecords.h"
#include "tracklyrics.h"

#include "core/cancel.h"
#include "core/clock.h"
#include "core/failure.h"
#include "core/http.h"
#include "core/settings.h"

#include <QCoroTask>
#include <QDateTime>
#include <QUrl>

#include <optional>

namespace velotte {

// The lyric search's own failures.
class LyricsError : public Failure {
public:
    enum class Kind {
        busy,        // the LRCLIB back-off is longer than a search waits
        rateLimited, // LRCLIB answered 429 or 5xx and set the back-off
        status,      // any other answer than 200
    };
    LyricsError(Kind kind, const QString &detail) : Failure(detail), m_kind(kind) {}
    Kind kind() const { return m_kind; }
    QString sentence() const override;

private:
    Kind m_kind;
};

// What LRCLIB said of a track: lines, or that it has no words.
struct LrclibAnswer {
    std::optional<LyricsResult> result;
    bool instrumental = false;
};

// The three lyric services and the iTunes catalog behind one fetch routine.
// The back-off instant is shared with the loader and outlives tracks.
class LyricProviders {
public:
    LyricProviders(HttpTransport &transport, Clock &clock, ServiceAddresses addresses);

    static QByteArray userAgent(); // "Velotte/1.0 (<project address>)"
    static constexpr Millis timeout{12000};
    static constexpr qint64 durationTolerance = 3000;

    // GET with the shared headers; the body of a 200 answer. LRCLIB's 429
    // and 5xx set the back-off and throw rateLimited.
    QCoro::Task<QByteArray> get(QUrl url, CancelToken cancel = {});

    // Returns when an LRCLIB request may go; throws LyricsError busy when the
    // back-off ends more than two seconds from now.
    QCoro::Task<void> waitForLyricsService(CancelToken cancel = {});

    QCoro::Task<QList<LyricHit>> lyricHits(QUrl url, bool waitsForService, CancelToken cancel = {});
    QCoro::Task<LrclibAnswer> lrclibWords(QString title, QStringList artists, qint64 durationMillis, bool waitsForService,
                                          CancelToken cancel = {});
    QCoro::Task<std::optional<LyricsResult>> neteaseWords(QString title, QStringList artists, qint64 durationMillis, CancelToken cancel = {});
    QCoro::Task<std::optional<LyricsResult>> kugouWords(QString title, QStringList artists, qint64 durationMillis, CancelToken cancel = {});

    QCoro::Task<ItunesSearch> itunes(QString pathAndQuery, CancelToken cancel = {});

    std::optional<QDateTime> lyricsRetryAfter;
    Clock &clock() { return m_clock; }
    HttpTransport &transport() { return m_transport; }
    const ServiceAddresses &addresses() const { return m_addresses; }

    // The back-off a "Retry-After" value asks for, at least one second.
    static Millis retryDelay(const QByteArray &retryAfter, const QDateTime &now);
    // Whether a duration from a service is close enough to the track's;
    // unknown on either side always is.
    static bool closeEnough(double candidateMillis, qint64 durationMillis, bool candidateKnown = true);

private:
    static bool sameService(const QUrl &url, const QUrl &service);

    HttpTransport &m_transport;
    Clock &m_clock;
    ServiceAddresses m_addresses;
};

} // namespace velotte
