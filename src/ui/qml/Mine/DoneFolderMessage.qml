import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// Said beside the button that asked for it when no file manager could show the files: where they
// are, selectable to copy.
RowLayout {
    id: root
    property DoneModel model: null
    property string place: ""  // "editor" or "export": which button's message this is
    visible: model !== null && model.folderMessage !== "" && model.folderMessageFor === place
    spacing: Theme.spacing8

    SymbolIcon {
        Layout.alignment: Qt.AlignTop
        symbol: "exclamationmark.triangle.fill"
        size: 13
        color: Theme.orange
    }
    TextEdit {
        objectName: "folderMessage"
        Layout.fillWidth: true
        text: root.model ? root.model.folderMessage : ""
        readOnly: true
        selectByMouse: true
        wrapMode: TextEdit.Wrap
        color: Theme.orange
        selectionColor: Theme.alpha(Theme.accent, 0.4)
        font: Theme.font("subheadline")
    }
}
