import QtQuick
import "logic.js" as Logic

// What comes next in the room: jump to a track, move it, take it out, or
// clear the queue. Reached from Now playing; changes made elsewhere show
// up while it is open.
Item {
    id: root
    Component.onCompleted: session.queue.watched = true
    Component.onDestruction: session.queue.watched = false

    Item {
        id: bar
        x: Theme.gap
        width: parent.width - 2 * Theme.gap
        height: back.height
        Pill {
            id: back
            objectName: "queueBack"
            text: "‹ Playing"
            onClicked: controller.screen = "now"
        }
        SectionTitle {
            anchors.centerIn: parent
            text: "Queue"
        }
        Pill {
            objectName: "clearQueue"
            anchors.right: parent.right
            visible: controller.queue.count > 0
            text: "Clear"
            onClicked: controller.queue.clear()
        }
    }
    Text {
        id: state
        anchors { top: bar.bottom; topMargin: 8; left: parent.left; right: parent.right; leftMargin: Theme.gap; rightMargin: Theme.gap }
        visible: text !== ""
        text: session.queue.queueNote !== "" ? session.queue.queueNote
            : session.queue.loading && controller.queue.count === 0 ? "Reading the queue…"
            : controller.queue.count === 0 && !session.queue.loading ? "The queue is empty." : ""
        color: session.queue.queueNote !== "" ? Theme.danger : Theme.faint
        font.pixelSize: 12
        wrapMode: Text.WordWrap
    }
    ListView {
        id: list
        objectName: "queue"
        anchors { top: state.visible ? state.bottom : bar.bottom; topMargin: 8; left: parent.left; right: parent.right; bottom: parent.bottom }
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: controller.queue
        spacing: 2
        delegate: Rectangle {
            required property int number
            required property string title
            required property string artist
            required property double duration
            required property bool current
            x: 8
            width: list.width - 16
            height: 44
            radius: 10
            color: current ? "#26f3b26b" : (row.containsMouse ? Theme.raised : "transparent")
            MouseArea {
                id: row
                anchors.fill: parent
                hoverEnabled: true
                onClicked: controller.queue.jump(number)
            }
            Text {
                id: numberText
                anchors { left: parent.left; leftMargin: 10; verticalCenter: parent.verticalCenter }
                width: 26
                text: current ? "▶" : number
                color: current ? Theme.accent : Theme.faint
                font.pixelSize: 11
            }
            Column {
                anchors { left: numberText.right; right: tools.left; rightMargin: 6; verticalCenter: parent.verticalCenter }
                Text { width: parent.width; text: title; color: current ? Theme.accent : Theme.text; font.pixelSize: 13; elide: Text.ElideRight }
                Text {
                    width: parent.width
                    text: [artist, duration > 0 ? Logic.clockText(duration) : ""].filter(function (t) { return t !== "" }).join(" · ")
                    visible: text !== ""
                    color: Theme.faint
                    font.pixelSize: 11
                    elide: Text.ElideRight
                }
            }
            Row {
                id: tools
                anchors { right: parent.right; rightMargin: 6; verticalCenter: parent.verticalCenter }
                spacing: 2
                visible: row.containsMouse || up.hovered || down.hovered || out.hovered
                QueueTool { id: up; text: "↑"; tip: "Move up"; enabled: number > 1; onClicked: controller.queue.move(number, number - 1) }
                QueueTool { id: down; text: "↓"; tip: "Move down"; enabled: number < controller.queue.count; onClicked: controller.queue.move(number, number + 1) }
                QueueTool { id: out; text: "×"; tip: "Remove"; onClicked: controller.queue.remove(number) }
            }
        }
    }
}
