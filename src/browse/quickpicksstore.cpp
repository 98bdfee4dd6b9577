#include "quickpicksstore.h"

#include "favoritematch.h"

namespace velotte {

QuickPicksStore::QuickPicksStore(KeyValueStore &defaults, QObject *parent) : QObject(parent), m_defaults(defaults) {}

void QuickPicksStore::selectHousehold(const QString &householdID)
{
    m_key = keyPrefix() + householdID;
    const QVariant stored = m_defaults.value(m_key);
    QStringList ids;
    if (stored.typeId() == QMetaType::QStringList)
        ids = stored.toStringList();
    else if (stored.typeId() == QMetaType::QVariantList) {
        for (const QVariant &v : stored.toList()) {
            if (v.typeId() == QMetaType::QString)
                ids.append(v.toString());
        }
    } else if (stored.typeId() == QMetaType::QString && !stored.toString().isEmpty())
        ids = {stored.toString()}; // the INI file writes a list of one as plain text
    setIDs(ids);
}

void QuickPicksStore::clear()
{
    m_key.clear();
    setIDs({});
}

void QuickPicksStore::toggle(const QString &favoriteID)
{
    if (m_key.isEmpty())
        return;
    QStringList ids = m_ids;
    if (ids.contains(favoriteID))
        ids.removeAll(favoriteID);
    else if (ids.size() < limit)
        ids.append(favoriteID);
    else
        return;
    setIDs(ids);
    m_defaults.setValue(m_key, m_ids);
}

QList<SonosFavorite> QuickPicksStore::items(const QList<SonosFavorite> &favorites) const
{
    QList<SonosFavorite> shown;
    for (const QString &id : m_ids) {
        const auto found = std::find_if(favorites.begin(), favorites.end(), [&](const SonosFavorite &f) { return f.id == id; });
        if (found == favorites.end() || FavoriteMatch::isPodcast(*found))
            continue;
        shown.append(*found);
    }
    return shown;
}

void QuickPicksStore::setIDs(const QStringList &ids)
{
    if (ids == m_ids)
        return;
    m_ids = ids;
    Q_EMIT idsChanged();
}

} // namespace velotte
