import QtQuick
import "logic.js" as Logic

// What plays in the room: artwork, title, artist, the seek bar and the
// transport controls.
Item {
    id: root

    Column {
        anchors.fill: parent
        anchors.leftMargin: Theme.gap
        anchors.rightMargin: Theme.gap
        spacing: 14

        // The artwork, or a speaker grille when there is none.
        Rectangle {
            id: art
            width: 220
            height: 220
            radius: 18
            anchors.horizontalCenter: parent.horizontalCenter
            color: "#22262f"
            clip: true
            Image {
                anchors.fill: parent
                fillMode: Image.Tile
                source: "icons/grille.svg"
                sourceSize: Qt.size(8, 8)
                visible: cover.status !== Image.Ready
            }
            Rectangle {
                visible: cover.status !== Image.Ready
                width: 96; height: 96; radius: 48
                anchors.centerIn: parent
                color: "#181b22"
                border.color: session.playback.isPlaying ? Theme.accent : "#3b4050"
                border.width: 3
                Behavior on border.color { ColorAnimation { duration: 400 } }
                Rectangle {
                    width: 30; height: 30; radius: 15
                    anchors.centerIn: parent
                    color: session.playback.isPlaying ? Theme.accent : "#3b4050"
                    Behavior on color { ColorAnimation { duration: 400 } }
                }
            }
            Image {
                id: cover
                objectName: "cover"
                anchors.fill: parent
                source: controller.artwork
                fillMode: Image.PreserveAspectCrop
                sourceSize: Qt.size(440, 440)
            }
        }

        Column {
            width: parent.width
            spacing: 3
            Text {
                objectName: "title"
                width: parent.width
                text: session.playback.title !== "" ? session.playback.title : "Nothing playing"
                color: Theme.text
                font.pixelSize: 18
                font.weight: Font.DemiBold
                horizontalAlignment: Text.AlignHCenter
                elide: Text.ElideRight
            }
            Text {
                width: parent.width
                text: session.playback.artist
                visible: text !== ""
                color: Theme.dim
                font.pixelSize: 14
                horizontalAlignment: Text.AlignHCenter
                elide: Text.ElideRight
            }
            Text {
                width: parent.width
                readonly property string album: controller.notes ? controller.notes.album : ""
                text: [album, session.playback.serviceName].filter(function (t) { return t !== "" }).join(" · ")
                visible: text !== ""
                color: Theme.faint
                font.pixelSize: 12
                horizontalAlignment: Text.AlignHCenter
                elide: Text.ElideRight
            }
        }

        SeekBar {
            width: parent.width
            // Whole seconds: the clock shows no finer, and each change is a frame.
            position: Math.floor(session.playback.positionMillis / 1000) * 1000
            duration: session.playback.durationMillis
            enabled: session.playback.canSeek && !session.playback.sendingPlaybackCommand
            onSeekRequested: function (fraction) { session.playback.seek(fraction) }
        }

        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 14
            IconButton {
                icon: "shuffle"; size: 38; iconSize: 18
                on: session.playback.shuffle
                tip: "Shuffle"
                anchors.verticalCenter: parent.verticalCenter
                enabled: !session.playback.sendingPlaybackCommand
                onClicked: session.playback.toggleShuffle()
            }
            IconButton {
                icon: "previous"; size: 44; iconSize: 22
                tip: "Previous"
                anchors.verticalCenter: parent.verticalCenter
                enabled: session.playback.canSkipBack && !session.playback.sendingPlaybackCommand
                onClicked: session.playback.skip(false)
            }
            IconButton {
                objectName: "playPause"
                icon: session.playback.isPlaying ? "pause" : "play"
                size: 60; iconSize: 26
                filled: true
                tip: session.playback.isPlaying ? "Pause" : "Play"
                anchors.verticalCenter: parent.verticalCenter
                enabled: session.playback.title !== "" && !session.playback.sendingPlaybackCommand
                onClicked: session.playback.toggle()
            }
            IconButton {
                icon: "next"; size: 44; iconSize: 22
                tip: "Next"
                anchors.verticalCenter: parent.verticalCenter
                enabled: session.playback.canSkip && !session.playback.sendingPlaybackCommand
                onClicked: session.playback.skip(true)
            }
            IconButton {
                icon: "repeat"; size: 38; iconSize: 18
                on: session.playback.repeats
                tip: "Repeat"
                anchors.verticalCenter: parent.verticalCenter
                enabled: !session.playback.sendingPlaybackCommand
                onClicked: session.playback.toggleRepeat()
            }
        }

        // What comes next, and the speaker's own sleep timer.
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 8
            visible: !session.demo || session.sleepTimer.running
            Pill {
                objectName: "openQueue"
                text: "Queue"
                visible: !session.demo
                onClicked: controller.screen = "queue"
            }
            Pill {
                id: sleep
                objectName: "sleepTimer"
                // The countdown is drawn once a second, and only while it runs.
                property double now: Date.now()
                Timer {
                    interval: 1000
                    repeat: true
                    running: session.sleepTimer.running && root.visible
                    onTriggered: sleep.now = Date.now()
                    onRunningChanged: sleep.now = Date.now()
                }
                readonly property double remaining: session.sleepTimer.running ? session.sleepTimer.endsAt.getTime() - now : 0
                text: remaining > 0 ? "Sleep · " + Logic.clockText(remaining) : "Sleep timer"
                active: sleepChoices.visible
                onClicked: sleepChoices.visible = !sleepChoices.visible
            }
        }
        Flow {
            id: sleepChoices
            objectName: "sleepChoices"
            visible: false
            width: parent.width
            spacing: 6
            Repeater {
                model: [15, 30, 45, 60, 90, 0]
                Pill {
                    required property int modelData
                    text: modelData > 0 ? modelData + " min" : "Off"
                    onClicked: { session.sleepTimer.setMinutes(modelData); sleepChoices.visible = false }
                }
            }
        }
    }
}
