#include "sonosbrowsemodel.h"

#include "core/stillcurrent.h"

#include "classicalpiece.h"
#include "favoritematch.h"
#include "mixselectionrules.h"
#include "textmatch.h"

#include <QPointer>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

SonosBrowseModel::SonosBrowseModel(KeyValueStore &defaults, MusicMixComposer *composer, QObject *parent)
    : QObject(parent), m_defaults(defaults), m_composerModel(composer)
{
}

void SonosBrowseModel::setService(const std::optional<QString> &service)
{
    if (service == m_service)
        return;
    m_service = service;
    Q_EMIT filtersChanged();
}

void SonosBrowseModel::setMode(BrowseMode mode)
{
    if (mode == m_mode)
        return;
    m_mode = mode;
    Q_EMIT filtersChanged();
}

void SonosBrowseModel::setComposer(const std::optional<QString> &composer)
{
    if (composer == m_composer)
        return;
    m_composer = composer;
    Q_EMIT filtersChanged();
}

void SonosBrowseModel::setWork(ClassicalWork work)
{
    if (work == m_work)
        return;
    m_work = work;
    Q_EMIT filtersChanged();
}

QList<SonosFavorite> SonosBrowseModel::visibleFavorites(const QList<SonosFavorite> &favorites, const QString &query) const
{
    QList<SonosFavorite> matched = FavoriteMatch::search(favorites, query, m_service);
    if (m_mode == BrowseMode::all)
        return matched;
    QList<SonosFavorite> classical;
    for (const SonosFavorite &f : matched) {
        const auto piece = ClassicalPiece::parse(f);
        if (!piece)
            continue;
        if (m_composer && !ClassicalPiece::sameComposer(piece->composer, *m_composer))
            continue;
        if (m_work != ClassicalWork::all && piece->work != m_work)
            continue;
        classical.append(f);
    }
    return classical;
}

QStringList SonosBrowseModel::composers(const QList<SonosFavorite> &favorites) const
{
    return ClassicalPiece::composers(FavoriteMatch::search(favorites, {}, m_service));
}

QList<ClassicalWork> SonosBrowseModel::works(const QList<SonosFavorite> &favorites) const
{
    QList<ClassicalWork> present;
    for (const SonosFavorite &f : FavoriteMatch::search(favorites, {}, m_service)) {
        if (const auto piece = ClassicalPiece::parse(f))
            present.append(piece->work);
    }
    QList<ClassicalWork> offered;
    for (ClassicalWork work : allClassicalWorks()) {
        if (work != ClassicalWork::all && present.contains(work))
            offered.append(work);
    }
    return offered;
}

// History

void SonosBrowseModel::selectHousehold(const QString &householdID)
{
    m_historyHousehold = householdID;
    m_recentFavorites.clear();
    if (householdID != u"demo"_s) {
        const QVariant stored = m_defaults.value(historyKeyPrefix() + householdID);
        if (stored.typeId() == QMetaType::QByteArray || stored.typeId() == QMetaType::QString) {
            try {
                m_recentFavorites = Decode::favoriteArray(stored.toByteArray());
            } catch (const std::exception &) {
                // An unreadable history is no history.
            }
        }
    }
    Q_EMIT recentFavoritesChanged();
}

void SonosBrowseModel::recordPlayed(const SonosFavorite &favorite)
{
    if (!m_historyHousehold || FavoriteMatch::isPodcast(favorite))
        return;
    m_recentFavorites.removeIf([&](const SonosFavorite &f) { return f.id == favorite.id; });
    m_recentFavorites.prepend(favorite);
    if (m_recentFavorites.size() > historyLimit)
        m_recentFavorites.resize(historyLimit);
    Q_EMIT recentFavoritesChanged();
    if (*m_historyHousehold != u"demo"_s)
        m_defaults.setValue(historyKeyPrefix() + *m_historyHousehold, encodeFavorites(m_recentFavorites));
}

bool SonosBrowseModel::isStation(const SonosFavorite &favorite) const { return FavoriteMatch::isStation(favorite); }

void SonosBrowseModel::clear()
{
    m_recommendationID = QUuid::createUuid();
    m_recommending = false;
    m_service.reset();
    m_mode = BrowseMode::all;
    m_composer.reset();
    m_work = ClassicalWork::all;
    m_recommendations.clear();
    m_recommendationDetail.clear();
    m_usesIntelligence = false;
    m_hasRecommended = false;
    m_recommendedArtist.reset();
    m_recentFavorites.clear();
    m_historyHousehold.reset();
    Q_EMIT filtersChanged();
    Q_EMIT recommendationsChanged();
    Q_EMIT recentFavoritesChanged();
}

// Suggestions

std::optional<QString> SonosBrowseModel::requestedArtist(const QString &request)
{
    static const QRegularExpression pattern(
        uR"((?:^|\b)(?:please\s+)?(?:recommend|suggest)\s+(?:me\s+)?(?:some\s+)?(?:music|songs|tracks)\s+(?:by|from)\s+(.+))"_s,
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    const QRegularExpressionMatch m = pattern.match(request);
    if (!m.hasMatch())
        return std::nullopt;
    static const QRegularExpression trailing(uR"([\s\p{P}]*(?:\bplease)?[\s\p{P}]*$)"_s,
                                             QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    QString artist = m.captured(1);
    artist.remove(trailing);
    artist = artist.trimmed();
    if (TextMatch::words(artist).isEmpty())
        return std::nullopt;
    return artist;
}

namespace {

// Words of a mood that say nothing about the music.
bool fillerWord(const QString &word)
{
    static const QSet<QString> filler = {u"a"_s,     u"an"_s,        u"the"_s,   u"some"_s,  u"any"_s,   u"music"_s,  u"songs"_s,
                                         u"song"_s,  u"tracks"_s,    u"for"_s,   u"to"_s,    u"of"_s,    u"and"_s,    u"or"_s,
                                         u"me"_s,    u"my"_s,        u"i"_s,     u"im"_s,    u"please"_s, u"recommend"_s, u"suggest"_s,
                                         u"play"_s,  u"something"_s, u"want"_s,  u"with"_s,  u"in"_s,    u"on"_s,     u"by"_s,
                                         u"like"_s,  u"feel"_s,      u"give"_s,  u"can"_s,   u"you"_s,   u"is"_s,     u"it"_s};
    return filler.contains(word);
}

// Genre-like tags the favorites carry implicitly.
QStringList genresOf(const SonosFavorite &favorite)
{
    QStringList genres;
    if (const auto piece = ClassicalPiece::parse(favorite)) {
        genres.append(u"Classical"_s);
        if (piece->work != ClassicalWork::all)
            genres.append(displayText(piece->work));
    }
    if (FavoriteMatch::isStation(favorite))
        genres.append(u"Radio"_s);
    return genres;
}

} // namespace

MusicHit SonosBrowseModel::hitFor(const SonosFavorite &favorite)
{
    MusicHit hit;
    hit.title = favorite.name;
    const auto piece = ClassicalPiece::parse(favorite);
    if (piece && !piece->composer.isEmpty())
        hit.artist = piece->composer;
    else
        hit.artist = favorite.detail.value_or(QString());
    hit.artwork = favorite.artworkURL();
    hit.genres = genresOf(favorite);
    return hit;
}

QList<SonosFavorite> SonosBrowseModel::rankedForRequest(const QString &request, const QList<SonosFavorite> &favorites) const
{
    // Recently played favorites come first among equals.
    auto recency = [this](const SonosFavorite &f) {
        for (qsizetype i = 0; i < m_recentFavorites.size(); ++i) {
            if (m_recentFavorites[i].id == f.id)
                return int(i);
        }
        return historyLimit;
    };
    struct Ranked {
        int score;
        int recent;
        qsizetype index;
    };
    QList<Ranked> ranked;
    const std::optional<QString> artist = requestedArtist(request);
    if (artist) {
        // An artist request only offers favorites that name the artist, in
        // any spelling of a composer's name.
        const QStringList words = TextMatch::words(*artist);
        const QString composer = ClassicalPiece::composerNamed(*artist);
        for (qsizetype i = 0; i < favorites.size(); ++i) {
            if (FavoriteMatch::isPodcast(favorites[i]))
                continue;
            std::optional<int> score = FavoriteMatch::matchScore(favorites[i], words);
            if (!score && !composer.isEmpty()) {
                const auto piece = ClassicalPiece::parse(favorites[i]);
                if (piece && piece->composer == composer)
                    score = 3000;
            }
            if (score)
                ranked.append({*score, recency(favorites[i]), i});
        }
    } else {
        QStringList words = TextMatch::words(request);
        words.removeIf(fillerWord);
        for (qsizetype i = 0; i < favorites.size(); ++i) {
            const SonosFavorite &f = favorites[i];
            if (FavoriteMatch::isPodcast(f))
                continue;
            const QStringList text = TextMatch::words(f.name + u' ' + f.detail.value_or(QString()) + u' '
                                                      + FavoriteMatch::serviceName(f) + u' ' + genresOf(f).join(u' '));
            int matched = 0;
            for (const QString &w : words) {
                if (std::any_of(text.begin(), text.end(), [&](const QString &t) { return TextMatch::wordMatches(w, t); }))
                    ++matched;
            }
            ranked.append({-matched, recency(f), i});
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const Ranked &a, const Ranked &b) {
        return a.score != b.score ? a.score < b.score : a.recent < b.recent;
    });
    QList<SonosFavorite> result;
    for (const Ranked &r : ranked)
        result.append(favorites[r.index]);
    return result;
}

QCoro::Task<void> SonosBrowseModel::recommend(QString request, QList<SonosFavorite> favorites)
{
    const QUuid run = QUuid::createUuid();
    m_recommendationID = run;
    m_recommending = true;
    m_recommendedArtist = requestedArtist(request);
    Q_EMIT recommendationsChanged();

    QList<SonosFavorite> candidates = rankedForRequest(request, favorites);
    if (candidates.size() > candidateLimit)
        candidates.resize(candidateLimit);
    QList<SonosFavorite> fallback = candidates.mid(0, MixSelectionRules::maximumCount);
    if (candidates.isEmpty()) {
        const QString detail = m_recommendedArtist ? u"No favorites match \"%1\"."_s.arg(*m_recommendedArtist)
                                                   : u"There are no favorites to suggest from."_s;
        finishRecommending({}, detail, false);
        co_return;
    }
    if (!m_composerModel) {
        finishRecommending(fallback, unavailableSentence(), false);
        co_return;
    }

    const StillCurrent alive(this);
    bool available = false;
    try {
        available = co_await m_composerModel->isAvailable();
    } catch (const std::exception &) {
        available = false;
    }
    if (!alive || m_recommendationID != run)
        co_return;
    if (!available) {
        finishRecommending(fallback, unavailableSentence(), false);
        co_return;
    }

    QList<MusicHit> hits;
    for (const SonosFavorite &f : candidates)
        hits.append(hitFor(f));
    std::optional<GeneratedMusicMix> mix;
    try {
        mix = co_await m_composerModel->select(request, hits);
    } catch (const std::exception &) {
        // A failed model run falls back like a missing model.
    }
    if (!alive || m_recommendationID != run)
        co_return;
    QList<SonosFavorite> picks;
    if (mix) {
        for (const int i : MixSelectionRules::validIndices(mix->indices, int(candidates.size())))
            picks.append(candidates[i]);
    }
    if (picks.isEmpty()) {
        finishRecommending(fallback, unavailableSentence(), false);
        co_return;
    }
    QString detail = mix->reason.trimmed();
    if (!mix->title.trimmed().isEmpty())
        detail = detail.isEmpty() ? mix->title.trimmed() : mix->title.trimmed() + u" — "_s + detail;
    finishRecommending(picks, detail, true);
}

void SonosBrowseModel::finishRecommending(QList<SonosFavorite> picks, QString detail, bool intelligence)
{
    m_recommendations = std::move(picks);
    m_recommendationDetail = std::move(detail);
    m_usesIntelligence = intelligence;
    m_hasRecommended = true;
    m_recommending = false;
    Q_EMIT recommendationsChanged();
}

} // namespace velotte
