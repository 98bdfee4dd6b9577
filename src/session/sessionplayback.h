#pragma once

#include "core/stillcurrent.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QUrl>

#include <optional>

namespace velotte {

class HouseSession;
struct PlaybackStatus;
struct PlaybackMetadata;
struct SpeakerEvent;

struct PlaybackClock {
    qint64 positionMillis = 0;
    QDateTime updatedAt;
    bool playing = false;
};

struct DemoTrack {
    QString title;
    QString artist;
    QString service;
    qint64 duration = 0;
    qint64 position = 0;
};

// What the active group plays and the transport commands: one command at a
// time, shown at once, then re-read so the speaker has the last word.
class SessionPlayback : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title NOTIFY titleChanged)
    Q_PROPERTY(QString artist READ artist NOTIFY artistChanged)
    Q_PROPERTY(QString serviceName READ serviceName NOTIFY serviceNameChanged)
    Q_PROPERTY(QUrl artwork READ artworkURL NOTIFY artworkChanged)
    Q_PROPERTY(qint64 positionMillis READ positionMillis NOTIFY positionMillisChanged)
    Q_PROPERTY(qint64 durationMillis READ durationMillis NOTIFY durationMillisChanged)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(bool canSkip READ canSkip NOTIFY actionsChanged)
    Q_PROPERTY(bool canSkipBack READ canSkipBack NOTIFY actionsChanged)
    Q_PROPERTY(bool canSeek READ canSeek NOTIFY actionsChanged)
    Q_PROPERTY(bool shuffle READ shuffle NOTIFY playModesChanged)
    Q_PROPERTY(bool repeats READ repeats NOTIFY playModesChanged)
    Q_PROPERTY(bool sendingPlaybackCommand READ sendingPlaybackCommand NOTIFY sendingPlaybackCommandChanged)

public:
    explicit SessionPlayback(HouseSession &session);

    // Re-reads the active group's state, metadata and volume.
    QCoro::Task<void> refreshPlayback();
    Q_INVOKABLE void toggle();
    Q_INVOKABLE void skip(bool forward);
    Q_INVOKABLE void seek(double fraction);
    Q_INVOKABLE void toggleShuffle();
    Q_INVOKABLE void toggleRepeat();
    void invalidatePlaybackCommand();
    void clearNowPlaying();
    void clearPlaybackReadNote();
    void setSendingPlaybackCommand(bool sending);
    // Moves the shown position on between reads.
    void advanceLive();
    // What the coordinator's transport event says; newer than any read in flight.
    void applyEvent(const SpeakerEvent &event);
    // The playing track's number in the queue, from 1; none when unknown.
    std::optional<int> trackNumber() const { return m_trackNumber; }

    // The demo's queue: three pieces that play on a tick of their own.
    void loadDemoQueue();
    void advanceDemo();
    void applyDemoTrack(int index);
    // Items played in the preview room: replace the queue or follow the current one.
    void playInPreview(const QList<DemoTrack> &tracks, bool next, bool shuffled);
    int demoIndex() const { return m_demoIndex; }
    const QList<DemoTrack> &demoQueue() const { return m_demoQueue; }
    void clearDemo();

    QString title() const { return m_title; }
    QString artist() const { return m_artist; }
    QString serviceName() const { return m_serviceName; }
    std::optional<QUrl> artwork() const { return m_artwork; }
    QUrl artworkURL() const { return m_artwork.value_or(QUrl()); }
    qint64 positionMillis() const { return m_positionMillis; }
    qint64 durationMillis() const { return m_durationMillis; }
    bool isPlaying() const { return m_isPlaying; }
    bool canSkip() const { return m_canSkip; }
    bool canSkipBack() const { return m_canSkipBack; }
    bool canSeek() const { return m_canSeek; }
    bool shuffle() const { return m_shuffle; }
    bool repeats() const { return m_repeats; }
    bool sendingPlaybackCommand() const { return m_sendingPlaybackCommand; }
    const PlaybackClock &playbackClock() const { return m_playbackClock; }

    void setIsPlaying(bool playing);
    void setPlayModes(bool shuffle, bool repeats);

Q_SIGNALS:
    void titleChanged();
    void artistChanged();
    void serviceNameChanged();
    void artworkChanged();
    void positionMillisChanged();
    void durationMillisChanged();
    void isPlayingChanged();
    void actionsChanged();
    void playModesChanged();
    void sendingPlaybackCommandChanged();
    void trackNumberChanged();

private:
    enum SkipKind { restart, next, previous };
    // playbackread.cpp
    QCoro::Task<void> refreshCloudPlayback();
    QCoro::Task<void> refreshGuestPlayback();
    void applyNowPlaying(const QString &title, const QString &artist, const QString &service, const std::optional<QUrl> &artwork,
                         qint64 duration, qint64 position, bool playing);
    void readFailed(const QString &sentence);
    void resetClock(qint64 position, bool playing);
    // sessionplayback.cpp
    QCoro::Task<void> sendToggle(bool play, QString groupID);
    QCoro::Task<void> sendSkip(SkipKind kind, QString groupID);
    QCoro::Task<void> sendSeek(qint64 target, QString groupID);
    QCoro::Task<void> sendPlayMode(std::optional<bool> shuffle, std::optional<bool> repeats, std::optional<bool> repeatOne, QString groupID);
    // Starts a command: false when it must not be sent (one at a time).
    bool beginCommand();

    void setTitle(const QString &title);
    void setArtist(const QString &artist);
    void setServiceName(const QString &name);
    void setArtwork(const std::optional<QUrl> &artwork);
    void setPositionMillis(qint64 position);
    void setDurationMillis(qint64 duration);
    void setActions(bool canSkip, bool canSkipBack, bool canSeek);
    void setTrackNumber(std::optional<int> number);

    HouseSession &m_session;
    QString m_title;
    QString m_artist;
    QString m_serviceName;
    std::optional<QUrl> m_artwork;
    qint64 m_positionMillis = 0;
    qint64 m_durationMillis = 0;
    bool m_isPlaying = false;
    bool m_canSkip = false;
    bool m_canSkipBack = false;
    bool m_canSeek = false;
    bool m_shuffle = false;
    bool m_repeats = false;
    bool m_sendingPlaybackCommand = false;
    PlaybackClock m_playbackClock;
    std::optional<int> m_trackNumber;
    std::optional<QString> m_playbackReadNote;

    // Staleness tokens: drawn before the first await, compared after each.
    Token m_playbackRefreshID;
    Token m_playbackCommandID;
    std::optional<QUuid> m_activePlaybackRead;

    QList<DemoTrack> m_demoQueue;
    int m_demoIndex = 0;
};

} // namespace velotte
