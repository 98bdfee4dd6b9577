#pragma once

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QTimer>

#include <optional>

namespace velotte {

class EventFailure;
class EventSubscriptions;
class HouseSession;
struct SpeakerEvent;
enum class EventService;

// The speakers' own updates: the active group's coordinator (what plays,
// its volume, its queue), the other coordinators (whether they play) and
// one speaker's topology are followed wherever the speakers can reach this
// computer, shown or hidden, signed in or not. Each event writes the same
// state a read writes, through the same staleness tokens; while every
// subscription holds, the refresh loop only reads now and then.
class SessionEvents : public QObject {
    Q_OBJECT

public:
    SessionEvents(HouseSession &session, EventSubscriptions *subscriptions);

    // Every followed speaker sends its events here.
    bool holding() const;
    // Why the speakers send nothing, when they cannot.
    std::optional<EventFailure> failure() const;
    // Follows the speakers the household has now (after a change of rooms,
    // of the active group or of the connection).
    void follow();
    // Ends every subscription (the program is about to end).
    QCoro::Task<void> stop();

Q_SIGNALS:
    void holdingChanged();
    // The coordinator's queue changed on the speaker.
    void queueChanged();

private:
    void apply(const SpeakerEvent &event);
    void missed(const QString &host, EventService service);

    HouseSession &m_session;
    EventSubscriptions *m_subscriptions;
    QString m_activeHost; // the active coordinator's
    QHash<QString, QString> m_groupOfHost; // coordinator host -> group id
    QTimer m_roomsChanged; // a burst of topology events reads the rooms once
};

} // namespace velotte
