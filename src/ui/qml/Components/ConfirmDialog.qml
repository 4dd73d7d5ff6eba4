import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// A modal question with "Cancel" and one confirming action, shown while `open` is true.
Popup {
    id: root
    property bool open: false
    property string title
    property string message
    property string confirmText: "OK"
    property string cancelText: "Cancel" // the way back's words
    property bool destructive: false
    signal confirmed()
    signal cancelled()

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: 380
    modal: true
    dim: true
    visible: open
    closePolicy: Popup.CloseOnEscape
    onClosed: if (open) cancelled()
    padding: Theme.spacing20

    Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.55) }
    background: RoundedShape {
        radius: Theme.radiusLg
        fillColor: Theme.muted
        strokeWidth: 1
        strokeColor: Theme.border
    }

    contentItem: ColumnLayout {
        spacing: Theme.spacing12
        Text {
            text: root.title
            color: Theme.foreground
            font: Theme.font("headline")
        }
        Text {
            Layout.fillWidth: true
            text: root.message
            color: Theme.textSecondary
            wrapMode: Text.Wrap
            font: Theme.font("body")
        }
        RowLayout {
            Layout.topMargin: Theme.spacing8
            Layout.alignment: Qt.AlignRight
            spacing: Theme.spacing8
            SecondaryButton {
                objectName: "dialogCancel"
                text: root.cancelText
                onClicked: root.cancelled()
            }
            Loader {
                sourceComponent: root.destructive ? destructiveButton : primaryButton
            }
        }
    }
    Component {
        id: destructiveButton
        DestructiveButton { objectName: "dialogConfirm"; text: root.confirmText; onClicked: root.confirmed() }
    }
    Component {
        id: primaryButton
        PrimaryButton { objectName: "dialogConfirm"; text: root.confirmText; onClicked: root.confirmed() }
    }
}
