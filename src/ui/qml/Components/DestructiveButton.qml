import QtQuick
import Ondrel.Ui

// An action that removes something: red text and outline, filled red on hover.
ThemedButton {
    id: control
    textColor: hovered ? "white" : Theme.error

    background: Rectangle {
        implicitHeight: 40
        radius: Theme.radiusSm
        color: Theme.alpha(Theme.error, control.hoverLevel)
        border.width: 1
        border.color: Theme.alpha(Theme.error, 0.4)
    }
}
