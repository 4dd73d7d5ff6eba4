import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// Magic Mode as one big switch: purple and glowing when on, a plain outline when off. The change
// cross-fades over 0.25 s.
AbstractButton {
    id: control
    property bool isOn: false
    hoverEnabled: true
    padding: Theme.spacing16

    readonly property real level: isOn ? 1 : 0
    property real shown: level
    Behavior on shown { NumberAnimation { duration: 250; easing.type: Easing.InOutQuad } }

    background: Item {
        SoftShadow {
            anchors.fill: parent
            radius: Theme.radiusMd
            color: Theme.alpha(Theme.purple, 0.2)
            blur: 12
            offsetY: 2
            opacity: control.shown
            visible: opacity > 0
        }
        RoundedShape {
            anchors.fill: parent
            radius: Theme.radiusMd
            opacity: 1 - control.shown
            fillColor: Theme.alpha(Theme.muted, control.hovered ? 0.5 : 0.25)
            strokeWidth: 1
            strokeColor: Theme.border
        }
        RoundedShape {
            anchors.fill: parent
            radius: Theme.radiusMd
            opacity: control.shown
            fillColor: Theme.alpha(Theme.purple, 0.08)
            strokeWidth: 1
            strokeColors: [Theme.alpha(Theme.purple, 0.6), Theme.alpha(Theme.purple, 0.3)]
        }
    }

    contentItem: RowLayout {
        spacing: Theme.spacing12
        Item {
            Layout.alignment: Qt.AlignTop
            implicitWidth: 40
            implicitHeight: 40
            RoundedShape {
                anchors.fill: parent
                radius: Theme.radiusSm
                opacity: 1 - control.shown
                fillColors: [Theme.muted, Theme.alpha(Theme.muted, 0.3)]
            }
            RoundedShape {
                anchors.fill: parent
                radius: Theme.radiusSm
                opacity: control.shown
                fillColors: [Theme.purple, Theme.alpha(Theme.purple, 0.1)]
            }
            SymbolIcon {
                anchors.centerIn: parent
                symbol: "wand.and.stars"
                size: 20
                color: control.isOn ? Theme.purple : Theme.textMuted
                Behavior on color { ColorAnimation { duration: 250; easing.type: Easing.InOutQuad } }
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: Theme.spacing4
            RowLayout {
                spacing: Theme.spacing8
                Text {
                    text: "Magic Mode"
                    color: Theme.foreground
                    font: Theme.font("headline")
                }
                Rectangle {
                    objectName: "magicBadge"
                    visible: control.isOn
                    implicitWidth: badge.implicitWidth + 2 * Theme.spacing6
                    implicitHeight: badge.implicitHeight + Theme.spacing2 * 2
                    radius: Theme.radiusXs
                    color: Theme.purple
                    Text {
                        id: badge
                        anchors.centerIn: parent
                        text: "ON"
                        color: "white"
                        font.family: Theme.fontFamily
                        font.pixelSize: 10
                        font.weight: Font.Bold
                        font.letterSpacing: 0.5
                    }
                }
            }
            Text {
                Layout.fillWidth: true
                text: "Let the AI be your assistant editor — it listens to the footage and decides the style"
                color: Theme.textMuted
                font: Theme.font("subheadline")
                wrapMode: Text.Wrap
            }
        }
    }
}
