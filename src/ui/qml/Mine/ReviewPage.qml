import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The story's moments before anything reaches Resolve: reorder by dragging (the list moves as the
// pointer enters another card), open a card to read it, hear it, remove it; then send the edited
// list, go back to restyle, or skip to the exports. Only "Send to Resolve" keeps the edits.
Item {
    id: root
    required property MineView wizard

    ReviewModel {
        id: vm
        wizard: root.wizard
    }
    // The preview ends as soon as the page starts to go.
    StackView.onDeactivating: vm.stopPlayback()

    // The card being dragged: its slot in the list, and where in the card it was picked up.
    property Item draggedSlot: null
    property point grabOffset

    function beginDrag(slot, at) {
        const p = slot.mapToItem(dragLayer, 0, 0)
        ghost.x = p.x
        ghost.y = p.y
        grabOffset = at
        vm.startDrag(slot.segmentId)
        draggedSlot = slot
    }
    function moveDrag(scenePosition) {
        const p = dragLayer.mapFromItem(null, scenePosition.x, scenePosition.y)
        ghost.x = p.x - grabOffset.x
        ghost.y = p.y - grabOffset.y
        const inList = list.mapFromItem(null, scenePosition.x, scenePosition.y)
        autoScroll.step = inList.y < 40 ? -8 : inList.y > list.height - 40 ? 8 : 0
    }
    function endDrag() {
        autoScroll.step = 0
        vm.endDrag()
        draggedSlot = null
    }

    // The column of the setup and style pages, centred; the list's scroll bar runs in a gutter
    // just past it, so the cards line up with the header and the bar.
    readonly property real columnWidth: Math.min(620, width - 2 * Theme.spacing24)
    readonly property real gutter: 12

    ColumnLayout {
        x: (parent.width - root.columnWidth) / 2
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        anchors.topMargin: Theme.spacing8
        width: root.columnWidth + root.gutter
        spacing: Theme.spacing12

        ColumnLayout {
            Layout.fillWidth: true
            Layout.rightMargin: root.gutter
            spacing: Theme.spacing4
            RowLayout {
                Layout.fillWidth: true
                Text {
                    Layout.fillWidth: true
                    text: "Review your story"
                    color: Theme.foreground
                    font: Theme.font("title2")
                }
                Text {
                    objectName: "reviewTotals"
                    text: vm.totalsText
                    color: Theme.textMuted
                    font: Theme.font("subheadline")
                }
            }
            Text {
                text: "Drag to reorder · Click to expand · ⌫ to delete"
                color: Theme.textMuted
                font: Theme.font("caption")
            }
        }

        ListView {
            id: list
            objectName: "segmentList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            spacing: Theme.spacing8
            model: vm
            cacheBuffer: 2000
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
            topMargin: Theme.spacing4
            bottomMargin: Theme.spacing12

            moveDisplaced: Transition { NumberAnimation { properties: "y"; duration: 200; easing.type: Easing.InOutQuad } }
            move: Transition { NumberAnimation { properties: "y"; duration: 200; easing.type: Easing.InOutQuad } }
            remove: Transition { NumberAnimation { property: "opacity"; to: 0; duration: 250; easing.type: Easing.InOutQuad } }

            // With every moment removed there is nothing to send: say where the ways on are.
            Text {
                objectName: "reviewEmpty"
                visible: vm.count === 0
                anchors.centerIn: parent
                width: parent.width - 2 * Theme.spacing24
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
                text: "No moments left. Re-mine for a new story, or skip to the exports."
                color: Theme.textMuted
                font: Theme.font("body")
            }
            removeDisplaced: Transition { NumberAnimation { properties: "y"; duration: 250; easing.type: Easing.InOutQuad } }

            delegate: Item {
                id: slot
                required property int index
                required property var segmentId
                required property int number
                required property string chapter
                required property color chapterColor
                required property string timeRange
                required property string duration
                required property string transcript
                required property string translation
                required property bool expanded
                required property bool playing
                required property string previewNote
                objectName: "segmentSlot" + index
                width: ListView.view ? ListView.view.width - root.gutter : 0
                height: card.implicitHeight
                Behavior on height { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }

                SegmentCard {
                    id: card
                    objectName: "segmentCard" + slot.segmentId
                    anchors.fill: parent
                    opacity: root.draggedSlot === slot ? 0.3 : 1
                    number: slot.number
                    chapter: slot.chapter
                    chapterColor: slot.chapterColor
                    timeRange: slot.timeRange
                    duration: slot.duration
                    transcript: slot.transcript
                    translation: slot.translation
                    isExpanded: slot.expanded
                    isPlaying: slot.playing
                    previewNote: slot.previewNote
                    onTapped: vm.toggleExpanded(slot.segmentId)
                    onPlayToggled: vm.togglePlay(slot.index)
                    onRemoveRequested: vm.remove(slot.index)
                    onDragStarted: (at) => root.beginDrag(slot, at)
                    onDragMoved: (scenePosition) => root.moveDrag(scenePosition)
                    onDragEnded: root.endDrag()
                }
                DropArea {
                    anchors.fill: parent
                    keys: ["text/plain"]
                    onEntered: vm.dragEntered(slot.segmentId)
                }
            }

            // Near an edge while dragging, the list scrolls, and the card under the pointer counts
            // as entered.
            Timer {
                id: autoScroll
                property int step: 0
                interval: 16
                repeat: true
                running: step !== 0 && vm.isDragging
                onTriggered: {
                    const top = -list.topMargin
                    const bottom = Math.max(top, list.contentHeight + list.bottomMargin - list.height)
                    list.contentY = Math.max(top, Math.min(bottom, list.contentY + step))
                    const c = list.mapFromItem(ghost, ghost.Drag.hotSpot.x, ghost.Drag.hotSpot.y)
                    const under = list.itemAt(c.x + list.contentX, c.y + list.contentY)
                    if (under)
                        vm.dragEntered(under.segmentId)
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.rightMargin: root.gutter
            Layout.preferredHeight: 1
            color: Theme.border
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.rightMargin: root.gutter
            Layout.bottomMargin: Theme.spacing16
            spacing: Theme.spacing12

            ThemedButton {
                id: reMine
                objectName: "reMine"
                text: "Re-mine"
                symbol: "paintbrush"
                textColor: Theme.accent
                onClicked: vm.reMine()
                background: Rectangle {
                    implicitHeight: 40
                    radius: Theme.radiusSm
                    color: Theme.alpha(Theme.accent, 0.12 + 0.06 * reMine.hoverLevel)
                    border.width: 1
                    border.color: Theme.alpha(Theme.accent, 0.4)
                }
            }
            Item { Layout.fillWidth: true }
            PrimaryButton {
                objectName: "sendToResolve"
                text: root.wizard.speaksResolve ? "Send to Resolve" : "Save for your editor"
                enabled: vm.count > 0
                leading: Component { PixelGemView { color: "white"; size: 14 } }
                onClicked: vm.sendToResolve()
            }
            AbstractButton {
                id: skip
                objectName: "skipToExports"
                hoverEnabled: true
                padding: Theme.spacing8
                onClicked: vm.skipToExports()
                contentItem: Text {
                    text: "Skip to exports →"
                    color: skip.hovered ? Theme.textSecondary : Theme.textMuted
                    font: Theme.font("callout")
                }
            }
        }
    }

    // The copy of the dragged card that follows the pointer; its Drag carries the segment's id as
    // plain text and makes the cards it enters rearrange the list.
    Item {
        id: dragLayer
        anchors.fill: parent
        SegmentCard {
            id: ghost
            objectName: "dragGhost"
            visible: root.draggedSlot !== null
            interactive: false
            width: root.draggedSlot ? root.draggedSlot.width : 0
            height: root.draggedSlot ? root.draggedSlot.height : 0
            opacity: 0.92
            number: root.draggedSlot ? root.draggedSlot.number : 1
            chapter: root.draggedSlot ? root.draggedSlot.chapter : ""
            chapterColor: root.draggedSlot ? root.draggedSlot.chapterColor : Theme.textMuted
            timeRange: root.draggedSlot ? root.draggedSlot.timeRange : ""
            duration: root.draggedSlot ? root.draggedSlot.duration : ""
            transcript: root.draggedSlot ? root.draggedSlot.transcript : ""
            translation: root.draggedSlot ? root.draggedSlot.translation : ""
            isExpanded: root.draggedSlot ? root.draggedSlot.expanded : false
            isPlaying: root.draggedSlot ? root.draggedSlot.playing : false
            previewNote: root.draggedSlot ? root.draggedSlot.previewNote : ""

            Drag.active: visible
            Drag.dragType: Drag.Internal
            Drag.keys: ["text/plain"]
            Drag.mimeData: ({ "text/plain": root.draggedSlot ? String(root.draggedSlot.segmentId) : "" })
            Drag.hotSpot.x: root.grabOffset.x
            Drag.hotSpot.y: root.grabOffset.y
        }
    }
}
