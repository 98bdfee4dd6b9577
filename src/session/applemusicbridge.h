#pragma once

#include "sessionports.h"

#include "cloud/records.h"
#include "local/applemusicidentity.h"
#include "core/settings.h"

#include <QHash>
#include <QString>

#include <optional>

namespace velotte {

// Links between Apple Music items and the Sonos favorites that play them,
// kept per household under "sonos.appleMusicReferences." + household id.
class AppleMusicSonosBridge final : public HouseholdFollower {
public:
    explicit AppleMusicSonosBridge(KeyValueStore &defaults) : m_defaults(defaults) {}
    static QString prefix() { return QStringLiteral("sonos.appleMusicReferences."); }

    void selectHousehold(const QString &householdID) override;
    void clear() override;
    std::optional<QString> scope() const { return m_scope; }

    // Remembers that a favorite plays this item.
    void link(const AppleMusicIdentity &item, const QString &favoriteID);
    // The favorite that plays the item: a remembered link first, then a
    // favorite of the Apple Music service whose name is the item's title.
    std::optional<SonosFavorite> favorite(const AppleMusicIdentity &item, const QList<SonosFavorite> &favorites) const;

private:
    KeyValueStore &m_defaults;
    std::optional<QString> m_scope;
    QHash<QString, QString> m_links; // item key -> favorite id
};

} // namespace velotte
