#pragma once

#include "queuemodel.h"
#include "roommodels.h"

#include "core/autostart.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QSize>
#include <QUrl>
#include <QVariantList>

namespace velotte {

class HouseSession;
class KeyValueStore;

// What the panel's views reach beyond the session's own properties: the
// lists they show, the commands that are coroutines in the session, the
// shell's preferences and its own status line.
class ControllerBridge : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString screen READ screen WRITE setScreen NOTIFY screenChanged)
    Q_PROPERTY(bool showLyrics READ showLyrics WRITE setShowLyrics NOTIFY showLyricsChanged)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QObject *groups READ groups CONSTANT)
    Q_PROPERTY(QObject *players READ players CONSTANT)
    Q_PROPERTY(QObject *queue READ queue CONSTANT)
    Q_PROPERTY(QVariantList favorites READ favorites NOTIFY favoritesChanged)
    Q_PROPERTY(QVariantList playlists READ playlists NOTIFY playlistsChanged)
    Q_PROPERTY(QObject *notes READ notes CONSTANT)
    Q_PROPERTY(QUrl artwork READ artwork NOTIFY artworkChanged)
    Q_PROPERTY(QVariantList lyricLines READ lyricLines NOTIFY lyricLinesChanged)
    Q_PROPERTY(QObject *news READ news CONSTANT)
    Q_PROPERTY(QObject *music READ music CONSTANT)
    Q_PROPERTY(bool canSignIn READ canSignIn CONSTANT)
    Q_PROPERTY(bool signInConfigured READ signInConfigured CONSTANT)
    // Read from the desktop's autostart folder each time the account sheet opens.
    Q_PROPERTY(bool startAtLogin READ startAtLogin WRITE setStartAtLogin NOTIFY startAtLoginChanged)

public:
    ControllerBridge(HouseSession &session, KeyValueStore &preferences, QObject *parent = nullptr);

    QString screen() const { return m_screen; }
    void setScreen(const QString &screen);
    bool showLyrics() const { return m_showLyrics; }
    void setShowLyrics(bool show);
    QString message() const { return m_message; }
    void setMessage(const QString &message);
    QObject *groups() { return &m_groups; }
    QObject *players() { return &m_players; }
    QObject *queue() { return &m_queue; }
    QVariantList favorites() const;
    QVariantList playlists() const;
    QObject *notes() const { return m_notes; }
    void setNotes(QObject *notes);
    QVariantList lyricLines() const { return m_lyricLines; }
    // The fetched picture when there is one (served by the image provider
    // "velotte"), else the address the speaker gave.
    QUrl artwork() const;
    QByteArray picture() const;
    QObject *news() const { return m_news; }
    void setNews(QObject *news) { m_news = news; }
    QObject *music() const { return m_music; }
    void setMusic(QObject *music) { m_music = music; }
    bool canSignIn() const { return m_canSignIn; }
    void setCanSignIn(bool can) { m_canSignIn = can; }
    // This build has the credentials a sign-in needs.
    bool signInConfigured() const { return m_signInConfigured; }
    bool startAtLogin() const { return m_autostart.enabled(); }
    void setStartAtLogin(bool on);

    // The session's commands that run as tasks; the views call the rest on
    // the session's objects directly.
    Q_INVOKABLE void toggleConversation();
    Q_INVOKABLE void refreshSound();
    Q_INVOKABLE void groupRooms(const QStringList &playerIDs);
    Q_INVOKABLE void playFavorite(const QString &favoriteID);
    Q_INVOKABLE void playPlaylist(const QString &playlistID);
    Q_INVOKABLE void connectAccount();
    Q_INVOKABLE void useLocalNetwork();
    // The household's rooms again ("Refresh Rooms"), and its favorites and
    // playlists ("refresh Browse").
    Q_INVOKABLE void refreshRooms();
    Q_INVOKABLE void refreshLibrary();
    // A link from the widget: "velotte://favorite/ID" plays that favorite in
    // the selected room, "velotte://refresh" reads the household again.
    Q_INVOKABLE void openLink(const QUrl &link);
    // The panel
    Q_INVOKABLE void hidePanel() { Q_EMIT hideRequested(); }
    // Ends the program; alarms stay on the speakers.
    Q_INVOKABLE void quit() { Q_EMIT quitRequested(); }
    Q_INVOKABLE void requestSize(int width, int height) { Q_EMIT sizeRequested(QSize(width, height)); }

    static QString notConnectedText();

Q_SIGNALS:
    void screenChanged();
    void showLyricsChanged();
    void messageChanged();
    void favoritesChanged();
    void playlistsChanged();
    void lyricLinesChanged();
    void artworkChanged();
    void hideRequested();
    void quitRequested();
    void sizeRequested(QSize size);
    void signInRequested();
    void startAtLoginChanged();

private:
    void rebuildLyricLines();
    QCoro::Task<void> playLinkedFavorite(QString id);

    HouseSession &m_session;
    KeyValueStore &m_preferences;
    GroupListModel m_groups;
    PlayerListModel m_players;
    QueueModel m_queue;
    QString m_screen = QStringLiteral("now");
    bool m_showLyrics = true;
    QString m_message;
    QPointer<QObject> m_notes;
    QVariantList m_lyricLines;
    int m_pictureSerial = 0;
    QPointer<QObject> m_news;
    QPointer<QObject> m_music;
    bool m_canSignIn = false;
    bool m_signInConfigured = false;
    Autostart m_autostart;
};

} // namespace velotte
