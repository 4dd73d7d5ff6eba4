import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// The Mine tab until the wizard takes its place.
Item {
    ColumnLayout {
        anchors.centerIn: parent
        spacing: Theme.spacing12
        PixelPickaxeAnimated { Layout.alignment: Qt.AlignHCenter }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "Mine"
            color: Theme.foreground
            font: Theme.font("title2")
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "The story wizard opens here."
            color: Theme.textMuted
            font: Theme.font("body")
        }
    }
}
