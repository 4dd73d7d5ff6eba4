import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// One story moment on the Review page: a drag handle, the chapter's disc and name, its time range
// and length, an equalizer while it is heard, the transcript (two lines closed, all open) and, open,
// the translation with "Preview"/"Stop", "Remove" and why a preview could not play. A tap anywhere
// else opens or closes it; a press that moves picks it up.
Item {
    id: root
    property int number: 1
    property string chapter
    property color chapterColor: Theme.textMuted
    property string timeRange
    property string duration
    property string transcript
    property string translation
    property bool isExpanded: false
    property bool isPlaying: false
    property string previewNote         // "Preview unavailable: …", or "" while nothing went wrong
    property bool interactive: true     // false for the copy that follows the pointer

    signal tapped()
    signal playToggled()
    signal removeRequested()
    // The pointer moved far enough with the button down: `at` is where it was pressed, in the card.
    signal dragStarted(point at)
    signal dragMoved(point scenePosition)
    signal dragEnded()

    implicitHeight: body.implicitHeight + 2 * Theme.spacing12

    // What only an open or playing card shows is made when it opens: a story of hundreds of
    // moments scrolls and reorders through cards made and laid out in a fraction of a frame.
    Loader {
        anchors.fill: parent
        active: root.isExpanded
        sourceComponent: Item {
            SoftShadow {
                anchors.fill: parent
                radius: Theme.radiusMd
                color: Qt.rgba(0, 0, 0, 0.15)
                blur: 8
                offsetY: 4
            }
            RoundedShape {
                anchors.fill: parent
                radius: Theme.radiusMd
                fillColor: Theme.alpha(Theme.muted, 0.8)
            }
        }
    }
    RoundedShape {
        objectName: "cardOutline"
        anchors.fill: parent
        radius: Theme.radiusMd
        fillColors: Theme.glassGradient
        fillDirection: "vertical"
        strokeWidth: root.isPlaying ? 2 : root.isExpanded ? 1 : 0.5
        strokeColors: root.isPlaying ? [Theme.alpha(root.chapterColor, 0.7), Theme.alpha(root.chapterColor, 0.3)]
                    : root.isExpanded ? [Theme.alpha(Theme.border, 0.5), Theme.alpha(Theme.border, 0.3)]
                    : [Theme.alpha(Theme.border, 0.3), Theme.alpha(Theme.border, 0.2)]
    }

    MouseArea {
        id: pointer
        anchors.fill: parent
        enabled: root.interactive
        preventStealing: true
        cursorShape: moved ? Qt.ClosedHandCursor : Qt.PointingHandCursor
        property point pressedAt
        property bool moved: false
        onPressed: (mouse) => { pressedAt = Qt.point(mouse.x, mouse.y); moved = false }
        onPositionChanged: (mouse) => {
            if (!moved && Math.abs(mouse.x - pressedAt.x) + Math.abs(mouse.y - pressedAt.y) >= Qt.styleHints.startDragDistance) {
                moved = true
                root.dragStarted(pressedAt)
            }
            if (moved)
                root.dragMoved(mapToItem(null, mouse.x, mouse.y))
        }
        onReleased: if (moved) root.dragEnded()
        onCanceled: if (moved) { moved = false; root.dragEnded() }
        onClicked: if (!moved) root.tapped()
    }

    ColumnLayout {
        id: body
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: Theme.spacing12
        spacing: Theme.spacing8

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.spacing8

            Grid {
                columns: 2
                spacing: 2
                Repeater {
                    model: 6
                    Rectangle { width: 3; height: 3; radius: 1.5; color: Theme.alpha(Theme.textMuted, 0.4) }
                }
            }
            Rectangle {
                implicitWidth: 20
                implicitHeight: 20
                radius: 10
                color: root.chapterColor
                Text {
                    anchors.centerIn: parent
                    text: root.number
                    color: "white"
                    font: Theme.font("caption2", 10, "bold")
                }
            }
            Text {
                objectName: "chapterName"
                visible: root.chapter !== ""
                Layout.fillWidth: true
                Layout.minimumWidth: 0
                text: root.chapter
                color: root.chapterColor
                elide: Text.ElideRight
                font: Theme.font("subheadline", 12, "semibold")
            }
            Item { Layout.fillWidth: root.chapter === "" }
            Text {
                text: root.timeRange
                color: Theme.textMuted
                font: Theme.font("mono", 10)
            }
            Rectangle {
                implicitWidth: durationText.implicitWidth + 2 * Theme.spacing6
                implicitHeight: durationText.implicitHeight + 2 * Theme.spacing2
                radius: 4
                color: Theme.alpha(Theme.border, 0.5)
                Text {
                    id: durationText
                    anchors.centerIn: parent
                    text: root.duration
                    color: Theme.alpha(Theme.foreground, 0.8)
                    font: Theme.font("mono", 9)
                }
            }
        }

        Loader {
            active: root.isPlaying
            visible: active
            Layout.preferredHeight: 12
            sourceComponent: Component {
                Row {
                    objectName: "equalizer"
                    height: 12
                    spacing: 2
                    Repeater {
                        model: [8, 12, 8]
                        Item {
                            id: barSlot
                            required property int index
                            required property int modelData
                            width: 3
                            height: 12
                            Rectangle {
                                id: eqBar
                                anchors.bottom: parent.bottom
                                width: 3
                                radius: 1
                                height: barSlot.modelData
                                color: root.chapterColor
                                SequentialAnimation {
                                    running: root.isPlaying
                                    onStopped: eqBar.height = barSlot.modelData
                                    PauseAnimation { duration: 150 * barSlot.index }
                                    SequentialAnimation {
                                        loops: Animation.Infinite
                                        NumberAnimation { target: eqBar; property: "height"; to: 3; duration: 500; easing.type: Easing.InOutQuad }
                                        NumberAnimation { target: eqBar; property: "height"; to: barSlot.modelData; duration: 500; easing.type: Easing.InOutQuad }
                                    }
                                }
                            }
                        }
                    }
                }
            }
        }

        Text {
            objectName: "transcript"
            Layout.fillWidth: true
            text: root.transcript
            color: Theme.alpha(Theme.foreground, 0.9)
            wrapMode: Text.Wrap
            maximumLineCount: root.isExpanded ? 1000 : 2
            elide: Text.ElideRight
            font: Theme.font("body")
        }

        Loader {
            active: root.isExpanded
            visible: active
            Layout.fillWidth: true
            sourceComponent: Component {
                ColumnLayout {
                    spacing: Theme.spacing8

                    Rectangle {
                        Layout.fillWidth: true
                        Layout.preferredHeight: 1
                        color: Theme.border
                    }
                    Text {
                        objectName: "translation"
                        visible: root.translation !== ""
                        Layout.fillWidth: true
                        text: root.translation
                        color: Theme.textMuted
                        wrapMode: Text.Wrap
                        font.family: Theme.fontFamily
                        font.pixelSize: 13
                        font.italic: true
                    }
                    RowLayout {
                        Layout.fillWidth: true
                        spacing: Theme.spacing8
                        ThemedButton {
                            objectName: "previewSegment"
                            enabled: root.interactive
                            text: root.isPlaying ? "Stop" : "Preview"
                            symbol: root.isPlaying ? "stop.fill" : "play.fill"
                            textColor: root.isPlaying ? "white" : Theme.foreground
                            font.pixelSize: 12
                            topPadding: Theme.spacing6
                            bottomPadding: Theme.spacing6
                            leftPadding: Theme.spacing12
                            rightPadding: Theme.spacing12
                            opacity: 1
                            onClicked: root.playToggled()
                            background: Rectangle {
                                radius: 6
                                color: root.isPlaying ? Theme.accent : Theme.alpha(Theme.border, 0.3)
                            }
                        }
                        Item { Layout.fillWidth: true }
                        ThemedButton {
                            objectName: "removeSegment"
                            enabled: root.interactive
                            text: "Remove"
                            symbol: "trash"
                            textColor: Theme.alpha(Theme.red, 0.9)
                            font.pixelSize: 12
                            topPadding: Theme.spacing6
                            bottomPadding: Theme.spacing6
                            leftPadding: Theme.spacing8
                            rightPadding: Theme.spacing8
                            opacity: 1
                            onClicked: root.removeRequested()
                            background: Rectangle {
                                radius: 6
                                color: Qt.rgba(1, 1, 1, parent.hovered ? 0.05 : 0)
                            }
                        }
                    }
                    Text {
                        objectName: "previewNote"
                        visible: root.previewNote !== ""
                        Layout.fillWidth: true
                        text: root.previewNote
                        color: Theme.orange
                        wrapMode: Text.Wrap
                        font: Theme.font("caption", 12)
                    }
                }
            }
        }
    }
}
