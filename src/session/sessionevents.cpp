// The speakers' updates, applied where the reads write.
#include "sessionevents.h"

#include "housesession.h"

#include "local/eventsubscriptions.h"

#include <QSet>

namespace velotte {

using namespace std::chrono_literals;

namespace {
// Who leads whom, as a set: the order the speakers list groups in says nothing.
QSet<QString> grouping(const QString &coordinator, QStringList members)
{
    members.sort();
    return {coordinator + u'>' + members.join(u',')};
}

bool sameRooms(const QList<GuestHouse::Room> &rooms, const QList<SonosGroup> &groups)
{
    QSet<QString> told, shown;
    for (const auto &room : rooms) {
        QStringList members;
        for (const auto &member : room.members)
            members << member.first;
        told += grouping(room.coordinator, members);
    }
    for (const SonosGroup &g : groups)
        shown += grouping(g.coordinatorId, g.playerIds);
    return told == shown;
}
} // namespace

SessionEvents::SessionEvents(HouseSession &session, EventSubscriptions *subscriptions)
    : QObject(&session), m_session(session), m_subscriptions(subscriptions)
{
    m_roomsChanged.setSingleShot(true);
    m_roomsChanged.setInterval(300ms);
    QObject::connect(&m_roomsChanged, &QTimer::timeout, this, [this] { auto read = m_session.refreshRooms(); });
    if (!m_subscriptions)
        return;
    QObject::connect(m_subscriptions, &EventSubscriptions::changed, this, &SessionEvents::apply);
    QObject::connect(m_subscriptions, &EventSubscriptions::missed, this, &SessionEvents::missed);
    QObject::connect(m_subscriptions, &EventSubscriptions::holdingChanged, this, &SessionEvents::holdingChanged);
    QObject::connect(m_subscriptions, &EventSubscriptions::failureChanged, this, &SessionEvents::holdingChanged);
}

bool SessionEvents::holding() const { return m_subscriptions && m_subscriptions->holding(); }

std::optional<EventFailure> SessionEvents::failure() const
{
    return m_subscriptions ? m_subscriptions->failure() : std::nullopt;
}

void SessionEvents::follow()
{
    if (!m_subscriptions)
        return;
    // Only speakers whose address the household already tells: looking one
    // up on the network is for the commands that need it.
    QList<EventSource> sources;
    m_groupOfHost.clear();
    m_activeHost.clear();
    if (!m_session.demo() && m_session.phase() == HouseSession::Phase::ready) {
        for (const SonosGroup &g : m_session.groups()) {
            const std::optional<QString> host = m_session.knownHost(g.coordinatorId);
            if (!host)
                continue;
            m_groupOfHost.insert(*host, g.id);
            sources.append({*host, EventService::transport});
            if (g.id == m_session.activeGroupID()) {
                m_activeHost = *host;
                sources.append({*host, EventService::rendering});
                sources.append({*host, EventService::queue});
            }
        }
        if (!sources.isEmpty()) // one speaker tells how the rooms stand
            sources.append({sources.first().host, EventService::topology});
    }
    m_subscriptions->follow(sources);
}

QCoro::Task<void> SessionEvents::stop()
{
    if (m_subscriptions)
        co_await m_subscriptions->stop();
}

void SessionEvents::apply(const SpeakerEvent &event)
{
    switch (event.service) {
    case EventService::transport:
        if (event.host == m_activeHost)
            m_session.playback()->applyEvent(event);
        else if (const auto playing = event.playing(); playing && m_groupOfHost.contains(event.host))
            m_session.setGroupPlaying(m_groupOfHost.value(event.host), *playing);
        break;
    case EventService::rendering:
        if (event.host == m_activeHost)
            m_session.sound()->applyEvent(event);
        break;
    case EventService::topology:
        if (event.rooms && !sameRooms(*event.rooms, m_session.groups()))
            m_roomsChanged.start();
        break;
    case EventService::queue:
        if (event.host == m_activeHost)
            Q_EMIT queueChanged();
        break;
    }
}

void SessionEvents::missed(const QString &host, EventService service)
{
    if (service == EventService::topology) {
        m_roomsChanged.start();
    } else if (host == m_activeHost) {
        if (service == EventService::queue)
            Q_EMIT queueChanged();
        else
            auto read = m_session.playback()->refreshPlayback();
    }
}

} // namespace velotte
