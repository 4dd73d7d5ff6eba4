import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// The everyday card: the card colour with a faint sheen, outlined in the border colour.
Item {
    id: root
    property real radius: Theme.radiusMd
    property real padding: Theme.spacing16
    property alias spacing: body.spacing
    default property alias content: body.data
    implicitWidth: body.implicitWidth + 2 * padding
    implicitHeight: body.implicitHeight + 2 * padding

    RoundedShape {
        anchors.fill: parent
        radius: root.radius
        fillColor: Theme.cardBg
    }
    RoundedShape {
        anchors.fill: parent
        radius: root.radius
        fillColors: Theme.subtleGradient
        strokeWidth: 1
        strokeColor: Theme.alpha(Theme.border, 0.4)
    }
    ColumnLayout {
        id: body
        anchors.fill: parent
        anchors.margins: root.padding
        spacing: Theme.spacing12
    }
}
