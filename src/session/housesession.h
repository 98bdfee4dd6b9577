#pragma once

#include "sessionports.h"

#include "cloud/records.h"
#include "core/cancel.h"
#include "core/clock.h"
#include "core/failure.h"
#include "core/wakeup.h"
#include "local/speakerfault.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUrl>
#include <QUuid>

#include <memory>
#include <optional>
#include <vector>

namespace velotte {

class SonosClient;
class AppleMusicCatalog;
class AppleMusicSonosBridge;
struct AppleMusicIdentity;
enum class AppleMusicAction;
struct LocalPorts;
struct PendingSends;

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
    Q_PROPERTY(double bass READ bass NOTIFY bassChanged)
    Q_PROPERTY(bool canAdjustBass READ canAdjustBass NOTIFY bassChanged)
    Q_PROPERTY(bool findingBass READ findingBass NOTIFY bassChanged)
    Q_PROPERTY(QString bassNote READ bassNoteText NOTIFY bassChanged)
    Q_PROPERTY(bool changingRooms READ changingRooms NOTIFY changingRoomsChanged)
    Q_PROPERTY(bool conversationOn READ conversationOn NOTIFY conversationChanged)
    Q_PROPERTY(QString conversationHelp READ conversationHelp NOTIFY conversationChanged)
    Q_PROPERTY(bool musicQueueBusy READ musicQueueBusy NOTIFY artistQueueChanged)
    Q_PROPERTY(bool artistQueueStarted READ artistQueueStarted NOTIFY artistQueueChanged)
    Q_PROPERTY(int artistQueuedCount READ artistQueuedCount NOTIFY artistQueueChanged)
    Q_PROPERTY(QString artistQueueProgress READ artistQueueProgress NOTIFY artistQueueChanged)

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
        PlayHistory *history = nullptr;
        AppleMusicSonosBridge *appleMusicLinks = nullptr; // Sonos favorites that play Apple Music items
        AppleMusicCatalog *catalog = nullptr;            // finds an artist's songs
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

    // Volume, mute, bass and conversation
    void beginAdjustingGroupVolume() { m_adjustingGroupVolume = true; }
    void commitGroupVolume();
    void setPlayerVolume(const QString &playerID, double value);
    void toggleMute();
    QCoro::Task<void> refreshPlayerVolumes();
    QCoro::Task<void> refreshRoomControls();
    QCoro::Task<void> refreshBassControl();
    void setBass(double fraction);
    QCoro::Task<void> toggleConversation();
    // Sets several rooms of a group at once, then checks every room took it.
    QCoro::Task<bool> setRoomVolume(QHash<QString, int> volumes, QString groupID);
    // Waits until no command or debounced send is in flight (the command
    // line exits after).
    QCoro::Task<void> settle();

    // Music
    bool hasSonosConnection() const { return !m_guest && !m_demo && m_householdID.has_value() && m_services.api; }
    bool musicQueueBusy() const { return m_artistQueueBusy; }
    QCoro::Task<void> playFavorite(SonosFavorite favorite, bool ordered = true);
    QCoro::Task<void> playFavorites(QList<SonosFavorite> favorites, bool ordered);
    QCoro::Task<void> queueFavorite(SonosFavorite favorite, bool next = false);
    QCoro::Task<void> playPlaylist(SonosPlaylist playlist, QString action);
    // The household the news alarms belong to ("local" for rooms found on
    // the network without an account), and the host that answers for a
    // player: its group's coordinator. Throws the SpeakerFault of no answer.
    QString newsHouseholdID() const;
    QCoro::Task<QString> newsHost(QString playerID);
    // Sending a music or queue command, or choosing a room: news Play now waits.
    bool musicBusy() const { return m_sendingPlaybackCommand || m_artistQueueBusy || m_choosingRoom; }
    void setSendingPlaybackCommand(bool sending);

    // Apple Music: through a Sonos favorite that plays the item, else
    // queued directly on the group's coordinator.
    bool canControlRooms() const;
    QCoro::Task<void> playAppleMusic(AppleMusicIdentity item, AppleMusicAction action);
    // A long list of songs fills the queue in the background (the artist
    // queue); other music requests are refused until it ends.
    void playAppleMusicSongs(QList<AppleMusicIdentity> songs, bool shuffled, AppleMusicAction load);
    QCoro::Task<void> startAppleMusicSongs(QString artist, bool shuffled, AppleMusicAction load);
    void cancelArtistQueue();
    // Returns once no artist queue is running.
    QCoro::Task<void> artistQueueFinished();
    bool artistQueueStarted() const { return m_artistQueueStarted; }
    int artistQueuedCount() const { return m_artistQueuedCount; }
    int artistQueueTotal() const { return m_artistQueueTotal; }
    QString artistQueueProgress() const { return m_artistQueueProgress; }

    // Grouping: the active group holds exactly the selected players afterwards.
    QCoro::Task<bool> groupRooms(QSet<QString> selected);

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
    double bass() const { return m_bass; }
    bool canAdjustBass() const { return m_bassHost.has_value(); }
    bool findingBass() const { return m_findingBass; }
    std::optional<QString> bassNote() const { return m_bassNote; }
    QString bassNoteText() const { return m_bassNote.value_or(QString()); }
    const QHash<QString, double> &playerVolumes() const { return m_playerVolumes; }
    const QHash<QString, bool> &playerFixed() const { return m_playerFixed; }
    bool changingRooms() const { return m_changingRooms; }
    bool conversationOn() const;
    QString conversationHelp() const;
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
    void bassChanged();
    void playerVolumesChanged();
    void changingRoomsChanged();
    void conversationChanged();
    void playlistsChanged();
    void artistQueueChanged();
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
    // sound.cpp
    QCoro::Task<void> sendGroupVolume(int volume, QString groupID, QUuid connection, QString failure);
    QCoro::Task<void> sendPlayerVolume(QString playerID, int volume, QUuid edit, CancelToken cancel);
    QCoro::Task<void> sendMute(bool muted, QString groupID, QUuid connection);
    QCoro::Task<void> writeBass(int level, QString host, QUuid edit, CancelToken cancel);
    QCoro::Task<bool> sendVolumeToGroup(QString groupID, int volume);
    QCoro::Task<std::optional<QString>> findBassHost(QString groupID);
    QCoro::Task<std::optional<QString>> playerHost(QString playerID);
    // Throws the failure that explains why the speaker at `host` did nothing.
    [[noreturn]] void speakerFailed(const std::optional<QString> &host) const;
    std::optional<SpeakerFault> speakerFault(const std::optional<QString> &host) const;
    void setBassValue(double bass);
    void setBassNote(const std::optional<QString> &note);
    // music.cpp
    bool refuseMusic();
    void recordPlayed(const SonosFavorite &favorite);
    // applemusic.cpp
    struct QueueTarget {
        QString host;
        QString coordinator;
    };
    QCoro::Task<std::optional<QueueTarget>> appleMusicTarget(QString groupID);
    QCoro::Task<bool> applyAppleMusicModes(QString groupID, QString host, bool shuffle);
    QCoro::Task<void> runArtistQueue(QList<AppleMusicIdentity> songs, AppleMusicAction action, QString groupID, QUuid task, CancelToken cancel);
    void endArtistQueue();
    void playInPreview(const QList<AppleMusicIdentity> &items, AppleMusicAction action);
    // rooms.cpp
    void setChangingRooms(bool changing);

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

    QHash<QString, double> m_playerVolumes;
    QHash<QString, bool> m_playerFixed;
    QHash<QString, QUuid> m_playerVolumeEdits;
    QHash<QString, CancelToken> m_volumeTasks;
    double m_bass = 0.5;
    double m_confirmedBass = 0.5;
    std::optional<QString> m_bassHost;
    std::optional<QString> m_bassGroupID;
    QUuid m_bassRequestID;
    QUuid m_bassEditID;
    bool m_findingBass = false;
    std::optional<QString> m_bassNote;
    std::optional<CancelToken> m_bassTask;
    struct ConversationLevel {
        double original = 0;
        double lowered = 0;
    };
    QHash<QString, ConversationLevel> m_conversationVolumes;
    bool m_changingConversation = false;
    std::shared_ptr<PendingSends> m_pending;

    bool m_artistQueueBusy = false;
    bool m_artistQueueStarted = false;
    int m_artistQueuedCount = 0;
    int m_artistQueueTotal = 0;
    QString m_artistQueueProgress;
    QUuid m_artistQueueTaskID;
    CancelToken m_artistQueueCancel;
    Wakeup m_artistQueueDone;

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
