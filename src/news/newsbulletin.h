#pragma once

#include "newsschedule.h"

#include "core/clock.h"
#include "core/failure.h"
#include "core/http.h"

#include <QCoroTask>
#include <QDateTime>

#include <optional>
#include <utility>

namespace velotte {

class NewsPlaybackFailure : public Failure {
public:
    enum class Kind { unavailable, busy, grouped };
    explicit NewsPlaybackFailure(Kind kind) : Failure(QStringLiteral("news playback failure %1").arg(int(kind))), m_kind(kind) {}
    Kind kind() const { return m_kind; }
    QString sentence() const override;

private:
    Kind m_kind;
};

// Today's bulletin as the news service describes it.
struct NewsBulletin {
    QString videoID;
    QString title;
    QString language;
    QString category;
    QString publishedAt; // ISO 8601 date-time
    int clipSeconds = 0;
    QString contentType;

    // Every key must be there with its type; none otherwise.
    static std::optional<NewsBulletin> decode(const QByteArray &json);
    // An internet date-time, with or without fractional seconds.
    static std::optional<QDateTime> parseDate(const QString &text);
    // The MP3 the speaker streams, when the bulletin passes every check at
    // time `now`.
    std::optional<QUrl> audioURL(const NewsSource &source, const QDateTime &now) const;

    // Fetches the schedule's bulletin and checks its audio with HEAD; throws
    // `unavailable` (or Cancelled).
    static QCoro::Task<std::pair<NewsBulletin, QUrl>> prepare(HttpTransport &transport, NewsSource source, const Clock &clock, NewsSchedule schedule,
                                                              CancelToken cancel = {});

    bool operator==(const NewsBulletin &) const = default;
};

} // namespace velotte
