import QtQuick

// One favorite: artwork or initial, name, kind and service; a tap plays it,
// the pin keeps it among the quick picks.
Rectangle {
    id: row
    property var item
    property bool pinnable: false
    signal play()
    signal pin()
    height: 52
    radius: 12
    color: area.containsMouse ? Theme.raised : "transparent"
    Rectangle {
        id: thumb
        width: 38; height: 38; radius: 8
        anchors.left: parent.left
        anchors.leftMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        color: "#2a2e3a"
        clip: true
        Text {
            anchors.centerIn: parent
            text: row.item.name.charAt(0)
            color: Theme.accent
            font.pixelSize: 16
            font.weight: Font.DemiBold
        }
        Image {
            anchors.fill: parent
            source: row.item.artwork
            asynchronous: true
            sourceSize: Qt.size(76, 76)
            fillMode: Image.PreserveAspectCrop
        }
    }
    Column {
        anchors { left: thumb.right; right: pinMark.left; leftMargin: 10; rightMargin: 6; verticalCenter: parent.verticalCenter }
        Text {
            width: parent.width
            text: row.item.name
            color: Theme.text
            font.pixelSize: 13
            elide: Text.ElideRight
        }
        Text {
            width: parent.width
            text: [row.item.detail, row.item.service].filter(function (t) { return t !== "" }).join(" · ")
            color: Theme.faint
            font.pixelSize: 11
            elide: Text.ElideRight
        }
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        onClicked: row.play()
    }
    Text {
        id: pinMark
        visible: row.pinnable
        width: visible ? 30 : 0
        anchors.right: parent.right
        anchors.rightMargin: 4
        anchors.verticalCenter: parent.verticalCenter
        horizontalAlignment: Text.AlignHCenter
        text: row.item.pinned ? "★" : "☆"
        color: row.item.pinned ? Theme.accent : Theme.faint
        font.pixelSize: 17
        MouseArea { anchors.fill: parent; anchors.margins: -6; onClicked: row.pin() }
    }
}
