import QtQuick

// A round button with one of the program's icons.
Item {
    id: button
    property string icon
    property int size: 40
    property int iconSize: 20
    property bool on: false
    property bool filled: false
    property string tip
    signal clicked()

    implicitWidth: size
    implicitHeight: size
    opacity: enabled ? 1 : 0.35

    Rectangle {
        anchors.fill: parent
        radius: width / 2
        color: button.filled ? (area.pressed ? Theme.accentDeep : Theme.accent) : (area.pressed ? Theme.raisedHover : (area.containsMouse || button.on ? Theme.raised : "transparent"))
        Behavior on color { ColorAnimation { duration: 120 } }
    }
    Image {
        anchors.centerIn: parent
        source: "icons/" + button.icon + ".svg"
        sourceSize: Qt.size(button.iconSize, button.iconSize)
        opacity: button.on || button.filled ? 1 : 0.85
    }
    Rectangle {
        visible: button.on
        width: 4; height: 4; radius: 2
        color: Theme.accent
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 2
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        onClicked: button.clicked()
    }
    Accessible.role: Accessible.Button
    Accessible.name: button.tip
}
