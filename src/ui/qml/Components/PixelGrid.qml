import QtQuick

// Filled squares on a grid: `cells` is a list of [column, row, colour, opacity]; the pixel unit is
// the width divided by the columns.
Item {
    id: root
    property int columns: 1
    property var cells: []
    readonly property real unit: width / columns

    Repeater {
        model: root.cells
        Rectangle {
            required property var modelData
            x: modelData[0] * root.unit
            y: modelData[1] * root.unit
            width: root.unit
            height: root.unit
            color: modelData[2]
            opacity: modelData[3] === undefined ? 1 : modelData[3]
            antialiasing: false
        }
    }
}
