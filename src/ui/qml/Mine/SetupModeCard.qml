import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// One mining mode to choose: its gem in the mode's colour, its name and what it runs. The chosen
// card glows in that colour; the others stay muted.
AbstractButton {
    id: control
    property string label
    property string subtitle
    property color modeColor: Theme.accent
    property bool selected: false
    hoverEnabled: true
    padding: Theme.spacing12

    background: Item {
        RoundedShape {
            anchors.fill: parent
            radius: Theme.radiusSm
            visible: control.selected
            fillColors: [Theme.alpha(control.modeColor, 0.15), Theme.alpha(control.modeColor, 0.05)]
            strokeWidth: 1
            strokeColor: control.modeColor
        }
        RoundedShape {
            anchors.fill: parent
            radius: Theme.radiusSm
            visible: !control.selected
            fillColor: Theme.muted
            strokeWidth: 1
            strokeColor: Theme.alpha(Theme.border, control.hovered ? 0.9 : 0.3)
        }
    }

    contentItem: RowLayout {
        spacing: Theme.spacing12
        PixelGemView {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: Theme.spacing2
            color: control.modeColor
            size: 18
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignTop
            spacing: Theme.spacing2
            Text {
                Layout.fillWidth: true
                text: control.label
                color: control.selected ? Theme.foreground : Theme.textMuted
                font: Theme.font("headline", 14)
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                text: control.subtitle
                color: Theme.textMuted
                opacity: 0.7
                font: Theme.font("caption")
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
            }
        }
    }
}
