import QtQuick
import QtQuick.Controls.Basic
import "logic.js" as Logic

// Favorites and playlists of the household, with search and a service filter.
Item {
    id: root
    property string query: ""
    property string service: ""
    readonly property var services: Logic.servicesOf(controller.favorites)
    readonly property var shown: Logic.filterFavorites(controller.favorites, query, service)

    Column {
        id: top
        anchors { left: parent.left; right: parent.right; top: parent.top; leftMargin: Theme.gap; rightMargin: Theme.gap }
        spacing: 8
        Rectangle {
            width: parent.width
            height: 34
            radius: 17
            color: "#14ffffff"
            Image {
                id: lens
                source: "icons/search.svg"
                sourceSize: Qt.size(16, 16)
                anchors.left: parent.left
                anchors.leftMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                opacity: 0.6
            }
            TextField {
                id: search
                objectName: "search"
                anchors { left: lens.right; right: parent.right; verticalCenter: parent.verticalCenter; leftMargin: 4; rightMargin: 8 }
                placeholderText: "Search favorites"
                placeholderTextColor: Theme.faint
                color: Theme.text
                font.pixelSize: 13
                background: null
                onTextChanged: root.query = text
            }
        }
        Flow {
            width: parent.width
            spacing: 6
            visible: root.services.length > 1
            Pill { text: "All"; active: root.service === ""; onClicked: root.service = "" }
            Repeater {
                model: root.services
                Pill {
                    required property string modelData
                    text: modelData
                    active: root.service === modelData
                    onClicked: root.service = root.service === modelData ? "" : modelData
                }
            }
        }
    }

    ListView {
        id: list
        objectName: "favorites"
        anchors { left: parent.left; right: parent.right; top: top.bottom; bottom: parent.bottom; topMargin: 8 }
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: root.shown
        spacing: 2
        header: SectionTitle { x: Theme.gap; text: "Favorites"; height: implicitHeight + 4 }
        delegate: Rectangle {
            required property var modelData
            x: 8
            width: list.width - 16
            height: 52
            radius: 12
            color: row.containsMouse ? Theme.raised : "transparent"
            Rectangle {
                id: thumb
                width: 38; height: 38; radius: 8
                anchors.left: parent.left
                anchors.leftMargin: 8
                anchors.verticalCenter: parent.verticalCenter
                color: "#2a2e3a"
                clip: true
                Text {
                    anchors.centerIn: parent
                    text: modelData.name.charAt(0)
                    color: Theme.accent
                    font.pixelSize: 16
                    font.weight: Font.DemiBold
                }
                Image {
                    anchors.fill: parent
                    source: modelData.artwork
                    asynchronous: true
                    sourceSize: Qt.size(76, 76)
                    fillMode: Image.PreserveAspectCrop
                }
            }
            Column {
                anchors { left: thumb.right; right: parent.right; leftMargin: 10; rightMargin: 8; verticalCenter: parent.verticalCenter }
                Text {
                    width: parent.width
                    text: modelData.name
                    color: Theme.text
                    font.pixelSize: 13
                    elide: Text.ElideRight
                }
                Text {
                    width: parent.width
                    text: [modelData.detail, modelData.service].filter(function (t) { return t !== "" }).join(" · ")
                    color: Theme.faint
                    font.pixelSize: 11
                    elide: Text.ElideRight
                }
            }
            MouseArea {
                id: row
                anchors.fill: parent
                hoverEnabled: true
                onClicked: controller.playFavorite(modelData.id)
            }
        }
        footer: Column {
            width: list.width
            spacing: 2
            Text {
                x: Theme.gap
                visible: root.shown.length === 0
                text: controller.favorites.length === 0 ? "No favorites yet." : "No favorite matches."
                color: Theme.dim
                font.pixelSize: 13
                topPadding: 4
            }
            SectionTitle { x: Theme.gap; text: "Playlists"; visible: controller.playlists.length > 0 }
            Repeater {
                model: controller.playlists
                delegate: Rectangle {
                    required property var modelData
                    x: 8
                    width: list.width - 16
                    height: 40
                    radius: 10
                    color: prow.containsMouse ? Theme.raised : "transparent"
                    Text {
                        anchors.left: parent.left
                        anchors.leftMargin: 12
                        anchors.verticalCenter: parent.verticalCenter
                        text: modelData.name
                        color: Theme.text
                        font.pixelSize: 13
                    }
                    Text {
                        anchors.right: parent.right
                        anchors.rightMargin: 12
                        anchors.verticalCenter: parent.verticalCenter
                        text: modelData.tracks >= 0 ? modelData.tracks + " songs" : ""
                        color: Theme.faint
                        font.pixelSize: 11
                    }
                    MouseArea {
                        id: prow
                        anchors.fill: parent
                        hoverEnabled: true
                        onClicked: controller.playPlaylist(modelData.id)
                    }
                }
            }
        }
    }
}
