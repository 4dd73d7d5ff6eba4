import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// A style preset: its symbol over its name, its tag line as the tooltip. The chosen one is lit in
// the accent colour; a hovered one gets the muted fill.
AbstractButton {
    id: control
    property string name
    property string description
    property string presetIcon
    property bool isSelected: false
    readonly property bool isHovered: hovered
    hoverEnabled: true
    padding: Theme.spacing8
    topPadding: Theme.spacing12
    bottomPadding: Theme.spacing12

    ThemedToolTip {
        text: control.description
        visible: control.hovered && control.description !== ""
    }

    background: Rectangle {
        radius: 6
        color: control.isSelected ? Theme.alpha(Theme.accent, 0.1)
             : control.isHovered ? Theme.muted : "transparent"
        border.width: control.isSelected ? 1 : 0.5
        border.color: control.isSelected ? Theme.alpha(Theme.accent, 0.4) : Theme.border
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }

    contentItem: ColumnLayout {
        spacing: Theme.spacing6
        SymbolIcon {
            Layout.alignment: Qt.AlignHCenter
            symbol: control.presetIcon
            size: 14
            color: control.isSelected ? Theme.accent : Theme.textMuted
        }
        Text {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: control.name
            color: control.isSelected ? Theme.foreground : Theme.textMuted
            font: Theme.font("caption2", 9, control.isSelected ? "semibold" : "medium")
            elide: Text.ElideRight
        }
    }
}
