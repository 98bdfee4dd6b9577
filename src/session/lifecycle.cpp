// Start-up, sign-in and sign-out, local discovery and household reads.
#include "housesession.h"
#include "localports.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"

#include <algorithm>

namespace velotte {

namespace {
const QString localControlOff = QStringLiteral("Your Sonos speakers have local control switched off. Switch it on in the Sonos app, or sign in to Sonos to use them through your account.");
const QString noSpeakers = QStringLiteral("No Sonos speakers were found. Check that this computer and your speakers are on the same Wi-Fi network.");
}

QCoro::Task<void> HouseSession::bootstrap()
{
    if (m_demo || m_phase == Phase::ready)
        co_return;
    if (m_isBootstrapping) {
        Wakeup done;
        m_bootstrapWaiters.push_back(done);
        co_await done; // a second caller shares the first start-up
        co_return;
    }
    const StillCurrent alive(this);
    m_isBootstrapping = true;
    m_bootstrapCancel = CancelToken();
    co_await runBootstrap();
    if (!alive)
        co_return;
    m_isBootstrapping = false;
    auto waiters = std::move(m_bootstrapWaiters);
    m_bootstrapWaiters.clear();
    if (m_pollingEnabled && m_phase == Phase::ready)
        startClock();
    for (const Wakeup &w : waiters)
        w.fire();
}

QCoro::Task<void> HouseSession::runBootstrap()
{
    const StillCurrent alive(this);
    const CancelToken cancel = m_bootstrapCancel;
    if (m_services.arguments.contains(QStringLiteral("-VelotteGuest"))) {
        co_await enterGuest();
        co_return;
    }
    bool restored = false;
    if (m_services.auth && m_services.api) {
        try {
            restored = co_await m_services.auth->restore();
        } catch (const std::exception &e) {
            qCWarning(lcSession) << "restore failed:" << e.what();
        }
        if (!alive)
            co_return;
    }
    if (restored && !cancel.isCancelled() && !m_demo && m_phase == Phase::signedOut) {
        setPhase(Phase::ready);
        co_await refresh();
        if (!alive)
            co_return;
    }
    if (!cancel.isCancelled() && !m_demo && m_phase == Phase::signedOut)
        co_await enterGuest(); // no cloud sign-in: local-only operation by itself
}

QCoro::Task<void> HouseSession::connect()
{
    if (!m_services.auth)
        co_return;
    const StillCurrent login = StillCurrent::drawing(this, m_loginID);
    m_roomRefreshID.draw();
    setSigningIn(true);
    try {
        co_await m_services.auth->authorize();
    } catch (const Cancelled &) {
        if (login.alive())
            setSigningIn(false);
        co_return;
    } catch (const std::exception &e) {
        if (login.alive()) {
            if (login)
                setNote(sentenceOf(e));
            setSigningIn(false);
        }
        co_return;
    }
    if (!login.alive())
        co_return;
    if (login) {
        invalidateConnectionWork();
        leavePreview();
        setMode(false, false);
        m_guestHosts.clear();
        clearHousehold();
        setPhase(Phase::ready);
        co_await refresh();
        if (!login.alive())
            co_return;
        if (m_pollingEnabled)
            startClock();
    }
    setSigningIn(false);
}

void HouseSession::signOut()
{
    invalidateConnectionWork();
    leavePreview();
    stopClock();
    if (m_services.auth)
        m_services.auth->signOut();
    setMode(false, false);
    m_guestHosts.clear();
    setPhase(Phase::signedOut);
    clearHousehold();
    setActiveGroupID(std::nullopt); // the household stays remembered for the next sign-in
}

void HouseSession::clearHousehold()
{
    setHouseholdName(QString());
    setGroups({});
    setPlayers({});
    m_library->clear();
    for (HouseholdFollower *f : m_services.followers)
        f->clear();
    m_playback->clearNowPlaying();
}

void HouseSession::selectFollowers(const QString &householdID)
{
    for (HouseholdFollower *f : m_services.followers)
        f->selectHousehold(householdID);
}

void HouseSession::invalidateConnectionWork()
{
    m_connectionID.draw();
    m_roomRefreshID.draw();
    m_playback->invalidatePlaybackCommand();
    m_sound->invalidate();
}

void HouseSession::leavePreview()
{
    if (!m_demo)
        return;
    stopClock();
    m_playback->clearDemo();
    setMode(false, m_guest);
    setPhase(Phase::signedOut);
    clearHousehold();
    m_householdID.reset(); // the demo's is nobody's to remember
    setActiveGroupID(std::nullopt);
}

QCoro::Task<void> HouseSession::enterGuest()
{
    m_sound->abandonConversation();
    co_await discoverLocalRooms();
}

QCoro::Task<void> HouseSession::discoverLocalRooms()
{
    if (!m_services.local || !m_services.local->discover) {
        setNote(noSpeakers);
        co_return;
    }
    const StillCurrent connection(this, m_connectionID);
    setIsDiscovering(true);
    const LocalSnapshot snapshot = co_await m_services.local->discover();
    if (!connection.alive())
        co_return;
    setIsDiscovering(false);
    if (!connection || m_demo)
        co_return;
    if (snapshot.groups.isEmpty()) {
        setNote(snapshot.localControlOff ? localControlOff : noSpeakers);
        co_return;
    }
    setHouseholdName(QStringLiteral("Home"));
    m_guestHosts = snapshot.hosts;
    setPlayers(snapshot.players);
    setGroups(snapshot.groups);
    setMode(false, true);
    setPhase(Phase::ready);
    if (!activeGroup())
        setActiveGroupID(snapshot.groups.first().id);
    if (m_note == noSpeakers || m_note == localControlOff)
        setNote(std::nullopt);
    if (m_pollingEnabled && !m_isBootstrapping)
        startClock();
}

QCoro::Task<void> HouseSession::refreshGuestHouse(bool includePlayback)
{
    if (!m_services.local || !m_services.local->discover)
        co_return;
    const StillCurrent current = StillCurrent::drawing(this, m_roomRefreshID);
    const LocalSnapshot snapshot = co_await m_services.local->discover();
    if (!current || !m_guest)
        co_return;
    if (!snapshot.groups.isEmpty()) {
        m_guestHosts = snapshot.hosts;
        setPlayers(snapshot.players);
        setGroups(snapshot.groups);
        if (!activeGroup())
            setActiveGroupID(snapshot.groups.first().id);
    }
    if (includePlayback)
        co_await m_playback->refreshPlayback();
}

QCoro::Task<void> HouseSession::refreshRooms()
{
    if (m_guest)
        co_await refreshGuestHouse(false);
    else
        co_await refresh();
}

QCoro::Task<void> HouseSession::refresh()
{
    if (m_demo)
        co_return;
    if (m_guest) {
        co_await refreshGuestHouse(true);
        co_return;
    }
    if (!m_services.api)
        co_return;
    const StillCurrent current = StillCurrent::drawing(this, m_roomRefreshID);
    QList<Household> households;
    GroupsResponse read;
    try {
        households = co_await m_services.api->households();
        if (!current)
            co_return;
        // The remembered household first; otherwise the cloud's order.
        std::stable_sort(households.begin(), households.end(), [this](const Household &a, const Household &b) {
            return m_householdID && a.id == *m_householdID && b.id != *m_householdID;
        });
        if (households.isEmpty()) {
            co_await discoverLocalRooms();
            co_return;
        }
        read = co_await m_services.api->groups(households.first().id);
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        if (current) {
            qCWarning(lcSession) << "refresh failed:" << e.what();
            setNote(QStringLiteral("Could not refresh Sonos."));
        }
        co_return;
    }
    if (!current)
        co_return;
    const Household &household = households.first();
    m_householdID = household.id;
    setHouseholdName(household.name.value_or(QStringLiteral("Home")));
    setPlayers(read.players);
    setGroups(read.groups);
    if (!activeGroup()) {
        auto playing = std::find_if(read.groups.begin(), read.groups.end(), [](const SonosGroup &g) {
            return g.playbackState == QLatin1String("PLAYBACK_STATE_PLAYING");
        });
        if (playing != read.groups.end())
            setActiveGroupID(playing->id);
        else
            setActiveGroupID(read.groups.isEmpty() ? std::nullopt : std::optional(read.groups.first().id));
    }
    if (m_note == QLatin1String("Could not refresh Sonos."))
        setNote(std::nullopt);
    selectFollowers(household.id);
    if (m_services.readsLibrary)
        m_library->householdRead(household.id);
    co_await m_playback->refreshPlayback();
}

void HouseSession::choose(const QString &groupID)
{
    if (m_activeGroupID == groupID)
        return;
    m_sound->abandonConversation();
    setActiveGroupID(groupID);
    auto task = readChosenRoom();
}

QCoro::Task<void> HouseSession::readChosenRoom()
{
    // Until the chosen room is read, the dial still shows the last one's volume.
    const StillCurrent current = StillCurrent::drawing(this, m_roomChoiceID);
    setChoosingRoom(true);
    co_await m_playback->refreshPlayback();
    if (current)
        setChoosingRoom(false);
}

void HouseSession::groupMoved(const QString &oldID, const QString &newID)
{
    // Another controller regrouped: later reads go to the new id at once,
    // and the groups are read again to show how the rooms stand now.
    QList<SonosGroup> groups = m_groups;
    for (SonosGroup &g : groups) {
        if (g.id == oldID)
            g.id = newID;
    }
    setGroups(groups);
    if (m_activeGroupID == oldID)
        followActiveGroup(newID);
    if (!m_guest && !m_demo && m_phase == Phase::ready && !m_rooms->changingRooms())
        auto read = refresh();
}

} // namespace velotte
