#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

namespace velotte {

class TrackNotes;

// Tells TrackNotes of every now-playing change. It reads the now-playing
// object's "title", "artist", "artwork" and "durationMillis" properties by
// name, so this area needs nothing from the session's own code. Changes that
// arrive together (title, then artist, in one reading) make one load.
class NowPlayingFollower : public QObject {
    Q_OBJECT
public:
    NowPlayingFollower(QObject *session, TrackNotes *notes, QObject *parent = nullptr);

    // Loads what the session shows now, without waiting for a change.
    void follow();

private Q_SLOTS:
    void schedule();

private:

    QPointer<QObject> m_session;
    QPointer<TrackNotes> m_notes;
    QTimer m_coalesce;
};

} // namespace velotte
