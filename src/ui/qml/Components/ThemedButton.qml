import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// What the three button styles share: a symbol or a leading item, semibold text at 14, a press
// that scales the label to 0.97 on a spring, and hover changes eased over 0.15 s. The styles set
// the colours and draw the background.
Button {
    id: control
    property string symbol: ""
    property Component leading: null   // drawn before the text in place of a symbol
    property bool busy: false          // a small spinning indicator before the text
    property color textColor: Theme.foreground
    property real hoverLevel: hovered && enabled ? 1 : 0
    Behavior on hoverLevel { NumberAnimation { duration: 150; easing.type: Easing.InOutQuad } }

    hoverEnabled: true
    padding: Theme.spacing12
    leftPadding: Theme.spacing16
    rightPadding: Theme.spacing16
    opacity: enabled ? 1 : 0.5
    font.family: Theme.fontFamily
    font.pixelSize: 14
    font.weight: Font.DemiBold

    contentItem: Item {
        implicitWidth: row.implicitWidth
        implicitHeight: row.implicitHeight
        RowLayout {
            id: row
            anchors.centerIn: parent
            spacing: Theme.spacing8
            scale: control.down ? 0.97 : 1.0
            Behavior on scale { SpringAnimation { spring: 5; damping: 0.45; epsilon: 0.001 } }

            Spinner {
                visible: control.busy
                color: control.textColor
                size: 15
            }
            SymbolIcon {
                visible: control.symbol !== "" && !control.busy
                symbol: control.symbol
                size: 15
                color: control.textColor
            }
            Loader {
                visible: control.leading !== null && !control.busy
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
}
