#pragma once

#include "soap.h"

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
    };
    struct Identity {
        QString id;
        QString name;
    };
    // What one speaker says of its own group when the whole topology is
    // refused (large households).
    struct GroupAttributes {
        QString id;
        QString name;
        QStringList members; // coordinator first
    };

    explicit GuestHouse(HttpTransport &transport = NetworkTransport::shared());
    HttpTransport &http() const { return m_transport; }
    // Whether the speaker's last answer was 403: local control switched off,
    // the default of newer firmware.
    bool refusesLocalControl(const QString &host) const { return m_refused->contains(host); }

    QCoro::Task<std::optional<QString>> call(QString host, QString path, QString action, QString body);

    QCoro::Task<std::optional<int>> volume(QString host);
    QCoro::Task<bool> setVolume(QString host, int volume);
    QCoro::Task<bool> setMuted(QString host, bool muted);
    QCoro::Task<std::optional<int>> bass(QString host);
    QCoro::Task<bool> setBass(QString host, int bass);
    QCoro::Task<bool> seek(QString host, qint64 millis);
    QCoro::Task<bool> playMode(QString host, bool shuffle, bool repeats);
    // Play, Pause, Next, Previous, Stop, BecomeCoordinatorOfStandaloneGroup.
    QCoro::Task<bool> transport(QString action, QString host);
    QCoro::Task<bool> delegate(QString coordinator, QString host);
    // The player at `host` follows the coordinator.
    QCoro::Task<bool> join(QString coordinator, QString host);
    QCoro::Task<bool> separate(QString host);
    QCoro::Task<std::optional<Now>> nowPlaying(QString host);

    QCoro::Task<std::optional<Identity>> identity(QString host);
    QCoro::Task<std::optional<QList<Room>>> zoneGroups(QString host);
    QCoro::Task<std::optional<GroupAttributes>> zoneGroupAttributes(QString host);
    // nothing: unknown; false: not the coordinator of a room of its own.
    QCoro::Task<std::optional<bool>> standaloneRoom(QString playerID, QString host);
    // Rooms of the household from a name -> host map of its speakers.
    QCoro::Task<Snapshot> discover(QHash<QString, QString> hosts);

    static QList<Room> rooms(const QString &reply);
    static QList<Member> members(const QString &body);
    static Snapshot snapshot(const QList<Room> &rooms, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names);
    static std::optional<GroupAttributes> groupAttributes(const QString &reply);
    // Rooms rebuilt from each speaker's own answer: members without a known
    // identity (stereo partners, satellites, speakers not found) are left out.
    static QList<Room> rooms(const QList<GroupAttributes> &groups, const QHash<QString, QString> &hosts, const QHash<QString, QString> &names);
    // Title and artist of a track's escaped DIDL metadata.
    static QPair<QString, QString> track(const QString &escapedMetadata);
    static std::optional<Identity> identityOf(const QString &description);

private:
    QCoro::Task<bool> send(QString host, QString path, QString service, QString action, QString inner);

    HttpTransport &m_transport;
    // Shared with requests in flight: one may finish after the house is gone.
    std::shared_ptr<QSet<QString>> m_refused = std::make_shared<QSet<QString>>();
};

} // namespace velotte
