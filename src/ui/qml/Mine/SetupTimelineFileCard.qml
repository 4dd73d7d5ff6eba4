import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// An editor's exported timeline as the source: what was read of it, the media it uses, and the
// files not found with the way to find them. Clips of files still missing are left out.
GlassCard {
    id: root
    property TimelineFileModel timeline: null
    signal chooseFile()
    signal locateFolder()
    radius: Theme.radiusMd
    padding: Theme.spacing16

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing8
        SecondaryButton {
            objectName: "chooseTimelineFile"
            text: "Choose Timeline File…"
            symbol: "doc.text"
            onClicked: root.chooseFile()
        }
        Text {
            Layout.fillWidth: true
            text: "FCPXML, FCP 7 XML, OTIO or EDL — or drop it on this page"
            color: Theme.textMuted
            elide: Text.ElideRight
            font: Theme.font("subheadline")
        }
    }

    Text {
        objectName: "timelineFileError"
        visible: text !== ""
        Layout.fillWidth: true
        text: root.timeline ? root.timeline.errorText : ""
        color: Theme.error
        wrapMode: Text.Wrap
        font: Theme.font("subheadline")
    }

    ColumnLayout {
        visible: root.timeline !== null && (root.timeline.hasTimeline || root.timeline.isReading)
        Layout.fillWidth: true
        spacing: Theme.spacing2
        Text {
            Layout.fillWidth: true
            text: root.timeline ? root.timeline.fileName : ""
            color: Theme.foreground
            elide: Text.ElideMiddle
            font: Theme.font("headline")
        }
        Text {
            objectName: "timelineFileSummary"
            Layout.fillWidth: true
            text: root.timeline ? root.timeline.summaryText : ""
            color: Theme.textSecondary
            elide: Text.ElideRight
            font: Theme.font("subheadline", 12, "medium")
        }
    }

    // Files not found: one message, and the folder to look in.
    Rectangle {
        objectName: "missingMedia"
        visible: root.timeline !== null && root.timeline.missingText !== ""
        Layout.fillWidth: true
        implicitHeight: missing.implicitHeight + 2 * Theme.spacing12
        radius: Theme.radiusSm
        color: Theme.alpha(Theme.orange, 0.08)
        border.width: 1
        border.color: Theme.alpha(Theme.orange, 0.3)
        RowLayout {
            id: missing
            anchors.fill: parent
            anchors.margins: Theme.spacing12
            spacing: Theme.spacing12
            SymbolIcon {
                Layout.alignment: Qt.AlignTop
                symbol: "exclamationmark.triangle.fill"
                size: 13
                color: Theme.orange
            }
            Text {
                objectName: "missingMediaText"
                Layout.fillWidth: true
                text: root.timeline ? root.timeline.missingText : ""
                color: Theme.foreground
                wrapMode: Text.Wrap
                font: Theme.font("subheadline")
            }
            SecondaryButton {
                objectName: "locateMedia"
                Layout.alignment: Qt.AlignTop
                text: "Locate folder…"
                symbol: "folder"
                enabled: root.timeline !== null && !root.timeline.isReading
                onClicked: root.locateFolder()
            }
        }
    }

    Text {
        objectName: "timelineFileWarnings"
        visible: text !== ""
        Layout.fillWidth: true
        text: root.timeline ? root.timeline.warningsText : ""
        color: Theme.orange
        wrapMode: Text.Wrap
        font: Theme.font("caption")
    }

    Repeater {
        model: root.timeline
        RowLayout {
            required property int index
            required property string name
            required property string detail
            required property bool found
            objectName: "timelineMedia" + index
            Layout.fillWidth: true
            spacing: Theme.spacing8
            SymbolIcon {
                symbol: found ? "waveform" : "exclamationmark.triangle.fill"
                size: 12
                color: found ? Theme.textMuted : Theme.orange
            }
            Text {
                Layout.fillWidth: true
                text: name
                color: found ? Theme.foreground : Theme.textMuted
                elide: Text.ElideMiddle
                font: Theme.font("body")
            }
            Text {
                text: detail
                color: found ? Theme.textMuted : Theme.orange
                font: Theme.font("caption")
            }
        }
    }
}
