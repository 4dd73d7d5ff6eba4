import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// A page's main action in a colour of its own: white text on the fill under a white sheen, with a
// shadow of the fill colour. Disabled, the fill turns a faint grey and casts no shadow. The symbol
// may follow the text ("Choose Style →").
ThemedButton {
    id: control
    property color fill: Theme.accent
    property real radius: Theme.radiusMd
    property bool symbolAtEnd: false
    textColor: "white"
    opacity: 1

    contentItem: Item {
        implicitWidth: row.implicitWidth
        implicitHeight: row.implicitHeight
        RowLayout {
            id: row
            anchors.centerIn: parent
            spacing: Theme.spacing8
            layoutDirection: control.symbolAtEnd ? Qt.RightToLeft : Qt.LeftToRight
            scale: control.down ? 0.97 : 1.0
            Behavior on scale { SpringAnimation { spring: 5; damping: 0.45; epsilon: 0.001 } }

            SymbolIcon {
                visible: control.symbol !== ""
                symbol: control.symbol
                size: 15
                color: control.textColor
            }
            Loader {
                visible: control.leading !== null
                active: control.leading !== null
                sourceComponent: control.leading
            }
            Text {
                text: control.text
                font: control.font
                color: control.textColor
                visible: text !== ""
            }
        }
    }

    background: Item {
        implicitHeight: 40
        SoftShadow {
            anchors.fill: parent
            radius: control.radius
            color: Theme.alpha(control.fill, 0.4)
            blur: 8 + 4 * control.hoverLevel
            offsetY: 2 + 2 * control.hoverLevel
            visible: control.enabled
        }
        Rectangle {
            anchors.fill: parent
            radius: control.radius
            color: control.enabled ? control.fill : Theme.alpha(Theme.textMuted, 0.3)
            Behavior on color { ColorAnimation { duration: 250; easing.type: Easing.InOutQuad } }
        }
        RoundedShape {
            anchors.fill: parent
            radius: control.radius
            fillColors: [Qt.rgba(1, 1, 1, 0.2), "transparent"]
            fillDirection: "vertical"
        }
        Rectangle {
            anchors.fill: parent
            radius: control.radius
            color: Qt.rgba(1, 1, 1, 0.08)
            opacity: control.hoverLevel
        }
    }
}
