import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// A saved project under "RECENT MINES": its timeline and what it holds; a press reopens it.
AbstractButton {
    id: control
    property string timeline
    property string clipsText      // "✓ {n} clips" when the project has results, else ""
    property string detailText
    hoverEnabled: true
    padding: Theme.spacing12
    topPadding: Theme.spacing8
    bottomPadding: Theme.spacing8

    background: Rectangle {
        radius: Theme.radiusSm
        color: Theme.alpha(Theme.muted, control.hovered ? 0.6 : 0.3)
        border.width: 1
        border.color: Theme.border
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }

    contentItem: RowLayout {
        spacing: Theme.spacing12
        PixelGemView { color: Theme.accent; size: 16 }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: Theme.spacing2
            Text {
                Layout.fillWidth: true
                text: control.timeline
                color: Theme.foreground
                font: Theme.font("body", 13, "medium")
                elide: Text.ElideRight
                maximumLineCount: 1
            }
            Row {
                Layout.fillWidth: true
                spacing: Theme.spacing4
                Text {
                    visible: control.clipsText !== ""
                    text: control.clipsText
                    color: Theme.green
                    font: Theme.font("caption")
                }
                Text {
                    text: control.detailText
                    color: Theme.textMuted
                    font: Theme.font("caption")
                }
            }
        }
        SymbolIcon {
            symbol: "arrow.right.circle"
            size: 16
            color: Theme.accent
            opacity: 0.6
        }
    }
}
