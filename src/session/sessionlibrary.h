#pragma once

#include "cloud/records.h"
#include "core/stillcurrent.h"

#include <QCoroTask>
#include <QObject>

namespace velotte {

class HouseSession;

// The household's Sonos favorites and playlists, and starting them on the
// active group through the cloud.
class SessionLibrary : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool refreshingLibrary READ refreshingLibrary NOTIFY libraryStateChanged)
    Q_PROPERTY(QString libraryNote READ libraryNoteText NOTIFY libraryStateChanged)

public:
    explicit SessionLibrary(HouseSession &session);

    // Reads favorites and playlists again; a failure goes to `libraryNote`,
    // and the lists read before stay.
    QCoro::Task<void> refreshLibrary();
    // The household was read: its library is loaded unless it is already.
    void householdRead(const QString &householdID);
    QCoro::Task<void> playFavorite(SonosFavorite favorite, bool ordered = true);
    // Several favorites as one queue.
    QCoro::Task<void> playFavorites(QList<SonosFavorite> favorites, bool ordered);
    QCoro::Task<void> queueFavorite(SonosFavorite favorite, bool next = false);
    QCoro::Task<void> playPlaylist(SonosPlaylist playlist, QString action);

    bool refreshingLibrary() const { return m_refreshing; }
    std::optional<QString> libraryNote() const { return m_libraryNote; }
    QString libraryNoteText() const { return m_libraryNote.value_or(QString()); }
    const QList<SonosFavorite> &favorites() const { return m_favorites; }
    const QList<SonosPlaylist> &sonosPlaylists() const { return m_sonosPlaylists; }
    void setFavorites(const QList<SonosFavorite> &favorites);
    void setPlaylists(const QList<SonosPlaylist> &playlists);
    void loadDemo();
    void clear();

Q_SIGNALS:
    void favoritesChanged();
    void playlistsChanged();
    void libraryStateChanged();

private:
    // Says why music cannot start now, if it cannot.
    bool refuseMusic();
    void recordPlayed(const SonosFavorite &favorite);
    void setLibraryState(bool refreshing, const std::optional<QString> &note);

    HouseSession &m_session;
    QList<SonosFavorite> m_favorites;
    QList<SonosPlaylist> m_sonosPlaylists;
    bool m_refreshing = false;
    std::optional<QString> m_libraryNote;
    // The household whose library was read, or is being read.
    std::optional<QString> m_loadedHousehold;
    Token m_libraryRefreshID;
};

} // namespace velotte
