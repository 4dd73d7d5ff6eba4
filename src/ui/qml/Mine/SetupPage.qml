import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Dialogs
import Ondrel.Ui

// The wizard's first page: the recent mines, the source (a timeline in Resolve, media files, or an
// editor's timeline file) and, once there is one, the mode, language and length of the story, the
// cost estimate and the way on.
Item {
    id: root
    required property MineView wizard
    readonly property real columnWidth: Math.min(620, width - 2 * Theme.spacing24)
    // Why a file dialog could not open, said where the editor clicked.
    property string dialogProblem: ""

    function openDialog(dialog) {
        dialogProblem = wizard.fileDialogProblem()
        if (dialogProblem === "")
            dialog.open()
    }

    SetupPageModel {
        id: vm
        wizard: root.wizard
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ScrollView {
            id: scroll
            objectName: "setupScroll"
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true

            ColumnLayout {
                id: form
                x: (scroll.availableWidth - width) / 2
                width: root.columnWidth
                spacing: Theme.spacing20

                Item { Layout.preferredHeight: Theme.spacing4 }

                // Header.
                ColumnLayout {
                    spacing: Theme.spacing4
                    Text {
                        text: "Mine a Story"
                        color: Theme.foreground
                        font: Theme.font("title")
                    }
                    Text {
                        text: "Pick your source: a Resolve timeline, media files or an editor's timeline"
                        color: Theme.textMuted
                        font: Theme.font("body")
                    }
                }

                // Recent mines: the first three saved projects.
                ColumnLayout {
                    objectName: "recentMines"
                    visible: vm.hasRecentMines
                    Layout.fillWidth: true
                    spacing: Theme.spacing8
                    RowLayout {
                        spacing: Theme.spacing6
                        SymbolIcon { symbol: "clock.arrow.circlepath"; size: 13; color: Theme.accent }
                        SectionLabel { text: "RECENT MINES"; color: Theme.accent }
                    }
                    Repeater {
                        model: vm.recentMines
                        SetupRecentMineRow {
                            objectName: "recentMine" + index
                            Layout.fillWidth: true
                            timeline: model.timeline
                            clipsText: model.clipsText
                            detailText: model.detailText
                            // The row of the wizard's list: the first rows are the ones shown.
                            onClicked: root.wizard.loadProject(index)
                        }
                    }
                }

                // Where the media come from.
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: Theme.spacing8
                    SectionLabel { text: "SOURCE" }
                    RowLayout {
                        Layout.fillWidth: true
                        spacing: Theme.spacing8
                        Repeater {
                            model: [
                                { kind: "resolve", label: "Resolve timeline", symbol: "waveform" },
                                { kind: "files", label: "Media files", symbol: "folder" },
                                { kind: "timelineFile", label: "Timeline file", symbol: "doc.text" }
                            ]
                            SetupSourceTab {
                                required property var modelData
                                objectName: "source_" + modelData.kind
                                Layout.fillWidth: true
                                Layout.preferredWidth: 1
                                label: modelData.label
                                iconSymbol: modelData.symbol
                                selected: root.wizard.sourceKind === modelData.kind
                                onClicked: root.wizard.sourceKind = modelData.kind
                            }
                        }
                    }
                }

                Text {
                    objectName: "dialogProblem"
                    visible: root.dialogProblem !== "" && root.wizard.sourceKind !== "resolve"
                    Layout.fillWidth: true
                    text: root.dialogProblem
                    color: Theme.error
                    wrapMode: Text.Wrap
                    font: Theme.font("subheadline")
                }

                // Media files picked or dropped.
                SetupFilesCard {
                    objectName: "filesCard"
                    visible: root.wizard.sourceKind === "files"
                    Layout.fillWidth: true
                    files: root.wizard.sourceFiles
                    onChooseFiles: root.openDialog(fileDialog)
                    onChooseFolder: root.openDialog(folderDialog)
                }

                // An editor's timeline file chosen or dropped.
                SetupTimelineFileCard {
                    objectName: "timelineFileCard"
                    visible: root.wizard.sourceKind === "timelineFile"
                    Layout.fillWidth: true
                    timeline: root.wizard.timelineFile
                    onChooseFile: root.openDialog(timelineFileDialog)
                    onLocateFolder: root.openDialog(mediaFolderDialog)
                }

                // Connection to Resolve.
                GlassCard {
                    objectName: "connectionCard"
                    visible: root.wizard.speaksResolve
                    Layout.fillWidth: true
                    radius: Theme.radiusMd
                    padding: Theme.spacing16
                    RowLayout {
                        spacing: Theme.spacing12
                        Item {
                            implicitWidth: 22
                            implicitHeight: 22
                            readonly property color tint: vm.isConnected ? Theme.success : Theme.error
                            Rectangle {
                                anchors.fill: parent
                                radius: width / 2
                                color: Theme.alpha(parent.tint, 0.12)
                            }
                            Rectangle {
                                anchors.centerIn: parent
                                width: 10
                                height: 10
                                radius: 5
                                color: parent.tint
                            }
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: Theme.spacing2
                            Text {
                                objectName: "connectionStatus"
                                text: vm.statusText
                                color: Theme.foreground
                                font: Theme.font("headline")
                            }
                            Text {
                                objectName: "connectionDetail"
                                Layout.fillWidth: true
                                text: vm.statusDetail
                                color: Theme.textMuted
                                font: Theme.font("subheadline")
                                elide: Text.ElideRight
                            }
                        }
                        AbstractButton {
                            id: refresh
                            objectName: "refreshConnection"
                            hoverEnabled: true
                            padding: Theme.spacing8
                            leftPadding: Theme.spacing12
                            rightPadding: Theme.spacing12
                            onClicked: root.wizard.refreshConnection()
                            contentItem: Text {
                                text: "Refresh"
                                color: Theme.accent
                                font: Theme.font("subheadline", 12, "semibold")
                            }
                            background: Rectangle {
                                radius: Theme.radiusSm
                                color: Theme.alpha(Theme.accent, refresh.hovered ? 0.18 : 0.1)
                            }
                        }
                    }
                }

                // The rest of the form needs a source.
                ColumnLayout {
                    objectName: "setupForm"
                    visible: vm.showsForm
                    Layout.fillWidth: true
                    spacing: Theme.spacing20

                    ColumnLayout {
                        visible: root.wizard.speaksResolve
                        Layout.fillWidth: true
                        spacing: Theme.spacing8
                        SectionLabel { text: "TIMELINE" }
                        Text {
                            objectName: "noTimelines"
                            visible: !vm.hasTimelines
                            text: "No timelines found"
                            color: Theme.textMuted
                            font: Theme.font("body")
                        }
                        SetupComboBox {
                            objectName: "timelinePicker"
                            visible: vm.hasTimelines
                            Layout.fillWidth: true
                            model: vm.timelineOptions
                            currentIndex: vm.timelineIndex
                            // A recent mine may name a timeline this Resolve project doesn't have.
                            displayText: currentIndex < 0 ? root.wizard.selectedTimeline : currentText
                            onActivated: index => vm.chooseTimeline(index)
                        }

                        // The chosen source.
                        Rectangle {
                            objectName: "sourcePreview"
                            visible: vm.hasTimeline
                            Layout.fillWidth: true
                            Layout.topMargin: Theme.spacing4
                            implicitHeight: preview.implicitHeight + 2 * Theme.spacing12
                            radius: Theme.radiusSm
                            color: Theme.alpha(Theme.accent, 0.04)
                            border.width: 1
                            border.color: Theme.alpha(Theme.accent, 0.15)
                            RowLayout {
                                id: preview
                                anchors.fill: parent
                                anchors.margins: Theme.spacing12
                                spacing: Theme.spacing12
                                Rectangle {
                                    implicitWidth: 36
                                    implicitHeight: 36
                                    radius: Theme.radiusSm
                                    color: Theme.muted
                                    SymbolIcon {
                                        anchors.centerIn: parent
                                        symbol: "waveform"
                                        size: 18
                                        color: Theme.textMuted
                                    }
                                }
                                ColumnLayout {
                                    Layout.fillWidth: true
                                    spacing: Theme.spacing2
                                    Text {
                                        Layout.fillWidth: true
                                        text: root.wizard.selectedTimeline
                                        color: Theme.foreground
                                        font: Theme.font("body", 13, "medium")
                                        elide: Text.ElideRight
                                        maximumLineCount: 1
                                    }
                                    Text {
                                        text: "Duration & tracks detected on export"
                                        color: Theme.textMuted
                                        font: Theme.font("caption")
                                    }
                                }
                                PixelGemView { color: Theme.accent; size: 20 }
                            }
                        }
                    }

                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: Theme.spacing8
                        SectionLabel { text: "MODE" }
                        GridLayout {
                            Layout.fillWidth: true
                            columns: 2
                            columnSpacing: Theme.spacing8
                            rowSpacing: Theme.spacing8
                            Repeater {
                                model: root.wizard.modes
                                SetupModeCard {
                                    required property var modelData
                                    objectName: "mode" + modelData.mode
                                    Layout.fillWidth: true
                                    Layout.preferredWidth: 1
                                    Layout.fillHeight: true
                                    label: modelData.label
                                    subtitle: modelData.subtitle
                                    modeColor: modelData.color
                                    selected: root.wizard.selectedMode === modelData.mode
                                    onClicked: root.wizard.selectedMode = modelData.mode
                                }
                            }
                        }
                    }

                    RowLayout {
                        Layout.fillWidth: true
                        spacing: Theme.spacing12
                        SectionLabel { text: "LANGUAGE" }
                        Item { Layout.fillWidth: true }
                        SetupComboBox {
                            objectName: "languagePicker"
                            Layout.preferredWidth: 200
                            model: vm.languageNames
                            currentIndex: vm.languageIndex
                            onActivated: index => vm.chooseLanguage(index)
                        }
                    }

                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: Theme.spacing8
                        RowLayout {
                            Layout.fillWidth: true
                            SectionLabel { text: "TARGET LENGTH" }
                            Item { Layout.fillWidth: true }
                            Text {
                                objectName: "targetText"
                                text: vm.targetText
                                color: Theme.accent
                                font: Theme.font("headline", 14)
                            }
                        }
                        Slider {
                            id: target
                            objectName: "targetSlider"
                            Layout.fillWidth: true
                            from: 1
                            to: vm.maxTargetMinutes
                            stepSize: 1
                            snapMode: Slider.SnapAlways
                            value: root.wizard.targetMinutes
                            onMoved: root.wizard.targetMinutes = value
                            leftPadding: 0
                            rightPadding: 0

                            background: Item {
                                x: target.leftPadding
                                y: target.topPadding + target.availableHeight / 2 - height / 2
                                implicitWidth: 200
                                implicitHeight: 4
                                width: target.availableWidth
                                height: 4
                                Rectangle {
                                    anchors.fill: parent
                                    radius: 2
                                    color: Theme.border
                                }
                                Rectangle {
                                    width: target.visualPosition * parent.width
                                    height: parent.height
                                    radius: 2
                                    color: Theme.accent
                                }
                            }
                            handle: Rectangle {
                                x: target.leftPadding + target.visualPosition * (target.availableWidth - width)
                                y: target.topPadding + target.availableHeight / 2 - height / 2
                                implicitWidth: 18
                                implicitHeight: 18
                                radius: 9
                                color: target.pressed ? Theme.accentHover : Theme.accent
                                border.width: 2
                                border.color: Qt.rgba(1, 1, 1, 0.85)
                            }
                        }
                        RowLayout {
                            Layout.fillWidth: true
                            Text {
                                text: "1 min"
                                color: Theme.textMuted
                                opacity: 0.6
                                font: Theme.font("caption2")
                            }
                            Item { Layout.fillWidth: true }
                            Text {
                                text: vm.maxTargetText
                                color: Theme.textMuted
                                opacity: 0.6
                                font: Theme.font("caption2")
                            }
                        }
                    }
                }

                Item { Layout.preferredHeight: Theme.spacing8 }
            }
        }

        // The way on; only once there is a source.
        Text {
            objectName: "setupBlocked"
            visible: vm.blockedText !== ""
            Layout.preferredWidth: root.columnWidth
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.spacing8
            wrapMode: Text.Wrap
            text: vm.blockedText
            color: Theme.orange
            font: Theme.font("subheadline")
        }
        Rectangle {
            visible: vm.showsForm
            Layout.fillWidth: false
            Layout.preferredWidth: root.columnWidth
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredHeight: 1
            color: Theme.alpha(Theme.border, 0.3)
        }
        // The cost stands by the button it is the cost of, both pinned under the form: with a
        // timeline and recent mines the form runs past the window's default height.
        RowLayout {
            visible: vm.showsForm
            // A nested layout fills by default; the bar keeps to the form's column.
            Layout.fillWidth: false
            Layout.preferredWidth: root.columnWidth
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.spacing16
            Layout.bottomMargin: Theme.spacing20
            spacing: Theme.spacing16
            // The cost, a display only.
            RoundedShape {
                Layout.fillWidth: true
                implicitHeight: estimate.implicitHeight + 2 * Theme.spacing12
                radius: Theme.radiusSm
                fillColors: [Theme.alpha(Theme.accent, 0.1), Theme.alpha(Theme.accent, 0.03)]
                strokeWidth: 1
                strokeColor: Theme.alpha(Theme.accent, 0.2)
                RowLayout {
                    id: estimate
                    anchors.fill: parent
                    anchors.margins: Theme.spacing12
                    spacing: Theme.spacing8
                    SymbolIcon { symbol: "diamond.fill"; size: 14; color: Theme.accent }
                    Text {
                        text: "Estimated cost:"
                        color: Theme.textMuted
                        font: Theme.font("body")
                    }
                    Text {
                        objectName: "creditEstimate"
                        Layout.fillWidth: true
                        text: root.wizard.estimatedCreditsText
                        color: Theme.foreground
                        font: Theme.font("body", 13, "semibold")
                    }
                }
            }
            SheenActionButton {
                objectName: "setupNext"
                text: vm.mainActionText
                symbol: "arrow.right"
                symbolAtEnd: true
                fill: root.wizard.isAudit ? Theme.purple : Theme.accent
                enabled: vm.canContinue
                onClicked: vm.next()
            }
        }
    }

    // Files dropped anywhere on the page: one editor's timeline file is the source, anything else
    // media to mine.
    DropArea {
        objectName: "filesDrop"
        anchors.fill: parent
        onDropped: drop => {
            if (!drop.hasUrls)
                return
            root.wizard.dropUrls(drop.urls)
            drop.accept()
        }
    }

    FileDialog {
        id: fileDialog
        objectName: "mediaFilesDialog"
        title: "Choose media files"
        fileMode: FileDialog.OpenFiles
        nameFilters: ["Video and audio (*.mov *.mp4 *.m4v *.mxf *.mts *.avi *.mkv *.wav *.bwf *.aif *.aiff *.mp3 *.m4a *.aac *.flac)",
                      "All files (*)"]
        onAccepted: root.wizard.sourceFiles.addUrls(selectedFiles)
    }
    FileDialog {
        id: timelineFileDialog
        objectName: "timelineFileDialog"
        title: "Choose a timeline file"
        fileMode: FileDialog.OpenFile
        nameFilters: ["Timelines (*.fcpxml *.fcpxmld *.xml *.otio *.edl)", "All files (*)"]
        onAccepted: root.wizard.timelineFile.openUrl(selectedFile)
    }
    FolderDialog {
        id: mediaFolderDialog
        title: "Locate the missing media"
        onAccepted: root.wizard.timelineFile.locateFolder(selectedFolder)
    }
    FolderDialog {
        id: folderDialog
        title: "Choose a folder of media files"
        onAccepted: root.wizard.sourceFiles.addUrls([selectedFolder])
    }
}
