import QtQuick
import "logic.js" as Logic

// The song's lyrics; with timed lines the one being sung is lit and kept in view.
Item {
    id: root
    readonly property var notes: controller.notes
    readonly property var lines: controller.lyricLines
    readonly property int current: Logic.currentLine(lines, session.playback.positionMillis)
    // Names of the notes' lyric states, in their order.
    readonly property var states: ["idle", "loading", "available", "unavailable", "instrumental", "failed", "serviceBusy"]
    readonly property string state: notes ? states[notes.lyricsState] : "none"

    // Without lines the same sentence, then why when the notes know.
    function stateText() {
        if (!controller.showLyrics)
            return "Lyrics are switched off."
        switch (state) {
        case "none": return "Lyrics are not part of this build."
        case "idle": return "Play a song to see its lyrics."
        case "loading": return "Looking for lyrics…"
        }
        if (lines.length > 0)
            return ""
        switch (state) {
        case "instrumental": return "Lyrics not available for this song. It is instrumental."
        case "failed": return "Lyrics not available for this song. The lookup failed: no lyrics service answered."
        case "serviceBusy": return "Lyrics not available for this song. The lyrics service asked to wait; Velotte will look again."
        default: return "Lyrics not available for this song."
        }
    }

    onCurrentChanged: if (current >= 0) list.positionViewAtIndex(current, ListView.Center)

    Text {
        objectName: "lyricsState"
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.gap
        visible: text !== ""
        text: root.stateText()
        color: Theme.dim
        font.pixelSize: 14
        wrapMode: Text.WordWrap
        horizontalAlignment: Text.AlignHCenter
    }

    ListView {
        id: list
        objectName: "lyrics"
        anchors { fill: parent; bottomMargin: credit.height + 8 }
        visible: controller.showLyrics && root.lines.length > 0
        clip: true
        model: root.lines
        spacing: 10
        highlightFollowsCurrentItem: false
        boundsBehavior: Flickable.StopAtBounds
        topMargin: height / 3
        bottomMargin: height / 3
        delegate: Text {
            required property var modelData
            required property int index
            x: Theme.gap
            width: list.width - 2 * Theme.gap
            text: modelData.text === "" ? "♪" : modelData.text
            wrapMode: Text.WordWrap
            font.pixelSize: index === root.current ? 19 : 16
            font.weight: index === root.current ? Font.DemiBold : Font.Normal
            color: index === root.current ? Theme.text : (index < root.current ? Theme.faint : Theme.dim)
            Behavior on color { ColorAnimation { duration: reducedMotion ? 0 : 250 } }
        }
    }

    Row {
        id: credit
        anchors.bottom: parent.bottom
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 8
        visible: root.notes && root.notes.lyricsCredit !== "" && list.visible
        Text {
            text: root.notes ? "Lyrics from " + root.notes.lyricsCredit : ""
            color: Theme.faint
            font.pixelSize: 11
            font.underline: linkArea.containsMouse
            MouseArea {
                id: linkArea
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: Qt.openUrlExternally(root.notes.lyricsLink)
            }
        }
        Text {
            text: controller.showLyrics ? "Hide" : "Show"
            color: Theme.accent
            font.pixelSize: 11
            MouseArea { anchors.fill: parent; onClicked: controller.showLyrics = !controller.showLyrics }
        }
    }
    Text {
        anchors.bottom: parent.bottom
        anchors.horizontalCenter: parent.horizontalCenter
        visible: !controller.showLyrics
        text: "Show lyrics"
        color: Theme.accent
        font.pixelSize: 12
        MouseArea { anchors.fill: parent; onClicked: controller.showLyrics = true }
    }
}
