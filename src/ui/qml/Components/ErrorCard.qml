import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// A failure in words: red warning symbol and text on a faint red card.
Rectangle {
    id: root
    property string message
    property real fillOpacity: 0.08
    implicitHeight: row.implicitHeight + 2 * Theme.spacing12
    radius: Theme.radiusSm
    color: Theme.alpha(Theme.red, fillOpacity)
    border.width: 1
    border.color: Theme.alpha(Theme.red, 0.2)

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: Theme.spacing12
        spacing: Theme.spacing8
        SymbolIcon {
            Layout.alignment: Qt.AlignTop
            symbol: "exclamationmark.triangle.fill"
            size: 14
            color: Theme.red
        }
        Text {
            Layout.fillWidth: true
            text: root.message
            color: Theme.foreground
            wrapMode: Text.Wrap
            font: Theme.font("subheadline")
        }
    }
}
