import QtQuick
import "logic.js" as Logic

// The track's progress with elapsed and remaining time; a click or drag
// seeks on release.
Item {
    id: bar
    property real position: 0
    property real duration: 0
    signal seekRequested(real fraction)

    readonly property real shown: track.dragging ? track.dragFraction : Logic.fractionOf(position, duration)
    implicitHeight: 34
    opacity: enabled ? 1 : 0.5

    Item {
        id: track
        property bool dragging: false
        property real dragFraction: 0
        width: parent.width
        height: 16
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width; height: 4; radius: 2
            color: "#26ffffff"
            Rectangle {
                width: parent.width * bar.shown
                height: parent.height
                radius: 2
                color: Theme.text
            }
        }
        Rectangle {
            width: track.dragging ? 14 : 10
            height: width
            radius: width / 2
            color: Theme.text
            x: bar.shown * track.width - width / 2
            anchors.verticalCenter: parent.verticalCenter
            visible: bar.enabled && bar.duration > 0
        }
        MouseArea {
            anchors.fill: parent
            anchors.margins: -8
            enabled: bar.enabled && bar.duration > 0
            onPressed: function (mouse) {
                track.dragging = true
                track.dragFraction = Logic.seekFraction(mouse.x - 8, track.width)
            }
            onPositionChanged: function (mouse) { track.dragFraction = Logic.seekFraction(mouse.x - 8, track.width) }
            onReleased: {
                track.dragging = false
                bar.seekRequested(track.dragFraction)
            }
            onCanceled: track.dragging = false
        }
    }
    Text {
        anchors.left: parent.left
        anchors.bottom: parent.bottom
        text: Logic.clockText(bar.shown * bar.duration)
        color: Theme.faint
        font.pixelSize: 11
    }
    Text {
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        text: Logic.remainingText(bar.shown * bar.duration, bar.duration)
        color: Theme.faint
        font.pixelSize: 11
    }
}
