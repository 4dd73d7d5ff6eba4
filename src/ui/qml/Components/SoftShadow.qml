import QtQuick

// A soft drop shadow without shader effects (the software renderer draws none): a few rounded
// layers, each a little larger and fainter, under the item it is placed behind.
Item {
    id: root
    property color color: Qt.rgba(0, 0, 0, 0.2)
    property real radius: 0          // the casting item's corner radius
    property real blur: 8
    property real offsetY: 2
    readonly property int layers: 4

    Repeater {
        model: root.layers
        Rectangle {
            required property int index
            readonly property real spread: root.blur * (index + 1) / root.layers
            x: -spread / 2
            y: root.offsetY - spread / 2
            width: root.width + spread
            height: root.height + spread
            radius: root.radius + spread / 2
            color: root.color
            opacity: 1.6 / (root.layers * (index + 1.5))
        }
    }
}
