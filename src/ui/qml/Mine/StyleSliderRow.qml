import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// One style slider: its label and percentage, a track that follows the pointer from the first
// touch (a click sets the value too), and the captions of both ends. It reports where the pointer
// is as a fraction of the track; the page clamps and stores it.
ColumnLayout {
    id: root
    property string sliderId
    property string label
    property string low
    property string high
    property real value: 0
    property string percentText
    signal moved(real fraction)
    spacing: Theme.spacing6

    RowLayout {
        Layout.fillWidth: true
        Text {
            text: root.label
            color: Theme.foreground
            font: Theme.font("subheadline", 12, "medium")
        }
        Item { Layout.fillWidth: true }
        Text {
            objectName: "sliderPercent_" + root.sliderId
            text: root.percentText
            color: Theme.textMuted
            font: Theme.font("mono", 11)
        }
    }

    Item {
        id: track
        objectName: "sliderTrack_" + root.sliderId
        Layout.fillWidth: true
        implicitHeight: 16

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width
            height: 4
            radius: 2
            color: Theme.border
        }
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: root.value * track.width
            height: 4
            radius: 2
            color: Theme.alpha(Theme.accent, 0.6)
        }
        Item {
            x: root.value * track.width - width / 2
            anchors.verticalCenter: parent.verticalCenter
            width: 12
            height: 12
            SoftShadow { anchors.fill: parent; radius: 6; color: Theme.alpha(Theme.accent, 0.3); blur: 3; offsetY: 0 }
            Rectangle {
                anchors.fill: parent
                radius: 6
                color: Theme.accent
            }
        }
        MouseArea {
            anchors.fill: parent
            anchors.topMargin: -4
            anchors.bottomMargin: -4
            preventStealing: true
            cursorShape: Qt.PointingHandCursor
            onPressed: mouse => root.moved(mouse.x / track.width)
            onPositionChanged: mouse => root.moved(mouse.x / track.width)
        }
    }

    RowLayout {
        Layout.fillWidth: true
        Text {
            text: root.low
            color: Theme.textMuted
            opacity: 0.7
            font: Theme.font("caption2")
        }
        Item { Layout.fillWidth: true }
        Text {
            text: root.high
            color: Theme.textMuted
            opacity: 0.7
            font: Theme.font("caption2")
        }
    }
}
