import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// A card filled with a gradient (two colours, top leading to bottom trailing).
Item {
    id: root
    property var gradient: Theme.accentGradient
    property real radius: Theme.radiusMd
    property real padding: Theme.spacing16
    property alias spacing: body.spacing
    default property alias content: body.data
    implicitWidth: body.implicitWidth + 2 * padding
    implicitHeight: body.implicitHeight + 2 * padding

    SoftShadow { anchors.fill: parent; radius: root.radius; color: Qt.rgba(0, 0, 0, 0.3); blur: 12; offsetY: 3 }
    RoundedShape {
        anchors.fill: parent
        radius: root.radius
        fillColors: root.gradient
        strokeWidth: 1
        strokeColor: Qt.rgba(1, 1, 1, 0.2)
    }
    ColumnLayout {
        id: body
        anchors.fill: parent
        anchors.margins: root.padding
        spacing: Theme.spacing12
    }
}
