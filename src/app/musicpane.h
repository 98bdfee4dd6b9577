#pragma once

#include "local/applemusicidentity.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

namespace velotte {

class AppleMusicCatalog;
class HouseSession;
class QuickPicksStore;
class SonosBrowseModel;
struct SonosFavorite;

// The music view's lists: quick picks, recent favorites, the favorites
// browser under its filters, suggestions for a mood, and Apple Music search
// with the artist queue.
class MusicPane : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY listChanged)
    Q_PROPERTY(QString service READ service WRITE setService NOTIFY listChanged)
    Q_PROPERTY(bool classical READ classical WRITE setClassical NOTIFY listChanged)
    Q_PROPERTY(QString composer READ composer WRITE setComposer NOTIFY listChanged)
    Q_PROPERTY(QString work READ work WRITE setWork NOTIFY listChanged)
    Q_PROPERTY(QVariantList favorites READ favorites NOTIFY listChanged)
    Q_PROPERTY(QStringList services READ services NOTIFY listChanged)
    Q_PROPERTY(QStringList composers READ composers NOTIFY listChanged)
    Q_PROPERTY(QStringList works READ works NOTIFY listChanged)
    Q_PROPERTY(QVariantList picks READ picks NOTIFY listChanged)
    Q_PROPERTY(QString picksHint READ picksHint CONSTANT)
    Q_PROPERTY(QVariantList recent READ recent NOTIFY listChanged)
    Q_PROPERTY(QVariantList suggestions READ suggestions NOTIFY suggestionsChanged)
    Q_PROPERTY(bool suggesting READ suggesting NOTIFY suggestionsChanged)
    Q_PROPERTY(QString suggestionDetail READ suggestionDetail NOTIFY suggestionsChanged)
    Q_PROPERTY(QVariantList results READ results NOTIFY resultsChanged)
    Q_PROPERTY(bool searching READ searching NOTIFY resultsChanged)
    Q_PROPERTY(QString searchNote READ searchNote NOTIFY resultsChanged)

public:
    MusicPane(HouseSession &session, SonosBrowseModel &browse, QuickPicksStore &picks, AppleMusicCatalog &catalog, QObject *parent = nullptr);

    QString query() const { return m_query; }
    void setQuery(const QString &query);
    QString service() const;
    void setService(const QString &service);
    bool classical() const;
    void setClassical(bool on);
    QString composer() const;
    void setComposer(const QString &composer);
    // The kind of work by its name in the menu ("Symphonies"); empty for all.
    QString work() const;
    void setWork(const QString &work);
    QVariantList favorites() const;
    QStringList services() const;
    QStringList composers() const;
    QStringList works() const;
    QVariantList picks() const;
    QString picksHint() const;
    QVariantList recent() const;
    QVariantList suggestions() const;
    bool suggesting() const;
    QString suggestionDetail() const;
    QVariantList results() const;
    bool searching() const { return m_searching; }
    QString searchNote() const { return m_searchNote; }

    Q_INVOKABLE void togglePin(const QString &favoriteID);
    Q_INVOKABLE void suggest(const QString &mood);
    Q_INVOKABLE void search(const QString &text);
    // "play", "shuffle" or "next" for one search result.
    Q_INVOKABLE void playResult(int row, const QString &how);
    Q_INVOKABLE void queueArtist(const QString &artist, bool shuffled);
    Q_INVOKABLE void cancelQueue();

    static QVariantMap row(const SonosFavorite &favorite, bool pinned);

Q_SIGNALS:
    void listChanged();
    void suggestionsChanged();
    void resultsChanged();

private:
    QCoro::Task<void> runSearch(QString text, int generation);

    HouseSession &m_session;
    SonosBrowseModel &m_browse;
    QuickPicksStore &m_picks;
    AppleMusicCatalog &m_catalog;
    QString m_query;
    QList<AppleMusicIdentity> m_results;
    bool m_searching = false;
    QString m_searchNote;
    int m_searchGeneration = 0;
};

} // namespace velotte
