import QtQuick
import Ondrel.Ui

// The large pickaxe: a head in the accent colour across the top right, a grey neck and a brown
// handle running down to the lower left.
PixelGrid {
    id: root
    property real size: 32
    width: size
    implicitWidth: size
    height: size
    implicitHeight: size
    columns: 12
    cells: {
        const head = [[8, 0], [9, 0], [10, 0], [7, 1], [8, 1], [9, 1], [10, 1], [11, 1], [6, 2], [7, 2],
                      [10, 2], [11, 2], [5, 3], [11, 3], [11, 4]]
        const neck = [[8, 2], [9, 2], [8, 3], [9, 3]]
        const handle = [[7, 4], [6, 5], [5, 6], [4, 7], [3, 8], [2, 9], [1, 10], [0, 11], [7, 5], [6, 6],
                        [5, 7], [4, 8], [3, 9], [2, 10], [1, 11]]
        return head.map(c => [c[0], c[1], Theme.accent, 1])
            .concat(neck.map(c => [c[0], c[1], Theme.grey, 1]))
            .concat(handle.map(c => [c[0], c[1], Theme.pickaxeBrown, 1]))
    }
}
