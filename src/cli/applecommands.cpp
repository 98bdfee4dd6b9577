// Apple Music from the terminal: catalog search, direct play, and the
// artist queue with a progress bar.
#include "context.h"
#include "interrupt.h"
#include "wiring.h"

#include "local/applemusicidentity.h"
#include "session/applemusiccatalog.h"

#include "core/clock.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTimer>

#include <unistd.h>

namespace velotte::cli {

namespace {

using namespace Qt::Literals::StringLiterals;

const QString usageText = u"apple search TEXT | apple play ID... [--shuffle|--append] | apple artist NAME [--shuffle|--append]"_s;

struct LoadOptions {
    bool shuffle = false;
    bool append = false;
    QStringList words;
    AppleMusicAction action() const
    {
        if (append)
            return AppleMusicAction::addAfterCurrent;
        return shuffle ? AppleMusicAction::replaceShuffled : AppleMusicAction::replace;
    }
};

std::optional<LoadOptions> loadOptions(const QStringList &args)
{
    LoadOptions o;
    for (const QString &a : args) {
        if (a == u"--shuffle"_s)
            o.shuffle = true;
        else if (a == u"--append"_s)
            o.append = true;
        else if (a.startsWith(u"--"_s))
            return std::nullopt;
        else
            o.words << a;
    }
    if (o.shuffle && o.append)
        return std::nullopt;
    return o;
}

QCoro::Task<int> search(Context &c, QStringList words)
{
    const QString text = words.join(u' ').simplified();
    if (text.isEmpty())
        co_return c.usageError(u"apple search needs some text to look for."_s);
    const QList<AppleMusicIdentity> found = co_await c.wiring().catalog().search(text);
    if (c.options().json) {
        QJsonArray out;
        for (const AppleMusicIdentity &i : found)
            out.append(QJsonObject{{u"id"_s, i.key}, {u"kind"_s, i.kind}, {u"title"_s, i.title}, {u"artist"_s, i.subtitle}});
        c.printJson(out);
        co_return ok;
    }
    if (found.isEmpty()) {
        c.out() << "Nothing in the Apple Music catalog matches \"" << text << "\"." << Qt::endl;
        co_return ok;
    }
    for (const AppleMusicIdentity &i : found)
        c.out() << i.key.leftJustified(12) << ' ' << i.kind.leftJustified(6) << ' ' << i.title << "  · " << i.subtitle << Qt::endl;
    co_return ok;
}

// The session's sentence decides: queue notes are good news, the rest is not.
int outcome(Context &c)
{
    const QString note = c.session().noteText();
    if (note.isEmpty())
        return ok;
    if (note.startsWith(u"Added to the"_s)) {
        c.out() << note << Qt::endl;
        return ok;
    }
    return c.fail();
}

QCoro::Task<int> play(Context &c, LoadOptions o)
{
    if (o.words.isEmpty())
        co_return c.usageError(u"apple play needs one or more catalog ids."_s);
    if (!co_await c.start())
        co_return failed;
    const QList<AppleMusicIdentity> items = co_await c.wiring().catalog().lookup(o.words);
    if (items.size() != o.words.size()) {
        QStringList missing = o.words;
        for (const AppleMusicIdentity &i : items)
            missing.removeAll(i.key);
        co_return c.fail(u"The Apple Music catalog has no item %1."_s.arg(missing.join(u", "_s)));
    }
    HouseSession &s = c.session();
    if (items.size() == 1) {
        co_await s.appleMusic()->playAppleMusic(items.first(), o.action());
    } else {
        // Several ids are one queue, filled like an artist's songs.
        s.appleMusic()->playAppleMusicSongs(items, o.shuffle, o.append ? AppleMusicAction::addAfterCurrent : AppleMusicAction::replace);
        co_await s.appleMusic()->artistQueueFinished();
    }
    co_await s.settle();
    co_return outcome(c);
}

QCoro::Task<int> artist(Context &c, LoadOptions o)
{
    const QString name = o.words.join(u' ').simplified();
    if (name.isEmpty())
        co_return c.usageError(u"apple artist needs the artist's name."_s);
    if (!co_await c.start())
        co_return failed;
    HouseSession &s = c.session();
    Interrupt interrupt;
    const bool terminal = isatty(STDOUT_FILENO);
    QObject guard;
    auto draw = [&] {
        if (!s.appleMusic()->musicQueueBusy())
            return;
        if (terminal) {
            // A bar that redraws in place; plain lines when piped.
            const int width = 24;
            const QString text = s.appleMusic()->artistQueueProgress();
            const int filled = width * s.appleMusic()->artistQueuedCount() / std::max(1, s.appleMusic()->artistQueueTotal());
            c.out() << '\r' << '[' << QString(filled, u'#') << QString(width - filled, u'.') << "] " << text << "\x1b[K" << Qt::flush;
        } else {
            c.out() << s.appleMusic()->artistQueueProgress() << Qt::endl;
        }
    };
    QObject::connect(s.appleMusic(), &SessionAppleMusic::artistQueueChanged, &guard, draw);
    co_await s.appleMusic()->startAppleMusicSongs(name, o.shuffle, o.append ? AppleMusicAction::addAfterCurrent : AppleMusicAction::replace);
    // The queue ends, or Ctrl-C stops it; a glance every tenth of a second
    // leaves no waiter behind either way.
    while (s.appleMusic()->musicQueueBusy() && !interrupt.raised())
        co_await Clock::system().sleep(std::chrono::milliseconds(100));
    if (interrupt.raised())
        s.appleMusic()->cancelArtistQueue();
    if (terminal)
        c.out() << "\r\x1b[K" << Qt::flush;
    co_await s.settle();
    const QString note = s.noteText();
    if (interrupt.raised()) {
        c.out() << note << Qt::endl;
        co_return ok;
    }
    if (note.isEmpty()) {
        c.out() << u"Queued %1 songs by %2."_s.arg(s.appleMusic()->artistQueuedCount()).arg(name) << Qt::endl;
        co_return ok;
    }
    co_return outcome(c);
}

QCoro::Task<int> apple(Context &c, QStringList args)
{
    if (args.isEmpty())
        co_return c.usageError(usageText);
    const QString verb = args.takeFirst();
    if (verb == u"search"_s)
        co_return co_await search(c, args);
    const auto o = loadOptions(args);
    if (!o)
        co_return c.usageError(usageText);
    if (verb == u"play"_s)
        co_return co_await play(c, *o);
    if (verb == u"artist"_s)
        co_return co_await artist(c, *o);
    co_return c.usageError(usageText);
}

const Registration registration({
    {u"apple"_s, u"search TEXT | play ID... [--shuffle|--append] | artist NAME"_s, u"find and play Apple Music catalog items"_s,
     u"apple search TEXT          songs and albums of the Apple Music catalog, with their ids\n"
     "apple play ID... [--shuffle|--append]\n"
     "                            play songs, albums or playlists (pl.…) by id, or add them after the current track\n"
     "apple artist NAME [--shuffle|--append]\n"
     "                            queue the artist's songs in the background; Ctrl-C stops adding and leaves\n"
     "                            what was queued playing"_s,
     false, apple},
});

} // namespace
} // namespace velotte::cli
