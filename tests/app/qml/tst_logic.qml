import QtQuick
import QtTest
import "../../../src/app/qml/logic.js" as Logic

TestCase {
    name: "ViewLogic"

    function test_groupingKeepsOneRoom() {
        var r = Logic.toggleRoom(["living", "bedroom"], "bedroom")
        compare(r.selected, ["living"])
        verify(!r.refused)
        // The last ticked room stays ticked, with the sentence.
        r = Logic.toggleRoom(["living"], "living")
        compare(r.selected, ["living"])
        verify(r.refused)
        compare(Logic.lastRoomText, "At least one room must remain selected.")
        r = Logic.toggleRoom(["living"], "kitchen")
        compare(r.selected, ["living", "kitchen"])
        verify(Logic.sameRooms(["a", "b"], ["b", "a"]))
        verify(!Logic.sameRooms(["a"], ["a", "b"]))
        verify(!Logic.sameRooms(["a", "c"], ["a", "b"]))
    }

    function test_dialGestures_data() {
        return [
            { tag: "short press", moved: 0, held: 120, gesture: "click" },
            { tag: "small wobble", moved: 4, held: 200, gesture: "click" },
            { tag: "held still", moved: 2, held: 800, gesture: "hold" },
            { tag: "held exactly", moved: 0, held: Logic.holdMillis, gesture: "hold" },
            { tag: "quick drag", moved: 30, held: 100, gesture: "drag" },
            // Moving wins over time: a slow turn is still a turn.
            { tag: "slow drag", moved: 30, held: 2000, gesture: "drag" }
        ]
    }
    function test_dialGestures(data) {
        compare(Logic.dialGesture(data.moved, data.held), data.gesture)
    }

    function test_dialAngles() {
        // [x, y, previous, volume]: straight up is the middle of the arc, left and right a third
        // and two thirds, bottom left and right its ends, the gap at the bottom the nearer end,
        // and the centre itself keeps the previous value.
        for (const [x, y, previous, volume] of [[0, -50, 0, 50], [-50, 0, 0, 17], [50, 0, 0, 83], [-50, 50, 40, 0], [50, 50, 40, 100],
                                                [-5, 50, 40, 0], [5, 50, 40, 100], [0, 0, 37, 37]])
            compare(Logic.angleToVolume(x, y, previous), volume, [x, y].join())
        for (const [volume, angle] of [[0, 135], [100, 405], [140, 405]])
            compare(Logic.volumeToAngle(volume), angle)
    }

    function test_seekMapping() {
        for (const [x, width, fraction] of [[150, 300, 0.5], [-20, 300, 0], [900, 300, 1], [10, 0, 0]])
            compare(Logic.seekFraction(x, width), fraction)
        compare(Logic.fractionOf(48000, 205000), 48000 / 205000)
        compare(Logic.fractionOf(5000, 0), 0) // a radio stream has no length
        compare(Logic.fractionOf(300000, 205000), 1)
        for (const [millis, text] of [[48000, "0:48"], [187999, "3:07"], [3725000, "1:02:05"], [-400, "0:00"]])
            compare(Logic.clockText(millis), text)
        compare(Logic.remainingText(48000, 205000), "-2:37")
        compare(Logic.remainingText(300000, 205000), "-0:00")
    }

    function test_currentLyricLine() {
        var lines = [{ time: 0, text: "" }, { time: 1200, text: "one" }, { time: 5400, text: "two" }, { time: 9000, text: "three" }]
        for (const [position, line] of [[0, 0], [1199, 0], [1200, 1], [7000, 2], [600000, 3]])
            compare(Logic.currentLine(lines, position), line, position)
        compare(Logic.currentLine(lines.slice(1), 500), -1)
        compare(Logic.currentLine([], 500), -1)
        // Lyrics without times have no current line.
        compare(Logic.currentLine([{ time: -1, text: "a" }, { time: -1, text: "b" }], 5000), -1)
    }

    function test_favoriteSearch() {
        var favorites = [
            { id: "1", name: "Gymnopédies", detail: "Album", service: "Apple Music" },
            { id: "2", name: "Classic FM", detail: "Radio station", service: "TuneIn" },
            { id: "3", name: "Morning Piano", detail: "Playlist", service: "Spotify" }
        ]
        compare(Logic.filterFavorites(favorites, "", "").length, 3)
        compare(Logic.filterFavorites(favorites, "gymnopedies", "")[0].id, "1")
        compare(Logic.filterFavorites(favorites, "  RADIO ", "")[0].id, "2")
        compare(Logic.filterFavorites(favorites, "", "Spotify")[0].id, "3")
        compare(Logic.filterFavorites(favorites, "piano", "TuneIn").length, 0)
        compare(Logic.servicesOf(favorites), ["Apple Music", "Spotify", "TuneIn"])
    }
}
