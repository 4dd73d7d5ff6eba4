import QtQuick
import Ondrel.Ui

// Placeholder until the page is built.
Item {
    required property MineView wizard
    Text {
        anchors.centerIn: parent
        text: "ProcessingPage"
        color: Theme.textMuted
    }
}
