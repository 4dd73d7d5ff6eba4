import QtQuick
import Ondrel.Ui

// A button drawn in one tint: its text and symbol in `tint`, on a flat fill with an optional
// outline, lit a little on hover.
ThemedButton {
    id: control
    property color tint: Theme.foreground
    property color fill: "transparent"
    property color outline: "transparent"
    textColor: tint

    background: Rectangle {
        implicitHeight: 40
        radius: Theme.radiusSm
        color: control.fill
        border.width: control.outline.a > 0 ? 1 : 0
        border.color: control.outline
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            color: Qt.rgba(1, 1, 1, 0.05)
            opacity: control.hoverLevel
        }
    }
}
