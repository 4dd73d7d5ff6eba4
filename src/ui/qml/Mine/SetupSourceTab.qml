import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// One kind of source to mine from; the chosen one is lit in the accent colour.
AbstractButton {
    id: control
    property string label
    property string iconSymbol
    property bool selected: false
    hoverEnabled: true
    padding: Theme.spacing8

    background: RoundedShape {
        radius: Theme.radiusSm
        fillColors: control.selected ? [Theme.alpha(Theme.accent, 0.15), Theme.alpha(Theme.accent, 0.05)] : []
        fillColor: Theme.muted
        strokeWidth: 1
        strokeColor: control.selected ? Theme.accent : Theme.alpha(Theme.border, control.hovered ? 0.9 : 0.3)
    }

    contentItem: RowLayout {
        spacing: Theme.spacing6
        Item { Layout.fillWidth: true }
        SymbolIcon {
            symbol: control.iconSymbol
            size: 14
            color: control.selected ? Theme.accent : Theme.textMuted
        }
        Text {
            text: control.label
            color: control.selected ? Theme.foreground : Theme.textMuted
            font: Theme.font("subheadline", 12, control.selected ? "semibold" : "regular")
            elide: Text.ElideRight
        }
        Item { Layout.fillWidth: true }
    }
}
