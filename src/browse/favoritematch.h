#pragma once

#include "cloud/records.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace velotte::FavoriteMatch {

// The favorite's service name, empty when it has none.
QString serviceName(const SonosFavorite &favorite);
bool isPodcast(const SonosFavorite &favorite);

// Whether a favorite is a radio station: "radio", "station", "stations" or
// "similar artists" as whole words of its name and description.
bool isStation(const SonosFavorite &favorite);

// The favorites that match every word of the query (a word of the name,
// description or service begins with it), best matches first: the whole
// name, then a name that begins with the query, then words found in the
// name, then words found only in the description or service. Ties keep the
// given order. An empty query keeps everything in the given order. With a
// service, only that service's favorites take part.
QList<SonosFavorite> search(const QList<SonosFavorite> &favorites, const QString &query,
                            const std::optional<QString> &service = std::nullopt);

// How well a favorite matches the query's words; none when one word is
// missing. Lower is better.
std::optional<int> matchScore(const SonosFavorite &favorite, const QStringList &queryWords);

// The distinct service names, in the order they first appear.
QStringList services(const QList<SonosFavorite> &favorites);

// The favorites as the browse sections show them.
struct Sections {
    QList<SonosFavorite> mixes;     // "Daily Mix 1", "Discover Weekly", a station built from an artist
    QList<SonosFavorite> playlists; // saved playlists
    QList<SonosFavorite> other;     // albums, tracks, stations, shows
};
Sections sections(const QList<SonosFavorite> &favorites);

} // namespace velotte::FavoriteMatch
