import QtQuick

// A small text button that can show an on state.
Rectangle {
    id: pill
    property alias text: label.text
    property bool active: false
    signal clicked()
    implicitWidth: label.implicitWidth + 28
    implicitHeight: 30
    radius: 15
    opacity: enabled ? 1 : 0.4
    color: active ? "#40f3b26b" : (area.containsMouse ? Theme.raisedHover : Theme.raised)
    border.color: active ? Theme.accent : "transparent"
    Text {
        id: label
        anchors.centerIn: parent
        color: pill.active ? Theme.accent : Theme.text
        font.pixelSize: 12
        font.weight: Font.Medium
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        onClicked: pill.clicked()
    }
    Accessible.role: Accessible.Button
    Accessible.name: label.text
}
