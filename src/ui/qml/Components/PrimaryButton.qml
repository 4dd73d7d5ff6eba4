import QtQuick
import Ondrel.Ui

// The main action: white text on the accent colour with a sheen and a coloured shadow that grows
// on hover.
ThemedButton {
    id: control
    property color fill: hovered ? Theme.accentHover : Theme.accent
    textColor: "white"

    background: Item {
        implicitHeight: 40
        SoftShadow {
            anchors.fill: parent
            radius: Theme.radiusSm
            color: Theme.alpha(control.fill, 0.3 + 0.1 * control.hoverLevel)
            blur: 8 + 4 * control.hoverLevel
            offsetY: 2 + 2 * control.hoverLevel
            visible: control.enabled
        }
        Rectangle {
            anchors.fill: parent
            radius: Theme.radiusSm
            color: control.fill
            Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
        }
        RoundedShape {
            anchors.fill: parent
            radius: Theme.radiusSm
            fillColors: [Qt.rgba(1, 1, 1, 0.2), "transparent"]
            fillDirection: "vertical"
        }
    }
}
