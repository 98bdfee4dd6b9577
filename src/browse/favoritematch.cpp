#include "favoritematch.h"

#include "textmatch.h"

#include <QSet>

#include <algorithm>

namespace velotte::FavoriteMatch {

using namespace Qt::Literals::StringLiterals;

QString serviceName(const SonosFavorite &favorite)
{
    return favorite.service && favorite.service->name ? *favorite.service->name : QString();
}

bool isPodcast(const SonosFavorite &favorite) { return roomSourceKind(favorite) == RoomSourceKind::podcast; }

bool isStation(const SonosFavorite &favorite)
{
    const QString text = u' ' + TextMatch::normalized(favorite.name + u' ' + favorite.detail.value_or(QString())) + u' ';
    for (const QString &word : {u"radio"_s, u"station"_s, u"stations"_s, u"similar artists"_s}) {
        if (text.contains(u' ' + TextMatch::normalized(word) + u' '))
            return true;
    }
    return false;
}

namespace {

// Per query word: 0 a whole word of the name, 1 the start of a word of the
// name, 2 a whole word elsewhere, 3 the start of a word elsewhere.
int wordScore(const QString &queryWord, const QStringList &name, const QStringList &elsewhere)
{
    int best = -1;
    auto consider = [&](const QStringList &words, int base) {
        for (const QString &w : words) {
            if (w == queryWord)
                best = best < 0 ? base : std::min(best, base);
            else if (TextMatch::wordMatches(queryWord, w))
                best = best < 0 ? base + 1 : std::min(best, base + 1);
        }
    };
    consider(name, 0);
    if (best != 0)
        consider(elsewhere, 2);
    return best;
}

bool startsWithWords(const QStringList &words, const QStringList &prefix)
{
    if (prefix.size() > words.size())
        return false;
    for (qsizetype i = 0; i < prefix.size(); ++i) {
        const bool last = i + 1 == prefix.size();
        // The last query word may still be being typed.
        if (last ? !TextMatch::wordMatches(prefix[i], words[i]) : prefix[i] != words[i])
            return false;
    }
    return true;
}

} // namespace

std::optional<int> matchScore(const SonosFavorite &favorite, const QStringList &queryWords)
{
    if (queryWords.isEmpty())
        return 0;
    const QStringList name = TextMatch::words(favorite.name);
    const QStringList elsewhere = TextMatch::words(favorite.detail.value_or(QString()) + u' ' + serviceName(favorite));
    int sum = 0;
    for (const QString &q : queryWords) {
        const int s = wordScore(q, name, elsewhere);
        if (s < 0)
            return std::nullopt;
        sum += s;
    }
    // The tiers come first; within one, the closer word matches.
    int tier = 3;
    if (name == queryWords)
        tier = 0;
    else if (startsWithWords(name, queryWords))
        tier = 1;
    else if (std::all_of(queryWords.begin(), queryWords.end(), [&](const QString &q) { return wordScore(q, name, {}) >= 0; }))
        tier = 2;
    return tier * 1000 + sum;
}

QList<SonosFavorite> search(const QList<SonosFavorite> &favorites, const QString &query, const std::optional<QString> &service)
{
    const QStringList queryWords = TextMatch::words(query);
    const QString serviceKey = service ? TextMatch::normalized(*service) : QString();
    QList<std::pair<int, qsizetype>> ranked;
    for (qsizetype i = 0; i < favorites.size(); ++i) {
        const SonosFavorite &f = favorites[i];
        if (service && TextMatch::normalized(serviceName(f)) != serviceKey)
            continue;
        if (const auto score = matchScore(f, queryWords))
            ranked.append({*score, i});
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    QList<SonosFavorite> result;
    result.reserve(ranked.size());
    for (const auto &[score, index] : ranked)
        result.append(favorites[index]);
    return result;
}

QStringList services(const QList<SonosFavorite> &favorites)
{
    QStringList names;
    QSet<QString> seen;
    for (const SonosFavorite &f : favorites) {
        const QString name = serviceName(f).trimmed();
        const QString key = TextMatch::normalized(name);
        if (name.isEmpty() || seen.contains(key))
            continue;
        seen.insert(key);
        names.append(name);
    }
    return names;
}

namespace {

bool hasAnyPhrase(const QStringList &words, std::initializer_list<const char16_t *> phrases)
{
    for (const char16_t *phrase : phrases) {
        if (TextMatch::containsPhrase(words, TextMatch::words(QString::fromUtf16(phrase))))
            return true;
    }
    return false;
}

} // namespace

Sections sections(const QList<SonosFavorite> &favorites)
{
    Sections s;
    for (const SonosFavorite &f : favorites) {
        const QStringList name = TextMatch::words(f.name);
        const QStringList detail = TextMatch::words(f.detail.value_or(QString()));
        // Services name their generated lists in the title; the description
        // says what kind of item it is.
        const bool mix = hasAnyPhrase(name, {u"mix", u"mixes", u"mixtape", u"supermix", u"discover weekly", u"release radar",
                                             u"new music mix", u"personal mix", u"similar artists"})
                         || hasAnyPhrase(detail, {u"mix", u"mixes", u"personal mix", u"similar artists"});
        const bool playlist = hasAnyPhrase(detail, {u"playlist", u"playlists"})
                              || (detail.isEmpty() && hasAnyPhrase(name, {u"playlist"}));
        if (mix)
            s.mixes.append(f);
        else if (playlist)
            s.playlists.append(f);
        else
            s.other.append(f);
    }
    return s;
}

} // namespace velotte::FavoriteMatch
