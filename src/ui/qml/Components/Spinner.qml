import QtQuick
import QtQuick.Shapes
import Ondrel.Ui

// A small progress indicator: three quarters of a ring, turning.
Item {
    id: root
    property color color: Theme.foreground
    property real size: 16
    property bool running: visible
    implicitWidth: size
    implicitHeight: size

    Shape {
        anchors.fill: parent
        antialiasing: true
        RotationAnimator on rotation {
            from: 0; to: 360; duration: 900; loops: Animation.Infinite; running: root.running
        }
        ShapePath {
            strokeColor: root.color
            strokeWidth: Math.max(1.5, root.size / 8)
            fillColor: "transparent"
            capStyle: ShapePath.RoundCap
            PathAngleArc {
                centerX: root.size / 2; centerY: root.size / 2
                radiusX: root.size / 2 - 2; radiusY: root.size / 2 - 2
                startAngle: 0; sweepAngle: 270
            }
        }
    }
}
