import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// What the last save wrote ("Saved story_edit.edl") or why it could not, with the way to the file:
// a save with no visible outcome would look like a dead button.
RowLayout {
    id: root
    property DoneModel model: null
    readonly property bool saving: model !== null && model.isSaving
    readonly property bool failed: model !== null && model.savedFailed
    spacing: Theme.spacing8

    Spinner {
        visible: root.saving
        size: 12
        color: Theme.textMuted
    }
    SymbolIcon {
        visible: !root.saving
        symbol: root.failed ? "exclamationmark.triangle.fill" : "checkmark.circle.fill"
        size: 13
        color: root.failed ? Theme.accent : Theme.green
    }
    Text {
        objectName: "savedNoteText"
        Layout.fillWidth: true
        text: root.saving ? "Saving…" : (root.model ? root.model.savedNote : "")
        color: root.failed ? Theme.accent : Theme.textSecondary
        wrapMode: Text.Wrap
        font: Theme.font("subheadline")
    }
    AbstractButton {
        objectName: "showSaved"
        visible: root.model !== null && root.model.canShowSaved
        hoverEnabled: true
        padding: Theme.spacing4
        onClicked: if (root.model) root.model.showSaved()
        contentItem: Text {
            text: "Show in Files"
            color: parent.hovered ? Theme.accentHover : Theme.accent
            font: Theme.font("subheadline", 0, "semibold")
        }
    }
}
