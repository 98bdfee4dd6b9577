#pragma once

#include <QCoroTask>
#include <QObject>
#include <QSet>

#include <optional>

namespace velotte {

class HouseSession;
struct RoomMembershipChange;

// Which rooms play together: the active group takes exactly the rooms the
// user ticked, shown at once and then read back.
class SessionRooms : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool changingRooms READ changingRooms NOTIFY changingRoomsChanged)

public:
    explicit SessionRooms(HouseSession &session);

    // True when the active group holds exactly the selected players afterwards.
    QCoro::Task<bool> groupRooms(QSet<QString> selected);
    bool changingRooms() const { return m_changingRooms; }

Q_SIGNALS:
    void changingRoomsChanged();

private:
    // Sends the change over the local network, one player at a time: the
    // player the group now forms around, or none when a speaker refused.
    QCoro::Task<std::optional<QString>> regroupLocally(RoomMembershipChange change);
    void setChangingRooms(bool changing);

    HouseSession &m_session;
    bool m_changingRooms = false;
};

} // namespace velotte
