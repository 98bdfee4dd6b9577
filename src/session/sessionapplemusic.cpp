// Apple Music on the active group, and the artist queue.
#include "sessionapplemusic.h"

#include "applemusicbridge.h"
#include "applemusiccatalog.h"
#include "housesession.h"
#include "localports.h"
#include "pending.h"
#include "sessionnewsport.h"

#include "cloud/sonosclient.h"
#include "core/logging.h"
#include "local/applemusicdirect.h"

namespace velotte {

using namespace Qt::Literals::StringLiterals;

namespace {
const QString noRoom = u"Connect Sonos and choose a room to play Apple Music."_s;
const QString couldNotPlay = u"Sonos couldn’t play this item."_s;
const QString couldNotPlaySongs = u"Sonos couldn’t play these songs."_s;
const QString noSongs = u"No playable songs are available for this artist."_s;
const QString starting = u"Starting on Sonos…"_s;

QString failureText(const std::exception &e, const QString &fallback)
{
    if (dynamic_cast<const AppleMusicDirect::Failure *>(&e) || dynamic_cast<const SpeakerFault *>(&e))
        return sentenceOf(e);
    return fallback;
}
} // namespace

SessionAppleMusic::SessionAppleMusic(HouseSession &session) : QObject(&session), m_session(session) {}

QString SessionAppleMusic::queueBusyText() { return u"Songs are still being added to the queue. Stop adding songs first."_s; }

bool SessionAppleMusic::refuse()
{
    if (!m_session.canControlRooms()) {
        m_session.setNote(noRoom);
        return true;
    }
    if (m_busy) {
        m_session.setNote(queueBusyText());
        return true;
    }
    return false;
}

QCoro::Task<std::optional<SessionAppleMusic::QueueTarget>> SessionAppleMusic::appleMusicTarget(QString groupID)
{
    const LocalPorts *local = m_session.services().local.get();
    if (!local || !local->isCoordinator)
        co_return std::nullopt;
    std::optional<SonosGroup> group;
    for (const SonosGroup &g : m_session.groups()) {
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
    const StillCurrent alive(this);
    for (const QString &player : candidates) {
        const std::optional<QString> host = co_await m_session.playerHost(player);
        if (!alive)
            co_return std::nullopt;
        if (!host)
            continue;
        if (co_await local->isCoordinator(group->coordinatorId, *host))
            co_return QueueTarget{*host, group->coordinatorId};
        if (!alive)
            co_return std::nullopt;
    }
    co_return std::nullopt;
}

QCoro::Task<bool> SessionAppleMusic::applyModes(QString groupID, QString host, bool shuffle)
{
    try {
        if (m_session.hasSonosConnection()) {
            co_await m_session.services().api->setPlayModes(groupID, shuffle, std::nullopt, false);
            co_return true;
        }
        const LocalPorts *local = m_session.services().local.get();
        if (local && local->playMode)
            co_return co_await local->playMode(host, shuffle, m_session.playback()->repeats());
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &e) {
        qCDebug(lcSession) << "play modes after Apple Music:" << e.what();
    }
    co_return false;
}

std::optional<QString> SessionAppleMusic::queuedNote(bool modesSet, AppleMusicAction action, const QString &groupID) const
{
    if (!modesSet)
        return u"Sonos accepted the music, but playback settings couldn’t refresh."_s;
    if (action == AppleMusicAction::addAfterCurrent)
        return u"Added to the Sonos queue in "_s + m_session.groupName(groupID);
    return std::nullopt;
}

void SessionAppleMusic::playInPreview(const QList<AppleMusicIdentity> &items, AppleMusicAction action)
{
    QList<DemoTrack> tracks;
    for (const AppleMusicIdentity &item : items)
        tracks.append({item.title, item.subtitle, u"Apple Music"_s, 215000, 0});
    m_session.playback()->playInPreview(tracks, action == AppleMusicAction::addAfterCurrent, action == AppleMusicAction::replaceShuffled);
}

QCoro::Task<void> SessionAppleMusic::playAppleMusic(AppleMusicIdentity item, AppleMusicAction action)
{
    if (refuse())
        co_return;
    std::optional<SonosFavorite> favorite;
    if (AppleMusicSonosBridge *links = m_session.services().appleMusicLinks; links && m_session.hasSonosConnection())
        favorite = links->favorite(item, m_session.library()->favorites());
    if (item.kind == u"station"_s) {
        if (action != AppleMusicAction::replace) {
            m_session.setNote(u"Stations play directly; they can’t be shuffled or added to the queue."_s);
            co_return;
        }
        if (!favorite && !m_session.demo()) {
            m_session.setNote(u"This station isn’t available for direct playback here yet. Play a saved station from Apple Music on Sonos."_s);
            co_return;
        }
    }
    if (m_session.demo()) {
        playInPreview({item}, action);
        co_return;
    }
    if (!favorite) {
        co_await queueDirectly(std::move(item), action);
        co_return;
    }
    SessionLibrary *library = m_session.library();
    if (action == AppleMusicAction::addAfterCurrent) {
        co_await library->queueFavorite(*favorite, true);
    } else if (action == AppleMusicAction::replaceShuffled) {
        const QList<SonosFavorite> one{*favorite};
        co_await library->playFavorites(one, false);
    } else {
        co_await library->playFavorite(*favorite);
    }
}

QCoro::Task<void> SessionAppleMusic::queueDirectly(AppleMusicIdentity item, AppleMusicAction action)
{
    Pending pending(m_session.pending());
    const StillCurrent current(this, m_session.connectionID());
    const QString groupID = *m_session.activeGroupID();
    try {
        const std::optional<QueueTarget> target = co_await appleMusicTarget(groupID);
        if (!current)
            co_return;
        if (!target)
            throw std::runtime_error("no speaker of the group leads it");
        const QList<AppleMusicIdentity> items{item};
        co_await m_session.services().local->queueAppleMusic(items, target->host, target->coordinator, action, std::function<void(int)>(), CancelToken(),
                                                             SessionNewsPort(m_session).newsHouseholdID());
        if (!current)
            co_return;
        const bool modes = co_await applyModes(groupID, target->host, action == AppleMusicAction::replaceShuffled);
        if (!current)
            co_return;
        m_session.setNote(queuedNote(modes, action, groupID));
        co_await m_session.playback()->refreshPlayback();
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        if (current)
            m_session.setNote(failureText(e, couldNotPlay));
    }
}

void SessionAppleMusic::playAppleMusicSongs(QList<AppleMusicIdentity> songs, bool shuffled, AppleMusicAction load)
{
    if (refuse())
        return;
    songs.removeIf([](const AppleMusicIdentity &s) { return s.kind != u"song"_s || s.key.trimmed().isEmpty(); });
    if (songs.isEmpty()) {
        m_session.setNote(noSongs);
        return;
    }
    const AppleMusicAction action = load == AppleMusicAction::addAfterCurrent ? load
        : shuffled                                                           ? AppleMusicAction::replaceShuffled
                                                                             : AppleMusicAction::replace;
    if (m_session.demo()) {
        playInPreview(songs, action);
        return;
    }
    m_busy = true;
    m_started = false;
    m_queuedCount = 0;
    m_total = int(songs.size());
    m_progress = starting;
    m_taskID.draw();
    m_cancel = CancelToken();
    m_done = Wakeup();
    m_session.setNote(std::nullopt);
    Q_EMIT artistQueueChanged();
    auto task = runArtistQueue(std::move(songs), action, *m_session.activeGroupID(), m_cancel);
}

QCoro::Task<void> SessionAppleMusic::startAppleMusicSongs(QString artist, bool shuffled, AppleMusicAction load)
{
    if (refuse())
        co_return;
    AppleMusicCatalog *catalog = m_session.services().catalog;
    if (!catalog) {
        m_session.setNote(noSongs);
        co_return;
    }
    const StillCurrent alive(this);
    QList<AppleMusicIdentity> songs;
    try {
        songs = co_await catalog->artistSongs(artist);
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &e) {
        if (alive)
            m_session.setNote(sentenceOf(e));
        co_return;
    }
    if (alive)
        playAppleMusicSongs(std::move(songs), shuffled, load);
}

QCoro::Task<void> SessionAppleMusic::runArtistQueue(QList<AppleMusicIdentity> songs, AppleMusicAction action, QString groupID, CancelToken cancel)
{
    Pending pending(m_session.pending());
    const StillCurrent current(this, m_taskID);
    auto progress = [this, current, total = int(songs.size())](int queued) {
        if (!current)
            return;
        m_started = true;
        m_queuedCount = queued;
        m_progress = u"Adding songs · %1 of %2"_s.arg(queued).arg(total);
        Q_EMIT artistQueueChanged();
    };
    bool reread = false;
    try {
        const std::optional<QueueTarget> target = co_await appleMusicTarget(groupID);
        if (!current)
            co_return;
        if (!target)
            throw std::runtime_error("no speaker of the group leads it");
        co_await m_session.services().local->queueAppleMusic(songs, target->host, target->coordinator, action, progress, cancel,
                                                             SessionNewsPort(m_session).newsHouseholdID());
        if (!current)
            co_return;
        const bool modes = co_await applyModes(groupID, target->host, action == AppleMusicAction::replaceShuffled);
        if (!current)
            co_return;
        if (const auto note = queuedNote(modes, action, groupID))
            m_session.setNote(note);
        endArtistQueue();
        reread = true;
    } catch (const Cancelled &) {
        // cancelArtistQueue() has said what happened.
        co_return;
    } catch (const std::exception &e) {
        if (!current)
            co_return;
        m_session.setNote(m_started ? failureText(e, couldNotPlaySongs) : couldNotPlaySongs);
        reread = m_started;
        endArtistQueue();
    }
    if (reread && current.alive())
        co_await m_session.playback()->refreshPlayback();
}

void SessionAppleMusic::endArtistQueue()
{
    const bool changed = m_busy || !m_progress.isEmpty();
    m_taskID.draw();
    m_busy = false;
    m_started = false;
    m_progress.clear();
    m_done.fire();
    if (changed)
        Q_EMIT artistQueueChanged();
}

void SessionAppleMusic::abandonArtistQueue()
{
    if (!m_busy)
        return;
    m_cancel.cancel();
    endArtistQueue();
}

void SessionAppleMusic::cancelArtistQueue()
{
    if (!m_busy)
        return;
    const int queued = m_queuedCount;
    abandonArtistQueue();
    m_session.setNote(queued > 0 ? u"%1 songs queued before loading stopped."_s.arg(queued) : u"Stopped adding songs. Queued music will keep playing."_s);
}

QCoro::Task<void> SessionAppleMusic::artistQueueFinished()
{
    if (m_busy)
        co_await Wakeup(m_done);
}

} // namespace velotte
