import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The wizard's second page, "How should it feel?": Magic Mode, or a preset, a reference and the
// sliders, with the output they are likely to give; then back to the setup or into the run.
Item {
    id: root
    required property MineView wizard
    readonly property real columnWidth: Math.min(620, width - 2 * Theme.spacing24)

    // Magic Mode, the estimate and the way on; the style guide keeps a model of its own.
    StylePageModel {
        id: vm
        wizard: root.wizard
    }

    ColumnLayout {
        anchors.horizontalCenter: parent.horizontalCenter
        width: root.columnWidth
        height: parent.height
        spacing: Theme.spacing16

        ColumnLayout {
            Layout.topMargin: Theme.spacing24
            spacing: Theme.spacing4
            Text {
                text: "How should it feel?"
                color: Theme.foreground
                font: Theme.font("title")
            }
            Text {
                text: "Pick a style, paste a reference, or let the AI decide"
                color: Theme.textMuted
                font: Theme.font("body")
            }
        }

        StyleMagicModeCard {
            objectName: "magicMode"
            Layout.fillWidth: true
            isOn: vm.isMagicMode
            onClicked: vm.toggleMagicMode()
        }

        // Hidden, not reset, under Magic Mode: the style stays as it was for when it comes back.
        ScrollView {
            id: scroll
            objectName: "styleGuide"
            visible: !vm.isMagicMode
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true

            ColumnLayout {
                width: scroll.availableWidth
                spacing: Theme.spacing12

                StyleGuideView {
                    Layout.fillWidth: true
                    wizard: root.wizard
                }

                Rectangle {
                    Layout.fillWidth: true
                    Layout.bottomMargin: Theme.spacing4
                    implicitHeight: output.implicitHeight + 2 * Theme.spacing12
                    radius: Theme.radiusSm
                    color: Theme.alpha(Theme.muted, 0.3)
                    RowLayout {
                        id: output
                        anchors.fill: parent
                        anchors.margins: Theme.spacing12
                        spacing: Theme.spacing8
                        SymbolIcon { symbol: "sparkles"; size: 14; color: Theme.accent }
                        Text {
                            text: "Estimated output:"
                            color: Theme.textMuted
                            font: Theme.font("body")
                        }
                        Text {
                            objectName: "estimatedOutput"
                            Layout.fillWidth: true
                            text: vm.estimatedOutput
                            color: Theme.foreground
                            font: Theme.font("body", 13, "semibold")
                        }
                    }
                }
            }
        }
        Item {
            visible: vm.isMagicMode
            Layout.fillWidth: true
            Layout.fillHeight: true
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.bottomMargin: Theme.spacing20
            spacing: Theme.spacing12

            ThemedButton {
                id: back
                objectName: "styleBack"
                text: "Back"
                symbol: "arrow.left"
                textColor: Theme.foreground
                onClicked: vm.back()
                background: Item {
                    implicitHeight: 40
                    RoundedShape {
                        anchors.fill: parent
                        radius: Theme.radiusMd
                        fillColor: Theme.alpha(Theme.muted, 0.7)
                    }
                    RoundedShape {
                        anchors.fill: parent
                        radius: Theme.radiusMd
                        fillColors: Theme.glassGradient
                        fillDirection: "vertical"
                        strokeWidth: 1
                        strokeColor: Theme.alpha(Theme.border, 0.4)
                    }
                    Rectangle {
                        anchors.fill: parent
                        radius: Theme.radiusMd
                        color: Qt.rgba(1, 1, 1, 0.05)
                        opacity: back.hoverLevel
                    }
                }
            }
            Item { Layout.fillWidth: true }
            SheenActionButton {
                objectName: "startMining"
                text: vm.startText
                symbol: vm.isMagicMode ? "wand.and.stars" : ""
                leading: vm.isMagicMode ? null : gem
                fill: vm.isMagicMode ? Theme.purple : Theme.accent
                onClicked: vm.start()
            }
        }
    }

    Component {
        id: gem
        PixelGemView { color: "white"; size: 14 }
    }
}
