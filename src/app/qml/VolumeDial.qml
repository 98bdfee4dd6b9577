import QtQuick
import QtQuick.Shapes
import "logic.js" as Logic

// The group volume dial. Dragging turns it and sends on release; a click
// toggles Conversation; pressing and holding mutes or unmutes.
Item {
    id: dial
    property real volume: 0
    property bool muted: false
    property bool fixed: false
    signal began()
    signal moved(real volume)
    signal committed()
    signal clicked()
    signal held()

    implicitWidth: 176
    implicitHeight: 176
    readonly property real shownVolume: gesture.dragging ? gesture.dragVolume : volume
    readonly property real radiusOut: width / 2 - 8

    Shape {
        anchors.fill: parent
        layer.enabled: true
        layer.samples: 4
        ShapePath {
            fillColor: "transparent"
            strokeColor: "#26ffffff"
            strokeWidth: 10
            capStyle: ShapePath.RoundCap
            PathAngleArc {
                centerX: dial.width / 2; centerY: dial.height / 2
                radiusX: dial.radiusOut; radiusY: dial.radiusOut
                startAngle: Logic.arcStart
                sweepAngle: Logic.arcSweep
            }
        }
        ShapePath {
            fillColor: "transparent"
            strokeColor: dial.muted ? Theme.faint : Theme.accent
            strokeWidth: 10
            capStyle: ShapePath.RoundCap
            PathAngleArc {
                centerX: dial.width / 2; centerY: dial.height / 2
                radiusX: dial.radiusOut; radiusY: dial.radiusOut
                startAngle: Logic.arcStart
                sweepAngle: Math.max(0.5, dial.shownVolume / 100 * Logic.arcSweep)
            }
        }
    }
    Rectangle {
        id: knob
        width: dial.width - 56
        height: width
        radius: width / 2
        anchors.centerIn: parent
        color: gesture.pressed ? "#2c313d" : "#232731"
        border.color: "#14ffffff"
        Image {
            anchors.fill: parent
            anchors.margins: 6
            fillMode: Image.Tile
            source: "icons/grille.svg"
            sourceSize: Qt.size(8, 8)
            opacity: 0.7
        }
        Column {
            anchors.centerIn: parent
            Text {
                objectName: "dialValue"
                anchors.horizontalCenter: parent.horizontalCenter
                text: Math.round(dial.shownVolume)
                color: dial.muted ? Theme.faint : Theme.text
                font.pixelSize: 34
                font.weight: Font.Light
            }
            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                text: dial.muted ? "Muted" : (dial.fixed ? "Fixed" : "Volume")
                color: Theme.dim
                font.pixelSize: 11
            }
        }
    }
    MouseArea {
        id: gesture
        anchors.fill: parent
        enabled: dial.enabled
        property bool dragging: false
        property bool heldDone: false
        property real movedMost: 0
        property real dragVolume: 0
        property point start
        property double pressedAt: 0
        onPressed: function (mouse) {
            start = Qt.point(mouse.x, mouse.y)
            pressedAt = Date.now()
            dragging = false
            heldDone = false
            movedMost = 0
            holdTimer.restart()
        }
        onPositionChanged: function (mouse) {
            const moved = Math.hypot(mouse.x - start.x, mouse.y - start.y)
            movedMost = Math.max(movedMost, moved)
            if (Logic.dialGesture(moved, 0) === "drag")
                holdTimer.stop()
            if (!dragging && !heldDone && Logic.dialGesture(moved, 0) === "drag" && !dial.fixed) {
                dragging = true
                holdTimer.stop()
                dragVolume = dial.volume
                dial.began()
            }
            if (dragging) {
                dragVolume = Logic.angleToVolume(mouse.x - width / 2, mouse.y - height / 2, dragVolume)
                dial.moved(dragVolume)
            }
        }
        onReleased: {
            holdTimer.stop()
            if (dragging) {
                dragging = false
                dial.committed()
            } else if (!heldDone && Logic.dialGesture(movedMost, Date.now() - pressedAt) === "click") {
                dial.clicked()
            }
        }
        onCanceled: {
            holdTimer.stop()
            if (dragging) {
                dragging = false
                dial.committed()
            }
        }
        Timer {
            id: holdTimer
            interval: Logic.holdMillis
            onTriggered: {
                gesture.heldDone = true
                dial.held()
            }
        }
    }
}
