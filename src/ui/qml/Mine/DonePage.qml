import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The end of a mining: the celebration, the build in Resolve, the way back to the review or to
// another style, the story's shape and figures, the export files and the editor's verdict.
ScreenColumn {
    id: root
    objectName: "donePage"
    required property MineView wizard
    maxWidth: 600

    DoneModel {
        id: vm
        wizard: root.wizard
    }

    // ---- celebration ----
    ColumnLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing4
        DoneCelebration {
            Layout.alignment: Qt.AlignHCenter
            burst: vm.showConfetti
        }
        // Filling the width lets the column stretch: a layout of fixed-width children alone
        // would be no wider than they are, and the celebration would sit at the left.
        Text {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: "We found gems! 💎"
            color: Theme.foreground
            font: Theme.font("title")
        }
        Text {
            objectName: "doneSummary"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: vm.summaryText
            color: Theme.textMuted
            font: Theme.font("callout")
        }
    }

    // ---- build ----
    ColumnLayout {
        Layout.fillWidth: true
        Layout.topMargin: Theme.spacing8
        spacing: Theme.spacing8
        PrimaryButton {
            objectName: "buildTimeline"
            visible: vm.resolveConnected
            Layout.fillWidth: true
            implicitHeight: 46
            text: vm.isBuilding ? "Building in Resolve..." : "Build Timeline in Resolve"
            busy: vm.isBuilding
            // Inert while building, but drawn at full strength: it is busy, not unavailable.
            enabled: !vm.isBuilding
            opacity: 1
            leading: Component { PixelGemView { color: "white"; size: 14 } }
            onClicked: vm.build()
        }
        Text {
            objectName: "buildStatus"
            visible: vm.hasBuildStatus
            Layout.alignment: Qt.AlignHCenter
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: vm.buildStatus
            color: vm.buildFailed ? Theme.accent : Theme.green
            font: Theme.font("subheadline", 0, "medium")
        }
        // Every editor's way in: the page's main action when Resolve Studio is not there to build.
        PrimaryButton {
            objectName: "openInEditor"
            Layout.fillWidth: true
            implicitHeight: vm.resolveConnected ? 40 : 46
            text: vm.isSaving && vm.savedFor === "editor" ? "Saving for your editor..." : "Open in your editor"
            symbol: "square.and.arrow.up"
            busy: vm.isSaving && vm.savedFor === "editor"
            enabled: !vm.isSaving && vm.hasExportDir
            fill: vm.resolveConnected ? Theme.alpha(Theme.border, hovered ? 1 : 0.7)
                                      : (hovered ? Theme.accentHover : Theme.accent)
            textColor: vm.resolveConnected ? Theme.foreground : "white"
            onClicked: vm.openInEditor()
        }
        DoneSavedNote {
            objectName: "editorSaved"
            Layout.fillWidth: true
            visible: vm.savedFor === "editor" && vm.savedNote !== ""
            model: vm
        }
        DoneFolderMessage {
            Layout.fillWidth: true
            model: vm
            place: "editor"
        }
    }

    // ---- how each editor takes the story in ----
    SolidCard {
        objectName: "handOffCard"
        visible: vm.handedOff
        Layout.fillWidth: true
        SectionLabel { text: "Open in your editor" }
        Repeater {
            model: vm.editorLines
            RowLayout {
                required property var modelData
                Layout.fillWidth: true
                spacing: Theme.spacing8
                Text {
                    text: modelData.editor + ":"
                    color: Theme.foreground
                    font: Theme.font("callout", 0, "semibold")
                }
                Text {
                    Layout.fillWidth: true
                    text: modelData.how
                    color: Theme.textSecondary
                    elide: Text.ElideRight
                    font: Theme.font("callout")
                }
                Text {
                    text: modelData.file
                    color: Theme.textMuted
                    font: Theme.font("mono", 11)
                }
            }
        }
        Text {
            objectName: "handOffSubtitles"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: "Subtitles: import subtitles.srt beside the timeline in any of them."
            color: Theme.textMuted
            font: Theme.font("subheadline")
        }
        Text {
            objectName: "handOffWarning"
            visible: text !== ""
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: vm.handOffWarning
            color: Theme.orange
            font: Theme.font("subheadline")
        }
    }

    // ---- the ways on ----
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing8
        DoneTintButton {
            objectName: "reviewSegments"
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            text: "Review Segments"
            symbol: "list.bullet"
            tint: Theme.foreground
            fill: Theme.alpha(Theme.border, 0.3)
            onClicked: vm.backToReview()
        }
        DoneTintButton {
            objectName: "remine"
            Layout.fillWidth: true
            Layout.preferredWidth: 1
            text: "Re-mine"
            symbol: "paintbrush"
            tint: Theme.accent
            fill: Theme.alpha(Theme.accent, 0.1)
            outline: Theme.alpha(Theme.accent, 0.3)
            onClicked: root.wizard.restyle()
        }
        DoneTintButton {
            objectName: "mineAnother"
            text: "Mine another story"
            tint: Theme.textMuted
            onClicked: root.wizard.resetFlow()
        }
    }

    // ---- Magic Mode ----
    Rectangle {
        objectName: "magicModeCard"
        visible: root.wizard.isMagicMode
        Layout.fillWidth: true
        implicitHeight: magic.implicitHeight + 2 * Theme.spacing12
        radius: Theme.radiusMd
        color: Theme.alpha(Theme.purple, 0.05)
        border.width: 1
        border.color: Theme.alpha(Theme.purple, 0.2)
        ColumnLayout {
            id: magic
            anchors.fill: parent
            anchors.margins: Theme.spacing12
            spacing: Theme.spacing6
            RowLayout {
                spacing: Theme.spacing6
                SymbolIcon { symbol: "wand.and.stars"; size: 14; color: Theme.purple }
                Text { text: "Magic Mode chose:"; color: Theme.purple; font: Theme.font("subheadline", 0, "semibold") }
            }
            Text {
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                text: "Campfire-style · slow build · intimate tone — because the subject speaks reflectively about family and tradition"
                color: Theme.textSecondary
                font: Theme.font("subheadline")
            }
        }
    }

    // ---- story structure ----
    SolidCard {
        objectName: "storyStructure"
        visible: vm.hasStructure
        Layout.fillWidth: true
        spacing: Theme.spacing12
        SectionLabel { text: "Story Structure" }
        Item {
            id: bar
            Layout.fillWidth: true
            implicitHeight: 26
            readonly property int gap: 2
            clip: true
            Binding {
                target: vm.acts
                property: "availableWidth"
                value: Math.max(0, bar.width - bar.gap * Math.max(0, vm.actCount - 1))
            }
            Row {
                spacing: bar.gap
                Repeater {
                    model: vm.acts
                    Rectangle {
                        id: block
                        required property var model
                        width: model.blockWidth
                        height: bar.height
                        radius: 3
                        color: Theme.alpha(model.color, 0.6)
                        Text {
                            anchors.centerIn: parent
                            text: block.model.count
                            color: "white"
                            font: Theme.font("caption2", 9, "semibold")
                        }
                    }
                }
            }
        }
        Flow {
            Layout.fillWidth: true
            spacing: Theme.spacing16
            Repeater {
                model: vm.acts
                Column {
                    id: legendEntry
                    required property string name
                    required property color color
                    required property int ticks
                    required property string overflowText
                    spacing: Theme.spacing4
                    Row {
                        spacing: Theme.spacing6
                        Rectangle {
                            anchors.verticalCenter: parent.verticalCenter
                            width: 8
                            height: 8
                            radius: 2
                            color: Theme.alpha(legendEntry.color, 0.6)
                        }
                        Text { text: legendEntry.name; color: Theme.textSecondary; font: Theme.font("caption") }
                    }
                    Row {
                        spacing: 2
                        Repeater {
                            model: legendEntry.ticks
                            Rectangle { width: 3; height: 8; radius: 1; color: Theme.alpha(Theme.accent, 0.4) }
                        }
                        Text {
                            visible: text !== ""
                            anchors.verticalCenter: parent.verticalCenter
                            leftPadding: 2
                            text: legendEntry.overflowText
                            color: Theme.textMuted
                            font: Theme.font("caption2", 9)
                        }
                    }
                }
            }
        }
    }

    // ---- quick stats ----
    SolidCard {
        Layout.fillWidth: true
        SectionLabel { text: "Quick Stats" }
        GridLayout {
            Layout.fillWidth: true
            columns: 2
            rowSpacing: Theme.spacing8
            columnSpacing: Theme.spacing8
            Repeater {
                // The symbol last on each line: the icon check reads a line from "symbol:" on.
                model: [
                    { caption: "Segments", value: String(vm.segmentCount), symbol: "film" },
                    { caption: "Subtitles", value: String(vm.subtitleCount), symbol: "text.bubble" },
                    { caption: "Duration", value: vm.durationText, symbol: "clock" },
                    { caption: "Acts", value: String(vm.actCount), symbol: "list.number" }
                ]
                Rectangle {
                    required property int index
                    required property var modelData
                    objectName: "stat" + modelData.caption
                    property string text: modelData.value
                    Layout.fillWidth: true
                    implicitHeight: 56
                    radius: Theme.radiusSm
                    color: Theme.alpha(Theme.muted, 0.6)
                    border.width: 1
                    border.color: Theme.alpha(Theme.border, 0.4)
                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: Theme.spacing12
                        anchors.rightMargin: Theme.spacing12
                        spacing: Theme.spacing12
                        DoneGradientSymbol {
                            symbol: modelData.symbol
                            size: 20
                            colors: Theme.stepGradient(index)
                        }
                        ColumnLayout {
                            spacing: 0
                            Text { text: modelData.value; color: Theme.foreground; font: Theme.font("title2") }
                            Text { text: modelData.caption; color: Theme.textMuted; font: Theme.font("caption") }
                        }
                        Item { Layout.fillWidth: true }
                    }
                }
            }
        }
    }

    // ---- export ----
    SolidCard {
        Layout.fillWidth: true
        SectionLabel { text: "Export" }
        RowLayout {
            visible: vm.hasExportDir
            Layout.fillWidth: true
            spacing: Theme.spacing8
            Repeater {
                model: vm.exportFiles
                DoneExportTile {
                    required property int index
                    required property string symbol
                    required property string label
                    required property string fileName
                    required property bool exists
                    objectName: "exportFile" + index
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    iconSymbol: symbol
                    title: label
                    caption: fileName
                    captionMono: true
                    outline: exists ? Theme.alpha(Theme.accent, 0.4) : Theme.alpha(Theme.border, 0.3)
                    onClicked: vm.showExportFile(index)
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.spacing8
            DoneExportTile {
                objectName: "exportFcpxml"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                iconSymbol: "film.stack"
                title: "FCPXML"
                caption: "FCP + Resolve"
                onClicked: vm.exportFcpxml()
            }
            DoneExportTile {
                objectName: "exportEdl"
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                iconSymbol: "list.bullet.rectangle"
                title: "EDL"
                caption: "Universal"
                onClicked: vm.exportEdl()
            }
        }
        DoneSavedNote {
            objectName: "exportSaved"
            Layout.fillWidth: true
            visible: vm.savedFor === "export" && (vm.savedNote !== "" || vm.isSaving)
            model: vm
        }
        DoneTintButton {
            objectName: "openExportFolder"
            Layout.alignment: Qt.AlignLeft
            leftPadding: Theme.spacing4
            text: "Open Export Folder"
            symbol: "folder"
            tint: Theme.accent
            onClicked: vm.openExportFolder()
        }
        DoneFolderMessage {
            Layout.fillWidth: true
            model: vm
            place: "export"
        }
    }

    // ---- verdict ----
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing8
        Text { text: "How'd we do?"; color: Theme.textMuted; font: Theme.font("body") }
        Item { Layout.fillWidth: true }
        DoneTintButton {
            objectName: "rateGood"
            readonly property bool chosen: root.wizard.rating === 1
            text: "Good"
            symbol: chosen ? "hand.thumbsup.fill" : "hand.thumbsup"
            tint: chosen ? Theme.green : Theme.textMuted
            fill: chosen ? Theme.alpha(Theme.green, 0.1) : "transparent"
            outline: chosen ? Theme.alpha(Theme.green, 0.3) : "transparent"
            onClicked: root.wizard.rating = 1
        }
        DoneTintButton {
            objectName: "rateNeedsWork"
            readonly property bool chosen: root.wizard.rating === 0
            text: "Needs work"
            symbol: chosen ? "hand.thumbsdown.fill" : "hand.thumbsdown"
            tint: chosen ? Theme.accent : Theme.textMuted
            fill: chosen ? Theme.alpha(Theme.accent, 0.1) : "transparent"
            outline: chosen ? Theme.alpha(Theme.accent, 0.3) : "transparent"
            onClicked: root.wizard.rating = 0
        }
    }

    Item { Layout.preferredHeight: Theme.spacing24 }
}
