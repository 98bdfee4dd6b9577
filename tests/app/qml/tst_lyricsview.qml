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
                [3, "Lyrics not available for this song."],
                [4, "This song is instrumental."],
                [5, "Lyrics could not be loaded. They will be tried again with the next song."],
                [6, "The lyrics service is busy. Try again in a minute."],
            ]
            for (const [state, text] of expected) {
                notes.lyricsState = state
                compare(said(), text, "state " + state)
            }
            controller.notes = null
            compare(said(), "Lyrics are not part of this build.")
            controller.notes = notes
        }
    }
}
