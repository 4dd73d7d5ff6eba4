import QtQuick

// The large pickaxe swinging between 0 and -20 degrees around its bottom trailing corner.
PixelPickaxeView {
    id: root
    size: 32
    property real rotationAngle: 0
    transform: Rotation { origin.x: root.width; origin.y: root.height; angle: root.rotationAngle }

    SequentialAnimation on rotationAngle {
        loops: Animation.Infinite
        running: true
        NumberAnimation { from: 0; to: -20; duration: 800; easing.type: Easing.InOutQuad }
        NumberAnimation { from: -20; to: 0; duration: 800; easing.type: Easing.InOutQuad }
    }
}
