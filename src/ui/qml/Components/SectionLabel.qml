import QtQuick
import Ondrel.Ui

// A small label in capitals with wide letter spacing, heading a group of controls.
Text {
    font.family: Theme.fontFamily
    font.pixelSize: 11
    font.weight: Font.DemiBold
    font.capitalization: Font.AllUppercase
    font.letterSpacing: 1.2
    color: Theme.textMuted
}
