#pragma once

#include "sessionports.h"

#include "cloud/records.h"
#include "core/cancel.h"
#include "core/clock.h"
#include "core/wakeup.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QUuid>

#include <memory>
#include <optional>
#include <vector>

namespace velotte {

class SonosClient;
struct LocalPorts;

struct PlaybackClock {
    qint64 positionMillis = 0;
    QDateTime updatedAt;
    bool playing = false;
};

struct DemoTrack {
    QString title;
    QString artist;
    QString service;
    qint64 duration = 0;
    qint64 position = 0;
};

// The one observable model of the household: rooms, what plays, volume, and
// every command. Lifecycle, playback reads and commands live in separate
// files; collaborators come in through the constructor.
class HouseSession : public QObject {
    Q_OBJECT
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(QString householdName READ householdName NOTIFY householdNameChanged)
    Q_PROPERTY(QString activeGroupID READ activeGroupIDText NOTIFY activeGroupIDChanged)
    Q_PROPERTY(QString activeGroupName READ activeGroupName NOTIFY activeGroupIDChanged)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    Q_PROPERTY(QString artist READ artist NOTIFY artistChanged)
    Q_PROPERTY(QString serviceName READ serviceName NOTIFY serviceNameChanged)
    Q_PROPERTY(QUrl artwork READ artworkURL NOTIFY artworkChanged)
    Q_PROPERTY(qint64 positionMillis READ positionMillis NOTIFY positionMillisChanged)
    Q_PROPERTY(qint64 durationMillis READ durationMillis NOTIFY durationMillisChanged)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(bool canSkip READ canSkip NOTIFY actionsChanged)
    Q_PROPERTY(bool canSkipBack READ canSkipBack NOTIFY actionsChanged)
    Q_PROPERTY(bool canSeek READ canSeek NOTIFY actionsChanged)
    Q_PROPERTY(bool shuffle READ shuffle NOTIFY playModesChanged)
    Q_PROPERTY(bool repeats READ repeats NOTIFY playModesChanged)
    Q_PROPERTY(double volume READ volume WRITE setVolume NOTIFY volumeChanged)
    Q_PROPERTY(bool muted READ muted NOTIFY mutedChanged)
    Q_PROPERTY(bool volumeFixed READ volumeFixed NOTIFY volumeFixedChanged)
    Q_PROPERTY(QString note READ noteText NOTIFY noteChanged)
    Q_PROPERTY(bool sendingPlaybackCommand READ sendingPlaybackCommand NOTIFY sendingPlaybackCommandChanged)
    Q_PROPERTY(bool guest READ guest NOTIFY modeChanged)
    Q_PROPERTY(bool demo READ demo NOTIFY modeChanged)
    Q_PROPERTY(bool signingIn READ signingIn NOTIFY signingInChanged)
    Q_PROPERTY(bool isDiscovering READ isDiscovering NOTIFY isDiscoveringChanged)
    Q_PROPERTY(bool pollingEnabled READ pollingEnabled WRITE setPollingEnabled NOTIFY pollingEnabledChanged)

public:
    enum class Phase { signedOut, ready };
    Q_ENUM(Phase)

    struct Services {
        SonosClient *api = nullptr;    // cloud operation; none: local-only and demo only
        SignInService *auth = nullptr; // none: no cloud sign-in on this machine
        std::shared_ptr<LocalPorts> local; // local network; none: no local operation
        Clock *clock = nullptr;
        QStringList arguments;         // launch arguments ("-VelotteGuest", ...)
        std::vector<HouseholdFollower *> followers;
    };

    explicit HouseSession(Services services, QObject *parent = nullptr);
    ~HouseSession() override;

    // Lifecycle
    QCoro::Task<void> bootstrap();
    QCoro::Task<void> connect();
    void signOut();
    QCoro::Task<void> enterGuest();
    QCoro::Task<void> refresh();
    QCoro::Task<void> refreshPlayback();
    // Favorites and playlists of the household.
    QCoro::Task<void> refreshLibrary();
    void choose(const QString &groupID);
    void setPollingEnabled(bool enabled);
    void loadDemo();
    void leavePreview();

    // Playback commands
    void toggle();
    void skip(bool forward);
    void seek(double fraction);
    void toggleShuffle();
    void toggleRepeat();
    void invalidatePlaybackCommand();
    void clearNowPlaying();
    void clearPlaybackReadNote();

    // Read access
    Phase phase() const { return m_phase; }
    QString householdName() const { return m_householdName; }
    const QList<SonosGroup> &groups() const { return m_groups; }
    const QList<SonosPlayer> &players() const { return m_players; }
    std::optional<QString> activeGroupID() const { return m_activeGroupID; }
    QString activeGroupIDText() const { return m_activeGroupID.value_or(QString()); }
    std::optional<SonosGroup> activeGroup() const;
    QString activeGroupName() const;
    std::optional<QString> householdID() const { return m_householdID; }
    QString title() const { return m_title; }
    QString artist() const { return m_artist; }
    QString serviceName() const { return m_serviceName; }
    std::optional<QUrl> artwork() const { return m_artwork; }
    QUrl artworkURL() const { return m_artwork.value_or(QUrl()); }
    qint64 positionMillis() const { return m_positionMillis; }
    qint64 durationMillis() const { return m_durationMillis; }
    bool isPlaying() const { return m_isPlaying; }
    bool canSkip() const { return m_canSkip; }
    bool canSkipBack() const { return m_canSkipBack; }
    bool canSeek() const { return m_canSeek; }
    bool shuffle() const { return m_shuffle; }
    bool repeats() const { return m_repeats; }
    double volume() const { return m_volume; }
    void setVolume(double volume);
    bool muted() const { return m_muted; }
    bool volumeFixed() const { return m_volumeFixed; }
    std::optional<QString> note() const { return m_note; }
    QString noteText() const { return m_note.value_or(QString()); }
    bool sendingPlaybackCommand() const { return m_sendingPlaybackCommand; }
    bool guest() const { return m_guest; }
    bool demo() const { return m_demo; }
    bool signingIn() const { return m_signingIn; }
    bool isDiscovering() const { return m_isDiscovering; }
    bool isBootstrapping() const { return m_isBootstrapping; }
    bool pollingEnabled() const { return m_pollingEnabled; }
    bool clockRunning() const { return m_clockRunning; }
    const QList<SonosFavorite> &favorites() const { return m_favorites; }
    const QList<SonosPlaylist> &sonosPlaylists() const { return m_sonosPlaylists; }
    const QHash<QString, QString> &guestHosts() const { return m_guestHosts; }
    const PlaybackClock &playbackClock() const { return m_playbackClock; }
    int demoIndex() const { return m_demoIndex; }
    const QList<DemoTrack> &demoQueue() const { return m_demoQueue; }
    // The host of a group's coordinator in local-only operation.
    std::optional<QString> guestHost(const QString &groupID) const;

Q_SIGNALS:
    void phaseChanged();
    void householdNameChanged();
    void groupsChanged();
    void playersChanged();
    void activeGroupIDChanged();
    void titleChanged();
    void artistChanged();
    void serviceNameChanged();
    void artworkChanged();
    void positionMillisChanged();
    void durationMillisChanged();
    void isPlayingChanged();
    void actionsChanged();
    void playModesChanged();
    void volumeChanged();
    void mutedChanged();
    void volumeFixedChanged();
    void noteChanged();
    void sendingPlaybackCommandChanged();
    void modeChanged();
    void signingInChanged();
    void isDiscoveringChanged();
    void pollingEnabledChanged();
    void favoritesChanged();
    void playlistsChanged();
    // A read of the household or of playback finished (for command-line waits).
    void readFinished();

private:
    // lifecycle.cpp
    QCoro::Task<void> runBootstrap();
    void invalidateConnectionWork();
    void clearHousehold();
    void selectFollowers(const QString &householdID);
    QCoro::Task<void> discoverLocalRooms();
    QCoro::Task<void> refreshGuestHouse(bool includePlayback);
    // playbackread.cpp
    QCoro::Task<void> refreshGuestPlayback();
    QCoro::Task<void> refreshPlaybackVolume(QString groupID, QUuid request);
    void resetClock(qint64 position, bool playing);
    // refreshloop.cpp
    void startClock();
    void stopClock();
    QCoro::Task<void> runClock(CancelToken cancel);
    void advanceLive();
    // demo.cpp
    void advanceDemo();
    void applyDemoTrack(int index);
    // playback.cpp
    QCoro::Task<void> sendToggle(bool play, QString groupID, QUuid command);
    QCoro::Task<void> sendSkip(int kind, QString groupID, QUuid command);
    QCoro::Task<void> sendSeek(qint64 target, QString groupID);
    QCoro::Task<void> sendPlayMode(std::optional<bool> shuffle, std::optional<bool> repeats, std::optional<bool> repeatOne, QString groupID);
    QString groupName(const QString &groupID) const;

    // Setters that notify only on a real change.
    void setPhase(Phase phase);
    void setHouseholdName(const QString &name);
    void setGroups(const QList<SonosGroup> &groups);
    void setPlayers(const QList<SonosPlayer> &players);
    void setActiveGroupID(const std::optional<QString> &id);
    void setTitle(const QString &title);
    void setArtist(const QString &artist);
    void setServiceName(const QString &name);
    void setArtwork(const std::optional<QUrl> &artwork);
    void setPositionMillis(qint64 position);
    void setDurationMillis(qint64 duration);
    void setIsPlaying(bool playing);
    void setActions(bool canSkip, bool canSkipBack, bool canSeek);
    void setPlayModes(bool shuffle, bool repeats);
    void setMuted(bool muted);
    void setVolumeFixed(bool fixed);
    void setNote(const std::optional<QString> &note);
    void setSendingPlaybackCommand(bool sending);
    void setMode(bool demo, bool guest);
    void setSigningIn(bool signingIn);
    void setIsDiscovering(bool discovering);
    void setFavorites(const QList<SonosFavorite> &favorites);
    void setPlaylists(const QList<SonosPlaylist> &playlists);

    Services m_services;
    Clock &m_clock;

    Phase m_phase = Phase::signedOut;
    QString m_householdName;
    QList<SonosGroup> m_groups;
    QList<SonosPlayer> m_players;
    std::optional<QString> m_activeGroupID;
    std::optional<QString> m_householdID;

    QString m_title;
    QString m_artist;
    QString m_serviceName;
    std::optional<QUrl> m_artwork;
    qint64 m_positionMillis = 0;
    qint64 m_durationMillis = 0;
    bool m_isPlaying = false;
    bool m_canSkip = false;
    bool m_canSkipBack = false;
    bool m_canSeek = false;
    bool m_shuffle = false;
    bool m_repeats = false;
    PlaybackClock m_playbackClock;

    double m_volume = 0;
    bool m_muted = false;
    bool m_volumeFixed = false;
    bool m_adjustingGroupVolume = false;
    bool m_choosingRoom = false;
    bool m_changingRooms = false;

    QList<SonosFavorite> m_favorites;
    QList<SonosPlaylist> m_sonosPlaylists;

    std::optional<QString> m_note;
    std::optional<QString> m_playbackReadNote;

    // Staleness tokens: drawn before the first await, compared after each.
    QUuid m_roomRefreshID;
    QUuid m_playbackRefreshID;
    std::optional<QUuid> m_activePlaybackRead;
    QUuid m_playbackCommandID;
    QUuid m_connectionID;
    QUuid m_loginID;
    QUuid m_roomChoiceID;
    QUuid m_conversationRequestID;

    bool m_demo = false;
    bool m_guest = false;
    QHash<QString, QString> m_guestHosts;
    bool m_sendingPlaybackCommand = false;
    bool m_pollingEnabled = false;
    bool m_signingIn = false;
    bool m_isDiscovering = false;
    bool m_isBootstrapping = false;
    std::vector<Wakeup> m_bootstrapWaiters;
    CancelToken m_bootstrapCancel;
    CancelToken m_clockCancel;
    bool m_clockRunning = false;
    QList<DemoTrack> m_demoQueue;
    int m_demoIndex = 0;
};

} // namespace velotte
