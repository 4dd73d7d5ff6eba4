import QtQuick
import QtQuick.Templates as T
import Ondrel.Ui

// Every tooltip of the screens: a small dark card in the theme's colours and font, centred above
// the item it explains (the style's own is a light box in the toolkit's font). Declare it inside
// that item: ThemedToolTip { text: "…"; visible: parent.hovered }.
T.ToolTip {
    id: control
    x: parent ? (parent.width - width) / 2 : 0
    y: -height - Theme.spacing4
    width: Math.min(implicitWidth, 320)
    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset,
                            implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset,
                             implicitContentHeight + topPadding + bottomPadding)
    margins: Theme.spacing6
    topPadding: Theme.spacing6
    bottomPadding: Theme.spacing6
    leftPadding: Theme.spacing8
    rightPadding: Theme.spacing8
    delay: 600
    font: Theme.font("subheadline")
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent | T.Popup.CloseOnReleaseOutsideParent

    contentItem: Text {
        objectName: "toolTipText"
        text: control.text
        font: control.font
        color: Theme.foreground
        wrapMode: Text.Wrap
    }
    background: Rectangle {
        objectName: "toolTipBackground"
        radius: Theme.radiusXs
        color: Theme.muted
        border.width: 1
        border.color: Theme.border
    }
}
