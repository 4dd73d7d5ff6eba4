import QtQuick
import Ondrel.Ui

// A quieter action: the border colour fading down, lit a little on hover.
ThemedButton {
    id: control
    textColor: Theme.foreground

    background: Item {
        implicitHeight: 40
        RoundedShape {
            anchors.fill: parent
            radius: Theme.radiusSm
            fillColors: [Theme.border, Theme.alpha(Theme.border, 0.3)]
            fillDirection: "vertical"
        }
        Rectangle {
            anchors.fill: parent
            radius: Theme.radiusSm
            color: Qt.rgba(1, 1, 1, 0.05)
            opacity: control.hoverLevel
        }
    }
}
