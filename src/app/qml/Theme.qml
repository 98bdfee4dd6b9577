pragma Singleton
import QtQuick

QtObject {
    readonly property color surface: "#ec15171f"
    readonly property color raised: "#1fffffff"
    readonly property color raisedHover: "#2effffff"
    readonly property color line: "#1affffff"
    readonly property color text: "#f4f4f7"
    readonly property color dim: "#a3a6b4"
    readonly property color faint: "#6d7080"
    readonly property color accent: "#f3b26b"
    readonly property color accentDeep: "#d98a3a"
    readonly property color danger: "#ff7b72"
    readonly property int radius: 24
    readonly property int gap: 16
    readonly property string font: "Inter, Cantarell, Noto Sans, DejaVu Sans, sans-serif"
}
