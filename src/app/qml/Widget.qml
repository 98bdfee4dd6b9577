import QtQuick

// The desktop widget: the room, what plays, and a tap on a favorite plays it.
Rectangle {
    id: root
    width: 300
    height: 180
    radius: 22
    color: "#ee15171f"
    border.color: "#1affffff"

    MouseArea {
        // The window has no frame: drag it by its surface.
        anchors.fill: parent
        onPressed: root.Window.window.startSystemMove()
    }
    Image {
        source: "icons/glow.svg"
        sourceSize: Qt.size(256, 256)
        width: 260; height: 260
        x: -90; y: -130
        opacity: feed.playing ? 0.9 : 0.3
    }
    Column {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 4
        Row {
          spacing: 8
          Rectangle {
            width: 7; height: 7; radius: 3.5
            anchors.verticalCenter: parent.verticalCenter
            color: feed.playing ? "#f3b26b" : "#4a4e5c"
          }
          Text {
            text: (feed.room !== "" ? feed.room : "Velotte") + (feed.available ? (feed.playing ? " · Playing" : " · Paused") : "")
            color: "#a3a6b4"
            font.pixelSize: 11
            font.weight: Font.DemiBold
            font.capitalization: Font.AllUppercase
            font.letterSpacing: 0.8
          }
        }
        Text {
            objectName: "title"
            width: parent.width
            text: feed.title
            color: "#f4f4f7"
            font.pixelSize: 17
            font.weight: Font.DemiBold
            elide: Text.ElideRight
        }
        Text {
            width: parent.width
            text: feed.artist
            visible: text !== ""
            color: "#a3a6b4"
            font.pixelSize: 13
            elide: Text.ElideRight
        }
        Item { width: 1; height: 6 }
        Text {
            // No favorites in the snapshot: the controller may not have read them yet.
            visible: feed.available && feed.picks.length === 0
            text: "Refresh favorites"
            color: refreshArea.containsMouse ? "#f4f4f7" : "#a3a6b4"
            font.pixelSize: 11
            font.underline: true
            MouseArea {
                id: refreshArea
                anchors.fill: parent
                hoverEnabled: true
                onClicked: feed.refreshController()
            }
        }
        Flow {
            width: parent.width
            spacing: 6
            Repeater {
                model: feed.picks.slice(0, 4)
                Rectangle {
                    required property var modelData
                    width: Math.min(label.implicitWidth + 20, 130)
                    height: 26
                    radius: 13
                    color: pickArea.containsMouse ? "#2effffff" : "#1fffffff"
                    Text {
                        id: label
                        anchors.centerIn: parent
                        width: parent.width - 16
                        text: modelData.name
                        color: "#f4f4f7"
                        font.pixelSize: 11
                        elide: Text.ElideRight
                        horizontalAlignment: Text.AlignHCenter
                    }
                    MouseArea {
                        id: pickArea
                        anchors.fill: parent
                        hoverEnabled: true
                        onClicked: feed.openPick(modelData.id)
                    }
                }
            }
        }
    }
}
