#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace velotte {

// One title and artist pair to search for.
struct LyricQuery {
    QString title;
    QString artist;
    bool operator==(const LyricQuery &) const = default;
};
size_t qHash(const LyricQuery &query, size_t seed = 0) noexcept;

// The string rules that choose what is searched and decide whether a
// service's title or artist is the one playing. Pure and thread-safe.
namespace TrackMatching {

// The title without a trailing remark naming the work it belongs to.
QString title(const QString &text);
// The comparison key: Simplified script, folded case, accents and width,
// letters, marks and digits only.
QString normalized(const QString &text);
// The cleaned title in its own, Simplified and Traditional script, distinct.
QStringList titleQueries(const QString &title);
// Title-major pairs of title and artist scripts, at most nine.
QList<LyricQuery> lyricQueries(const QString &title, const QString &artist);
bool sameTitle(const QString &a, const QString &b);
// A candidate artist matches the requested one by key; none never matches.
bool same(const QString &candidateArtist, const QString &requestedArtist);

// The two script conversions; the input comes back when a conversion
// yields nothing.
QString toSimplified(const QString &text);
QString toTraditional(const QString &text);

} // namespace TrackMatching

} // namespace velotte
