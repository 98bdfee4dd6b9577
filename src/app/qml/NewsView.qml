import QtQuick
import QtQuick.Controls.Basic

// Morning news alarms: each schedule with its room, time, days, volume and
// language; add, edit, delete, switch on or off, and play today's bulletin.
Item {
    id: root
    readonly property var pane: controller.news
    readonly property var news: pane ? pane.controller : null
    property int editing: -2 // -2 none, -1 a new schedule, else the row

    Component.onCompleted: if (pane) pane.reload()

    Column {
        id: head
        anchors { left: parent.left; right: parent.right; top: parent.top; leftMargin: Theme.gap; rightMargin: Theme.gap }
        spacing: 4
        Row {
            width: parent.width
            Column {
                width: parent.width - addButton.width
                Text { text: root.news ? root.news.programme : "Dawnlet"; color: Theme.text; font.pixelSize: 16; font.weight: Font.DemiBold }
                Text { text: "Daily news by " + (root.news ? root.news.credit : "Tamsel · Calyx"); color: Theme.faint; font.pixelSize: 11 }
            }
            Pill {
                id: addButton
                text: "Add"
                enabled: root.pane && !(root.news && root.news.busy)
                onClicked: root.editing = -1
            }
        }
        Text {
            objectName: "newsStatus"
            width: parent.width
            visible: text !== ""
            // matrix: fallback (a build without the news area)
            text: !root.pane ? "News alarms are not part of this build." : (root.pane.note !== "" ? root.pane.note : (root.news.message !== "" ? root.news.message : (root.news.busy ? "Working…" : "")))
            color: root.news && root.news.failed ? Theme.danger : Theme.dim
            font.pixelSize: 12
            wrapMode: Text.WordWrap
        }
    }

    ListView {
        id: list
        anchors { left: parent.left; right: parent.right; top: head.bottom; bottom: parent.bottom; topMargin: 10 }
        visible: root.editing === -2
        clip: true
        spacing: 6
        model: root.news ? root.news.scheduleModel : null
        delegate: Rectangle {
            id: row
            readonly property bool on: model.enabled
            x: Theme.gap
            width: list.width - 2 * Theme.gap
            height: 70
            radius: 14
            color: "#12ffffff"
            Column {
                anchors { left: parent.left; leftMargin: 14; verticalCenter: parent.verticalCenter }
                Text { text: model.time; color: row.on ? Theme.text : Theme.faint; font.pixelSize: 22; font.weight: Font.Light }
                Text {
                    text: root.pane.daysText(model.days) + " · " + root.pane.roomName(model.roomID) + " · " + model.volume + "% · " + model.language
                    color: Theme.dim
                    font.pixelSize: 11
                }
            }
            Row {
                anchors { right: parent.right; rightMargin: 10; verticalCenter: parent.verticalCenter }
                spacing: 4
                IconButton {
                    icon: "play"
                    size: 32
                    iconSize: 14
                    tip: "Play now"
                    anchors.verticalCenter: parent.verticalCenter
                    enabled: !root.news.busy
                    onClicked: root.pane.playNow(index)
                }
                Switch {
                    anchors.verticalCenter: parent.verticalCenter
                    checked: row.on
                    enabled: !root.news.busy
                    onToggled: root.pane.setEnabled(index, checked)
                    scale: 0.75
                }
            }
            MouseArea {
                anchors { left: parent.left; top: parent.top; bottom: parent.bottom; right: parent.right; rightMargin: 110 }
                onClicked: root.editing = index
            }
        }
        Text {
            anchors.centerIn: parent
            width: parent.width - 2 * Theme.gap
            visible: root.news && root.news.loaded && list.count === 0
            text: "No news alarms yet. Add one to wake up to the day's bulletin."
            color: Theme.dim
            font.pixelSize: 13
            wrapMode: Text.WordWrap
            horizontalAlignment: Text.AlignHCenter
        }
    }

    NewsEditor {
        anchors { left: parent.left; right: parent.right; top: head.bottom; bottom: parent.bottom; topMargin: 10 }
        visible: root.editing !== -2
        row: root.editing
        pane: root.pane
        onDone: root.editing = -2
    }
}
