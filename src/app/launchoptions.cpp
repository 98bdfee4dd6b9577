#include "launchoptions.h"

namespace velotte {

namespace {
bool knownScreen(const QString &word)
{
    return word == u"rooms" || word == u"music" || word == u"news" || word == u"lyrics" || word == u"sound";
}
} // namespace

LaunchOptions LaunchOptions::parse(const QStringList &arguments)
{
    LaunchOptions o;
    // The first entry is the program itself.
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &a = arguments[i];
        const bool hasNext = i + 1 < arguments.size();
        if (a == u"-VelotteDemo" || a == u"--demo") {
            o.demo = true;
        } else if (a == u"-VelotteGuest" || a == u"--guest") {
            o.guest = true;
        } else if (a == u"--hidden") {
            o.hidden = true;
        } else if (a == u"-VelotteScreen" || a == u"--screen") {
            // An unknown word is ignored but still consumed, like any value.
            if (hasNext) {
                const QString word = arguments[++i].toLower();
                if (knownScreen(word))
                    o.screen = word;
            }
        } else if (a.startsWith(u"--screen=")) {
            const QString word = a.mid(9).toLower();
            if (knownScreen(word))
                o.screen = word;
        } else if (a == u"--speakers" && hasNext) {
            for (const QString &host : arguments[++i].split(u',', Qt::SkipEmptyParts))
                o.speakers << host.trimmed();
        } else if (a.startsWith(u"velotte:")) {
            o.link = QUrl(a);
        }
    }
    return o;
}

bool LaunchOptions::isRefresh(const QUrl &link) { return link.scheme() == u"velotte" && link.host() == u"refresh"; }

QString LaunchOptions::favoriteOf(const QUrl &link)
{
    if (link.scheme() != u"velotte" || link.host() != u"favorite")
        return {};
    QString id = link.path(QUrl::FullyDecoded);
    if (id.startsWith(u'/'))
        id.remove(0, 1);
    return id;
}

} // namespace velotte
