import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// One row of the sidebar: the whole row is the button.
Item {
    id: root
    property string symbol
    property string label
    property bool isSelected: false
    signal clicked()
    readonly property bool isHovered: hover.hovered
    readonly property color tint: isSelected ? Theme.foreground : isHovered ? Theme.textSecondary : Theme.textMuted

    implicitHeight: 34

    HoverHandler { id: hover }
    TapHandler { onTapped: root.clicked() }

    Rectangle {
        anchors.fill: parent
        radius: Theme.radiusSm
        color: Qt.rgba(1, 1, 1, 0.05)
        opacity: root.isHovered && !root.isSelected ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }
    RoundedShape {
        anchors.fill: parent
        radius: Theme.radiusSm
        fillColor: Theme.alpha(Theme.accent, 0.15)
        strokeWidth: 1
        strokeColors: [Theme.alpha(Theme.accent, 0.4), Theme.alpha(Theme.accent, 0.2)]
        opacity: root.isSelected ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.spacing12
        anchors.rightMargin: Theme.spacing12
        spacing: Theme.spacing8
        SymbolIcon {
            Layout.preferredWidth: 20
            symbol: root.symbol
            size: 15
            bold: root.isSelected
            color: root.tint
            Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
        }
        Text {
            Layout.fillWidth: true
            text: root.label
            color: root.tint
            font: Theme.font("body", 13, root.isSelected ? "semibold" : "regular")
            Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
        }
    }
}
