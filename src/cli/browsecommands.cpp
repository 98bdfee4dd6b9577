// favorites with filters, the play history, pins and suggestions.
#include "context.h"
#include "wiring.h"

#include "browse/classicalpiece.h"
#include "browse/favoritematch.h"
#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "browse/textmatch.h"

#include <QJsonArray>
#include <QJsonObject>

namespace velotte::cli {

namespace {

using namespace Qt::Literals::StringLiterals;

// By id or name; case, accents, width and script do not count, and a name
// that is only part of one finds the best match.
std::optional<SonosFavorite> favoriteNamed(const QList<SonosFavorite> &favorites, const QString &name)
{
    const QString key = TextMatch::normalized(name);
    for (const SonosFavorite &f : favorites) {
        if (f.id == name || (!key.isEmpty() && TextMatch::normalized(f.name) == key))
            return f;
    }
    if (key.isEmpty())
        return std::nullopt;
    const QList<SonosFavorite> found = FavoriteMatch::search(favorites, name);
    if (found.isEmpty())
        return std::nullopt;
    return found.first();
}

void printFavorites(Context &c, const QList<SonosFavorite> &list, bool numbered = false)
{
    if (c.options().json) {
        QJsonArray out;
        for (const SonosFavorite &f : list)
            out.append(f.toJson());
        c.printJson(out);
        return;
    }
    int n = 0;
    for (const SonosFavorite &f : list) {
        if (numbered)
            c.out() << ++n << ". ";
        c.out() << f.name;
        if (const QString service = FavoriteMatch::serviceName(f); !service.isEmpty())
            c.out() << "  · " << service;
        c.out() << Qt::endl;
    }
}

std::optional<ClassicalWork> workNamed(const QString &text)
{
    const QString key = TextMatch::normalized(text);
    const QList<std::pair<QString, ClassicalWork>> names = {
        {u"all"_s, ClassicalWork::all},           {u"symphonies"_s, ClassicalWork::symphonies}, {u"symphony"_s, ClassicalWork::symphonies},
        {u"concertos"_s, ClassicalWork::concertos}, {u"concerto"_s, ClassicalWork::concertos},     {u"sonatas"_s, ClassicalWork::sonatas},
        {u"sonata"_s, ClassicalWork::sonatas},    {u"chamber"_s, ClassicalWork::chamber},       {u"vocal"_s, ClassicalWork::vocal},
        {u"opera"_s, ClassicalWork::vocal},       {u"choral"_s, ClassicalWork::vocal},
    };
    for (const auto &[name, work] : names) {
        if (key == name)
            return work;
    }
    for (ClassicalWork work : allClassicalWorks()) {
        if (key == TextMatch::normalized(displayText(work)))
            return work;
    }
    return std::nullopt;
}

QCoro::Task<int> favorites(Context &c, QStringList args)
{
    QString search;
    bool classical = false;
    std::optional<QString> composer;
    std::optional<ClassicalWork> work;
    std::optional<QString> service;
    while (!args.isEmpty()) {
        const QString option = args.takeFirst();
        const bool takesValue = option == u"--search"_s || option == u"--composer"_s || option == u"--work"_s || option == u"--service"_s;
        if (option == u"--classical"_s) {
            classical = true;
            continue;
        }
        if (!takesValue)
            co_return c.usageError(u"Unknown argument \"%1\" for favorites."_s.arg(option));
        if (args.isEmpty())
            co_return c.usageError(u"%1 needs a value."_s.arg(option));
        const QString value = args.takeFirst();
        if (option == u"--search"_s)
            search = value;
        else if (option == u"--composer"_s)
            composer = value;
        else if (option == u"--service"_s)
            service = value;
        else if (!(work = workNamed(value)))
            co_return c.usageError(u"--work takes one of symphonies, concertos, sonatas, chamber, vocal or all."_s);
    }
    if ((composer || work) && !classical)
        co_return c.usageError(u"--composer and --work narrow --classical; add --classical."_s);
    if (!co_await c.readLibrary())
        co_return failed;

    SonosBrowseModel &browse = c.wiring().browse();
    browse.setService(service);
    browse.setMode(classical ? BrowseMode::classical : BrowseMode::all);
    browse.setComposer(composer);
    browse.setWork(work.value_or(ClassicalWork::all));
    const QList<SonosFavorite> shown = browse.visibleFavorites(c.session().library()->favorites(), search);
    if (shown.isEmpty() && !c.options().json) {
        c.out() << (c.session().library()->favorites().isEmpty() ? u"There are no favorites in this household."_s : u"No favorites match."_s) << Qt::endl;
        co_return ok;
    }
    printFavorites(c, shown);
    co_return ok;
}

QCoro::Task<int> history(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(u"history takes no arguments."_s);
    const QList<SonosFavorite> &played = c.wiring().browse().recentFavorites();
    if (played.isEmpty() && !c.options().json) {
        c.out() << (c.session().demo() ? u"The demo household keeps no history."_s : u"No favorites played yet."_s) << Qt::endl;
        co_return ok;
    }
    printFavorites(c, played);
    co_return ok;
}

QCoro::Task<int> pin(Context &c, QStringList args, bool pinning)
{
    const QString command = pinning ? u"pin"_s : u"unpin"_s;
    if (args.isEmpty())
        co_return c.usageError(u"%1 needs the name of a favorite."_s.arg(command));
    const QString name = args.join(u' ');
    if (!co_await c.readLibrary())
        co_return failed;
    QuickPicksStore &picks = c.wiring().quickPicks();
    const auto found = favoriteNamed(c.session().library()->favorites(), name);
    // A pin whose favorite was deleted can still be removed by its id.
    const QString id = found ? found->id : name;
    const QString shownName = found ? found->name : name;
    if (!found && !(!pinning && picks.isPinned(name)))
        co_return c.fail(u"No favorite is called \"%1\"."_s.arg(name));
    if (picks.isPinned(id) == pinning) {
        c.out() << (pinning ? u"\"%1\" is already pinned."_s : u"\"%1\" is not pinned."_s).arg(shownName) << Qt::endl;
        co_return ok;
    }
    if (pinning && picks.isFull())
        co_return c.fail(u"Six favorites are pinned already. "_s + QuickPicksStore::hint());
    picks.toggle(id);
    c.out() << (pinning ? u"Pinned \"%1\"."_s : u"Unpinned \"%1\"."_s).arg(shownName) << Qt::endl;
    co_return ok;
}

QCoro::Task<int> pins(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(u"pins takes no arguments."_s);
    if (!co_await c.readLibrary())
        co_return failed;
    const QList<SonosFavorite> shown = c.wiring().quickPicks().items(c.session().library()->favorites());
    if (shown.isEmpty() && !c.options().json) {
        c.out() << QuickPicksStore::hint() << Qt::endl;
        co_return ok;
    }
    printFavorites(c, shown);
    co_return ok;
}

QCoro::Task<int> suggest(Context &c, QStringList args)
{
    const QString request = args.join(u' ').trimmed();
    if (request.isEmpty())
        co_return c.usageError(u"suggest needs a mood or a request such as \"recommend music by Nina Simone\"."_s);
    if (!co_await c.readLibrary())
        co_return failed;
    SonosBrowseModel &browse = c.wiring().browse();
    co_await browse.recommend(request, c.session().library()->favorites());
    if (c.options().json) {
        QJsonArray list;
        for (const SonosFavorite &f : browse.recommendations())
            list.append(f.toJson());
        QJsonObject out{{u"suggestions"_s, list}, {u"detail"_s, browse.recommendationDetail()}, {u"arrangedByModel"_s, browse.usesIntelligence()}};
        if (browse.recommendedArtist())
            out.insert(u"artist"_s, *browse.recommendedArtist());
        c.printJson(out);
        co_return ok;
    }
    printFavorites(c, browse.recommendations(), true);
    c.out() << browse.recommendationDetail() << Qt::endl;
    if (browse.usesIntelligence())
        c.out() << "Arranged by the music model." << Qt::endl;
    co_return ok;
}

const Registration registration({
    {u"favorites"_s, u"[--search TEXT] [--classical [--composer NAME] [--work KIND]] [--service NAME]"_s, u"list the Sonos favorites, filtered"_s,
     u"Lists the household's Sonos favorites. --search keeps those whose name, description or service holds every word\n"
     "(case, accents, width and Chinese script do not count), best matches first. --service keeps one service's favorites.\n"
     "--classical keeps classical works; --composer and --work narrow them (KIND: symphonies, concertos, sonatas,\n"
     "chamber, vocal)."_s,
     true, favorites},
    {u"history"_s, {}, u"the favorites played lately in this household, newest first"_s, {}, true, history},
    {u"pin"_s, u"NAME"_s, u"pin a favorite to the quick picks (up to six)"_s, {}, true, [](Context &c, QStringList a) { return pin(c, a, true); }},
    {u"unpin"_s, u"NAME"_s, u"remove a favorite from the quick picks"_s, {}, true, [](Context &c, QStringList a) { return pin(c, a, false); }},
    {u"pins"_s, {}, u"the pinned favorites"_s, {}, true, pins},
    {u"suggest"_s, u"TEXT"_s, u"suggest favorites for a mood or an artist"_s,
     u"Suggests favorites for a mood (\"calm sunday morning\") or an artist (\"recommend music by Nina Simone\"),\n"
     "arranged by the local music model ([services] model) when it answers, else ranked from the favorites and history."_s,
     true, suggest},
});

} // namespace
} // namespace velotte::cli
