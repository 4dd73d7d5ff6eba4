import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// One moment of buried gold: a tap opens it to show why it matters; "Select" marks it.
Item {
    id: card
    property int row: 0
    property string text
    property string reason
    property string rangeText
    property string durationText
    property int stars: 0
    property bool expanded: false
    property bool selected: false
    signal toggleExpanded()
    signal toggleSelected()

    readonly property real padding: Theme.spacing12
    implicitHeight: body.implicitHeight + 2 * padding
    Behavior on implicitHeight { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
    clip: true

    SoftShadow {
        visible: card.selected
        anchors.fill: parent
        radius: 10
        color: Theme.alpha(Theme.accent, 0.2)
        blur: 10
        offsetY: 2
    }
    RoundedShape {
        anchors.fill: parent
        radius: 10
        fillColor: card.expanded ? Theme.alpha(Theme.muted, 0.8) : Theme.alpha(Theme.muted, 0.5)
        visible: !card.selected
    }
    RoundedShape {
        anchors.fill: parent
        radius: 10
        fillColors: card.selected ? [Theme.alpha(Theme.accent, 0.15), Theme.alpha(Theme.accent, 0.05)]
                  : card.expanded ? [Qt.rgba(1, 1, 1, 0.15 * 0.8), Qt.rgba(1, 1, 1, 0.05 * 0.8)] : []
        fillDirection: card.selected ? "diagonal" : "vertical"
        strokeWidth: 1
        strokeColors: card.selected ? [Theme.alpha(Theme.accent, 0.7), Theme.alpha(Theme.accent, 0.3)]
                                    : [Theme.alpha(Theme.border, 0.4), Theme.alpha(Theme.border, 0.2)]
    }
    MouseArea {
        objectName: "goldCard" + card.row
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: card.toggleExpanded()
    }

    ColumnLayout {
        id: body
        x: card.padding
        y: card.padding
        width: card.width - 2 * card.padding
        spacing: Theme.spacing8

        Text {
            Layout.fillWidth: true
            text: card.text
            color: Theme.foreground
            wrapMode: Text.Wrap
            maximumLineCount: card.expanded ? 1000 : 3
            elide: Text.ElideRight
            font: Theme.font("body", 14)
            lineHeight: 1.15
        }
        Text {
            visible: card.expanded
            Layout.fillWidth: true
            text: card.reason
            color: Theme.textMuted
            wrapMode: Text.Wrap
            font.family: Theme.fontFamily
            font.pixelSize: 12
            font.italic: true
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.spacing8
            Text { text: card.rangeText; color: Theme.textMuted; font: Theme.font("mono") }
            Rectangle {
                implicitWidth: duration.implicitWidth + 2 * Theme.spacing6
                implicitHeight: duration.implicitHeight + Theme.spacing2 * 2
                radius: height / 2
                color: Theme.alpha(Theme.accent, 0.2)
                Text {
                    id: duration
                    anchors.centerIn: parent
                    text: card.durationText
                    color: Theme.accent
                    font: Theme.font("caption2", 10, "semibold")
                }
            }
            Row {
                spacing: 1
                Repeater {
                    model: card.stars
                    SymbolIcon { symbol: "star.fill"; size: 10; color: Theme.yellow }
                }
            }
            Item { Layout.fillWidth: true }
            ThemedButton {
                id: select
                objectName: "goldSelect" + card.row
                text: card.selected ? "Selected" : "Select"
                symbol: card.selected ? "checkmark.circle.fill" : "circle"
                textColor: card.selected ? Theme.green : Theme.foreground
                font: Theme.font("caption", 12, "semibold")
                topPadding: Theme.spacing4
                bottomPadding: Theme.spacing4
                leftPadding: Theme.spacing8
                rightPadding: Theme.spacing8
                onClicked: card.toggleSelected()
                background: Rectangle {
                    radius: height / 2
                    color: card.selected ? Theme.alpha(Theme.green, 0.15) : Theme.alpha(Theme.border, 0.3)
                    Rectangle {
                        anchors.fill: parent
                        radius: parent.radius
                        color: Qt.rgba(1, 1, 1, 0.05)
                        opacity: select.hoverLevel
                    }
                }
            }
        }
    }
}
