import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// One export as a tile: its symbol in the accent colour, its name and a caption, outlined to say
// whether there is something to show.
AbstractButton {
    id: control
    property string iconSymbol
    property string title
    property string caption
    property bool captionMono: false
    property color outline: Theme.alpha(Theme.border, 0.3)
    hoverEnabled: true
    padding: Theme.spacing12

    contentItem: ColumnLayout {
        spacing: Theme.spacing4
        scale: control.down ? 0.97 : 1.0
        Behavior on scale { SpringAnimation { spring: 5; damping: 0.45; epsilon: 0.001 } }
        SymbolIcon {
            Layout.alignment: Qt.AlignHCenter
            symbol: control.iconSymbol
            size: 20
            color: Theme.accent
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: control.title
            color: Theme.foreground
            font: Theme.font("subheadline", 13, "semibold")
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: control.availableWidth
            elide: Text.ElideMiddle
            text: control.caption
            color: Theme.textMuted
            font: control.captionMono ? Theme.font("mono", 10) : Theme.font("caption2")
        }
    }

    background: Rectangle {
        radius: Theme.radiusSm
        color: control.hovered ? Theme.alpha(Theme.border, 0.45) : Theme.alpha(Theme.muted, 0.6)
        border.width: 1
        border.color: control.outline
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }
}
