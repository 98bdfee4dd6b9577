#pragma once

#include "browsemode.h"
#include "cloud/records.h"
#include "core/settings.h"
#include "musicmixcomposer.h"
#include "householdfollower.h"
#include "playhistory.h"

#include <QCoroTask>
#include <QObject>
#include <QUuid>

#include <optional>

namespace velotte {

// The state behind the favorites browser: its filters, the current
// suggestion run and the household's play history, which outlives the program.
class SonosBrowseModel : public QObject, public HouseholdFollower, public PlayHistory {
    Q_OBJECT
    Q_PROPERTY(QString service READ serviceText NOTIFY filtersChanged)
    Q_PROPERTY(QString composer READ composerText NOTIFY filtersChanged)
    Q_PROPERTY(bool recommending READ recommending NOTIFY recommendationsChanged)
    Q_PROPERTY(QString recommendationDetail READ recommendationDetail NOTIFY recommendationsChanged)
    Q_PROPERTY(bool usesIntelligence READ usesIntelligence NOTIFY recommendationsChanged)
    Q_PROPERTY(bool hasRecommended READ hasRecommended NOTIFY recommendationsChanged)
    Q_PROPERTY(QString recommendedArtist READ recommendedArtistText NOTIFY recommendationsChanged)
    Q_PROPERTY(QString historyHousehold READ historyHouseholdText NOTIFY recentFavoritesChanged)

public:
    static QString historyKeyPrefix() { return QStringLiteral("sonos.recentFavorites.v1."); }
    static constexpr int historyLimit = 12;
    static QString unavailableSentence()
    {
        return QStringLiteral("Apple Intelligence is unavailable. Suggestions from your favorites are ready.");
    }

    // The composer may be absent: suggestions then never use a model.
    explicit SonosBrowseModel(KeyValueStore &defaults, MusicMixComposer *composer = nullptr, QObject *parent = nullptr);

    // Filters
    std::optional<QString> service() const { return m_service; }
    BrowseMode mode() const { return m_mode; }
    std::optional<QString> composer() const { return m_composer; }
    ClassicalWork work() const { return m_work; }
    void setService(const std::optional<QString> &service);
    void setMode(BrowseMode mode);
    void setComposer(const std::optional<QString> &composer);
    void setWork(ClassicalWork work);
    QString serviceText() const { return m_service.value_or(QString()); }
    QString composerText() const { return m_composer.value_or(QString()); }

    // The favorites the browse list shows for a query under the filters.
    QList<SonosFavorite> visibleFavorites(const QList<SonosFavorite> &favorites, const QString &query) const;
    // The composers the classical filter offers (of the service's favorites).
    QStringList composers(const QList<SonosFavorite> &favorites) const;
    // The kinds of work the classical filter offers (of the service's
    // favorites), in menu order, without "all".
    QList<ClassicalWork> works(const QList<SonosFavorite> &favorites) const;

    // Suggestions
    const QList<SonosFavorite> &recommendations() const { return m_recommendations; }
    bool recommending() const { return m_recommending; }
    QString recommendationDetail() const { return m_recommendationDetail; }
    bool usesIntelligence() const { return m_usesIntelligence; }
    bool hasRecommended() const { return m_hasRecommended; }
    std::optional<QString> recommendedArtist() const { return m_recommendedArtist; }
    QString recommendedArtistText() const { return m_recommendedArtist.value_or(QString()); }
    QUuid recommendationID() const { return m_recommendationID; }
    // One suggestion run for a free-text request over the favorites. A later
    // run or clear() makes an earlier one drop its result.
    QCoro::Task<void> recommend(QString request, QList<SonosFavorite> favorites);
    // The artist a request asks for ("recommend music by Nina Simone").
    static std::optional<QString> requestedArtist(const QString &request);
    // The favorites worth suggesting for a request, best first, before any
    // model sees them.
    QList<SonosFavorite> rankedForRequest(const QString &request, const QList<SonosFavorite> &favorites) const;
    // A favorite as the mix composer sees it.
    static MusicHit hitFor(const SonosFavorite &favorite);

    // Play history
    const QList<SonosFavorite> &recentFavorites() const { return m_recentFavorites; }
    std::optional<QString> historyHousehold() const { return m_historyHousehold; }
    QString historyHouseholdText() const { return m_historyHousehold.value_or(QString()); }

    void selectHousehold(const QString &householdID) override;
    void clear() override;
    void recordPlayed(const SonosFavorite &favorite) override;
    bool isStation(const SonosFavorite &favorite) const override;

Q_SIGNALS:
    void filtersChanged();
    void recommendationsChanged();
    void recentFavoritesChanged();

private:
    void finishRecommending(QList<SonosFavorite> picks, QString detail, bool intelligence);
    // How many favorites a model run may choose from.
    static constexpr int candidateLimit = 30;

    std::optional<QString> m_service;
    BrowseMode m_mode = BrowseMode::all;
    std::optional<QString> m_composer;
    ClassicalWork m_work = ClassicalWork::all;
    QList<SonosFavorite> m_recommendations;
    bool m_recommending = false;
    QString m_recommendationDetail;
    bool m_usesIntelligence = false;
    bool m_hasRecommended = false;
    std::optional<QString> m_recommendedArtist;
    QUuid m_recommendationID = QUuid::createUuid();
    QList<SonosFavorite> m_recentFavorites;
    std::optional<QString> m_historyHousehold;
    KeyValueStore &m_defaults;
    MusicMixComposer *m_composerModel;
};

} // namespace velotte
