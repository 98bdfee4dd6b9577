import QtQuick
import QtQuick.Controls.Basic

// A thin slider in the panel's colours.
Slider {
    id: control
    implicitHeight: 24
    opacity: enabled ? 1 : 0.4
    background: Rectangle {
        x: control.leftPadding
        y: control.topPadding + control.availableHeight / 2 - height / 2
        width: control.availableWidth
        height: 4
        radius: 2
        color: "#26ffffff"
        Rectangle {
            width: control.visualPosition * parent.width
            height: parent.height
            radius: 2
            color: Theme.accent
        }
    }
    handle: Rectangle {
        x: control.leftPadding + control.visualPosition * (control.availableWidth - width)
        y: control.topPadding + control.availableHeight / 2 - height / 2
        width: control.pressed ? 18 : 14
        height: width
        radius: width / 2
        color: Theme.text
    }
}
