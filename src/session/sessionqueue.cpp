// The active group's queue: read in pages, edited with its update id.
#include "sessionqueue.h"

#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include "core/logging.h"

namespace velotte {

using namespace std::chrono_literals;

namespace {
const QString readFailed = QStringLiteral("Could not read the queue. ");
const QString editFailed = QStringLiteral("Could not change the queue. ");
} // namespace

SessionQueue::SessionQueue(HouseSession &session) : QObject(&session), m_session(session)
{
    m_changed.setSingleShot(true);
    m_changed.setInterval(200ms);
    QObject::connect(&m_changed, &QTimer::timeout, this, [this] { auto read = refresh(); });
    QObject::connect(session.events(), &SessionEvents::queueChanged, this, [this] {
        if (m_watched)
            m_changed.start();
    });
    QObject::connect(&session, &HouseSession::activeGroupIDChanged, this, [this] {
        m_readID.draw(); // another group's queue
        m_readTrack.reset();
        setItems({});
        setState(false, std::nullopt);
        if (m_watched)
            m_changed.start();
    });
    QObject::connect(session.playback(), &SessionPlayback::trackNumberChanged, this, &SessionQueue::currentTrackChanged);
}

int SessionQueue::currentTrack() const { return m_session.playback()->trackNumber().value_or(m_readTrack.value_or(0)); }

void SessionQueue::setWatched(bool watched)
{
    if (m_watched == watched)
        return;
    m_watched = watched;
    Q_EMIT watchedChanged();
    if (watched)
        auto read = refresh();
}

void SessionQueue::setState(bool loading, const std::optional<QString> &note)
{
    if (m_loading == loading && m_note == note)
        return;
    m_loading = loading;
    m_note = note;
    Q_EMIT stateChanged();
}

void SessionQueue::setItems(const QList<SpeakerQueue::Item> &items)
{
    m_items = items;
    Q_EMIT itemsChanged();
}

QCoro::Task<std::optional<QString>> SessionQueue::coordinatorHost()
{
    const auto group = m_session.activeGroup();
    if (!group || m_session.demo())
        co_return std::nullopt;
    const StillCurrent alive(this);
    const std::optional<QString> host = co_await m_session.playerHost(group->coordinatorId);
    if (alive && !host)
        setState(false, readFailed + SpeakerFault::noAnswer().sentence());
    co_return host;
}

QCoro::Task<void> SessionQueue::refresh()
{
    const LocalPorts *local = m_session.services().local.get();
    if (!local || !local->queue)
        co_return;
    const StillCurrent current = StillCurrent::drawing(this, m_readID);
    setState(true, m_note);
    const std::optional<QString> host = co_await coordinatorHost();
    if (!current || !host)
        co_return;
    try {
        // Where playback reads tell no track number (the cloud), the speaker does.
        std::optional<QCoro::Task<std::optional<LocalNow>>> position;
        if (!m_session.guest() && local->nowPlaying)
            position = local->nowPlaying(*host);
        const SpeakerQueue::Contents contents = co_await local->queue(*host);
        std::optional<LocalNow> now;
        if (position)
            now = co_await *position;
        if (!current)
            co_return;
        m_updateID = contents.updateID;
        if (now)
            m_readTrack = now->track;
        setItems(contents.items);
        setState(false, std::nullopt);
        Q_EMIT currentTrackChanged();
    } catch (const std::exception &e) {
        if (current)
            setState(false, readFailed + sentenceOf(e));
    }
}

QCoro::Task<void> SessionQueue::edit(Edit send)
{
    const StillCurrent current = StillCurrent::drawing(this, m_readID);
    Pending pending(m_session.pending());
    const std::optional<QString> host = co_await coordinatorHost();
    if (!current || !host)
        co_return;
    std::optional<QString> failure;
    try {
        co_await send(*host, m_updateID);
    } catch (const std::exception &e) {
        // A queue that changed meanwhile is shown as it is now.
        failure = editFailed + sentenceOf(e);
    }
    if (!current.alive())
        co_return;
    co_await refresh();
    if (failure && current.alive())
        setState(false, failure);
}

QCoro::Task<void> SessionQueue::jump(int track)
{
    const LocalPorts *local = m_session.services().local.get();
    if (local && local->jumpInQueue)
        co_await edit([local, track](QString host, qint64 id) { return local->jumpInQueue(host, track, id); });
    auto read = m_session.playback()->refreshPlayback();
}

QCoro::Task<void> SessionQueue::remove(int track)
{
    const LocalPorts *local = m_session.services().local.get();
    if (local && local->removeFromQueue)
        co_await edit([local, track](QString host, qint64 id) { return local->removeFromQueue(host, track, id); });
}

QCoro::Task<void> SessionQueue::move(int from, int to)
{
    const LocalPorts *local = m_session.services().local.get();
    if (local && local->moveInQueue && from != to)
        co_await edit([local, from, to](QString host, qint64 id) { return local->moveInQueue(host, from, to, id); });
}

QCoro::Task<void> SessionQueue::clear()
{
    const LocalPorts *local = m_session.services().local.get();
    if (local && local->clearQueue)
        co_await edit([local](QString host, qint64) { return local->clearQueue(host); });
}

} // namespace velotte
