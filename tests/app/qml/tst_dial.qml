import QtQuick
import QtTest
import "../../../src/app/qml" as Views

// The volume dial's gestures with a real mouse: click, hold and drag.
Item {
    width: 300
    height: 300

    Views.VolumeDial {
        id: dial
        width: 176
        height: 176
        volume: 40
    }
    SignalSpy { id: clicks; target: dial; signalName: "clicked" }
    SignalSpy { id: holds; target: dial; signalName: "held" }
    SignalSpy { id: begins; target: dial; signalName: "began" }
    SignalSpy { id: moves; target: dial; signalName: "moved" }
    SignalSpy { id: commits; target: dial; signalName: "committed" }

    TestCase {
        name: "VolumeDial"
        when: windowShown

        function clear() {
            for (const spy of [clicks, holds, begins, moves, commits])
                spy.clear()
        }

        function test_clickHoldAndDrag() {
            clear()
            mouseClick(dial, 88, 88) // toggles conversation
            compare([clicks.count, holds.count, commits.count], [1, 0, 0])

            clear()
            mousePress(dial, 88, 88) // mutes, once
            holds.wait(2000)
            mouseRelease(dial, 88, 88)
            compare([holds.count, clicks.count], [1, 0]) // the release after a hold is not a click

            clear()
            mousePress(dial, 20, 88)
            mouseMove(dial, 30, 50)
            mouseMove(dial, 88, 10)
            compare(begins.count, 1)
            compare(moves.signalArguments[moves.count - 1][0], 50) // straight above the centre is half way
            compare(commits.count, 0) // nothing is sent while the finger is down
            mouseRelease(dial, 88, 10)
            compare([commits.count, clicks.count, holds.count], [1, 0, 0])

            // A fixed volume does not turn, and a turn that did nothing is not a click either.
            clear()
            dial.fixed = true
            mousePress(dial, 20, 88)
            mouseMove(dial, 88, 10)
            mouseRelease(dial, 88, 10)
            dial.fixed = false
            compare([begins.count, commits.count, clicks.count], [0, 0, 0])
        }
    }
}
