#pragma once

#include <QObject>
#include <QVariantMap>

namespace velotte {

class HouseSession;

// The session as an MPRIS 2 media player on the session bus
// ("org.mpris.MediaPlayer2.velotte"), so media keys, desktop media widgets
// and playerctl control the speakers.
class MprisService : public QObject {
    Q_OBJECT
public:
    explicit MprisService(HouseSession &session, QObject *parent = nullptr);
    ~MprisService() override;
    // Registers the object and the bus name; false when no session bus is there.
    bool registerOnBus();

Q_SIGNALS:
    // The desktop asked to show the player's window.
    void raiseRequested();

private:
    friend class MprisRoot;
    friend class MprisPlayer;
    void notify(const QString &interface, const QVariantMap &changed);
    void sessionChanged();

    HouseSession &m_session;
    class MprisRoot *m_root;
    class MprisPlayer *m_player;
    QVariantMap m_last;
};

} // namespace velotte
