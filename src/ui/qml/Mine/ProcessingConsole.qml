import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The pipeline's log as a small terminal: a title bar with the window dots and "ondrel", then one
// mono line per entry (stamp, text in its colour) and the cursor; every new line scrolls the
// cursor into view, and so does each line's wrapping while the console follows the log.
Item {
    id: root
    property var logs: null              // the pipeline's log model
    property ProcessingModel viewModel: null // draws the colour words
    readonly property int lineCount: logs ? logs.count : 0

    Rectangle {
        id: frame
        anchors.fill: parent
        radius: 8
        color: Qt.rgba(0.04, 0.04, 0.04, 1)
        border.width: 1
        border.color: Theme.border
        clip: true

        Rectangle {
            id: titleBar
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.top: parent.top
            anchors.margins: 1
            height: 26
            color: Qt.rgba(0.08, 0.08, 0.08, 1)
            radius: 7
            Rectangle {
                // squares off the bar's lower corners
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                height: parent.radius
                color: parent.color
            }
            Row {
                anchors.left: parent.left
                anchors.leftMargin: Theme.spacing12
                anchors.verticalCenter: parent.verticalCenter
                spacing: Theme.spacing6
                Repeater {
                    model: [Qt.rgba(1.0, 0.37, 0.34, 1), Qt.rgba(0.99, 0.74, 0.18, 1), Qt.rgba(0.16, 0.78, 0.25, 1)]
                    Rectangle {
                        required property color modelData
                        width: 10; height: 10; radius: 5
                        color: modelData
                    }
                }
                Text {
                    leftPadding: Theme.spacing6
                    anchors.verticalCenter: parent.verticalCenter
                    text: "ondrel"
                    color: Theme.textMuted
                    font: Theme.font("caption2", 10)
                }
            }
        }

        ListView {
            id: scroller
            objectName: "console"
            anchors.top: titleBar.bottom
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            anchors.margins: 1
            clip: true
            topMargin: Theme.spacing12
            bottomMargin: Theme.spacing12
            spacing: 2
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
            // Only the lines in sight are made (and reused as it scrolls), so a line added to the
            // log of a week of footage costs what one added to a short log does.
            reuseItems: true
            model: root.logs
            delegate: RowLayout {
                id: line
                required property string timestamp
                required property string text
                required property string colorWord
                x: Theme.spacing12
                width: ListView.view.width - 2 * Theme.spacing12
                spacing: Theme.spacing8
                Text {
                    Layout.alignment: Qt.AlignTop
                    text: line.timestamp
                    color: Theme.alpha(Theme.textMuted, 0.4)
                    font: Theme.font("mono", 11)
                }
                Text {
                    Layout.fillWidth: true
                    text: line.text
                    color: root.viewModel ? root.viewModel.colorOf(line.colorWord) : Theme.textMuted
                    wrapMode: Text.Wrap
                    font: Theme.font("mono", 11)
                }
            }
            footer: Text {
                objectName: "cursor"
                x: Theme.spacing12
                topPadding: 2
                text: "▊"
                color: Theme.alpha(Theme.accent, 0.6)
                font: Theme.font("mono", 11)
            }

            NumberAnimation {
                id: follow
                target: scroller
                property: "contentY"
                duration: 250
                easing.type: Easing.InOutQuad
            }
            // A wrapped line gets its height after it is laid out, which is after the scroll its
            // arrival started (and a page opened on a finished run lays out every line so): while
            // the console follows the log, each change of height scrolls on to the cursor. The
            // editor scrolling up stops that; scrolling back to the end, or a new line, resumes it.
            property bool following: true
            onContentYChanged: {
                if (!follow.running)
                    following = contentY >= atEnd() - 1
            }
            function atEnd() {
                return originY + contentHeight + bottomMargin - height
            }
            onContentHeightChanged: if (following) Qt.callLater(scrollToCursor)
            onHeightChanged: if (following) Qt.callLater(scrollToCursor)
            function scrollToCursor() {
                following = true
                const end = Math.max(originY - topMargin, atEnd())
                follow.stop()
                follow.to = end
                follow.start()
            }
        }
        Rectangle {
            // the console's own outline above its contents
            anchors.fill: parent
            radius: 8
            color: "transparent"
            border.width: 1
            border.color: Theme.border
        }
    }

    onLineCountChanged: Qt.callLater(scroller.scrollToCursor)
}
