import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// A translucent card: a thin fill over the glass gradient, a fading white outline and a soft shadow.
Item {
    id: root
    property real radius: Theme.radiusMd
    property real padding: Theme.spacing16
    property alias spacing: body.spacing
    default property alias content: body.data
    implicitWidth: body.implicitWidth + 2 * padding
    implicitHeight: body.implicitHeight + 2 * padding

    SoftShadow { anchors.fill: parent; radius: root.radius; color: Qt.rgba(0, 0, 0, 0.2); blur: 10; offsetY: 2 }
    RoundedShape {
        anchors.fill: parent
        radius: root.radius
        fillColor: Theme.alpha(Theme.muted, 0.7)
    }
    RoundedShape {
        anchors.fill: parent
        radius: root.radius
        fillColors: Theme.glassGradient
        fillDirection: "vertical"
        strokeWidth: 1
        strokeColors: [Qt.rgba(1, 1, 1, 0.15), Qt.rgba(1, 1, 1, 0.05)]
    }
    ColumnLayout {
        id: body
        anchors.fill: parent
        anchors.margins: root.padding
        spacing: Theme.spacing12
    }
}
