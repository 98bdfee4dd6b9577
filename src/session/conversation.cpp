// The conversation level: one click lowers every room of the group, the
// next gives each room its own earlier volume back.
#include "sessionsound.h"

#include "housesession.h"
#include "pending.h"

#include "core/logging.h"

#include <cmath>

namespace velotte {

namespace {
// Rooms at or below this level keep theirs.
constexpr double conversationLevel = 12;
} // namespace

bool SessionSound::conversationOn() const
{
    const auto group = m_session.activeGroup();
    if (!group)
        return false;
    return std::any_of(group->playerIds.begin(), group->playerIds.end(), [this](const QString &id) { return m_conversationVolumes.contains(id); });
}

QString SessionSound::conversationHelp() const
{
    return m_muted ? QStringLiteral("Hold to unmute. Click for Conversation.") : QStringLiteral("Click for Conversation. Hold to mute.");
}

QCoro::Task<void> SessionSound::toggleConversation()
{
    const auto group = m_session.activeGroup();
    if (!group)
        co_return;
    if (conversationOn())
        co_await endConversation(group->playerIds);
    else
        co_await startConversation(group->playerIds);
}

QCoro::Task<void> SessionSound::startConversation(QStringList rooms)
{
    const StillCurrent current = StillCurrent::drawing(this, m_conversationRequestID);
    if (!m_session.demo()) {
        // Each room's own volume, as the speakers have it now.
        try {
            co_await refreshPlayerVolumes();
        } catch (const std::exception &e) {
            qCDebug(lcSession) << "room volumes before a conversation:" << e.what();
        }
        if (!current)
            co_return;
    }
    QHash<QString, int> lowered;
    for (const QString &room : rooms) {
        const double original = roomVolume(room);
        const double level = std::min(original, conversationLevel);
        m_conversationVolumes.insert(room, {original, level});
        lowered.insert(room, int(std::round(level)));
    }
    Q_EMIT conversationChanged();
    co_await sendConversation(lowered);
}

QCoro::Task<void> SessionSound::endConversation(QStringList rooms)
{
    const StillCurrent current = StillCurrent::drawing(this, m_conversationRequestID);
    if (!m_session.demo()) {
        try {
            co_await refreshPlayerVolumes(); // a room turned meanwhile shows here
        } catch (const std::exception &e) {
            qCDebug(lcSession) << "room volumes after a conversation:" << e.what();
        }
        if (!current)
            co_return;
    }
    QHash<QString, int> restored;
    bool kept = false;
    for (const QString &room : rooms) {
        const auto entry = m_conversationVolumes.constFind(room);
        if (entry == m_conversationVolumes.constEnd())
            continue;
        // The user turned this room during the conversation: theirs wins.
        if (std::abs(roomVolume(room) - entry->lowered) > 1)
            kept = true;
        else
            restored.insert(room, int(std::round(entry->original)));
        m_conversationVolumes.erase(entry);
    }
    Q_EMIT conversationChanged();
    if (kept)
        m_session.setNote(QStringLiteral("Keeping your new volume."));
    if (!restored.isEmpty())
        co_await sendConversation(restored);
}

QCoro::Task<void> SessionSound::sendConversation(QHash<QString, int> volumes)
{
    if (m_session.demo()) {
        // The preview rooms change on screen only; the dial follows the loudest.
        double loudest = 0;
        for (auto it = volumes.begin(); it != volumes.end(); ++it) {
            m_playerVolumes[it.key()] = it.value();
            loudest = std::max(loudest, double(it.value()));
        }
        Q_EMIT playerVolumesChanged();
        setVolume(loudest);
        co_return;
    }
    const StillCurrent current(this, m_conversationRequestID);
    m_changingConversation = true;
    const bool took = co_await sendRoomVolumes(volumes);
    if (!current.alive())
        co_return;
    m_changingConversation = false;
    if (!current)
        co_return;
    if (!took)
        m_session.setNote(QStringLiteral("Room volume could not change. Try again."));
    auto read = m_session.playback()->refreshPlayback(); // the group's dial follows its rooms
}

} // namespace velotte
