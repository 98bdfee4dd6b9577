#pragma once

#include "speakerevent.h"

#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QUrl>

#include <optional>

class QTcpServer;
class QTcpSocket;

namespace velotte {

// Takes the speakers' NOTIFY requests on this computer: only for the
// subscriptions it holds and only from their speaker's address, answered at
// once and never read past a size limit. Listens on the address that
// reaches the speakers, one server per such address, all on one port.
class EventListener : public QObject {
    Q_OBJECT
public:
    static constexpr quint16 defaultPort = 3490;
    // A forty-speaker topology is under 50 KB even escaped; five times that is no event of a speaker.
    static constexpr qint64 largestBody = 256 * 1024;

    // Port 0 takes whatever port the system gives.
    explicit EventListener(quint16 port = defaultPort, QObject *parent = nullptr);
    ~EventListener() override;

    // Where the speaker at `host` sends its events: this computer's address
    // on the route to it, listened on from now. Throws EventFailure.
    QUrl callback(const QString &host);
    quint16 port() const { return m_port; }

    // A subscription to `host` is being taken out: its first event may come
    // before its SID is known, and is kept until then.
    void expect(const QString &host);
    void stopExpecting(const QString &host);
    // Events for `sid` are taken from `host` from now, the first with SEQ 0.
    void accept(const QString &sid, const QString &host, EventService service);
    void forget(const QString &sid);

    // The address of this computer that a packet to `host` leaves from.
    static std::optional<QHostAddress> addressTowards(const QString &host);

Q_SIGNALS:
    void received(const velotte::SpeakerEvent &event);
    // Events were lost before this one (a gap in SEQ): read the state once.
    void missed(const QString &host, velotte::EventService service);
    // An event of this subscription came through, however old.
    void heard(const QString &sid);

private:
    struct Subscription {
        QString host;
        EventService service;
        quint32 next = 0; // the SEQ expected next
    };
    struct Early {
        QString sid;
        QString host;
        quint32 seq;
        QByteArray body;
    };
    struct Connection;

    void onConnection(QTcpServer *server);
    void onReadable(QTcpSocket *socket);
    // The status to refuse a complete request head with; 0 when it is taken.
    int check(Connection &c, const QHostAddress &peer);
    void answer(QTcpSocket *socket, int status);
    void deliver(const QString &sid, quint32 seq, const QByteArray &body);

    quint16 m_port;
    QHash<QString, QTcpServer *> m_servers; // by local address
    QHash<QTcpSocket *, Connection *> m_connections;
    QHash<QString, Subscription> m_subscriptions; // by SID
    QHash<QString, int> m_expecting;              // host -> subscriptions being taken out
    QList<Early> m_early;
};

} // namespace velotte
