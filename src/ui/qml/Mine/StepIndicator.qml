import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// The wizard's five steps: done ones green with a check, the current one in the accent colour,
// later ones faint. A tap moves back only.
RowLayout {
    id: root
    required property MineView wizard
    spacing: 0

    Item { Layout.fillWidth: true }
    Repeater {
        model: root.wizard.stepLabels
        RowLayout {
            id: step
            required property int index
            required property string modelData
            readonly property int current: root.wizard.currentStep
            spacing: 0
            opacity: index <= current ? 1 : 0.5

            Item {
                objectName: "step" + step.modelData
                implicitWidth: stepRow.implicitWidth
                implicitHeight: stepRow.implicitHeight
                TapHandler { onTapped: root.wizard.tapStep(step.index) }
                HoverHandler {
                    // Read for their changes: whether a step can be tapped follows them.
                    cursorShape: (root.wizard.currentStep, root.wizard.isWorking, root.wizard.page,
                                  root.wizard.canTapStep(step.index)) ? Qt.PointingHandCursor : Qt.ArrowCursor
                }
                Row {
                    id: stepRow
                    spacing: Theme.spacing6
                    Rectangle {
                        width: 20
                        height: 20
                        radius: 10
                        color: step.index < step.current ? Theme.success
                             : step.index === step.current ? Theme.accent : Theme.alpha(Theme.border, 0.5)
                        SymbolIcon {
                            anchors.centerIn: parent
                            visible: step.index < step.current
                            symbol: "checkmark"
                            size: 9
                            bold: true
                            color: "white"
                        }
                        Text {
                            anchors.centerIn: parent
                            visible: step.index >= step.current
                            text: step.index + 1
                            color: step.index === step.current ? "white" : Theme.textMuted
                            font: Theme.font("body", 10, "semibold")
                        }
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: step.modelData
                        color: step.index <= step.current ? Theme.foreground : Theme.textMuted
                        font: Theme.font("subheadline", 12, step.index === step.current ? "semibold" : "regular")
                    }
                }
            }
            Rectangle {
                visible: step.index < root.wizard.stepLabels.length - 1
                Layout.leftMargin: Theme.spacing8
                Layout.rightMargin: Theme.spacing8
                implicitWidth: 28
                implicitHeight: 1
                color: step.index < step.current ? Theme.alpha(Theme.success, 0.3) : Theme.alpha(Theme.border, 0.3)
            }
        }
    }
    Item { Layout.fillWidth: true }
}
