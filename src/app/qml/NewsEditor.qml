import QtQuick
import QtQuick.Controls.Basic

// One schedule's fields; a new one starts at 07:00 on weekdays.
Flickable {
    id: editor
    property int row: -1
    property var pane
    signal done()
    contentHeight: form.height + 10
    clip: true

    property int hour: 7
    property int minute: 0
    property var days: [1, 2, 3, 4, 5]
    property int volume: 20
    property string roomID: ""
    property string language: "english"

    onVisibleChanged: if (visible) load()
    function load() {
        var m = pane && row >= 0 ? pane.controller.scheduleModel : null
        if (m && row < m.rowCount()) {
            var i = m.index(row, 0)
            hour = m.data(i, Qt.UserRole + 3)
            minute = m.data(i, Qt.UserRole + 4)
            days = m.data(i, Qt.UserRole + 6)
            volume = m.data(i, Qt.UserRole + 7)
            roomID = m.data(i, Qt.UserRole + 2)
            language = m.data(i, Qt.UserRole + 9)
        } else {
            hour = 7; minute = 0; days = [1, 2, 3, 4, 5]; volume = 20; language = "english"
            roomID = ""
        }
    }
    function toggleDay(d) {
        var next = days.slice()
        var at = next.indexOf(d)
        if (at >= 0) next.splice(at, 1); else next.push(d)
        days = next
    }

    Column {
        id: form
        x: Theme.gap
        width: editor.width - 2 * Theme.gap
        spacing: 10
        Row {
            spacing: 8
            anchors.horizontalCenter: parent.horizontalCenter
            SpinBox { from: 0; to: 23; value: editor.hour; onValueModified: editor.hour = value; editable: true; width: 110 }
            Text { text: ":"; color: Theme.text; font.pixelSize: 22; anchors.verticalCenter: parent.verticalCenter }
            SpinBox { from: 0; to: 59; value: editor.minute; onValueModified: editor.minute = value; editable: true; width: 110 }
        }
        Row {
            spacing: 4
            anchors.horizontalCenter: parent.horizontalCenter
            Repeater {
                model: [1, 2, 3, 4, 5, 6, 0]
                Pill {
                    required property int modelData
                    implicitWidth: 38
                    text: ["S", "M", "T", "W", "T", "F", "S"][modelData]
                    active: editor.days.indexOf(modelData) >= 0
                    onClicked: editor.toggleDay(modelData)
                }
            }
        }
        SectionTitle { text: "Room" }
        Flow {
            width: parent.width
            spacing: 6
            Repeater {
                model: controller.players
                Pill {
                    required property string playerId
                    required property string name
                    required property int index
                    text: name
                    active: editor.roomID === playerId || (editor.roomID === "" && index === 0)
                    onClicked: editor.roomID = playerId
                }
            }
        }
        SectionTitle { text: "Volume " + editor.volume }
        LevelSlider { width: parent.width; from: 0; to: 100; stepSize: 1; value: editor.volume; onMoved: editor.volume = value }
        SectionTitle { text: "Language" }
        Row {
            spacing: 6
            Pill { text: "English"; active: editor.language === "english"; onClicked: editor.language = "english" }
            Pill { text: "Japanese"; active: editor.language === "japanese"; onClicked: editor.language = "japanese" }
        }
        Row {
            spacing: 8
            anchors.right: parent.right
            Pill {
                visible: editor.row >= 0
                text: "Play now"
                onClicked: editor.pane.playNow(editor.row)
            }
            Pill {
                visible: editor.row >= 0
                text: "Delete"
                onClicked: { editor.pane.remove(editor.row); editor.done() }
            }
            Pill { text: "Cancel"; onClicked: editor.done() }
            Pill {
                text: "Save"
                active: true
                onClicked: {
                    var fields = { hour: editor.hour, minute: editor.minute, days: editor.days, volume: editor.volume, language: editor.language }
                    if (editor.roomID !== "") fields.roomID = editor.roomID
                    editor.pane.save(editor.row, fields)
                    editor.done()
                }
            }
        }
    }
}
