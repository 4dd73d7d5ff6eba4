import QtQuick
import Ondrel.Ui

// Placeholder until the page is built.
Item {
    required property MineView wizard
    Text {
        anchors.centerIn: parent
        text: "StylePage"
        color: Theme.textMuted
    }
}
