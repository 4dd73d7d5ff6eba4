import QtQuick
import Ondrel.Ui

// A symbol by the screens' name ("person.circle"), drawn from the icon font.
Text {
    property string symbol
    property real size: 14
    property bool bold: false
    text: Icons.glyph(symbol)
    font.family: Icons.family
    font.pixelSize: size
    font.bold: bold
    color: Theme.foreground
    verticalAlignment: Text.AlignVCenter
    horizontalAlignment: Text.AlignHCenter
}
