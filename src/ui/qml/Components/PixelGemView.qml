import QtQuick
import Ondrel.Ui

// The gem: six columns by five rows, fainter at its top and its point.
PixelGrid {
    id: root
    property color color: Theme.accent
    property real size: 24
    width: size
    implicitWidth: size
    height: size * 0.83
    implicitHeight: size * 0.83
    columns: 6
    cells: {
        const rows = [[[2, 3], 0.8], [[1, 2, 3, 4], 1.0], [[0, 1, 2, 3, 4, 5], 1.0], [[1, 2, 3, 4], 0.8], [[2, 3], 0.6]]
        const out = []
        rows.forEach((r, row) => r[0].forEach(col => out.push([col, row, root.color, r[1]])))
        return out
    }
}
