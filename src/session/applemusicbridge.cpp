#include "applemusicbridge.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace velotte {

void AppleMusicSonosBridge::selectHousehold(const QString &householdID)
{
    m_scope = householdID;
    m_links.clear();
    const QJsonObject stored = QJsonDocument::fromJson(m_defaults.value(prefix() + householdID).toByteArray()).object();
    for (auto it = stored.begin(); it != stored.end(); ++it) {
        if (it.value().isString())
            m_links.insert(it.key(), it.value().toString());
    }
}

void AppleMusicSonosBridge::clear()
{
    m_scope.reset();
    m_links.clear();
}

void AppleMusicSonosBridge::link(const AppleMusicIdentity &item, const QString &favoriteID)
{
    if (!m_scope || item.key.isEmpty())
        return;
    m_links.insert(item.key, favoriteID);
    QJsonObject stored;
    for (auto it = m_links.begin(); it != m_links.end(); ++it)
        stored.insert(it.key(), it.value());
    m_defaults.setValue(prefix() + *m_scope, QJsonDocument(stored).toJson(QJsonDocument::Compact));
}

std::optional<SonosFavorite> AppleMusicSonosBridge::favorite(const AppleMusicIdentity &item, const QList<SonosFavorite> &favorites) const
{
    if (const QString id = m_links.value(item.key); !id.isEmpty()) {
        for (const SonosFavorite &f : favorites) {
            if (f.id == id)
                return f;
        }
    }
    for (const SonosFavorite &f : favorites) {
        if (roomSourceKind(f) == RoomSourceKind::appleMusic && f.name.compare(item.title, Qt::CaseInsensitive) == 0)
            return f;
    }
    return std::nullopt;
}

} // namespace velotte
