import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// What an audit found in an existing cut: how much of the footage it uses, how sure the analysis
// is, the buried gold it leaves out, what it says twice, better takes and missing themes.
ScreenColumn {
    id: root
    objectName: "auditPage"
    required property MineView wizard
    maxWidth: 600

    AuditModel {
        id: vm
        wizard: root.wizard
    }

    // ---- header ----
    ColumnLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing8
        PixelPickaxeView {
            Layout.alignment: Qt.AlignHCenter
            size: 32
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "Audit Complete"
            color: Theme.foreground
            font: Theme.font("title")
        }
        Text {
            objectName: "auditSummary"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: vm.summary
            color: Theme.textMuted
            font: Theme.font("callout")
            lineHeight: 1.15
        }
    }

    // ---- coverage ----
    SolidCard {
        Layout.fillWidth: true
        RowLayout {
            Layout.fillWidth: true
            SectionLabel { text: "Coverage" }
            Item { Layout.fillWidth: true }
            Text {
                objectName: "coverageText"
                text: vm.coverageText
                color: vm.coverageColor
                font: Theme.font("title2", 18, "bold")
            }
        }
        Item {
            Layout.fillWidth: true
            implicitHeight: 10
            Rectangle {
                anchors.fill: parent
                radius: height / 2
                color: Theme.alpha(Theme.border, 0.3)
            }
            RoundedShape {
                // A report past 100% fills the track and goes no further.
                width: parent.width * Math.min(vm.coverageShare, 1)
                height: parent.height
                radius: height / 2
                fillColors: Theme.stepGradient(0)
                fillDirection: "horizontal"
            }
        }
        RowLayout {
            spacing: Theme.spacing20
            RowLayout {
                spacing: Theme.spacing6
                Rectangle { width: 8; height: 8; radius: 2; color: Theme.accent }
                Text { text: "Used"; color: Theme.textMuted; font: Theme.font("caption") }
                Text { objectName: "usedText"; text: vm.usedText; color: Theme.foreground; font: Theme.font("caption", 0, "semibold") }
            }
            RowLayout {
                spacing: Theme.spacing6
                Rectangle { width: 8; height: 8; radius: 2; color: Theme.alpha(Theme.textMuted, 0.4) }
                Text { text: "Unused"; color: Theme.textMuted; font: Theme.font("caption") }
                Text { objectName: "unusedText"; text: vm.unusedText; color: Theme.foreground; font: Theme.font("caption", 0, "semibold") }
            }
        }
    }

    // ---- confidence ----
    SolidCard {
        Layout.fillWidth: true
        RowLayout {
            Layout.fillWidth: true
            SectionLabel { text: "Confidence Score" }
            Item { Layout.fillWidth: true }
            Text {
                objectName: "confidenceText"
                text: vm.confidenceText
                color: vm.confidenceColor
                font: Theme.font("title2", 18, "bold")
            }
        }
        Item {
            Layout.fillWidth: true
            implicitHeight: 10
            Rectangle {
                anchors.fill: parent
                radius: height / 2
                color: Theme.alpha(Theme.border, 0.3)
            }
            SoftShadow {
                width: parent.width * vm.confidenceShare
                height: parent.height
                radius: height / 2
                color: Theme.alpha(vm.confidenceColor, 0.35)
                blur: 6
                offsetY: 1
            }
            RoundedShape {
                width: parent.width * vm.confidenceShare
                height: parent.height
                radius: height / 2
                fillColors: vm.confidenceGradient
                fillDirection: "horizontal"
            }
        }
        Text {
            objectName: "confidenceMessage"
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: vm.confidenceMessage
            color: Theme.textMuted
            font: Theme.font("subheadline")
        }
    }

    // ---- buried gold ----
    ColumnLayout {
        objectName: "buriedGold"
        visible: vm.goldCount > 0
        Layout.fillWidth: true
        spacing: Theme.spacing8
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing4
            SectionLabel { text: "Buried Gold" }
            Item { Layout.fillWidth: true }
            Text { text: vm.goldCountText; color: Theme.accent; font: Theme.font("caption", 0, "semibold") }
        }
        Repeater {
            model: vm.gold
            AuditGoldCard {
                required property int index
                required property var model
                Layout.fillWidth: true
                row: index
                text: model.text
                reason: model.reason
                rangeText: model.rangeText
                durationText: model.durationText
                stars: model.stars
                expanded: model.expanded
                selected: model.selected
                onToggleExpanded: vm.gold.toggleExpanded(index)
                onToggleSelected: vm.gold.toggleSelected(index)
            }
        }
    }

    // ---- redundancies ----
    ColumnLayout {
        objectName: "redundancies"
        visible: vm.redundancyCount > 0
        Layout.fillWidth: true
        spacing: Theme.spacing8
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing4
            SymbolIcon { symbol: "exclamationmark.triangle.fill"; size: 12; color: Theme.orange }
            SectionLabel { text: "Redundancies" }
            Item { Layout.fillWidth: true }
            Text { text: vm.redundancyCount; color: Theme.orange; font: Theme.font("caption", 0, "semibold") }
        }
        Repeater {
            model: vm.redundancies
            Rectangle {
                id: redundancyCard
                required property string topic
                required property string firstRange
                required property string secondRange
                Layout.fillWidth: true
                implicitHeight: redundancy.implicitHeight + 2 * Theme.spacing12
                radius: 10
                color: Theme.alpha(Theme.orange, 0.08)
                border.width: 1
                border.color: Theme.alpha(Theme.orange, 0.3)
                ColumnLayout {
                    id: redundancy
                    anchors.fill: parent
                    anchors.margins: Theme.spacing12
                    spacing: Theme.spacing8
                    Text {
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        text: redundancyCard.topic
                        color: Theme.foreground
                        font: Theme.font("body", 14, "medium")
                    }
                    RowLayout {
                        spacing: Theme.spacing12
                        ColumnLayout {
                            spacing: Theme.spacing2
                            Text { text: "First instance"; color: Theme.textMuted; font: Theme.font("caption2") }
                            Text { text: redundancyCard.firstRange; color: Theme.orange; font: Theme.font("mono") }
                        }
                        SymbolIcon { symbol: "arrow.right"; size: 12; color: Theme.textMuted }
                        ColumnLayout {
                            spacing: Theme.spacing2
                            Text { text: "Repeated at"; color: Theme.textMuted; font: Theme.font("caption2") }
                            Text { text: redundancyCard.secondRange; color: Theme.orange; font: Theme.font("mono") }
                        }
                    }
                }
            }
        }
    }

    // ---- alternate takes ----
    ColumnLayout {
        objectName: "alternates"
        visible: vm.alternateCount > 0
        Layout.fillWidth: true
        spacing: Theme.spacing8
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing4
            SymbolIcon { symbol: "arrow.triangle.swap"; size: 13; color: Theme.blue }
            SectionLabel { text: "Alternate Takes" }
            Item { Layout.fillWidth: true }
            Text { text: vm.alternateCount; color: Theme.blue; font: Theme.font("caption", 0, "semibold") }
        }
        Repeater {
            model: vm.alternates
            Rectangle {
                id: alternate
                required property string alternateText
                required property string reason
                required property string currentRange
                required property string betterRange
                Layout.fillWidth: true
                implicitHeight: alternateBody.implicitHeight + 2 * Theme.spacing12
                radius: 10
                color: Theme.alpha(Theme.blue, 0.06)
                border.width: 1
                border.color: Theme.alpha(Theme.blue, 0.3)
                ColumnLayout {
                    id: alternateBody
                    anchors.fill: parent
                    anchors.margins: Theme.spacing12
                    spacing: Theme.spacing6
                    Text {
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        text: alternate.alternateText
                        color: Theme.foreground
                        font: Theme.font("body", 14)
                    }
                    Text {
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        text: alternate.reason
                        color: Theme.textMuted
                        font: Theme.font("subheadline")
                    }
                    RowLayout {
                        Layout.topMargin: Theme.spacing2
                        spacing: Theme.spacing24
                        ColumnLayout {
                            spacing: Theme.spacing2
                            Text { text: "Current"; color: Theme.textMuted; font: Theme.font("caption2") }
                            Text { text: alternate.currentRange; color: Theme.textMuted; font: Theme.font("mono") }
                        }
                        ColumnLayout {
                            spacing: Theme.spacing2
                            Text { text: "Better"; color: Theme.blue; font: Theme.font("caption2") }
                            Text { text: alternate.betterRange; color: Theme.blue; font: Theme.font("mono") }
                        }
                    }
                }
            }
        }
    }

    // ---- theme gaps ----
    ColumnLayout {
        objectName: "themeGaps"
        visible: vm.themeGaps.length > 0
        Layout.fillWidth: true
        spacing: Theme.spacing8
        SectionLabel {
            Layout.topMargin: Theme.spacing4
            text: "Theme Gaps"
        }
        Flow {
            Layout.fillWidth: true
            spacing: Theme.spacing8
            Repeater {
                model: vm.themeGaps
                Rectangle {
                    required property string modelData
                    width: chip.implicitWidth + 2 * Theme.spacing12
                    height: chip.implicitHeight + 2 * Theme.spacing6
                    radius: height / 2
                    color: Theme.alpha(Theme.muted, 0.3)
                    border.width: 1
                    border.color: Theme.alpha(Theme.border, 0.4)
                    Row {
                        id: chip
                        anchors.centerIn: parent
                        spacing: Theme.spacing6
                        SymbolIcon {
                            anchors.verticalCenter: parent.verticalCenter
                            symbol: "circle.fill"
                            size: 6
                            color: Theme.accent
                        }
                        Text { text: modelData; color: Theme.foreground; font: Theme.font("subheadline") }
                    }
                }
            }
        }
    }

    // ---- actions, pinned under the report ----
    footer: ColumnLayout {
        spacing: Theme.spacing4
        PrimaryButton {
            objectName: "addMoments"
            visible: vm.selectedCount > 0
            Layout.fillWidth: true
            implicitHeight: 44
            text: vm.isAdding ? vm.addingText : vm.addMomentsText
            busy: vm.isAdding
            // Inert while building, but drawn at full strength: it is busy, not unavailable.
            enabled: !vm.isAdding
            opacity: 1
            leading: Component { PixelGemView { color: "white"; size: 14 } }
            onClicked: vm.addMoments()
        }
        Text {
            objectName: "addStatus"
            visible: vm.addStatus !== ""
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: vm.addStatus
            color: vm.addFailed ? Theme.accent : Theme.green
            font: Theme.font("subheadline", 0, "medium")
        }
        ThemedButton {
            objectName: "auditAnother"
            Layout.alignment: Qt.AlignHCenter
            text: "Audit another timeline"
            textColor: hovered ? Theme.foreground : Theme.textMuted
            background: Item { implicitHeight: 36 }
            onClicked: vm.startOver()
        }
    }

    Item { Layout.preferredHeight: Theme.spacing24 }
}
