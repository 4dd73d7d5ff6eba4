import QtQuick
import Ondrel.Ui

// The small pickaxe mark of the sidebar and the logo: twelve by twelve, in the accent colour.
PixelGrid {
    id: root
    property real size: 20
    width: size
    implicitWidth: size
    height: size
    implicitHeight: size
    columns: 12
    cells: [[0, 0], [1, 0], [2, 0], [0, 1], [1, 1], [1, 2], [2, 2], [3, 3], [4, 4], [5, 5], [6, 6], [7, 7],
            [8, 7], [7, 8]].map(c => [c[0], c[1], Theme.accent, 1])
}
