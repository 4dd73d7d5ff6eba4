import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The media files of a mine without Resolve: choose files or a folder, or drop them on the page.
// They are laid in path order, as the mine lays them; one can be taken out, none moved.
GlassCard {
    id: root
    property SourceFilesModel files: null
    signal chooseFiles()
    signal chooseFolder()
    radius: Theme.radiusMd
    padding: Theme.spacing16

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing8
        SecondaryButton {
            objectName: "chooseFiles"
            text: "Choose Files…"
            symbol: "doc.text"
            onClicked: root.chooseFiles()
        }
        SecondaryButton {
            objectName: "chooseFolder"
            text: "Choose Folder…"
            symbol: "folder"
            onClicked: root.chooseFolder()
        }
        Text {
            Layout.fillWidth: true
            text: "or drop them on this page"
            color: Theme.textMuted
            elide: Text.ElideRight
            font: Theme.font("subheadline")
        }
    }

    Text {
        objectName: "filesSummary"
        visible: root.files !== null && root.files.count > 0
        text: root.files ? root.files.summaryText : ""
        color: Theme.textSecondary
        font: Theme.font("subheadline", 12, "medium")
    }

    Repeater {
        model: root.files
        RowLayout {
            required property int index
            required property string name
            required property string detail
            required property bool leftOut
            objectName: "sourceFile" + index
            Layout.fillWidth: true
            spacing: Theme.spacing8
            SymbolIcon {
                symbol: leftOut ? "exclamationmark.triangle.fill" : "waveform"
                size: 12
                color: leftOut ? Theme.orange : Theme.textMuted
            }
            Text {
                Layout.fillWidth: true
                text: name
                color: leftOut ? Theme.textMuted : Theme.foreground
                elide: Text.ElideMiddle
                font: Theme.font("body")
            }
            Text {
                text: detail
                color: leftOut ? Theme.orange : Theme.textMuted
                font: Theme.font("caption")
            }
            AbstractButton {
                objectName: "removeFile" + index
                hoverEnabled: true
                padding: Theme.spacing4
                onClicked: root.files.remove(index)
                contentItem: SymbolIcon {
                    symbol: "xmark.circle.fill"
                    size: 13
                    color: parent.hovered ? Theme.foreground : Theme.textMuted
                }
            }
        }
    }
}
