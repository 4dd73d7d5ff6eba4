import QtQuick
import QtQuick.Shapes

// A rounded rectangle filled with one colour or a two-colour gradient, with an optional outline
// that may itself be a gradient (drawn as a ring, since a stroke cannot take a gradient).
// Directions: "diagonal" (top leading to bottom trailing), "vertical", "horizontal".
Item {
    id: root
    property real radius: 0
    property color fillColor: "transparent"
    property var fillColors: []          // two colours, or empty for fillColor
    property string fillDirection: "diagonal"
    property color strokeColor: "transparent"
    property var strokeColors: []
    property string strokeDirection: "diagonal"
    property real strokeWidth: 0
    readonly property color gradientStandIn: "black"

    function roundedPath(x, y, w, h, r) {
        r = Math.max(0, Math.min(r, w / 2, h / 2))
        return "M " + (x + r) + " " + y
             + " L " + (x + w - r) + " " + y
             + " A " + r + " " + r + " 0 0 1 " + (x + w) + " " + (y + r)
             + " L " + (x + w) + " " + (y + h - r)
             + " A " + r + " " + r + " 0 0 1 " + (x + w - r) + " " + (y + h)
             + " L " + (x + r) + " " + (y + h)
             + " A " + r + " " + r + " 0 0 1 " + x + " " + (y + h - r)
             + " L " + x + " " + (y + r)
             + " A " + r + " " + r + " 0 0 1 " + (x + r) + " " + y + " Z"
    }

    Shape {
        anchors.fill: parent
        antialiasing: true

        // Qt 6.4's OpenGL scene graph leaves out a path whose fillColor is fully transparent even
        // when a gradient is set (the software renderer draws it). A gradient takes the colour's
        // place entirely, so an opaque stand-in colour lets it show and changes nothing else.
        ShapePath {
            strokeWidth: -1
            fillColor: root.fillColors.length === 2 ? root.gradientStandIn : root.fillColor
            fillGradient: root.fillColors.length === 2 ? fillGradient : null
            PathSvg { path: root.roundedPath(0, 0, root.width, root.height, root.radius) }
        }
        ShapePath {
            strokeWidth: -1
            fillRule: ShapePath.OddEvenFill
            fillColor: root.strokeWidth <= 0 ? "transparent"
                     : root.strokeColors.length === 2 ? root.gradientStandIn : root.strokeColor
            fillGradient: root.strokeWidth > 0 && root.strokeColors.length === 2 ? strokeGradient : null
            PathSvg {
                path: root.strokeWidth <= 0 ? "" :
                      root.roundedPath(0, 0, root.width, root.height, root.radius) + " "
                      + root.roundedPath(root.strokeWidth, root.strokeWidth, root.width - 2 * root.strokeWidth,
                                         root.height - 2 * root.strokeWidth, root.radius - root.strokeWidth)
            }
        }
    }

    LinearGradient {
        id: fillGradient
        x1: 0; y1: 0
        x2: root.fillDirection === "vertical" ? 0 : root.width
        y2: root.fillDirection === "horizontal" ? 0 : root.height
        GradientStop { position: 0; color: root.fillColors.length === 2 ? root.fillColors[0] : "transparent" }
        GradientStop { position: 1; color: root.fillColors.length === 2 ? root.fillColors[1] : "transparent" }
    }
    LinearGradient {
        id: strokeGradient
        x1: 0; y1: 0
        x2: root.strokeDirection === "vertical" ? 0 : root.width
        y2: root.strokeDirection === "horizontal" ? 0 : root.height
        GradientStop { position: 0; color: root.strokeColors.length === 2 ? root.strokeColors[0] : "transparent" }
        GradientStop { position: 1; color: root.strokeColors.length === 2 ? root.strokeColors[1] : "transparent" }
    }
}
