#pragma once

#include "soap.h"
#include "speakerfault.h"

#include "cloud/records.h"
#include "core/http.h"
#include "core/networktransport.h"

#include <QCoroTask>
#include <QHash>
#include <QSet>

#include <functional>
#include <memory>
#include <optional>

namespace velotte {

// Speakers on the local network, reached with SOAP actions on port 1400.
// Every operation answers "no value" or false on failure and never throws;
// the caller chooses the sentence.
class GuestHouse {
public:
    struct Member {
        QString id;
        QString name;
        bool hidden = false;
        std::optional<QString> host;
    };
    struct Room {
        QString id;
        QString name;
        QString coordinator;
        QList<QPair<QString, QString>> members; // visible members: (id, name)
        QHash<QString, QString> hosts;          // member id -> host
    };
    struct Snapshot {
        QList<SonosPlayer> players;
        QList<SonosGroup> groups;
        QHash<QString, QString> hosts; // player id -> host
        // No rooms because the speakers refuse local control (HTTP 403).
        bool localControlOff = false;
    };
    struct Now {
        QString title;
        QString artist;
        qint64 positionMillis = 0;
        qint64 durationMillis = 0;
        bool playing = false;
        std::optional<int> volume;
        bool canSkip = false;
        bool canSkipBack = false;
        bool canSeek = false;
        std::optional<int> track; // in the queue, from 1
    };
    struct Identity {
        QString id;
        QString name;
    };
    // What one speaker says of its own group when the whole topology is
    // refused (large households). The list's order says nothing of who leads.
    struct GroupAttributes {
        QString id;
        QString name;
        QStringList members;
    };

    explicit GuestHouse(HttpTransport &transport = NetworkTransport::shared());
    ~GuestHouse() { *m_alive = false; }
    GuestHouse(const GuestHouse &) = delete;
    GuestHouse &operator=(const GuestHouse &) = delete;
    HttpTransport &http() const { return m_transport; }
    // Why the speaker's last answer was no success; none after a success.
    // Every operation below answers "no value" or false on failure: this is
    // where the caller finds out why.
    std::optional<SpeakerFault> fault(const QString &host) const;
    // Local control switched off (403 to everything), the default of newer firmware.
    bool refusesLocalControl(const QString &host) const;

    QCoro::Task<std::optional<QString>> call(QString host, QString path, QString action, QString body);

    QCoro::Task<std::optional<int>> volume(QString host);
    QCoro::Task<bool> setVolume(QString host, int volume);
    QCoro::Task<bool> setMuted(QString host, bool muted);
    QCoro::Task<std::optional<int>> bass(QString host);
    QCoro::Task<bool> setBass(QString host, int bass);
    QCoro::Task<bool> seek(QString host, qint64 millis);
    QCoro::Task<bool> playMode(QString host, bool shuffle, bool repeats);
    // Play, Pause, Next, Previous, Stop, BecomeCoordinatorOfStandaloneGroup.
    // Pause sends Stop where the speaker offers no Pause (a live stream).
    QCoro::Task<bool> transport(QString action, QString host);
    QCoro::Task<bool> delegate(QString coordinator, QString host);
    // The player at `host` follows the coordinator.
    QCoro::Task<bool> join(QString coordinator, QString host);
    QCoro::Task<bool> separate(QString host);
    QCoro::Task<std::optional<Now>> nowPlaying(QString host);

    QCoro::Task<std::optional<Identity>> identity(QString host);
    QCoro::Task<std::optional<QList<Room>>> zoneGroups(QString host);
    QCoro::Task<std::optional<GroupAttributes>> zoneGroupAttributes(QString host);
    // The speaker's transport address ("x-rincon:" + its coordinator's id
    // when it follows another speaker).
    QCoro::Task<std::optional<QString>> transportURI(QString host);
    // nothing: unknown; false: not the coordinator of a room of its own.
    // `speakers` (player id -> host) names the speakers of the household the
    // caller knows: when the topology is refused, the other members of the
    // player's group are asked which room they belong to.
    QCoro::Task<std::optional<bool>> standaloneRoom(QString playerID, QString host, QHash<QString, QString> speakers = {});
    // Rooms of the household from a name -> host map of its speakers.
    QCoro::Task<Snapshot> discover(QHash<QString, QString> hosts);

    static QList<Room> rooms(const QString &reply);
    // Rooms of the zone group state itself, its entities decoded.
    static QList<Room> roomsOfState(const QString &state);
    static QList<Member> members(const QString &body);
    static Snapshot snapshot(const QList<Room> &rooms, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names);
    static std::optional<GroupAttributes> groupAttributes(const QString &reply);
    // The coordinator a transport address follows ("x-rincon:ID"); none for
    // a speaker that plays its own source.
    static std::optional<QString> followedCoordinator(const QString &uri);
    // Rooms rebuilt from each speaker's own answer. `leaders` maps a speaker
    // to the coordinator its transport follows (itself when it leads);
    // members with the same room name are one room (a stereo pair), and
    // members without a known identity are left out.
    static QList<Room> rooms(const QList<GroupAttributes> &groups, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names,
                             const QHash<QString, QString> &leaders);
    // Title and artist of a track's escaped DIDL metadata.
    static QPair<QString, QString> track(const QString &escapedMetadata);
    // The same of the DIDL document itself.
    static QPair<QString, QString> trackIn(const QString &didl);
    // A text inside DIDL metadata: it carries its own entities, "&apos;" among them.
    static QString didlText(QString text);
    static std::optional<Identity> identityOf(const QString &description);

private:
    QCoro::Task<bool> send(QString host, QString path, QString service, QString action, QString inner);
    // A transport command; one refused with 800 (the speaker follows
    // another) goes to the group's coordinator instead.
    QCoro::Task<bool> command(QString host, QString action, QString inner);
    QCoro::Task<std::optional<QString>> coordinatorHost(QString host);
    // None when the speaker does not answer.
    QCoro::Task<std::optional<QString>> pauseVerb(QString host);

    // A 32-speaker topology is about 50 KB; a reply this large is not a speaker's.
    static constexpr qint64 largestReply = 4 * 1024 * 1024;

    HttpTransport &m_transport;
    // Shared with requests in flight: one may finish after the house is gone.
    std::shared_ptr<QHash<QString, SpeakerFault>> m_faults = std::make_shared<QHash<QString, SpeakerFault>>();
    // Player id -> host of every speaker met, for finding a coordinator.
    std::shared_ptr<QHash<QString, QString>> m_known = std::make_shared<QHash<QString, QString>>();
    // Cleared when the house goes: a discovery still out must not call on it.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace velotte
