#pragma once

#include "sessionapplemusic.h"
#include "sessionevents.h"
#include "sessionlibrary.h"
#include "sessionplayback.h"
#include "sessionqueue.h"
#include "sessionports.h"
#include "sessionrooms.h"
#include "sessionsleeptimer.h"
#include "sessionsound.h"

#include "cloud/records.h"
#include "core/cancel.h"
#include "core/clock.h"
#include "core/failure.h"
#include "core/stillcurrent.h"
#include "core/wakeup.h"
#include "local/speakerfault.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>
#include <vector>

namespace velotte {

class SonosClient;
class AppleMusicCatalog;
class AppleMusicSonosBridge;
struct LocalPorts;
struct PendingSends;

// The household as one observable model: the connection (cloud, local
// network or demo), its rooms, the active group and the status line. What
// can be done with it lives in one object per concern (playback, sound,
// rooms, library, Apple Music) that shares this state; views bind to
// `session.sound.volume` and the like.
class HouseSession : public QObject {
    Q_OBJECT
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(QString householdName READ householdName NOTIFY householdNameChanged)
    Q_PROPERTY(QString activeGroupID READ activeGroupIDText NOTIFY activeGroupIDChanged)
    Q_PROPERTY(QString activeGroupName READ activeGroupName NOTIFY activeGroupIDChanged)
    Q_PROPERTY(QString note READ noteText NOTIFY noteChanged)
    Q_PROPERTY(bool guest READ guest NOTIFY modeChanged)
    Q_PROPERTY(bool demo READ demo NOTIFY modeChanged)
    Q_PROPERTY(bool signingIn READ signingIn NOTIFY signingInChanged)
    Q_PROPERTY(bool isDiscovering READ isDiscovering NOTIFY isDiscoveringChanged)
    Q_PROPERTY(bool pollingEnabled READ pollingEnabled WRITE setPollingEnabled NOTIFY pollingEnabledChanged)
    Q_PROPERTY(velotte::SessionPlayback *playback READ playback CONSTANT)
    Q_PROPERTY(velotte::SessionSound *sound READ sound CONSTANT)
    Q_PROPERTY(velotte::SessionRooms *rooms READ rooms CONSTANT)
    Q_PROPERTY(velotte::SessionLibrary *library READ library CONSTANT)
    Q_PROPERTY(velotte::SessionAppleMusic *appleMusic READ appleMusic CONSTANT)
    Q_PROPERTY(velotte::SessionQueue *queue READ queue CONSTANT)
    Q_PROPERTY(velotte::SessionSleepTimer *sleepTimer READ sleepTimer CONSTANT)

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
        bool readsLibrary = true; // favorites and playlists once the household is read
        bool followsEvents = true; // the speakers' own updates, where they reach this computer
    };

    explicit HouseSession(Services services, QObject *parent = nullptr);
    ~HouseSession() override;

    SessionPlayback *playback() const { return m_playback; }
    SessionSound *sound() const { return m_sound; }
    SessionRooms *rooms() const { return m_rooms; }
    SessionLibrary *library() const { return m_library; }
    SessionAppleMusic *appleMusic() const { return m_appleMusic; }
    SessionEvents *events() const { return m_events; }
    SessionQueue *queue() const { return m_queue; }
    SessionSleepTimer *sleepTimer() const { return m_sleepTimer; }

    // Lifecycle
    QCoro::Task<void> bootstrap();
    QCoro::Task<void> connect();
    Q_INVOKABLE void signOut();
    QCoro::Task<void> enterGuest();
    // Re-reads the household, its rooms and what the active group plays.
    QCoro::Task<void> refresh();
    // Re-reads how the rooms are grouped.
    QCoro::Task<void> refreshRooms();
    Q_INVOKABLE void choose(const QString &groupID);
    void setPollingEnabled(bool enabled);
    void loadDemo();
    void leavePreview();
    // Waits until no command or debounced send is in flight (the command
    // line exits after).
    QCoro::Task<void> settle();

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
    std::optional<QString> note() const { return m_note; }
    QString noteText() const { return m_note.value_or(QString()); }
    bool guest() const { return m_guest; }
    bool demo() const { return m_demo; }
    bool signingIn() const { return m_signingIn; }
    bool isDiscovering() const { return m_isDiscovering; }
    bool isBootstrapping() const { return m_isBootstrapping; }
    // A room choice is being read: the group volume must not be sent meanwhile.
    bool choosingRoom() const { return m_choosingRoom; }
    bool pollingEnabled() const { return m_pollingEnabled; }
    bool clockRunning() const { return m_clockRunning; }
    const QHash<QString, QString> &guestHosts() const { return m_guestHosts; }
    // A cloud household is selected.
    bool hasSonosConnection() const { return m_phase == Phase::ready && !m_guest && !m_demo && m_householdID.has_value() && m_services.api; }
    // Some group can be controlled.
    bool canControlRooms() const;

    // --- shared with the concern objects ---
    const Services &services() const { return m_services; }
    Clock &clock() const { return m_clock; }
    const std::shared_ptr<PendingSends> &pending() const { return m_pending; }
    // Drawn afresh whenever the connection changes; group-level sends are void after.
    const Token &connectionID() const { return m_connectionID; }
    void setNote(const std::optional<QString> &note);
    QString groupName(const QString &groupID) const;
    // The host of a group's coordinator in local-only operation.
    std::optional<QString> guestHost(const QString &groupID) const;
    // The local address of a player: known to the local household, given by
    // the cloud, or found on the network.
    QCoro::Task<std::optional<QString>> playerHost(QString playerID);
    // The local address of a player as far as the household already tells,
    // without asking the network.
    std::optional<QString> knownHost(const QString &playerID) const;
    // Throws the failure that explains why the speaker at `host` did nothing.
    [[noreturn]] void speakerFailed(const std::optional<QString> &host) const;
    // Why the speaker at `host` failed its last action; none after a success.
    std::optional<SpeakerFault> speakerFault(const std::optional<QString> &host) const;
    void setGroups(const QList<SonosGroup> &groups);
    void setPlayers(const QList<SonosPlayer> &players);
    void setActiveGroupID(const std::optional<QString> &id);
    // Another group started or stopped playing (the room list shows it).
    void setGroupPlaying(const QString &groupID, bool playing);
    // The active group took a new id but plays on (after a regroup).
    void followActiveGroup(const QString &id);
    QCoro::Task<void> refreshGuestHouse(bool includePlayback);

Q_SIGNALS:
    void phaseChanged();
    void householdNameChanged();
    void groupsChanged();
    void playersChanged();
    void activeGroupIDChanged();
    void noteChanged();
    void modeChanged();
    void signingInChanged();
    void isDiscoveringChanged();
    void pollingEnabledChanged();
    // A read of the household or of playback finished (for command-line waits).
    void readFinished();

private:
    // lifecycle.cpp
    QCoro::Task<void> runBootstrap();
    void invalidateConnectionWork();
    void clearHousehold();
    void selectFollowers(const QString &householdID);
    QCoro::Task<void> discoverLocalRooms();
    QCoro::Task<void> readChosenRoom();
    void groupMoved(const QString &oldID, const QString &newID);
    void setChoosingRoom(bool choosing);
    // refreshloop.cpp
    void startClock();
    void stopClock();
    QCoro::Task<void> runClock(CancelToken cancel);

    void setPhase(Phase phase);
    void setHouseholdName(const QString &name);
    void setMode(bool demo, bool guest);
    void setSigningIn(bool signingIn);
    void setIsDiscovering(bool discovering);

    Services m_services;
    Clock &m_clock;
    std::shared_ptr<PendingSends> m_pending;

    Phase m_phase = Phase::signedOut;
    QString m_householdName;
    QList<SonosGroup> m_groups;
    QList<SonosPlayer> m_players;
    std::optional<QString> m_activeGroupID;
    std::optional<QString> m_householdID;
    std::optional<QString> m_note;

    Token m_roomRefreshID;
    Token m_connectionID;
    Token m_loginID;
    Token m_roomChoiceID;
    bool m_choosingRoom = false;

    bool m_demo = false;
    bool m_guest = false;
    QHash<QString, QString> m_guestHosts;
    bool m_pollingEnabled = false;
    bool m_signingIn = false;
    bool m_isDiscovering = false;
    bool m_isBootstrapping = false;
    std::vector<Wakeup> m_bootstrapWaiters;
    CancelToken m_bootstrapCancel;
    CancelToken m_clockCancel;
    bool m_clockRunning = false;

    SessionPlayback *m_playback;
    SessionSound *m_sound;
    SessionRooms *m_rooms;
    SessionLibrary *m_library;
    SessionAppleMusic *m_appleMusic;
    SessionEvents *m_events;
    SessionQueue *m_queue;
    SessionSleepTimer *m_sleepTimer;
    QTimer m_followLater; // changes that come together are followed once
};

} // namespace velotte
