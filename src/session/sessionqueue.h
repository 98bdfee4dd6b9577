#pragma once

#include "local/speakerqueue.h"

#include "core/stillcurrent.h"

#include <QCoroTask>
#include <QObject>
#include <QTimer>

#include <functional>
#include <optional>

namespace velotte {

class HouseSession;

// What comes next: the active group's queue as its coordinator holds it,
// read over the local network (for a signed-in household too), and edited
// with the update id it was read with, so that an edit meant for a queue
// that changed meanwhile is refused instead of hitting another track.
class SessionQueue : public QObject {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY itemsChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY stateChanged)
    Q_PROPERTY(QString queueNote READ queueNoteText NOTIFY stateChanged)
    Q_PROPERTY(int currentTrack READ currentTrack NOTIFY currentTrackChanged)
    Q_PROPERTY(bool watched READ watched WRITE setWatched NOTIFY watchedChanged)

public:
    explicit SessionQueue(HouseSession &session);

    QCoro::Task<void> refresh();
    // Tracks are numbered from 1, as the speakers number them.
    QCoro::Task<void> jump(int track);
    QCoro::Task<void> remove(int track);
    // Track `from` becomes track `to`.
    QCoro::Task<void> move(int from, int to);
    QCoro::Task<void> clear();

    const QList<SpeakerQueue::Item> &items() const { return m_items; }
    int count() const { return int(m_items.size()); }
    bool loading() const { return m_loading; }
    std::optional<QString> queueNote() const { return m_note; }
    QString queueNoteText() const { return m_note.value_or(QString()); }
    // The playing track's number; 0 when none is known.
    int currentTrack() const;
    // While a view shows the queue, a change on the speaker reads it again.
    bool watched() const { return m_watched; }
    void setWatched(bool watched);

Q_SIGNALS:
    void itemsChanged();
    void stateChanged();
    void currentTrackChanged();
    void watchedChanged();

private:
    using Edit = std::function<QCoro::Task<void>(QString host, qint64 updateID)>;
    QCoro::Task<void> edit(Edit send);
    // The active group's coordinator; none says why in the queue's note.
    QCoro::Task<std::optional<QString>> coordinatorHost();
    void setState(bool loading, const std::optional<QString> &note);
    void setItems(const QList<SpeakerQueue::Item> &items);

    HouseSession &m_session;
    QList<SpeakerQueue::Item> m_items;
    qint64 m_updateID = 0;
    bool m_loading = false;
    std::optional<QString> m_note;
    bool m_watched = false;
    std::optional<int> m_readTrack; // from the queue's own read, where playback reads give none
    Token m_readID;
    QTimer m_changed; // a burst of queue events reads once
};

} // namespace velotte
