#pragma once

#include "core/cancel.h"
#include "core/stillcurrent.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>

#include <optional>

namespace velotte {

class HouseSession;
struct SpeakerEvent;

// Group and room volume, mute, bass and the conversation level: shown at
// once, sent in the background (room sliders and bass debounced).
class SessionSound : public QObject {
    Q_OBJECT
    Q_PROPERTY(double volume READ volume WRITE setVolume NOTIFY volumeChanged)
    Q_PROPERTY(bool muted READ muted NOTIFY mutedChanged)
    Q_PROPERTY(bool volumeFixed READ volumeFixed NOTIFY volumeFixedChanged)
    Q_PROPERTY(double bass READ bass NOTIFY bassChanged)
    Q_PROPERTY(bool canAdjustBass READ canAdjustBass NOTIFY bassChanged)
    Q_PROPERTY(bool findingBass READ findingBass NOTIFY bassChanged)
    Q_PROPERTY(QString bassNote READ bassNoteText NOTIFY bassChanged)
    Q_PROPERTY(bool conversationOn READ conversationOn NOTIFY conversationChanged)
    Q_PROPERTY(QString conversationHelp READ conversationHelp NOTIFY conversationChanged)

public:
    explicit SessionSound(HouseSession &session);

    Q_INVOKABLE void beginAdjustingGroupVolume() { m_adjustingGroupVolume = true; }
    void endAdjustingGroupVolume() { m_adjustingGroupVolume = false; }
    Q_INVOKABLE void commitGroupVolume();
    Q_INVOKABLE void setPlayerVolume(const QString &playerID, double value);
    Q_INVOKABLE void toggleMute();
    Q_INVOKABLE void setBass(double fraction);
    QCoro::Task<void> refreshPlayerVolumes();
    QCoro::Task<void> refreshRoomControls();
    QCoro::Task<void> refreshBassControl();
    QCoro::Task<void> toggleConversation();
    // Sets several rooms of a group at once, then checks every room took it.
    QCoro::Task<bool> setRoomVolume(QHash<QString, int> volumes, QString groupID);

    // Part of a playback read: the group's volume and mute, while `current` holds.
    QCoro::Task<void> readGroupVolume(QString groupID, StillCurrent current);
    // A volume read elsewhere; a dial under the finger keeps its value.
    void showGroupVolume(int volume);
    // What the active coordinator's rendering event says.
    void applyEvent(const SpeakerEvent &event);
    // The connection changed: pending room sends and conversations are void.
    void invalidate();
    // The rooms of the group change: a conversation's send in flight is void.
    void abandonConversation() { m_conversationRequestID.draw(); }
    void loadDemo();

    double volume() const { return m_volume; }
    void setVolume(double volume);
    bool muted() const { return m_muted; }
    bool volumeFixed() const { return m_volumeFixed; }
    double bass() const { return m_bass; }
    bool canAdjustBass() const { return m_bassHost.has_value(); }
    bool findingBass() const { return m_findingBass; }
    std::optional<QString> bassNote() const { return m_bassNote; }
    QString bassNoteText() const { return m_bassNote.value_or(QString()); }
    const QHash<QString, double> &playerVolumes() const { return m_playerVolumes; }
    const QHash<QString, bool> &playerFixed() const { return m_playerFixed; }
    bool conversationOn() const;
    QString conversationHelp() const;

Q_SIGNALS:
    void volumeChanged();
    void mutedChanged();
    void volumeFixedChanged();
    void bassChanged();
    void playerVolumesChanged();
    void conversationChanged();

private:
    QCoro::Task<void> sendGroupVolume(int volume, QString groupID, QString failure);
    QCoro::Task<void> sendPlayerVolume(QString playerID, int volume, QUuid edit, CancelToken cancel);
    QCoro::Task<void> sendMute(bool muted, QString groupID);
    QCoro::Task<bool> sendVolumeToGroup(QString groupID, int volume);
    // Sends each room its volume, then reads every room back: true when all took it.
    QCoro::Task<bool> sendRoomVolumes(QHash<QString, int> volumes);
    // conversation.cpp
    double roomVolume(const QString &playerID) const { return m_playerVolumes.value(playerID, m_volume); }
    QCoro::Task<void> startConversation(QStringList rooms);
    QCoro::Task<void> endConversation(QStringList rooms);
    // Sends the rooms' volumes for a conversation and says when they did not take.
    QCoro::Task<void> sendConversation(QHash<QString, int> volumes);
    void setMuted(bool muted);
    void setVolumeFixed(bool fixed);
    // bass.cpp
    QCoro::Task<void> writeBass(int level, QString host, CancelToken cancel);
    QCoro::Task<std::optional<QString>> findBassHost(QString groupID);
    void setBassValue(double bass);
    void setBassNote(const std::optional<QString> &note);
    // Another active group: the bass speaker found for the last one is not its.
    void followActiveGroup();

    HouseSession &m_session;
    double m_volume = 0;
    bool m_muted = false;
    bool m_volumeFixed = false;
    bool m_adjustingGroupVolume = false;

    QHash<QString, double> m_playerVolumes;
    QHash<QString, bool> m_playerFixed;
    QHash<QString, QUuid> m_playerVolumeEdits;
    QHash<QString, CancelToken> m_volumeTasks;

    double m_bass = 0.5;
    double m_confirmedBass = 0.5;
    std::optional<QString> m_bassHost;
    std::optional<QString> m_bassGroupID;
    Token m_bassRequestID;
    Token m_bassEditID;
    bool m_findingBass = false;
    std::optional<QString> m_bassNote;
    std::optional<CancelToken> m_bassTask;

    struct ConversationLevel {
        double original = 0;
        double lowered = 0;
    };
    QHash<QString, ConversationLevel> m_conversationVolumes;
    Token m_conversationRequestID;
    bool m_changingConversation = false;
};

} // namespace velotte
