import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The presets, the reference link and, behind "Fine-tune", the six sliders. It keeps a model of its
// own over the wizard, since "Fine-tune" is its own state and starts closed whenever it is made.
SolidCard {
    id: root
    required property MineView wizard
    readonly property StylePageModel page: guide
    spacing: Theme.spacing16

    StylePageModel {
        id: guide
        objectName: "styleGuideModel"
        wizard: root.wizard
    }

    RowLayout {
        spacing: Theme.spacing6
        SymbolIcon { symbol: "slider.horizontal.3"; size: 13; color: Theme.accent }
        SectionLabel { text: "STYLE GUIDE"; color: Theme.accent }
    }

    GridLayout {
        Layout.fillWidth: true
        columns: 4
        columnSpacing: Theme.spacing8
        rowSpacing: Theme.spacing8
        Repeater {
            model: root.page.presets
            // The roles (id, name, description, icon, selected) are read through `model`, since the
            // button's own properties carry the same names.
            PresetButton {
                objectName: "preset_" + model.id
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                name: model.name
                description: model.description
                presetIcon: model.icon
                isSelected: model.selected
                onClicked: root.page.selectPreset(model.id)
            }
        }
    }

    ColumnLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing8
        RowLayout {
            spacing: Theme.spacing6
            SymbolIcon { symbol: "link"; size: 12; color: Theme.textMuted }
            Text { text: "Or paste a reference"; color: Theme.textMuted; font: Theme.font("subheadline") }
        }
        TextField {
            id: reference
            objectName: "referenceField"
            Layout.fillWidth: true
            implicitHeight: 36
            leftPadding: Theme.spacing12
            rightPadding: clear.visible ? Theme.spacing32 : Theme.spacing12
            placeholderText: "YouTube or Vimeo URL"
            placeholderTextColor: Theme.alpha(Theme.textMuted, 0.7)
            color: Theme.foreground
            selectionColor: Theme.alpha(Theme.accent, 0.4)
            selectedTextColor: Theme.foreground
            font: Theme.font("body")
            text: root.wizard.referenceURL
            onTextEdited: root.wizard.referenceURL = text
            background: Rectangle {
                radius: Theme.radiusSm
                color: Theme.background
                border.width: 1
                border.color: reference.text === "" ? Theme.border : Theme.accent
            }
            AbstractButton {
                id: clear
                objectName: "clearReference"
                visible: reference.text !== ""
                anchors.right: parent.right
                anchors.rightMargin: Theme.spacing8
                anchors.verticalCenter: parent.verticalCenter
                onClicked: root.wizard.referenceURL = ""
                contentItem: SymbolIcon { symbol: "xmark.circle.fill"; size: 14; color: Theme.textMuted }
                background: null
            }
        }
    }

    AbstractButton {
        id: fineTune
        objectName: "fineTune"
        hoverEnabled: true
        onClicked: root.page.toggleSliders()
        contentItem: RowLayout {
            spacing: Theme.spacing6
            Text {
                text: "Fine-tune"
                color: fineTune.hovered ? Theme.foreground : Theme.textSecondary
                font: Theme.font("subheadline", 12, "medium")
            }
            SymbolIcon {
                symbol: root.page.showSliders ? "chevron.up" : "chevron.down"
                size: 12
                color: Theme.textSecondary
            }
        }
        background: null
    }

    ColumnLayout {
        objectName: "sliders"
        visible: opacity > 0 // folds away once it has faded
        opacity: root.page.showSliders ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }
        Layout.fillWidth: true
        spacing: Theme.spacing16
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.border
        }
        Repeater {
            model: root.page.sliders
            StyleSliderRow {
                Layout.fillWidth: true
                sliderId: model.id
                label: model.label
                low: model.low
                high: model.high
                value: model.value
                percentText: model.percentText
                onMoved: fraction => root.page.setSlider(model.id, fraction)
            }
        }
    }
}
