#pragma once

#include "local/applemusicidentity.h"

#include "core/cancel.h"
#include "core/stillcurrent.h"
#include "core/wakeup.h"

#include <QCoroTask>
#include <QObject>
#include <QUuid>

#include <optional>

namespace velotte {

class HouseSession;

// Apple Music on the active group: through a Sonos favorite that plays the
// item, else queued straight into the coordinator's queue; a long list of
// songs fills the queue in the background (the artist queue), and other
// music requests are refused until it ends.
class SessionAppleMusic : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool musicQueueBusy READ musicQueueBusy NOTIFY artistQueueChanged)
    Q_PROPERTY(bool artistQueueStarted READ artistQueueStarted NOTIFY artistQueueChanged)
    Q_PROPERTY(int artistQueuedCount READ artistQueuedCount NOTIFY artistQueueChanged)
    Q_PROPERTY(QString artistQueueProgress READ artistQueueProgress NOTIFY artistQueueChanged)

public:
    explicit SessionAppleMusic(HouseSession &session);

    QCoro::Task<void> playAppleMusic(AppleMusicIdentity item, AppleMusicAction action);
    void playAppleMusicSongs(QList<AppleMusicIdentity> songs, bool shuffled, AppleMusicAction load);
    QCoro::Task<void> startAppleMusicSongs(QString artist, bool shuffled, AppleMusicAction load);
    // The user stops filling the queue; the status line says how far it got.
    Q_INVOKABLE void cancelArtistQueue();
    // The queue's group or connection changed: stop without a word.
    void abandonArtistQueue();
    // Returns once no artist queue is running.
    QCoro::Task<void> artistQueueFinished();

    bool musicQueueBusy() const { return m_busy; }
    bool artistQueueStarted() const { return m_started; }
    int artistQueuedCount() const { return m_queuedCount; }
    int artistQueueTotal() const { return m_total; }
    QString artistQueueProgress() const { return m_progress; }
    static QString queueBusyText();

Q_SIGNALS:
    void artistQueueChanged();

private:
    struct QueueTarget {
        QString host;
        QString coordinator;
    };
    // The host of the group's coordinator, asked whether it coordinates.
    QCoro::Task<std::optional<QueueTarget>> appleMusicTarget(QString groupID);
    QCoro::Task<bool> applyModes(QString groupID, QString host, bool shuffle);
    // Refuses with a sentence when nothing may start now.
    bool refuse();
    QCoro::Task<void> queueDirectly(AppleMusicIdentity item, AppleMusicAction action);
    QCoro::Task<void> runArtistQueue(QList<AppleMusicIdentity> songs, AppleMusicAction action, QString groupID, CancelToken cancel);
    // What the status line says once music is queued and the play modes are set (or not).
    std::optional<QString> queuedNote(bool modesSet, AppleMusicAction action, const QString &groupID) const;
    void endArtistQueue();
    void playInPreview(const QList<AppleMusicIdentity> &items, AppleMusicAction action);

    HouseSession &m_session;
    bool m_busy = false;
    bool m_started = false;
    int m_queuedCount = 0;
    int m_total = 0;
    QString m_progress;
    Token m_taskID;
    CancelToken m_cancel;
    Wakeup m_done;
};

} // namespace velotte
