import QtQuick
import QtQuick.Controls.Basic

// Sign-in, sign-out and local-network use, dropped over the views.
Rectangle {
    id: sheet
    height: column.height + 24
    radius: 18
    color: "#1d2029"
    border.color: Theme.line
    signal closed()

    Column {
        id: column
        x: 14; y: 12
        width: parent.width - 28
        spacing: 8
        Text {
            width: parent.width
            text: session.demo ? "This is the demo household. Start Velotte without --demo to reach your speakers."
                : session.guest ? "Local only: rooms on this network, without a Sonos account."
                : session.phase === 1 ? "Connected to your Sonos account." : "Not connected."
            color: Theme.dim
            font.pixelSize: 12
            wrapMode: Text.WordWrap
        }
        Item {
            width: parent.width
            height: loginSwitch.height * loginSwitch.scale
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: "Start at login"
                color: Theme.text
                font.pixelSize: 12
            }
            Switch {
                id: loginSwitch
                objectName: "startAtLogin"
                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                scale: 0.75
                checked: controller.startAtLogin
                // Back to what the autostart folder holds, also when writing failed.
                onToggled: { controller.startAtLogin = checked; checked = Qt.binding(() => controller.startAtLogin) }
                Accessible.name: "Start at login"
            }
        }
        // Where the sign-in button would be, in a build without credentials.
        Text {
            objectName: "signInUnavailable"
            width: parent.width
            visible: !controller.signInConfigured && !session.demo
            text: "Sonos sign-in is not configured in this build.\nPut a SonosSecrets.plist with your Sonos integration’s client id and secret in ~/.config/velotte/ (see “Sign in” in the README)."
            color: Theme.faint
            font.pixelSize: 11
            wrapMode: Text.WordWrap
        }
        Flow {
            width: parent.width
            spacing: 8
            Pill {
                visible: controller.canSignIn && (session.phase === 0 || session.guest)
                enabled: !session.signingIn
                text: session.signingIn ? "Connecting…" : "Connect to Sonos"
                onClicked: { controller.connectAccount(); sheet.closed() }
            }
            Pill {
                visible: controller.canSignIn && session.phase === 1 && !session.guest && !session.demo
                text: "Sign out"
                onClicked: { session.signOut(); sheet.closed() }
            }
            Pill {
                visible: !session.guest && !session.demo
                text: "Use local network"
                onClicked: { controller.useLocalNetwork(); sheet.closed() }
            }
            Pill {
                text: controller.showLyrics ? "Hide lyrics" : "Show lyrics"
                onClicked: controller.showLyrics = !controller.showLyrics
            }
            Pill {
                text: "Close panel"
                onClicked: { sheet.closed(); controller.hidePanel() }
            }
            Pill {
                text: "Quit Velotte"
                onClicked: controller.quit()
            }
        }
    }
}
