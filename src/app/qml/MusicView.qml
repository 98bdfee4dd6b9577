import QtQuick
import QtQuick.Controls.Basic
import "logic.js" as Logic

// Favorites with quick picks, recent plays and filters; suggestions for a
// mood; Apple Music search and an artist's songs as a queue.
Item {
    id: root
    readonly property var pane: controller.music
    property string part: "favorites"

    Row {
        id: parts
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 6
        Pill { text: "Favorites"; active: root.part === "favorites"; onClicked: root.part = "favorites" }
        Pill { text: "Suggest"; active: root.part === "suggest"; visible: root.pane !== null; onClicked: root.part = "suggest" }
        Pill { text: "Apple Music"; active: root.part === "apple"; visible: root.pane !== null; onClicked: root.part = "apple" }
    }

    Loader {
        anchors { left: parent.left; right: parent.right; top: parts.bottom; bottom: parent.bottom; topMargin: 10 }
        sourceComponent: root.part === "suggest" ? suggestPart : (root.part === "apple" ? applePart : favoritesPart)
    }

    Component {
        id: favoritesPart
        ListView {
            id: list
            objectName: "favorites"
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            // Without the browse area the view filters the session's favorites itself.
            property string query: ""
            property string service: ""
            model: root.pane ? root.pane.favorites : Logic.filterFavorites(controller.favorites, query, service)
            spacing: 2
            header: Column {
                x: Theme.gap
                width: list.width - 2 * Theme.gap
                spacing: 8
                bottomPadding: 4
                Column {
                    width: parent.width
                    spacing: 6
                    visible: root.pane !== null && query.text === ""
                    SectionTitle { text: "Quick picks" }
                    Text {
                        visible: root.pane && root.pane.picks.length === 0
                        text: root.pane ? root.pane.picksHint : ""
                        color: Theme.faint
                        font.pixelSize: 12
                    }
                    Flow {
                        width: parent.width
                        spacing: 6
                        Repeater {
                            model: root.pane ? root.pane.picks : []
                            Pill {
                                required property var modelData
                                text: modelData.name.length > 22 ? modelData.name.slice(0, 21) + "…" : modelData.name
                                onClicked: controller.playFavorite(modelData.id)
                            }
                        }
                    }
                    SectionTitle { text: "Recently played"; visible: root.pane && root.pane.recent.length > 0 }
                    Flow {
                        width: parent.width
                        spacing: 6
                        Repeater {
                            model: root.pane ? root.pane.recent.slice(0, 4) : []
                            Pill {
                                required property var modelData
                                text: modelData.name.length > 22 ? modelData.name.slice(0, 21) + "…" : modelData.name
                                onClicked: controller.playFavorite(modelData.id)
                            }
                        }
                    }
                }
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
                        id: query
                        objectName: "search"
                        anchors { left: lens.right; right: parent.right; verticalCenter: parent.verticalCenter; leftMargin: 4; rightMargin: 8 }
                        placeholderText: "Search favorites"
                        placeholderTextColor: Theme.faint
                        color: Theme.text
                        font.pixelSize: 13
                        background: null
                        onTextChanged: {
                            if (root.pane)
                                root.pane.query = text
                            list.query = text
                        }
                    }
                }
                Flow {
                    width: parent.width
                    spacing: 6
                    readonly property var services: root.pane ? root.pane.services : Logic.servicesOf(controller.favorites)
                    readonly property string chosen: root.pane ? root.pane.service : list.service
                    function choose(name) {
                        if (root.pane)
                            root.pane.service = name
                        list.service = name
                    }
                    Pill { text: "All"; active: parent.chosen === ""; onClicked: parent.choose("") }
                    Repeater {
                        model: parent.services
                        Pill {
                            required property string modelData
                            text: modelData
                            active: parent.chosen === modelData
                            onClicked: parent.choose(parent.chosen === modelData ? "" : modelData)
                        }
                    }
                    Pill {
                        visible: root.pane !== null
                        text: "Classical"
                        active: root.pane && root.pane.classical
                        onClicked: root.pane.classical = !root.pane.classical
                    }
                }
                Flow {
                    width: parent.width
                    spacing: 6
                    visible: root.pane && root.pane.classical && root.pane.composers.length > 0
                    Repeater {
                        model: root.pane ? root.pane.composers : []
                        Pill {
                            required property string modelData
                            text: modelData
                            active: root.pane.composer === modelData
                            onClicked: root.pane.composer = root.pane.composer === modelData ? "" : modelData
                        }
                    }
                }
                Flow {
                    width: parent.width
                    spacing: 6
                    visible: root.pane && root.pane.classical && root.pane.works.length > 0
                    Repeater {
                        model: root.pane ? root.pane.works : []
                        Pill {
                            required property string modelData
                            text: modelData
                            active: root.pane.work === modelData
                            onClicked: root.pane.work = root.pane.work === modelData ? "" : modelData
                        }
                    }
                }
            }
            delegate: FavoriteRow {
                required property var modelData
                x: 8
                width: list.width - 16
                item: modelData
                pinnable: root.pane !== null
                onPlay: controller.playFavorite(modelData.id)
                onPin: root.pane.togglePin(modelData.id)
            }
            footer: Column {
                width: list.width
                spacing: 2
                Text {
                    x: Theme.gap
                    visible: list.count === 0 && !(session.library.refreshingLibrary && controller.favorites.length === 0)
                    text: controller.favorites.length === 0 ? "No favorites yet." : "No favorite matches."
                    color: Theme.dim
                    font.pixelSize: 13
                    topPadding: 4
                }
                // The library's own state: loading, why it could not load, and a way to read it again.
                Row {
                    x: Theme.gap
                    width: list.width - 2 * Theme.gap
                    spacing: 8
                    topPadding: 4
                    visible: session.library.refreshingLibrary || session.library.libraryNote !== "" || (!session.demo && !session.guest && session.phase === 1)
                    Text {
                        objectName: "libraryState"
                        width: parent.width - refreshLibrary.width - parent.spacing
                        anchors.verticalCenter: parent.verticalCenter
                        text: session.library.refreshingLibrary ? "Loading your favorites…" : session.library.libraryNote
                        color: session.library.libraryNote !== "" && !session.library.refreshingLibrary ? Theme.danger : Theme.faint
                        font.pixelSize: 12
                        wrapMode: Text.WordWrap
                    }
                    Pill {
                        id: refreshLibrary
                        objectName: "refreshLibrary"
                        text: "Refresh"
                        enabled: !session.library.refreshingLibrary
                        onClicked: controller.refreshLibrary()
                    }
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

    Component {
        id: suggestPart
        Item {
            Column {
                id: ask
                x: Theme.gap
                width: parent.width - 2 * Theme.gap
                spacing: 8
                Rectangle {
                    width: parent.width
                    height: 34
                    radius: 17
                    color: "#14ffffff"
                    TextField {
                        id: mood
                        anchors { fill: parent; leftMargin: 10; rightMargin: 70 }
                        placeholderText: "A mood: calm piano for reading"
                        placeholderTextColor: Theme.faint
                        color: Theme.text
                        font.pixelSize: 13
                        background: null
                        onAccepted: root.pane.suggest(text)
                    }
                    Pill {
                        anchors.right: parent.right
                        anchors.rightMargin: 2
                        anchors.verticalCenter: parent.verticalCenter
                        text: root.pane.suggesting ? "…" : "Suggest"
                        enabled: !root.pane.suggesting
                        onClicked: root.pane.suggest(mood.text)
                    }
                }
                Text {
                    width: parent.width
                    visible: text !== ""
                    text: root.pane.suggestionDetail
                    color: Theme.dim
                    font.pixelSize: 12
                    wrapMode: Text.WordWrap
                }
            }
            Text {
                anchors.centerIn: parent
                width: parent.width - 2 * Theme.gap
                visible: root.pane.suggestions.length === 0 && !root.pane.suggesting && root.pane.suggestionDetail === ""
                text: "Describe what you would like to hear; suggestions come from your favorites."
                color: Theme.faint
                font.pixelSize: 13
                wrapMode: Text.WordWrap
                horizontalAlignment: Text.AlignHCenter
            }
            ListView {
                anchors { left: parent.left; right: parent.right; top: ask.bottom; bottom: parent.bottom; topMargin: 8 }
                clip: true
                model: root.pane.suggestions
                delegate: FavoriteRow {
                    required property var modelData
                    x: 8
                    width: ListView.view.width - 16
                    item: modelData
                    onPlay: controller.playFavorite(modelData.id)
                }
            }
        }
    }

    Component {
        id: applePart
        Item {
            Column {
                id: searchBox
                x: Theme.gap
                width: parent.width - 2 * Theme.gap
                spacing: 8
                Rectangle {
                    width: parent.width
                    height: 34
                    radius: 17
                    color: "#14ffffff"
                    TextField {
                        id: catalogQuery
                        anchors { fill: parent; leftMargin: 12; rightMargin: 8 }
                        placeholderText: "Songs, albums or an artist"
                        placeholderTextColor: Theme.faint
                        color: Theme.text
                        font.pixelSize: 13
                        background: null
                        onAccepted: root.pane.search(text)
                    }
                }
                Row {
                    spacing: 6
                    Pill {
                        text: "Play artist"
                        enabled: catalogQuery.text.trim() !== "" && !session.appleMusic.musicQueueBusy
                        onClicked: root.pane.queueArtist(catalogQuery.text, false)
                    }
                    Pill {
                        text: "Shuffle artist"
                        enabled: catalogQuery.text.trim() !== "" && !session.appleMusic.musicQueueBusy
                        onClicked: root.pane.queueArtist(catalogQuery.text, true)
                    }
                    Pill {
                        visible: session.appleMusic.musicQueueBusy
                        text: "Stop adding"
                        onClicked: root.pane.cancelQueue()
                    }
                }
                Text {
                    width: parent.width
                    visible: text !== ""
                    text: root.pane.searching ? "Searching…" : (session.appleMusic.artistQueueProgress !== "" ? session.appleMusic.artistQueueProgress : root.pane.searchNote)
                    color: Theme.dim
                    font.pixelSize: 12
                    wrapMode: Text.WordWrap
                }
            }
            Text {
                anchors.centerIn: parent
                width: parent.width - 2 * Theme.gap
                visible: root.pane.results.length === 0 && !root.pane.searching && root.pane.searchNote === "" && !session.appleMusic.musicQueueBusy
                text: "Search the Apple Music catalog, or fill the queue with an artist's songs."
                color: Theme.faint
                font.pixelSize: 13
                wrapMode: Text.WordWrap
                horizontalAlignment: Text.AlignHCenter
            }
            ListView {
                anchors { left: parent.left; right: parent.right; top: searchBox.bottom; bottom: parent.bottom; topMargin: 8 }
                clip: true
                model: root.pane.results
                delegate: Rectangle {
                    required property var modelData
                    required property int index
                    x: 8
                    width: ListView.view.width - 16
                    height: 48
                    radius: 10
                    color: resultArea.containsMouse ? Theme.raised : "transparent"
                    Column {
                        anchors { left: parent.left; right: actions.left; leftMargin: 10; rightMargin: 6; verticalCenter: parent.verticalCenter }
                        Text { width: parent.width; text: modelData.title; color: Theme.text; font.pixelSize: 13; elide: Text.ElideRight }
                        Text { width: parent.width; text: modelData.kind + " · " + modelData.subtitle; color: Theme.faint; font.pixelSize: 11; elide: Text.ElideRight }
                    }
                    MouseArea {
                        id: resultArea
                        anchors.fill: parent
                        hoverEnabled: true
                        onClicked: root.pane.playResult(index, "play")
                    }
                    Row {
                        id: actions
                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        IconButton { icon: "shuffle"; size: 30; iconSize: 14; tip: "Shuffle"; onClicked: root.pane.playResult(index, "shuffle") }
                        IconButton { icon: "next"; size: 30; iconSize: 14; tip: "Play next"; onClicked: root.pane.playResult(index, "next") }
                    }
                }
            }
        }
    }
}
