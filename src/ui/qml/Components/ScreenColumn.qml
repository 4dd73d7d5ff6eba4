import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// A scrolling screen of cards under a title, centred up to a readable width. What a page puts in
// `footer` (its way on) stays pinned under the cards in the same column, in sight at any height of
// the window however long the cards run.
Item {
    id: root
    property string title
    property real maxWidth: 560
    default property alias content: column.data
    property Item footer: null
    // The scrolling part, for whoever scrolls the page from outside.
    readonly property alias flickable: scroll.contentItem

    ScrollView {
        id: scroll
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.bottom: footerArea.top
        anchors.bottomMargin: footerArea.height > 0 ? Theme.spacing12 : 0
        contentWidth: availableWidth
        clip: true

        ColumnLayout {
            id: column
            x: Math.max(Theme.spacing24, (scroll.availableWidth - width) / 2)
            width: Math.min(root.maxWidth, scroll.availableWidth - 2 * Theme.spacing24)
            spacing: Theme.spacing16

            Item { Layout.preferredHeight: Theme.spacing16 }
            Text {
                visible: root.title !== ""
                text: root.title
                color: Theme.foreground
                font: Theme.font("title")
            }
        }
    }

    // The footer spans the column, whatever its own size hints, and takes no room while nothing in
    // it is shown.
    Item {
        id: footerArea
        x: column.x
        width: column.width
        height: root.footer && root.footer.visible ? root.footer.implicitHeight : 0
        anchors.bottom: parent.bottom
        anchors.bottomMargin: height > 0 ? Theme.spacing20 : 0
    }
    Binding {
        when: root.footer !== null
        target: root.footer
        property: "parent"
        value: footerArea
    }
    Binding {
        when: root.footer !== null
        target: root.footer
        property: "width"
        value: footerArea.width
    }
}
