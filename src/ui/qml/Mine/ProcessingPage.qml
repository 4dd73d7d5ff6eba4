import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// Keeps the user company while a run goes on: the swinging pick, the step in words, the bar, a
// rotating fact, the pipeline's log as a console, any error, and a way to cancel. It only reads the
// pipeline; the wizard itself moves on when the run completes.
Item {
    id: root
    required property MineView wizard
    readonly property var pipeline: wizard.pipeline

    ProcessingModel {
        id: vm
        wizard: root.wizard
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.spacing32
        anchors.rightMargin: Theme.spacing32
        anchors.topMargin: Theme.spacing12
        anchors.bottomMargin: Theme.spacing16
        spacing: Theme.spacing12

        ColumnLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: 680
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: Theme.spacing12

            PixelPickaxeAnimated {
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: Theme.spacing8
            }

            ColumnLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: Theme.spacing4
                Text {
                    objectName: "miningTitle"
                    Layout.alignment: Qt.AlignHCenter
                    // Sized for the longest dots so the caption does not jitter.
                    Layout.preferredWidth: Math.max(titleMetrics.advanceWidth, implicitWidth)
                    horizontalAlignment: Text.AlignHCenter
                    text: vm.title
                    color: Theme.foreground
                    font: Theme.font("body", 16, "semibold")
                    TextMetrics {
                        id: titleMetrics
                        font: Theme.font("body", 16, "semibold")
                        text: "Mining in progress..."
                    }
                }
                Text {
                    objectName: "stepCaption"
                    Layout.alignment: Qt.AlignHCenter
                    text: root.pipeline.stepCaption
                    color: Theme.accent
                    font: Theme.font("subheadline", 12)
                }
                RowLayout {
                    objectName: "waitingForTurn"
                    Layout.alignment: Qt.AlignHCenter
                    visible: root.pipeline.waitingForTurn
                    spacing: Theme.spacing6
                    Spinner { size: 12; color: Theme.textMuted }
                    Text {
                        text: vm.waitingText
                        color: Theme.textSecondary
                        font: Theme.font("subheadline", 12)
                    }
                }
            }

            // The bar: a faint track and an accent fill with a coloured glow, eased on each change.
            Item {
                id: bar
                Layout.fillWidth: true
                Layout.preferredHeight: 4
                Layout.topMargin: Theme.spacing4
                Rectangle {
                    anchors.fill: parent
                    radius: 2
                    color: Theme.alpha(Theme.border, 0.5)
                }
                Item {
                    id: barFill
                    objectName: "progressFill"
                    height: parent.height
                    width: bar.width * Math.max(0, Math.min(1, root.pipeline.progress))
                    Behavior on width { NumberAnimation { duration: 350; easing.type: Easing.InOutQuad } }
                    SoftShadow {
                        anchors.fill: parent
                        visible: barFill.width > 0
                        radius: 2
                        color: Theme.alpha(Theme.accent, 0.45)
                        blur: 6
                        offsetY: 2
                    }
                    RoundedShape {
                        anchors.fill: parent
                        radius: 2
                        fillColors: [Theme.accent, Theme.accentHover]
                        fillDirection: "horizontal"
                    }
                }
            }

            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: Theme.spacing6
                PixelGemView { size: 14; color: Theme.accent }
                Text {
                    objectName: "creditsUsed"
                    text: vm.creditsText
                    color: Theme.textMuted
                    font: Theme.font("subheadline", 12)
                }
            }

            ProcessingFactCard {
                Layout.fillWidth: true
                fact: vm.factText
            }

            ProcessingConsole {
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.minimumHeight: 120
                logs: root.pipeline.logs
                viewModel: vm
            }

            Rectangle {
                objectName: "miningError"
                Layout.fillWidth: true
                visible: root.pipeline.errorMessage !== ""
                implicitHeight: errorRow.implicitHeight + 2 * Theme.spacing12
                radius: 10
                color: Theme.alpha(Theme.accent, 0.08)
                RowLayout {
                    id: errorRow
                    anchors.fill: parent
                    anchors.margins: Theme.spacing12
                    spacing: Theme.spacing8
                    SymbolIcon {
                        Layout.alignment: Qt.AlignTop
                        symbol: "exclamationmark.triangle.fill"
                        size: 14
                        color: Theme.accent
                    }
                    Text {
                        objectName: "miningErrorText"
                        Layout.fillWidth: true
                        text: root.pipeline.errorMessage
                        color: Theme.accent
                        wrapMode: Text.Wrap
                        font: Theme.font("subheadline")
                    }
                }
            }

            // Once the work has ended the page says so and offers the way on instead of Cancel.
            PrimaryButton {
                objectName: "miningNext"
                Layout.alignment: Qt.AlignHCenter
                visible: vm.outcome !== ""
                text: vm.nextText
                onClicked: vm.goOn()
            }

            AbstractButton {
                objectName: "cancelMining"
                Layout.alignment: Qt.AlignHCenter
                visible: vm.outcome === ""
                hoverEnabled: true
                padding: Theme.spacing6
                onClicked: vm.askCancel()
                contentItem: Text {
                    text: "Cancel"
                    color: Theme.alpha(Theme.textMuted, parent.hovered ? 0.9 : 0.6)
                    font: Theme.font("body")
                }
            }
        }
    }

    ConfirmDialog {
        open: vm.showCancelConfirm
        title: "Cancel mining?"
        message: "Progress will be lost."
        cancelText: "Keep Mining"
        confirmText: "Cancel"
        destructive: true
        onCancelled: vm.keepMining()
        onConfirmed: vm.confirmCancel()
    }
}
