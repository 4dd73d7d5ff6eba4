import QtQuick
import Ondrel.Ui

// A symbol tinted by a two-colour gradient from top to bottom. The software renderer has no
// shader to mask a gradient with a glyph, so the glyph is drawn in thin clipped bands, each in
// the colour of its height.
Item {
    id: root
    property string symbol
    property real size: 18
    property var colors: Theme.accentGradient
    readonly property int bands: Math.max(2, Math.round(height / 2))
    implicitWidth: metrics.implicitWidth
    implicitHeight: metrics.implicitHeight

    SymbolIcon {
        id: metrics
        visible: false
        symbol: root.symbol
        size: root.size
    }

    Repeater {
        model: root.bands
        Item {
            required property int index
            readonly property real t: (index + 0.5) / root.bands
            y: Math.floor(index * root.height / root.bands)
            width: root.width
            height: Math.floor((index + 1) * root.height / root.bands) - y
            clip: true
            SymbolIcon {
                y: -parent.y
                width: root.width
                height: root.height
                symbol: root.symbol
                size: root.size
                color: Qt.rgba(root.colors[0].r + (root.colors[1].r - root.colors[0].r) * parent.t,
                               root.colors[0].g + (root.colors[1].g - root.colors[0].g) * parent.t,
                               root.colors[0].b + (root.colors[1].b - root.colors[0].b) * parent.t, 1)
            }
        }
    }
}
