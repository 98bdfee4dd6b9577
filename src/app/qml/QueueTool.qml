import QtQuick

// A small text button beside a queue row.
Rectangle {
    id: tool
    property alias text: label.text
    property string tip
    readonly property bool hovered: area.containsMouse
    signal clicked()
    width: 24; height: 24; radius: 12
    color: area.containsMouse ? Theme.raisedHover : "transparent"
    opacity: enabled ? 1 : 0.3
    Accessible.name: tip
    Text { id: label; anchors.centerIn: parent; color: Theme.dim; font.pixelSize: 14 }
    MouseArea { id: area; anchors.fill: parent; hoverEnabled: true; onClicked: tool.clicked() }
}
