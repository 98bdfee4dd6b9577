#pragma once

#include "cloud/records.h"

#include <QCoroTask>
#include <QObject>

namespace velotte {

class HouseSession;

// The household's Sonos favorites and playlists, and starting them on the
// active group through the cloud.
class SessionLibrary : public QObject {
    Q_OBJECT

public:
    explicit SessionLibrary(HouseSession &session);

    // Reads favorites and playlists again.
    QCoro::Task<void> refreshLibrary();
    QCoro::Task<void> playFavorite(SonosFavorite favorite, bool ordered = true);
    // Several favorites as one queue.
    QCoro::Task<void> playFavorites(QList<SonosFavorite> favorites, bool ordered);
    QCoro::Task<void> queueFavorite(SonosFavorite favorite, bool next = false);
    QCoro::Task<void> playPlaylist(SonosPlaylist playlist, QString action);

    const QList<SonosFavorite> &favorites() const { return m_favorites; }
    const QList<SonosPlaylist> &sonosPlaylists() const { return m_sonosPlaylists; }
    void setFavorites(const QList<SonosFavorite> &favorites);
    void setPlaylists(const QList<SonosPlaylist> &playlists);
    void loadDemo();
    void clear();

Q_SIGNALS:
    void favoritesChanged();
    void playlistsChanged();

private:
    // Says why music cannot start now, if it cannot.
    bool refuseMusic();
    void recordPlayed(const SonosFavorite &favorite);

    HouseSession &m_session;
    QList<SonosFavorite> m_favorites;
    QList<SonosPlaylist> m_sonosPlaylists;
};

} // namespace velotte
