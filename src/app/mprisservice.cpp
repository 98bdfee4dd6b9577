#include "mprisservice.h"

#include "core/logging.h"
#include "session/housesession.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>

#include <cmath>

namespace velotte {

namespace {
const QString objectPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString rootInterface = QStringLiteral("org.mpris.MediaPlayer2");
const QString playerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
} // namespace

class MprisRoot : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ canQuit)
    Q_PROPERTY(bool CanRaise READ canRaise)
    Q_PROPERTY(bool HasTrackList READ hasTrackList)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ none)
    Q_PROPERTY(QStringList SupportedMimeTypes READ none)
public:
    MprisRoot(MprisService *service) : QDBusAbstractAdaptor(service), m_service(service) {}
    bool canQuit() const { return false; }
    bool canRaise() const { return true; }
    bool hasTrackList() const { return false; }
    QString identity() const { return QStringLiteral("Velotte"); }
    QString desktopEntry() const { return QStringLiteral("velotte"); }
    QStringList none() const { return {}; }
public Q_SLOTS:
    void Raise() { Q_EMIT m_service->raiseRequested(); }
    void Quit() {}

private:
    MprisService *m_service;
};

class MprisPlayer : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(bool Shuffle READ shuffle WRITE setShuffle)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double MinimumRate READ rate)
    Q_PROPERTY(double MaximumRate READ rate)
    Q_PROPERTY(bool CanGoNext READ canGoNext)
    Q_PROPERTY(bool CanGoPrevious READ canGoPrevious)
    Q_PROPERTY(bool CanPlay READ canControl)
    Q_PROPERTY(bool CanPause READ canControl)
    Q_PROPERTY(bool CanSeek READ canSeek)
    Q_PROPERTY(bool CanControl READ canControl)
public:
    MprisPlayer(MprisService *service) : QDBusAbstractAdaptor(service), m_service(service), s(service->m_session) {}

    QString playbackStatus() const
    {
        if (s.playback()->title().isEmpty() && !s.playback()->isPlaying())
            return QStringLiteral("Stopped");
        return s.playback()->isPlaying() ? QStringLiteral("Playing") : QStringLiteral("Paused");
    }
    QString loopStatus() const { return s.playback()->repeats() ? QStringLiteral("Playlist") : QStringLiteral("None"); }
    void setLoopStatus(const QString &status)
    {
        if ((status != QLatin1String("None")) != s.playback()->repeats())
            s.playback()->toggleRepeat();
    }
    double rate() const { return 1.0; }
    void setRate(double) {}
    bool shuffle() const { return s.playback()->shuffle(); }
    void setShuffle(bool on)
    {
        if (on != s.playback()->shuffle())
            s.playback()->toggleShuffle();
    }
    QVariantMap metadata() const
    {
        QVariantMap m;
        m.insert(QStringLiteral("mpris:trackid"), QVariant::fromValue(trackID()));
        if (s.playback()->durationMillis() > 0)
            m.insert(QStringLiteral("mpris:length"), qlonglong(s.playback()->durationMillis()) * 1000);
        if (!s.playback()->artworkURL().isEmpty())
            m.insert(QStringLiteral("mpris:artUrl"), s.playback()->artworkURL().toString());
        if (!s.playback()->title().isEmpty())
            m.insert(QStringLiteral("xesam:title"), s.playback()->title());
        if (!s.playback()->artist().isEmpty())
            m.insert(QStringLiteral("xesam:artist"), QStringList{s.playback()->artist()});
        if (!s.playback()->serviceName().isEmpty())
            m.insert(QStringLiteral("xesam:comment"), QStringList{s.playback()->serviceName()});
        return m;
    }
    double volume() const { return s.sound()->volume() / 100.0; }
    void setVolume(double v)
    {
        s.sound()->beginAdjustingGroupVolume();
        s.sound()->setVolume(std::clamp(v, 0.0, 1.0) * 100.0);
        s.sound()->commitGroupVolume();
    }
    qlonglong position() const { return qlonglong(s.playback()->positionMillis()) * 1000; }
    bool canGoNext() const { return s.playback()->canSkip() && !s.playback()->sendingPlaybackCommand(); }
    bool canGoPrevious() const { return (s.playback()->canSkipBack() || s.playback()->canSeek()) && !s.playback()->sendingPlaybackCommand(); }
    bool canSeek() const { return s.playback()->canSeek() && s.playback()->durationMillis() > 0; }
    bool canControl() const { return s.activeGroupID().has_value(); }

    QDBusObjectPath trackID() const
    {
        // A stable path per track; MPRIS needs one even without a track list.
        const QByteArray key = (s.playback()->title() + s.playback()->artist()).toUtf8().toHex().left(32);
        return QDBusObjectPath(QStringLiteral("/app/velotte/track/") + (key.isEmpty() ? QStringLiteral("none") : QString::fromLatin1(key)));
    }

public Q_SLOTS:
    void Next() { s.playback()->skip(true); }
    void Previous() { s.playback()->skip(false); }
    void Pause()
    {
        if (s.playback()->isPlaying())
            s.playback()->toggle();
    }
    void Play()
    {
        if (!s.playback()->isPlaying())
            s.playback()->toggle();
    }
    void PlayPause() { s.playback()->toggle(); }
    void Stop() { Pause(); }
    void Seek(qlonglong offset) { seekTo(s.playback()->positionMillis() + offset / 1000); }
    void SetPosition(const QDBusObjectPath &track, qlonglong position)
    {
        if (track == trackID())
            seekTo(position / 1000);
    }
    void OpenUri(const QString &) {}

Q_SIGNALS:
    void Seeked(qlonglong position);

private:
    void seekTo(qint64 millis)
    {
        if (s.playback()->durationMillis() <= 0)
            return;
        s.playback()->seek(double(std::clamp<qint64>(millis, 0, s.playback()->durationMillis())) / double(s.playback()->durationMillis()));
        Q_EMIT Seeked(position());
    }

    MprisService *m_service;
    HouseSession &s;
};

MprisService::MprisService(HouseSession &session, QObject *parent)
    : QObject(parent), m_session(session), m_root(new MprisRoot(this)), m_player(new MprisPlayer(this))
{
    for (auto signal : {&SessionPlayback::titleChanged, &SessionPlayback::artistChanged, &SessionPlayback::artworkChanged,
                        &SessionPlayback::durationMillisChanged, &SessionPlayback::isPlayingChanged, &SessionPlayback::playModesChanged,
                        &SessionPlayback::actionsChanged, &SessionPlayback::sendingPlaybackCommandChanged})
        QObject::connect(session.playback(), signal, this, &MprisService::sessionChanged);
    QObject::connect(session.sound(), &SessionSound::volumeChanged, this, &MprisService::sessionChanged);
    QObject::connect(&session, &HouseSession::activeGroupIDChanged, this, &MprisService::sessionChanged);
}

MprisService::~MprisService() = default;

bool MprisService::registerOnBus()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    if (!bus.registerObject(objectPath, this))
        return false;
    if (!bus.registerService(QStringLiteral("org.mpris.MediaPlayer2.velotte"))) {
        qCWarning(lcApp) << "media player name not available:" << bus.lastError().message();
        return false;
    }
    sessionChanged();
    return true;
}

void MprisService::sessionChanged()
{
    // Tell the desktop only what really changed.
    const QVariantMap now{{QStringLiteral("PlaybackStatus"), m_player->playbackStatus()},
                          {QStringLiteral("LoopStatus"), m_player->loopStatus()},
                          {QStringLiteral("Shuffle"), m_player->shuffle()},
                          {QStringLiteral("Metadata"), m_player->metadata()},
                          {QStringLiteral("Volume"), m_player->volume()},
                          {QStringLiteral("CanGoNext"), m_player->canGoNext()},
                          {QStringLiteral("CanGoPrevious"), m_player->canGoPrevious()},
                          {QStringLiteral("CanSeek"), m_player->canSeek()},
                          {QStringLiteral("CanControl"), m_player->canControl()},
                          {QStringLiteral("CanPlay"), m_player->canControl()},
                          {QStringLiteral("CanPause"), m_player->canControl()}};
    QVariantMap changed;
    for (auto it = now.begin(); it != now.end(); ++it) {
        if (m_last.value(it.key()) != it.value())
            changed.insert(it.key(), it.value());
    }
    m_last = now;
    if (!changed.isEmpty())
        notify(playerInterface, changed);
}

void MprisService::notify(const QString &interface, const QVariantMap &changed)
{
    QDBusMessage signal = QDBusMessage::createSignal(objectPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"));
    signal << interface << changed << QStringList();
    QDBusConnection::sessionBus().send(signal);
}

} // namespace velotte

#include "mprisservice.moc"
