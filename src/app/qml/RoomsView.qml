import QtQuick
import "logic.js" as Logic

// The rooms with what each plays; a tap chooses the room. Below, the rooms
// that play together with the chosen one.
Flickable {
    id: root
    contentHeight: content.height + 12
    readonly property real preferredHeight: contentHeight
    clip: true
    boundsBehavior: Flickable.StopAtBounds

    property var selected: []
    property string refusal: ""

    function currentMembers() {
        var ids = []
        for (var i = 0; i < players.count; ++i)
            if (players.itemAt(i) && players.itemAt(i).inGroup)
                ids.push(players.itemAt(i).playerId)
        return ids
    }
    function resetSelection() {
        selected = currentMembers()
        refusal = ""
    }
    Connections {
        target: session
        function onActiveGroupIDChanged() { root.resetSelection() }
    }
    Connections {
        target: session.rooms
        function onChangingRoomsChanged() { if (!session.rooms.changingRooms) root.resetSelection() }
    }
    Component.onCompleted: resetSelection()

    Column {
        id: content
        width: root.width - 2 * Theme.gap
        x: Theme.gap
        spacing: 8

        Item {
            width: parent.width
            height: refreshRooms.height
            SectionTitle { anchors.verticalCenter: parent.verticalCenter; text: "Rooms" }
            // Rooms regrouped from another controller show up here.
            Pill {
                id: refreshRooms
                objectName: "refreshRooms"
                anchors.right: parent.right
                visible: !session.demo
                text: "Refresh"
                onClicked: controller.refreshRooms()
            }
        }
        Repeater {
            model: controller.groups
            delegate: Rectangle {
                required property string groupId
                required property string name
                required property string nowPlaying
                required property string members
                required property bool active
                required property bool playing
                width: content.width
                height: 56
                radius: 14
                color: active ? "#30ffffff" : (tap.containsMouse ? Theme.raised : "#0dffffff")
                border.color: active ? "#55f3b26b" : "transparent"
                Rectangle {
                    id: dot
                    width: 8; height: 8; radius: 4
                    anchors.left: parent.left
                    anchors.leftMargin: 14
                    anchors.verticalCenter: parent.verticalCenter
                    color: playing ? Theme.accent : "#4a4e5c"
                }
                Column {
                    anchors.left: dot.right
                    anchors.leftMargin: 12
                    anchors.right: parent.right
                    anchors.rightMargin: 14
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 2
                    Text {
                        width: parent.width
                        text: name
                        color: Theme.text
                        font.pixelSize: 14
                        font.weight: active ? Font.DemiBold : Font.Normal
                        elide: Text.ElideRight
                    }
                    Text {
                        width: parent.width
                        text: members !== name ? members + "  ·  " + nowPlaying : nowPlaying
                        color: Theme.dim
                        font.pixelSize: 12
                        elide: Text.ElideRight
                    }
                }
                MouseArea {
                    id: tap
                    anchors.fill: parent
                    hoverEnabled: true
                    enabled: !session.rooms.changingRooms
                    onClicked: session.choose(groupId)
                }
            }
        }
        Text {
            visible: controller.groups.count === 0
            width: parent.width
            text: session.isDiscovering ? "Looking for speakers…" : "No rooms yet."
            color: Theme.dim
            font.pixelSize: 13
        }

        SectionTitle { text: "Play together with " + session.activeGroupName; visible: players.count > 1 }
        Repeater {
            id: players
            model: controller.players
            delegate: Rectangle {
                required property string playerId
                required property string name
                required property bool inGroup
                readonly property bool ticked: root.selected.indexOf(playerId) >= 0
                visible: players.count > 1
                width: content.width
                height: 40
                radius: 10
                color: check.containsMouse ? Theme.raised : "transparent"
                Rectangle {
                    id: box
                    width: 20; height: 20; radius: 6
                    anchors.left: parent.left
                    anchors.leftMargin: 10
                    anchors.verticalCenter: parent.verticalCenter
                    color: ticked ? Theme.accent : "transparent"
                    border.color: ticked ? Theme.accent : Theme.faint
                    border.width: 1.5
                    Text {
                        anchors.centerIn: parent
                        text: "✓"
                        visible: ticked
                        color: "#1a1a1a"
                        font.pixelSize: 13
                        font.weight: Font.Bold
                    }
                }
                Text {
                    anchors.left: box.right
                    anchors.leftMargin: 12
                    anchors.verticalCenter: parent.verticalCenter
                    text: name
                    color: Theme.text
                    font.pixelSize: 13
                }
                MouseArea {
                    id: check
                    anchors.fill: parent
                    hoverEnabled: true
                    enabled: !session.rooms.changingRooms
                    onClicked: {
                        var r = Logic.toggleRoom(root.selected, playerId)
                        root.selected = r.selected
                        root.refusal = r.refused ? Logic.lastRoomText : ""
                    }
                }
            }
        }
        Text {
            objectName: "refusal"
            width: parent.width
            visible: text !== ""
            text: root.refusal
            color: Theme.danger
            font.pixelSize: 12
            wrapMode: Text.WordWrap
        }
        Pill {
            visible: players.count > 1
            anchors.right: parent.right
            text: session.rooms.changingRooms ? "Grouping…" : "Apply"
            enabled: !session.rooms.changingRooms && !Logic.sameRooms(root.selected, root.currentMembers())
            onClicked: controller.groupRooms(root.selected)
        }
    }
}
