import QtQuick
import Ondrel.Ui

// The large pickaxe with a burst of twelve gem sparks behind it, flying out to a radius of 55 on
// a spring once `burst` turns true.
Item {
    id: root
    property bool burst: false
    implicitWidth: 160
    implicitHeight: 150

    property real radius: burst ? 55 : 0
    Behavior on radius { SpringAnimation { spring: 2.5; damping: 0.28; epsilon: 0.05 } }

    Repeater {
        model: [Theme.accent, Theme.blue, Theme.green, Theme.yellow, Theme.purple, Theme.pink,
                Theme.cyan, Theme.orange, Theme.accent, Theme.blue, Theme.green, Theme.yellow]
        Item {
            id: spark
            required property int index
            required property color modelData
            readonly property real angle: index * 30 * Math.PI / 180
            width: 18
            height: 18
            x: root.width / 2 + root.radius * Math.cos(angle) - width / 2
            y: root.height / 2 + root.radius * Math.sin(angle) - height / 2

            // A soft disc: rings growing fainter outwards stand in for a blur of radius 4.
            Repeater {
                model: 4
                Rectangle {
                    required property int index
                    anchors.centerIn: parent
                    width: 8 + index * 3
                    height: width
                    radius: width / 2
                    color: spark.modelData
                    opacity: [0.12, 0.08, 0.06, 0.04][index]
                }
            }
            PixelGemView {
                anchors.centerIn: parent
                size: 9
                color: spark.modelData
                opacity: 0.6
            }
        }
    }

    // The pickaxe's accent shadow: its own silhouette in wider, fainter layers.
    Repeater {
        model: 3
        PixelGrid {
            required property int index
            anchors.centerIn: pickaxe
            anchors.verticalCenterOffset: 2
            width: pickaxe.width
            height: pickaxe.height
            scale: pickaxe.scale * (1.04 + 0.05 * index)
            opacity: [0.12, 0.08, 0.05][index]
            columns: 12
            cells: pickaxe.cells.map(c => [c[0], c[1], Theme.accent, 1])
        }
    }
    PixelPickaxeView {
        id: pickaxe
        anchors.centerIn: parent
        size: 40
        scale: 1.1
    }
}
