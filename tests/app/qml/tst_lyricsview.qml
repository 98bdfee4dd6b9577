import QtQuick
import QtTest
import "../../../src/app/qml" as Views

// What the lyrics view says in each state of the track notes.
Item {
    width: 340
    height: 500

    Views.LyricsView {
        id: view
        anchors.fill: parent
    }

    TestCase {
        name: "LyricsView"
        when: windowShown

        function said() {
            return findChild(view, "lyricsState").text
        }

        function test_eachStateSaysWhatItWaitsFor() {
            const notes = controller.notes
            controller.showLyrics = false
            compare(said(), "Lyrics are switched off.")
            controller.showLyrics = true
            const expected = [
                [0, "Play a song to see its lyrics."],
                [1, "Looking for lyrics…"],
                [2, "Lyrics not available for this song."],
                [3, "Lyrics not available for this song."],
                [4, "Lyrics not available for this song. It is instrumental."],
                [5, "Lyrics not available for this song. The lookup failed: no lyrics service answered."],
                [6, "Lyrics not available for this song. The lyrics service asked to wait; Velotte will look again."],
            ]
            for (const [state, text] of expected) {
                notes.lyricsState = state
                compare(said(), text, "state " + state)
            }
            // With lines the lines speak for themselves.
            controller.lyricLines = [{ time: 0, text: "Shake a little" }]
            notes.lyricsState = 2
            compare(said(), "")
            controller.lyricLines = []
            controller.notes = null
            compare(said(), "Lyrics are not part of this build.")
            controller.notes = notes
        }
    }
}
