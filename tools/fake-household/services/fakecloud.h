#pragma once

#include "fakeauth.h"
#include "kit/fakehttpserver.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace velotte::fake {

// A fault injected into the fake cloud: the next `count` requests whose
// method and path (below /control/api/v1/) match get this answer instead.
struct CloudFault {
    QByteArray method;          // empty: any
    QRegularExpression path;    // matched against e.g. "groups/G:1/playback"
    int status = 500;
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    int count = 1;              // -1: every time
    int after = 0;              // matching requests let through first
    int delayMs = 0;
    bool noAnswer = false;
    bool malformed = false;     // 200 with a body that is not JSON
};

// A small stateful Sonos household behind the Control API routes, with
// bearer-token checks and injectable faults. Group ids change when the
// membership changes, as the real service does.
class FakeCloud : public QObject {
    Q_OBJECT
public:
    struct Player {
        QString id;
        QString name;
        QString host; // shown in websocketUrl
        int volume = 25;
        bool muted = false;
        bool fixed = false;
    };
    struct Track {
        QString name;
        QString artist;
        QString album;
        qint64 durationMillis = 0;
        QString service;
    };
    struct Group {
        QString id;
        QString coordinator;
        QStringList players;
        QString state = QStringLiteral("PLAYBACK_STATE_PAUSED");
        qint64 position = 0; // at `since`
        qint64 since = 0;
        int track = 0;
        bool shuffle = false;
        bool repeat = false;
        bool repeatOne = false;
        QStringList queue; // names of the favorites and playlists loaded, in order
        int volume = 25;
        bool muted = false;
    };

    explicit FakeCloud(QObject *parent = nullptr);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0);
    QUrl apiRoot() const;
    // A "SonosSecrets" property list that points a program at this cloud and
    // its sign-in service.
    QByteArray secretsPlist() const;
    QUrl baseUrl() const { return m_server.baseUrl(); }
    // Answers a request without a socket (in-process tests).
    Response respond(const Request &request) { return handle(request); }

    // Tokens the routes accept; an empty set accepts any non-empty bearer.
    void acceptTokens(QSet<QString> tokens) { m_tokens = std::move(tokens); }
    void acceptToken(const QString &token) { m_tokens.insert(token); }
    // The sign-in service on the same port; the tokens it issues are the
    // only ones the routes accept.
    FakeSignIn signIn;
    void requireIssuedTokens();
    void addFault(CloudFault fault) { m_faults.push_back(std::move(fault)); }
    void clearFaults() { m_faults.clear(); }
    // Routes outside the Control API (the sign-in service) can be mounted here.
    void mount(std::function<std::optional<Response>(const Request &)> handler) { m_mounts.push_back(std::move(handler)); }

    // The household, for tests to inspect and arrange.
    QString householdID() const { return m_householdID; }
    QString householdName;
    QList<QPair<QString, QString>> otherHouseholds; // listed before this one: (id, name)
    bool listNoHouseholds = false;
    std::vector<Player> players;
    std::vector<Group> groups;
    std::vector<Track> catalogue;
    QList<QJsonObject> favorites;
    QList<QJsonObject> playlists;
    Group *group(const QString &id);
    Player *player(const QString &id);
    QString nameOf(const Group &g) const;
    qint64 positionOf(const Group &g) const;
    // Makes `members` one group led by `coordinator`; other groups lose them.
    void regroup(const QString &coordinator, const QStringList &members);
    // The real service answers a regroup before its groups show it: this
    // long, in milliseconds of `now`.
    int regroupLagMs = 0;
    // Milliseconds since the fake started; tests on a virtual clock replace it.
    std::function<qint64()> now;

    struct Seen {
        QByteArray method;
        QString path;
        QByteArray authorization;
        QByteArray apiKey;
        QByteArray contentType;
        QByteArray body;
    };
    std::vector<Seen> requests;

private:
    Response handle(const Request &request);
    Response route(const QByteArray &method, const QString &path, const QJsonObject &body);
    Response groupRoute(const QByteArray &method, Group &g, const QString &rest, const QJsonObject &body);
    qint64 elapsed() const { return now ? now() : m_clock.elapsed(); }
    void applyLateRegroup();
    QJsonObject groupJson(const Group &g) const;
    void setPlaying(Group &g, bool playing);

    HttpServer m_server;
    QElapsedTimer m_clock;
    QString m_householdID;
    QSet<QString> m_tokens;
    std::vector<CloudFault> m_faults;
    std::vector<std::function<std::optional<Response>(const Request &)>> m_mounts;
    QHash<QString, QString> m_moved; // old group id -> new group id
    struct LateRegroup {
        QString group;
        QString coordinator;
        QStringList members;
        qint64 at = 0;
    };
    std::optional<LateRegroup> m_lateRegroup;
    int m_generation = 100;
};

} // namespace velotte::fake
