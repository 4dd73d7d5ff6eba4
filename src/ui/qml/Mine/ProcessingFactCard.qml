import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// The rotating fact on a thin glass card; each new fact fades in over half a second.
Item {
    id: root
    property string fact
    property string shown: fact
    implicitHeight: row.implicitHeight + 2 * Theme.spacing12

    onFactChanged: swap.restart()
    SequentialAnimation {
        id: swap
        NumberAnimation { target: factText; property: "opacity"; to: 0; duration: 250; easing.type: Easing.InOutQuad }
        ScriptAction { script: root.shown = root.fact }
        NumberAnimation { target: factText; property: "opacity"; to: 1; duration: 250; easing.type: Easing.InOutQuad }
    }

    RoundedShape {
        anchors.fill: parent
        radius: 12
        fillColor: Theme.alpha(Theme.muted, 0.6)
    }
    RoundedShape {
        anchors.fill: parent
        radius: 12
        fillColors: Theme.glassGradient
        fillDirection: "vertical"
        strokeWidth: 1
        strokeColor: Theme.alpha(Theme.border, 0.3)
    }
    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: Theme.spacing12
        anchors.leftMargin: Theme.spacing16
        anchors.rightMargin: Theme.spacing16
        spacing: Theme.spacing8
        SymbolIcon { symbol: "lightbulb.fill"; size: 14; color: Theme.yellow }
        Text {
            id: factText
            objectName: "funFact"
            Layout.fillWidth: true
            text: root.shown
            color: Theme.textMuted
            wrapMode: Text.Wrap
            font: Theme.font("subheadline", 12)
        }
    }
}
