#pragma once

#include "cloud/records.h"

#include <QList>
#include <QString>

namespace velotte::test {

inline SonosFavorite favorite(const QString &id, const QString &name, const QString &detail = {}, const QString &service = {})
{
    SonosFavorite f;
    f.id = id;
    f.name = name;
    if (!detail.isEmpty())
        f.detail = detail;
    if (!service.isEmpty())
        f.service = SonosService{QStringLiteral("svc-") + service.left(4), service};
    return f;
}

inline QStringList idsOf(const QList<SonosFavorite> &favorites)
{
    QStringList ids;
    for (const SonosFavorite &f : favorites)
        ids.append(f.id);
    return ids;
}

// A household's favorites as the speakers list them.
inline QList<SonosFavorite> householdFavorites()
{
    return {
        favorite(QStringLiteral("f1"), QStringLiteral("Beethoven: Symphony No. 5 in C minor, Op. 67"), QStringLiteral("Album"), QStringLiteral("Apple Music")),
        favorite(QStringLiteral("f2"), QStringLiteral("Café del Mar Chill Mix"), QStringLiteral("Playlist"), QStringLiteral("Spotify")),
        favorite(QStringLiteral("f3"), QStringLiteral("Radio Swiss Classic"), QStringLiteral("Radio station"), QStringLiteral("TuneIn")),
        favorite(QStringLiteral("f4"), QStringLiteral("Mozart - Piano Concerto No. 21"), QStringLiteral("Album"), QStringLiteral("Apple Music")),
        favorite(QStringLiteral("f5"), QStringLiteral("The Daily"), QStringLiteral("Show"), QStringLiteral("Apple Podcasts")),
        favorite(QStringLiteral("f6"), QStringLiteral("Kind of Blue"), QStringLiteral("Album by Miles Davis"), QStringLiteral("Apple Music")),
        favorite(QStringLiteral("f7"), QStringLiteral("周杰倫 精選"), QStringLiteral("Playlist"), QStringLiteral("Apple Music")),
        favorite(QStringLiteral("f8"), QStringLiteral("Miles Davis Radio"), QStringLiteral("Station"), QStringLiteral("Spotify")),
        favorite(QStringLiteral("f9"), QStringLiteral("Brahms: Violin Concerto in D major, Op. 77"), QStringLiteral("Album"), QStringLiteral("Spotify")),
        favorite(QStringLiteral("f10"), QStringLiteral("Sunday Jazz"), QStringLiteral("Playlist"), QStringLiteral("Spotify")),
    };
}

} // namespace velotte::test
