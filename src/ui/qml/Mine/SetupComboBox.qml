import QtQuick
import QtQuick.Controls
import Ondrel.Ui

// The setup page's drop-down over a list of texts: the current entry on the muted fill, the list in
// a dark popup. Its entries are named after it ("timelinePickerOption0"), so a test can pick one.
ComboBox {
    id: control
    implicitHeight: 36
    leftPadding: Theme.spacing12
    rightPadding: Theme.spacing32
    font: Theme.font("body")
    hoverEnabled: true

    contentItem: Text {
        text: control.displayText
        color: Theme.foreground
        font: control.font
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    indicator: SymbolIcon {
        x: control.width - width - Theme.spacing12
        y: (control.height - height) / 2
        symbol: control.popup.visible ? "chevron.up" : "chevron.down"
        size: 14
        color: Theme.textMuted
    }

    background: Rectangle {
        radius: Theme.radiusSm
        color: Theme.muted
        border.width: 1
        border.color: control.popup.visible || control.hovered ? Theme.alpha(Theme.accent, 0.5) : Theme.border
        Behavior on border.color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }

    delegate: ItemDelegate {
        id: entry
        required property int index
        required property string modelData
        objectName: control.objectName + "Option" + index
        width: ListView.view ? ListView.view.width : control.width
        height: 30
        leftPadding: Theme.spacing8
        highlighted: control.highlightedIndex === index
        contentItem: Text {
            text: entry.modelData
            color: entry.index === control.currentIndex ? Theme.accent : Theme.foreground
            font: control.font
            verticalAlignment: Text.AlignVCenter
            elide: Text.ElideRight
        }
        background: Rectangle {
            radius: 6
            color: entry.highlighted ? Theme.alpha(Theme.accent, 0.18) : "transparent"
        }
    }

    popup: Popup {
        y: control.height + Theme.spacing4
        width: control.width
        height: Math.min(contentItem.implicitHeight + topPadding + bottomPadding, 320)
        padding: Theme.spacing4

        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: control.popup.visible ? control.delegateModel : null
            currentIndex: control.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
            ScrollIndicator.vertical: ScrollIndicator {}
        }

        background: Item {
            SoftShadow { anchors.fill: parent; radius: Theme.radiusSm; color: Qt.rgba(0, 0, 0, 0.35); blur: 10; offsetY: 3 }
            Rectangle {
                anchors.fill: parent
                radius: Theme.radiusSm
                color: Theme.muted
                border.width: 1
                border.color: Theme.border
            }
        }
    }
}
