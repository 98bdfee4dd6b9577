// favorites, playlists and starting them.
#include "context.h"

#include <QJsonArray>
#include <QJsonObject>

namespace velotte::cli {

namespace {

std::optional<SonosFavorite> favoriteNamed(Context &c, const QString &name)
{
    for (const SonosFavorite &f : c.session().library()->favorites()) {
        if (f.name.compare(name, Qt::CaseInsensitive) == 0 || f.id == name)
            return f;
    }
    for (const SonosFavorite &f : c.session().library()->favorites()) {
        if (f.name.contains(name, Qt::CaseInsensitive))
            return f;
    }
    return std::nullopt;
}

QCoro::Task<int> playlists(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("playlists takes no arguments."));
    if (!co_await c.readLibrary())
        co_return failed;
    for (const SonosPlaylist &p : c.session().library()->sonosPlaylists()) {
        c.out() << p.name;
        if (p.trackCount)
            c.out() << "  · " << *p.trackCount << " tracks";
        c.out() << Qt::endl;
    }
    co_return ok;
}

QCoro::Task<int> playFavorite(Context &c, QStringList args)
{
    bool shuffle = false;
    QStringList names;
    for (const QString &a : args) {
        if (a == QLatin1String("--shuffle"))
            shuffle = true;
        else
            names << a;
    }
    if (names.isEmpty())
        co_return c.usageError(QStringLiteral("play-favorite needs the name of a favorite."));
    if (!co_await c.readLibrary())
        co_return failed;
    QList<SonosFavorite> chosen;
    for (const QString &name : names) {
        const auto f = favoriteNamed(c, name);
        if (!f)
            co_return c.fail(QStringLiteral("No favorite is called \"%1\".").arg(name));
        chosen << *f;
    }
    HouseSession &s = c.session();
    if (chosen.size() == 1 && !shuffle)
        co_await s.library()->playFavorite(chosen.first());
    else
        co_await s.library()->playFavorites(chosen, !shuffle);
    co_await s.settle();
    co_return s.noteText().isEmpty() ? ok : c.fail();
}

QCoro::Task<int> queueFavorite(Context &c, QStringList args)
{
    if (args.size() != 1)
        co_return c.usageError(QStringLiteral("queue-favorite needs the name of one favorite."));
    if (!co_await c.readLibrary())
        co_return failed;
    const auto f = favoriteNamed(c, args.first());
    if (!f)
        co_return c.fail(QStringLiteral("No favorite is called \"%1\".").arg(args.first()));
    HouseSession &s = c.session();
    co_await s.library()->queueFavorite(*f);
    const QString note = s.noteText();
    if (!note.startsWith(QLatin1String("Added to the queue")))
        co_return c.fail();
    c.out() << note << Qt::endl;
    co_return ok;
}

QCoro::Task<int> playPlaylist(Context &c, QStringList args)
{
    bool append = args.removeAll(QStringLiteral("--append")) > 0;
    if (args.size() != 1)
        co_return c.usageError(QStringLiteral("play-playlist needs the name of one playlist."));
    if (!co_await c.readLibrary())
        co_return failed;
    HouseSession &s = c.session();
    for (const SonosPlaylist &p : s.library()->sonosPlaylists()) {
        if (p.name.compare(args.first(), Qt::CaseInsensitive) == 0 || p.id == args.first()) {
            co_await s.library()->playPlaylist(p, append ? QStringLiteral("APPEND") : QStringLiteral("REPLACE"));
            const QString note = s.noteText();
            if (!note.isEmpty() && !note.startsWith(QLatin1String("Playlist added")))
                co_return c.fail();
            if (!note.isEmpty())
                c.out() << note << Qt::endl;
            co_return ok;
        }
    }
    co_return c.fail(QStringLiteral("No playlist is called \"%1\".").arg(args.first()));
}

const Registration registration({
    {QStringLiteral("playlists"), {}, QStringLiteral("list the Sonos playlists"), {}, true, playlists},
    {QStringLiteral("play-favorite"), QStringLiteral("NAME [NAME...] [--shuffle]"), QStringLiteral("play favorites, several as one queue"), {}, true, playFavorite},
    {QStringLiteral("queue-favorite"), QStringLiteral("NAME"), QStringLiteral("add a favorite to the end of the queue"), {}, true, queueFavorite},
    {QStringLiteral("play-playlist"), QStringLiteral("NAME [--append]"), QStringLiteral("play a Sonos playlist, or add it to the queue"), {}, true, playPlaylist},
});

} // namespace
} // namespace velotte::cli
