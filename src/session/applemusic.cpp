// Apple Music on the active group: through a Sonos favorite when one plays
// the item, otherwise straight into the coordinator's queue; and the artist
// queue that fills a long list of songs in the background.
#include "applemusicbridge.h"
#include "applemusiccatalog.h"
#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"
#include "local/applemusicdirect.h"

namespace velotte {

using namespace Qt::Literals::StringLiterals;

namespace {
const QString noRoom = u"Connect Sonos and choose a room to play Apple Music."_s;
const QString queueBusy = u"Songs are still being added to the queue. Stop adding songs first."_s;
const QString couldNotPlay = u"Sonos couldn’t play this item."_s;
const QString starting = u"Starting on Sonos…"_s;

QString failureText(const std::exception &e, const QString &fallback)
{
    if (dynamic_cast<const AppleMusicDirect::Failure *>(&e) || dynamic_cast<const SpeakerFault *>(&e))
        return sentenceOf(e);
    return fallback;
}
} // namespace

bool HouseSession::canControlRooms() const
{
    if (!activeGroup())
        return false;
    return m_demo || m_guest || hasSonosConnection();
}

QCoro::Task<std::optional<HouseSession::QueueTarget>> HouseSession::appleMusicTarget(QString groupID)
{
    if (!m_services.local || !m_services.local->isCoordinator)
        co_return std::nullopt;
    std::optional<SonosGroup> group;
    for (const SonosGroup &g : m_groups) {
        if (g.id == groupID)
            group = g;
    }
    if (!group)
        co_return std::nullopt;
    // The coordinator is asked first; a stale topology may name another.
    QStringList candidates{group->coordinatorId};
    for (const QString &id : group->playerIds) {
        if (!candidates.contains(id))
            candidates << id;
    }
    QPointer<HouseSession> self(this);
    for (const QString &player : candidates) {
        const std::optional<QString> host = co_await playerHost(player);
        if (!self)
            co_return std::nullopt;
        if (!host)
            continue;
        if (co_await m_services.local->isCoordinator(group->coordinatorId, *host))
            co_return QueueTarget{*host, group->coordinatorId};
        if (!self)
            co_return std::nullopt;
    }
    co_return std::nullopt;
}

QCoro::Task<bool> HouseSession::applyAppleMusicModes(QString groupID, QString host, bool shuffle)
{
    try {
        if (hasSonosConnection()) {
            co_await m_services.api->setPlayModes(groupID, shuffle, std::nullopt, false);
            co_return true;
        }
        if (m_services.local && m_services.local->playMode)
            co_return co_await m_services.local->playMode(host, shuffle, m_repeats);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "play modes after Apple Music:" << e.what();
    }
    co_return false;
}

void HouseSession::playInPreview(const QList<AppleMusicIdentity> &items, AppleMusicAction action)
{
    QList<DemoTrack> tracks;
    for (const AppleMusicIdentity &item : items)
        tracks.append({item.title, item.subtitle, u"Apple Music"_s, 215000, 0});
    if (action == AppleMusicAction::addAfterCurrent) {
        for (qsizetype i = 0; i < tracks.size(); ++i)
            m_demoQueue.insert(m_demoIndex + 1 + i, tracks[i]);
        setNote(u"Added to the preview room queue."_s);
        return;
    }
    m_demoQueue = tracks;
    setPlayModes(action == AppleMusicAction::replaceShuffled, m_repeats);
    setIsPlaying(true);
    applyDemoTrack(0);
    setNote(std::nullopt);
}

QCoro::Task<void> HouseSession::playAppleMusic(AppleMusicIdentity item, AppleMusicAction action)
{
    if (!canControlRooms()) {
        setNote(noRoom);
        co_return;
    }
    if (m_artistQueueBusy) {
        setNote(queueBusy);
        co_return;
    }
    std::optional<SonosFavorite> favorite;
    if (m_services.appleMusicLinks && hasSonosConnection())
        favorite = m_services.appleMusicLinks->favorite(item, m_favorites);
    if (item.kind == u"station"_s) {
        if (action != AppleMusicAction::replace) {
            setNote(u"Stations play directly; they can’t be shuffled or added to the queue."_s);
            co_return;
        }
        if (!favorite && !m_demo) {
            setNote(u"This station isn’t available for direct playback here yet. Play a saved station from Apple Music on Sonos."_s);
            co_return;
        }
    }
    if (m_demo) {
        playInPreview({item}, action);
        co_return;
    }
    if (favorite) {
        if (action == AppleMusicAction::addAfterCurrent)
            co_await queueFavorite(*favorite, true);
        else if (action == AppleMusicAction::replaceShuffled) {
            const QList<SonosFavorite> one{*favorite};
            co_await playFavorites(one, false);
        }
        else
            co_await playFavorite(*favorite);
        co_return;
    }

    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    const QString groupID = *m_activeGroupID;
    const QUuid connection = m_connectionID;
    try {
        const std::optional<QueueTarget> target = co_await appleMusicTarget(groupID);
        if (!self || connection != m_connectionID)
            co_return;
        if (!target)
            throw std::runtime_error("no speaker of the group leads it");
        const QList<AppleMusicIdentity> items{item};
        co_await m_services.local->queueAppleMusic(items, target->host, target->coordinator, action, std::function<void(int)>(), CancelToken(),
                                                   newsHouseholdID());
        if (!self || connection != m_connectionID)
            co_return;
        const bool modes = co_await applyAppleMusicModes(groupID, target->host, action == AppleMusicAction::replaceShuffled);
        if (!self || connection != m_connectionID)
            co_return;
        if (!modes)
            setNote(u"Sonos accepted the music, but playback settings couldn’t refresh."_s);
        else if (action == AppleMusicAction::addAfterCurrent)
            setNote(u"Added to the Sonos queue in "_s + groupName(groupID));
        else
            setNote(std::nullopt);
        co_await refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (self && connection == m_connectionID)
            setNote(failureText(e, couldNotPlay));
    }
}

void HouseSession::playAppleMusicSongs(QList<AppleMusicIdentity> songs, bool shuffled, AppleMusicAction load)
{
    if (!canControlRooms()) {
        setNote(noRoom);
        return;
    }
    if (m_artistQueueBusy) {
        setNote(queueBusy);
        return;
    }
    songs.removeIf([](const AppleMusicIdentity &s) { return s.kind != u"song"_s || s.key.trimmed().isEmpty(); });
    if (songs.isEmpty()) {
        setNote(u"No playable songs are available for this artist."_s);
        return;
    }
    const AppleMusicAction action = load == AppleMusicAction::addAfterCurrent ? load
        : shuffled                                                           ? AppleMusicAction::replaceShuffled
                                                                             : AppleMusicAction::replace;
    if (m_demo) {
        playInPreview(songs, action);
        return;
    }
    m_artistQueueBusy = true;
    m_artistQueueStarted = false;
    m_artistQueuedCount = 0;
    m_artistQueueTotal = int(songs.size());
    m_artistQueueProgress = starting;
    m_artistQueueTaskID = QUuid::createUuid();
    m_artistQueueCancel = CancelToken();
    m_artistQueueDone = Wakeup();
    setNote(std::nullopt);
    Q_EMIT artistQueueChanged();
    auto task = runArtistQueue(std::move(songs), action, *m_activeGroupID, m_artistQueueTaskID, m_artistQueueCancel);
}

QCoro::Task<void> HouseSession::startAppleMusicSongs(QString artist, bool shuffled, AppleMusicAction load)
{
    if (!canControlRooms()) {
        setNote(noRoom);
        co_return;
    }
    if (m_artistQueueBusy) {
        setNote(queueBusy);
        co_return;
    }
    if (!m_services.catalog) {
        setNote(u"No playable songs are available for this artist."_s);
        co_return;
    }
    QPointer<HouseSession> self(this);
    QList<AppleMusicIdentity> songs;
    try {
        songs = co_await m_services.catalog->artistSongs(artist);
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        if (self)
            setNote(sentenceOf(e));
        co_return;
    }
    if (self)
        playAppleMusicSongs(std::move(songs), shuffled, load);
}

QCoro::Task<void> HouseSession::runArtistQueue(QList<AppleMusicIdentity> songs, AppleMusicAction action, QString groupID, QUuid task, CancelToken cancel)
{
    QPointer<HouseSession> self(this);
    Pending pending(m_pending);
    auto current = [&] { return self && task == m_artistQueueTaskID; };
    auto progress = [self, task, total = int(songs.size())](int queued) {
        if (!self || task != self->m_artistQueueTaskID)
            return;
        self->m_artistQueueStarted = true;
        self->m_artistQueuedCount = queued;
        self->m_artistQueueProgress = u"Adding songs · %1 of %2"_s.arg(queued).arg(total);
        Q_EMIT self->artistQueueChanged();
    };
    bool reread = false;
    try {
        const std::optional<QueueTarget> target = co_await appleMusicTarget(groupID);
        if (!current())
            co_return;
        if (!target)
            throw std::runtime_error("no speaker of the group leads it");
        co_await m_services.local->queueAppleMusic(songs, target->host, target->coordinator, action, progress, cancel, newsHouseholdID());
        if (!current())
            co_return;
        const bool modes = co_await applyAppleMusicModes(groupID, target->host, action == AppleMusicAction::replaceShuffled);
        if (!current())
            co_return;
        if (!modes)
            setNote(u"Sonos accepted the music, but playback settings couldn’t refresh."_s);
        else if (action == AppleMusicAction::addAfterCurrent)
            setNote(u"Added to the Sonos queue in "_s + groupName(groupID));
        endArtistQueue();
        reread = true;
    } catch (const Cancelled &) {
        // cancelArtistQueue() has said what happened.
        co_return;
    } catch (const std::exception &e) {
        if (!current())
            co_return;
        setNote(m_artistQueueStarted ? failureText(e, u"Sonos couldn’t play these songs."_s) : u"Sonos couldn’t play these songs."_s);
        reread = m_artistQueueStarted;
        endArtistQueue();
    }
    if (reread && self)
        co_await refreshPlayback();
}

void HouseSession::endArtistQueue()
{
    const bool changed = m_artistQueueBusy || !m_artistQueueProgress.isEmpty();
    m_artistQueueTaskID = QUuid();
    m_artistQueueBusy = false;
    m_artistQueueStarted = false;
    m_artistQueueProgress.clear();
    m_artistQueueDone.fire();
    if (changed)
        Q_EMIT artistQueueChanged();
}

void HouseSession::cancelArtistQueue()
{
    if (!m_artistQueueBusy)
        return;
    const int queued = m_artistQueuedCount;
    m_artistQueueCancel.cancel();
    endArtistQueue();
    setNote(queued > 0 ? u"%1 songs queued before loading stopped."_s.arg(queued) : u"Stopped adding songs. Queued music will keep playing."_s);
}

QCoro::Task<void> HouseSession::artistQueueFinished()
{
    if (m_artistQueueBusy)
        co_await Wakeup(m_artistQueueDone);
}

} // namespace velotte
