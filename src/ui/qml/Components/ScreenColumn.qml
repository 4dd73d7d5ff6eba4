import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// A scrolling screen of cards under a title, centred up to a readable width.
ScrollView {
    id: root
    property string title
    property real maxWidth: 560
    default property alias content: column.data
    contentWidth: availableWidth
    clip: true

    ColumnLayout {
        id: column
        x: Math.max(Theme.spacing24, (root.availableWidth - width) / 2)
        width: Math.min(root.maxWidth, root.availableWidth - 2 * Theme.spacing24)
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
