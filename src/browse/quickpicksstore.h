#pragma once

#include "cloud/records.h"
#include "core/settings.h"
#include "householdfollower.h"

#include <QObject>
#include <QStringList>

namespace velotte {

// The favorites pinned in Browse, per household, in pin order; at most six.
// Only ids are kept: the favorites themselves come from the speakers.
class QuickPicksStore : public QObject, public HouseholdFollower {
    Q_OBJECT
    Q_PROPERTY(QStringList ids READ ids NOTIFY idsChanged)
    Q_PROPERTY(QString hint READ hint CONSTANT)

public:
    static constexpr int limit = 6;
    static QString keyPrefix() { return QStringLiteral("sonos.quickPicks."); }

    explicit QuickPicksStore(KeyValueStore &defaults, QObject *parent = nullptr);

    void selectHousehold(const QString &householdID) override;
    // Forgets the selection; the stored pins stay.
    void clear() override;
    // Pins or unpins; nothing happens without a household or when six are
    // already pinned.
    void toggle(const QString &favoriteID);
    // The pinned favorites that still exist and are not podcasts, in pin order.
    QList<SonosFavorite> items(const QList<SonosFavorite> &favorites) const;

    bool isPinned(const QString &favoriteID) const { return m_ids.contains(favoriteID); }
    bool isFull() const { return m_ids.size() >= limit; }
    QString key() const { return m_key; }
    QStringList ids() const { return m_ids; }
    static QString hint() { return QStringLiteral("Pin up to six favorites in Browse."); }

Q_SIGNALS:
    void idsChanged();

private:
    void setIDs(const QStringList &ids);

    KeyValueStore &m_defaults;
    QString m_key;
    QStringList m_ids;
};

} // namespace velotte
