#include "musicpane.h"

#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "core/failure.h"
#include "core/stillcurrent.h"
#include "session/applemusiccatalog.h"
#include "session/housesession.h"

namespace velotte {

MusicPane::MusicPane(HouseSession &session, SonosBrowseModel &browse, QuickPicksStore &picks, AppleMusicCatalog &catalog, QObject *parent)
    : QObject(parent), m_session(session), m_browse(browse), m_picks(picks), m_catalog(catalog)
{
    connect(session.library(), &SessionLibrary::favoritesChanged, this, &MusicPane::listChanged);
    connect(&browse, &SonosBrowseModel::filtersChanged, this, &MusicPane::listChanged);
    connect(&browse, &SonosBrowseModel::recentFavoritesChanged, this, &MusicPane::listChanged);
    connect(&browse, &SonosBrowseModel::recommendationsChanged, this, &MusicPane::suggestionsChanged);
    connect(&picks, &QuickPicksStore::idsChanged, this, &MusicPane::listChanged);
}

QVariantMap MusicPane::row(const SonosFavorite &f, bool pinned)
{
    const std::optional<QUrl> art = f.artworkURL();
    return {{QStringLiteral("id"), f.id},
            {QStringLiteral("name"), f.name},
            {QStringLiteral("detail"), f.detail.value_or(QString())},
            {QStringLiteral("service"), f.service ? f.service->name.value_or(QString()) : QString()},
            {QStringLiteral("artwork"), QVariant(art.value_or(QUrl()))},
            {QStringLiteral("pinned"), pinned}};
}

void MusicPane::setQuery(const QString &query)
{
    if (query == m_query)
        return;
    m_query = query;
    Q_EMIT listChanged();
}

QString MusicPane::service() const { return m_browse.serviceText(); }

void MusicPane::setService(const QString &service)
{
    m_browse.setService(service.isEmpty() ? std::nullopt : std::optional<QString>(service));
}

bool MusicPane::classical() const { return m_browse.mode() == BrowseMode::classical; }
void MusicPane::setClassical(bool on) { m_browse.setMode(on ? BrowseMode::classical : BrowseMode::all); }
QString MusicPane::composer() const { return m_browse.composerText(); }

void MusicPane::setComposer(const QString &composer)
{
    m_browse.setComposer(composer.isEmpty() ? std::nullopt : std::optional<QString>(composer));
}

QString MusicPane::work() const { return m_browse.work() == ClassicalWork::all ? QString() : displayText(m_browse.work()); }

void MusicPane::setWork(const QString &work)
{
    ClassicalWork chosen = ClassicalWork::all;
    for (ClassicalWork w : allClassicalWorks()) {
        if (displayText(w) == work)
            chosen = w;
    }
    m_browse.setWork(chosen);
}

QVariantList MusicPane::favorites() const
{
    QVariantList list;
    for (const SonosFavorite &f : m_browse.visibleFavorites(m_session.library()->favorites(), m_query))
        list.append(row(f, m_picks.isPinned(f.id)));
    return list;
}

QStringList MusicPane::services() const
{
    QStringList names;
    for (const SonosFavorite &f : m_session.library()->favorites()) {
        const QString name = f.service ? f.service->name.value_or(QString()) : QString();
        if (!name.isEmpty() && !names.contains(name))
            names.append(name);
    }
    names.sort(Qt::CaseInsensitive);
    return names;
}

QStringList MusicPane::composers() const { return m_browse.composers(m_session.library()->favorites()); }

QStringList MusicPane::works() const
{
    QStringList names;
    for (ClassicalWork w : m_browse.works(m_session.library()->favorites()))
        names.append(displayText(w));
    return names;
}

QVariantList MusicPane::picks() const
{
    QVariantList list;
    for (const SonosFavorite &f : m_picks.items(m_session.library()->favorites()))
        list.append(row(f, true));
    return list;
}

QString MusicPane::picksHint() const { return QuickPicksStore::hint(); }

QVariantList MusicPane::recent() const
{
    QVariantList list;
    for (const SonosFavorite &f : m_browse.recentFavorites())
        list.append(row(f, m_picks.isPinned(f.id)));
    return list;
}

QVariantList MusicPane::suggestions() const
{
    QVariantList list;
    for (const SonosFavorite &f : m_browse.recommendations())
        list.append(row(f, m_picks.isPinned(f.id)));
    return list;
}

bool MusicPane::suggesting() const { return m_browse.recommending(); }
QString MusicPane::suggestionDetail() const { return m_browse.recommendationDetail(); }

QVariantList MusicPane::results() const
{
    QVariantList list;
    for (const AppleMusicIdentity &item : m_results)
        list.append(QVariantMap{{QStringLiteral("key"), item.key},
                                {QStringLiteral("title"), item.title},
                                {QStringLiteral("subtitle"), item.subtitle},
                                {QStringLiteral("kind"), item.kind}});
    return list;
}

void MusicPane::togglePin(const QString &favoriteID) { m_picks.toggle(favoriteID); }

void MusicPane::suggest(const QString &mood)
{
    auto task = m_browse.recommend(mood.trimmed(), m_session.library()->favorites());
}

void MusicPane::search(const QString &text)
{
    const QString trimmed = text.trimmed();
    ++m_searchGeneration; // an older search that answers late is dropped
    if (trimmed.isEmpty()) {
        m_results.clear();
        m_searching = false;
        m_searchNote.clear();
        Q_EMIT resultsChanged();
        return;
    }
    auto task = runSearch(trimmed, m_searchGeneration);
}

QCoro::Task<void> MusicPane::runSearch(QString text, int generation)
{
    const StillCurrent alive(this);
    m_searching = true;
    m_searchNote.clear();
    Q_EMIT resultsChanged();
    QList<AppleMusicIdentity> found;
    QString note;
    try {
        found = co_await m_catalog.search(text);
        if (found.isEmpty())
            note = QStringLiteral("Nothing in Apple Music matches “%1”.").arg(text);
    } catch (const std::exception &error) {
        note = sentenceOf(error);
    }
    if (!alive || generation != m_searchGeneration)
        co_return;
    m_results = found;
    m_searching = false;
    m_searchNote = note;
    Q_EMIT resultsChanged();
}

void MusicPane::playResult(int row, const QString &how)
{
    if (row < 0 || row >= m_results.size())
        return;
    AppleMusicAction action = AppleMusicAction::replace;
    if (how == u"shuffle")
        action = AppleMusicAction::replaceShuffled;
    else if (how == u"next")
        action = AppleMusicAction::addAfterCurrent;
    auto task = m_session.appleMusic()->playAppleMusic(m_results[row], action);
}

void MusicPane::queueArtist(const QString &artist, bool shuffled)
{
    if (artist.trimmed().isEmpty())
        return;
    auto task = m_session.appleMusic()->startAppleMusicSongs(artist.trimmed(), shuffled, AppleMusicAction::replace);
}

void MusicPane::cancelQueue() { m_session.appleMusic()->cancelArtistQueue(); }

} // namespace velotte
