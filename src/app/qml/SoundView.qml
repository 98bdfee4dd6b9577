import QtQuick
import QtQuick.Controls.Basic

// The group volume dial with its help, each room's slider and the bass.
Flickable {
    id: root
    contentHeight: content.height + 12
    readonly property real preferredHeight: contentHeight
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    Component.onCompleted: controller.refreshSound()

    Column {
        id: content
        width: root.width - 2 * Theme.gap
        x: Theme.gap
        spacing: 12

        VolumeDial {
            objectName: "dial"
            anchors.horizontalCenter: parent.horizontalCenter
            volume: session.sound.volume
            muted: session.sound.muted
            fixed: session.sound.volumeFixed
            onBegan: session.sound.beginAdjustingGroupVolume()
            onMoved: function (v) { session.sound.volume = Math.max(0, Math.min(100, v)) }
            onCommitted: session.sound.commitGroupVolume()
            onClicked: controller.toggleConversation()
            onHeld: session.sound.toggleMute()
        }
        Text {
            objectName: "dialHelp"
            width: parent.width
            text: session.sound.conversationHelp
            color: Theme.faint
            font.pixelSize: 11
            horizontalAlignment: Text.AlignHCenter
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 10
            Pill {
                text: session.sound.muted ? "Unmute" : "Mute"
                active: session.sound.muted
                onClicked: session.sound.toggleMute()
            }
            Pill {
                text: "Conversation"
                active: session.sound.conversationOn
                onClicked: controller.toggleConversation()
            }
        }

        SectionTitle { text: "Rooms" }
        Repeater {
            model: controller.players
            delegate: Column {
                required property string playerId
                required property string name
                required property real volume
                required property bool fixed
                required property bool inGroup
                visible: inGroup
                width: content.width
                spacing: 2
                Row {
                    width: parent.width
                    Text {
                        width: parent.width - 40
                        text: name + (fixed ? "  ·  fixed volume" : "")
                        color: Theme.text
                        font.pixelSize: 13
                        elide: Text.ElideRight
                    }
                    Text {
                        width: 40
                        text: Math.round(roomSlider.value)
                        color: Theme.dim
                        font.pixelSize: 12
                        horizontalAlignment: Text.AlignRight
                    }
                }
                LevelSlider {
                    id: roomSlider
                    width: parent.width
                    from: 0; to: 100
                    value: volume
                    onMoved: session.sound.setPlayerVolume(playerId, value)
                }
            }
        }

        SectionTitle { text: "Bass" }
        LevelSlider {
            width: parent.width
            from: 0; to: 1
            value: session.sound.bass
            enabled: session.sound.canAdjustBass
            onMoved: session.sound.setBass(value)
        }
        Text {
            width: parent.width
            text: session.sound.findingBass ? "Finding the speaker…" : (session.sound.bassNote !== "" ? session.sound.bassNote : (session.sound.canAdjustBass ? "Level " + Math.round(session.sound.bass * 20 - 10) : ""))
            visible: text !== ""
            color: session.sound.bassNote !== "" ? Theme.danger : Theme.faint
            font.pixelSize: 11
            wrapMode: Text.WordWrap
        }
    }
}
