import QtQuick

// The controller panel: a translucent rounded surface with the room at the
// top, the views in the middle and the status line at the bottom.
Item {
    id: panel
    width: 340
    height: 620

    readonly property var screens: [
        { key: "now", label: "Playing", view: "NowPlayingView.qml" },
        { key: "sound", label: "Sound", view: "SoundView.qml" },
        { key: "rooms", label: "Rooms", view: "RoomsView.qml" },
        { key: "music", label: "Music", view: "MusicView.qml" },
        { key: "news", label: "News", view: "NewsView.qml" },
        { key: "lyrics", label: "Lyrics", view: "LyricsView.qml" }
    ]
    // Views that know their height ask for it; the others get the full panel.
    readonly property int wantedHeight: {
        var item = view.item
        if (!item || item.preferredHeight === undefined)
            return 620
        var h = header.height + 2 * Theme.gap + 12 + item.preferredHeight + (statusLine.height > 0 ? statusLine.height + 8 : 0)
        return Math.max(460, Math.min(620, Math.ceil(h)))
    }
    onWantedHeightChanged: controller.requestSize(340, wantedHeight)

    function viewFor(key) {
        if (key === "queue") // reached from Now playing, no tab of its own
            return "QueueView.qml"
        for (var i = 0; i < screens.length; ++i)
            if (screens[i].key === key)
                return screens[i].view
        return screens[0].view
    }

    Rectangle {
        id: surface
        anchors.fill: parent
        radius: Theme.radius
        color: Theme.surface
        border.color: Theme.line
        clip: true

        // Soft light that follows playback: brighter while the room plays.
        Image {
            source: "icons/glow.svg"
            width: parent.width * 1.5
            height: width
            x: -parent.width * 0.25
            y: -height * 0.55
            sourceSize: Qt.size(256, 256)
            opacity: session.playback.isPlaying ? 0.9 : 0.3
            Behavior on opacity { NumberAnimation { duration: reducedMotion ? 0 : 900; easing.type: Easing.InOutQuad } }
        }

        Column {
            id: header
            anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.gap }
            spacing: 12

            Item {
                width: parent.width
                height: 36
                Column {
                    anchors.left: parent.left
                    anchors.verticalCenter: parent.verticalCenter
                    width: parent.width - 50
                    Text {
                        width: parent.width
                        text: session.activeGroupName !== "" ? session.activeGroupName : "No room"
                        color: Theme.text
                        font.pixelSize: 17
                        font.weight: Font.DemiBold
                        elide: Text.ElideRight
                    }
                    Row {
                        spacing: 6
                        Text {
                            text: session.householdName !== "" ? session.householdName : "Velotte"
                            color: Theme.dim
                            font.pixelSize: 12
                        }
                        Rectangle {
                            visible: session.demo || session.guest
                            radius: 7
                            height: 15
                            width: modeLabel.implicitWidth + 12
                            color: "#33f3b26b"
                            anchors.verticalCenter: parent.verticalCenter
                            Text {
                                id: modeLabel
                                anchors.centerIn: parent
                                text: session.demo ? "Demo" : "Local only"
                                color: Theme.accent
                                font.pixelSize: 10
                                font.weight: Font.DemiBold
                            }
                        }
                    }
                }
                IconButton {
                    id: moreButton
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    icon: "more"
                    size: 34
                    iconSize: 18
                    tip: "Account"
                    onClicked: account.open = !account.open
                }
            }

            // The screens, as a row of tabs.
            Rectangle {
                width: parent.width
                height: 32
                radius: 16
                color: "#14ffffff"
                Row {
                    anchors.fill: parent
                    anchors.margins: 3
                    Repeater {
                        model: panel.screens
                        delegate: Rectangle {
                            required property var modelData
                            width: (parent.width) / panel.screens.length
                            height: parent.height
                            radius: height / 2
                            color: controller.screen === modelData.key ? "#33ffffff" : "transparent"
                            Behavior on color { ColorAnimation { duration: 150 } }
                            Text {
                                anchors.centerIn: parent
                                text: modelData.label
                                color: controller.screen === modelData.key ? Theme.text : Theme.dim
                                font.pixelSize: 11
                                font.weight: Font.Medium
                            }
                            MouseArea {
                                anchors.fill: parent
                                onClicked: controller.screen = modelData.key
                            }
                        }
                    }
                }
            }
        }

        Loader {
            id: view
            objectName: "view"
            anchors { left: parent.left; right: parent.right; top: header.bottom; bottom: statusLine.top; topMargin: 12 }
            source: panel.viewFor(controller.screen)
        }

        // The one status line: the session's note, else the shell's own.
        Item {
            id: statusLine
            anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: Theme.gap }
            height: label.text === "" ? 0 : label.implicitHeight
            Text {
                id: label
                objectName: "statusLine"
                width: parent.width
                text: session.note !== "" ? session.note : controller.message
                color: Theme.dim
                font.pixelSize: 12
                wrapMode: Text.WordWrap
                horizontalAlignment: Text.AlignHCenter
            }
        }

        // Made only when first opened: most sessions never open it.
        Loader {
            id: account
            objectName: "account"
            property bool open: false
            active: open
            visible: open
            anchors { left: parent.left; right: parent.right; top: header.bottom; margins: 10 }
            sourceComponent: AccountSheet {
                onClosed: account.open = false
            }
        }
    }
}
