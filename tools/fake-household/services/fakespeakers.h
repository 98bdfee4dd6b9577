#pragma once

#include "fakealarms.h"
#include "fakeevents.h"
#include "kit/fakehttpserver.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace velotte::fake {

// A household of simulated speakers, each on its own loopback address at
// port 1400, answering like real ones: device description, rendering and
// transport control with a queue, zone group topology that follows real
// grouping, and the household's alarms. Faults can be injected per speaker.
class FakeSpeakers : public QObject {
    Q_OBJECT
public:
    struct Track {
        QString title;
        QString artist;
        QString album;
        qint64 duration = 0; // 0: a stream
        QString uri;
        QString metadata; // as a real speaker sent it (escaped once); none: made from the fields
    };
    // One of the speakers' own favorites ("FV:2").
    struct Favorite {
        QString title;
        QString uri;
        QString upnpClass;
    };
    struct Speaker {
        QString id;   // RINCON_…
        QString room;
        QString host;
        QString model = QStringLiteral("Sonos One"); // picks the captured device description
        bool invisible = false;    // the second speaker of a stereo pair
        QStringList satellites;    // home-theatre surrounds and sub
        QString follows;           // coordinator id; itself when it leads
        int volume = 20;
        bool muted = false;
        int bass = 0;
        // Transport state of a coordinator: PLAYING, PAUSED_PLAYBACK or STOPPED.
        QString state = QStringLiteral("PAUSED_PLAYBACK");
        // After "Play" the speaker reports TRANSITIONING for this long.
        int transitionMs = 0;
        qint64 position = 0;
        qint64 since = 0;
        int track = 0;
        QList<Track> queue;
        int updateID = 1;
        // The sleep timer: when it runs out (on the playback clock), -1 for none.
        qint64 sleepUntil = -1;
        int sleepGeneration = 0;
        QString playMode = QStringLiteral("NORMAL");
        QString streamURI;
        // The actions list to send instead of what real speakers send for
        // what plays (see transportActions).
        QString actions;
        // Faults.
        int latencyMs = 0;
        bool noAnswer = false;
        bool forbidden = false;   // local control switched off: 403 to every action
        bool serverError = false; // HTTP 500 with a UPnP fault to every action
        int serverErrorCode = 501;
        QHash<QString, int> upnpErrors; // action -> UPnP errorCode
        int requests = 0;
    };

    enum class Household {
        standard, // a stereo pair, plain rooms and a home-theatre room with satellites
        plain,    // every speaker a room of its own
    };
    struct Options {
        QString base = QStringLiteral("127.0.0.11"); // first address; the others follow it
        int count = 5;
        Household household = Household::standard;
        QString newsHost = QStringLiteral("news.velotte.app");
        // Real speakers refuse the whole topology (UPnP 501) once it grows
        // past about 16 KB, some twenty speakers; 0 never refuses.
        int topologyLimit = 16 * 1024;
    };

    explicit FakeSpeakers(const Options &options, QObject *parent = nullptr);
    explicit FakeSpeakers(const QString &base = QStringLiteral("127.0.0.11"), int count = 5, QObject *parent = nullptr);
    ~FakeSpeakers() override;
    // Listens on every address; false when one cannot be bound.
    bool start();
    QStringList hosts() const;
    QStringList visibleHosts() const;

    // "HOST=latency:MS", "HOST=silent", "HOST=forbidden", "HOST=error[:CODE]",
    // "HOST=upnp:ACTION:CODE", "HOST=events:refused", "HOST=events:silent",
    // "HOST=events:gap", "alarm-conflict[:CODE]"; false with a reason for
    // anything else.
    bool inject(const QString &fault, QString *why = nullptr);

    std::vector<Speaker> speakers;
    FakeAlarmClock alarms;
    QList<Favorite> favorites;
    // The household's Apple Music account: songs with another "sn=" are refused.
    int appleMusicAccount = 5;
    Speaker *byHost(const QString &host);
    Speaker *byID(const QString &id);
    Speaker &coordinatorOf(Speaker &s);
    QString zoneGroupState() const;
    int topologyLimit = 16 * 1024;
    // Members (visible or not) following the coordinator with this id.
    QList<const Speaker *> membersOf(const QString &coordinator) const;
    QString reportedState(const Speaker &coordinator) const;
    // What real speakers list for what this one plays now.
    QString transportActions(Speaker &speaker);

    // Subscriptions to the speakers' events.
    FakeEvents &events() { return *m_events; }
    // Sends subscribers what changed, as after a change made by another
    // controller; requests to the speakers do it by themselves.
    void publish();
    // `count` made-up tracks, for a long queue.
    static QList<Track> generatedQueue(int count);
    // A track as a DIDL-Lite item, its texts escaped once as speakers send them.
    static QString didlItem(const Track &t, const QString &id, const QString &parent);
    static QString didlDocument(const QString &items);

    // One request answered in-process, as the speaker would over a socket.
    Response handle(Speaker &speaker, const Request &request);

private:
    Response soap(Speaker &speaker, const QString &service, const QString &action, const QString &body);
    Response rendering(Speaker &speaker, const QString &action, const QString &body);
    Response transport(Speaker &speaker, const QString &action, const QString &body);
    Response queue(Speaker &coordinator, const QString &action, const QString &body);
    Response grouping(Speaker &speaker, const QString &action, const QString &body);
    Response browse(Speaker &speaker, const QString &body);
    Response mediaInfo(Speaker &speaker);
    Response positionInfo(Speaker &coordinator);
    qint64 positionOf(const Speaker &s) const;
    void setState(Speaker &s, const QString &state);
    // Sleep timers that ran out pause their group.
    void settle();
    // The property set a speaker sends for the service at an event path.
    QString eventBody(const QString &host, const QString &path);
    QString transportEvent(Speaker &speaker);
    QString renderingEvent(const Speaker &speaker) const;
    QString topologyEvent(Speaker &speaker);

    QElapsedTimer m_clock;
    std::vector<std::unique_ptr<HttpServer>> m_servers;
    FakeEvents *m_events;
    bool m_publishing = false;
};

} // namespace velotte::fake
