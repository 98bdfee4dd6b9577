#include "housesession.h"

#include "localports.h"

#include "local/eventsubscriptions.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

namespace velotte {

HouseSession::HouseSession(Services services, QObject *parent)
    : QObject(parent), m_services(std::move(services)), m_clock(m_services.clock ? *m_services.clock : Clock::system()),
      m_pending(std::make_shared<PendingSends>()), m_playback(new SessionPlayback(*this)), m_sound(new SessionSound(*this)),
      m_rooms(new SessionRooms(*this)), m_library(new SessionLibrary(*this)), m_appleMusic(new SessionAppleMusic(*this)),
      m_events(new SessionEvents(*this, m_services.followsEvents && m_services.local ? m_services.local->events.get() : nullptr)),
      m_queue(new SessionQueue(*this)), m_sleepTimer(new SessionSleepTimer(*this))
{
    m_followLater.setSingleShot(true);
    m_followLater.setInterval(0);
    QObject::connect(&m_followLater, &QTimer::timeout, m_events, &SessionEvents::follow);
    for (auto change : {&HouseSession::groupsChanged, &HouseSession::activeGroupIDChanged, &HouseSession::modeChanged, &HouseSession::phaseChanged})
        QObject::connect(this, change, &m_followLater, qOverload<>(&QTimer::start));
    if (m_services.api && m_services.local == nullptr)
        qCDebug(lcSession) << "session without local network access";
    if (m_services.api) {
        // Held weakly: the client may outlive the session.
        m_services.api->setOnGroupMoved([alive = QPointer<HouseSession>(this)](const QString &oldID, const QString &newID) {
            if (alive)
                alive->groupMoved(oldID, newID);
        });
    }
}

HouseSession::~HouseSession()
{
    m_clockCancel.cancel();
    m_bootstrapCancel.cancel();
}

QCoro::Task<void> HouseSession::settle()
{
    const auto pending = m_pending;
    while (pending->count > 0) {
        Wakeup done;
        pending->waiters.push_back(done);
        co_await done;
    }
}

std::optional<SonosGroup> HouseSession::activeGroup() const
{
    if (!m_activeGroupID)
        return std::nullopt;
    for (const SonosGroup &g : m_groups) {
        if (g.id == *m_activeGroupID)
            return g;
    }
    return std::nullopt;
}

QString HouseSession::activeGroupName() const { return m_activeGroupID ? groupName(*m_activeGroupID) : QString(); }

bool HouseSession::canControlRooms() const { return activeGroup() && (m_demo || m_guest || hasSonosConnection()); }

QString HouseSession::groupName(const QString &groupID) const
{
    for (const SonosGroup &g : m_groups) {
        if (g.id == groupID)
            return g.name;
    }
    return QStringLiteral("this room");
}

std::optional<SpeakerFault> HouseSession::speakerFault(const std::optional<QString> &host) const
{
    if (!host || !m_services.local || !m_services.local->fault)
        return std::nullopt;
    return m_services.local->fault(*host);
}

void HouseSession::speakerFailed(const std::optional<QString> &host) const
{
    throw speakerFault(host).value_or(SpeakerFault::noAnswer());
}

std::optional<QString> HouseSession::guestHost(const QString &groupID) const
{
    for (const SonosGroup &g : m_groups) {
        if (g.id == groupID) {
            const QString host = m_guestHosts.value(g.coordinatorId);
            if (!host.isEmpty())
                return host;
        }
    }
    return std::nullopt;
}

std::optional<QString> HouseSession::knownHost(const QString &playerID) const
{
    if (m_guest) {
        const QString host = m_guestHosts.value(playerID);
        return host.isEmpty() ? std::nullopt : std::optional<QString>(host);
    }
    for (const SonosPlayer &p : m_players) {
        if (p.id == playerID)
            return p.localHost();
    }
    return std::nullopt;
}

QCoro::Task<std::optional<QString>> HouseSession::playerHost(QString playerID)
{
    if (playerID.isEmpty())
        co_return std::nullopt;
    if (const auto host = knownHost(playerID))
        co_return host;
    if (m_guest || !m_services.local || !m_services.local->hostForPlayer)
        co_return std::nullopt;
    co_return co_await m_services.local->hostForPlayer(playerID);
}

// --- setters: assign and notify only on change ---

void HouseSession::setPhase(Phase phase)
{
    if (m_phase == phase)
        return;
    m_phase = phase;
    Q_EMIT phaseChanged();
}

void HouseSession::setHouseholdName(const QString &name)
{
    if (m_householdName == name)
        return;
    m_householdName = name;
    Q_EMIT householdNameChanged();
}

void HouseSession::setGroups(const QList<SonosGroup> &groups)
{
    if (m_groups == groups)
        return;
    const QString before = activeGroupName();
    m_groups = groups;
    Q_EMIT groupsChanged();
    if (activeGroupName() != before)
        Q_EMIT activeGroupIDChanged();
}

void HouseSession::setPlayers(const QList<SonosPlayer> &players)
{
    if (m_players == players)
        return;
    m_players = players;
    Q_EMIT playersChanged();
}

void HouseSession::setActiveGroupID(const std::optional<QString> &id)
{
    if (m_activeGroupID == id)
        return;
    m_activeGroupID = id;
    m_playback->clearNowPlaying(); // another room: nothing of the last one may show
    Q_EMIT activeGroupIDChanged();
}

void HouseSession::setGroupPlaying(const QString &groupID, bool playing)
{
    QList<SonosGroup> groups = m_groups;
    for (SonosGroup &g : groups) {
        if (g.id == groupID)
            g.playbackState = playing ? QStringLiteral("PLAYBACK_STATE_PLAYING") : QStringLiteral("PLAYBACK_STATE_PAUSED");
    }
    setGroups(groups);
}

void HouseSession::followActiveGroup(const QString &id)
{
    if (m_activeGroupID == id)
        return;
    m_activeGroupID = id;
    Q_EMIT activeGroupIDChanged();
}

void HouseSession::setNote(const std::optional<QString> &note)
{
    if (m_note == note)
        return;
    m_note = note;
    if (note)
        qCDebug(lcSession) << "note:" << *note;
    Q_EMIT noteChanged();
}

void HouseSession::setChoosingRoom(bool choosing)
{
    m_choosingRoom = choosing;
}

void HouseSession::setMode(bool demo, bool guest)
{
    if (m_demo == demo && m_guest == guest)
        return;
    m_demo = demo;
    m_guest = guest;
    Q_EMIT modeChanged();
}

void HouseSession::setSigningIn(bool signingIn)
{
    if (m_signingIn == signingIn)
        return;
    m_signingIn = signingIn;
    Q_EMIT signingInChanged();
}

void HouseSession::setIsDiscovering(bool discovering)
{
    if (m_isDiscovering == discovering)
        return;
    m_isDiscovering = discovering;
    Q_EMIT isDiscoveringChanged();
}

} // namespace velotte
