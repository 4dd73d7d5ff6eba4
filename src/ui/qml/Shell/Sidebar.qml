import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// The sidebar: the product's name, the three tabs and, at the foot, the account's state and the
// version. The dot and "Connected" are constant: being here means being signed in.
Item {
    id: root
    required property ShellModel shell

    Rectangle {
        anchors.fill: parent
        color: Theme.alpha(Theme.muted, 0.6)
    }
    Rectangle {
        anchors.fill: parent
        gradient: Gradient {
            GradientStop { position: 0; color: Qt.rgba(1, 1, 1, 0.02) }
            GradientStop { position: 1; color: "transparent" }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ColumnLayout {
            Layout.margins: Theme.spacing16
            Layout.topMargin: Theme.spacing20
            spacing: Theme.spacing2
            RowLayout {
                spacing: Theme.spacing8
                PixelPickaxe { size: 20 }
                Text {
                    text: "Ondrel"
                    color: Theme.foreground
                    font: Theme.font("body", 16, "bold")
                }
            }
            Text {
                text: "Story Mining"
                color: Theme.textMuted
                font: Theme.font("caption2")
            }
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.alpha(Theme.border, 0.3)
        }

        ColumnLayout {
            Layout.fillWidth: true
            Layout.margins: Theme.spacing8
            Layout.topMargin: Theme.spacing12
            spacing: Theme.spacing4
            Repeater {
                model: [{ icon: "waveform.badge.magnifyingglass", label: "Mine", tab: 1 },
                        { icon: "person.circle", label: "Account", tab: 0 },
                        { icon: "arrow.triangle.2.circlepath", label: "Updates", tab: 2 }]
                SidebarItem {
                    required property var modelData
                    Layout.fillWidth: true
                    objectName: "sidebar" + modelData.label
                    symbol: modelData.icon
                    label: modelData.label
                    isSelected: root.shell.selectedTab === modelData.tab
                    onClicked: root.shell.selectedTab = modelData.tab
                }
            }
        }

        Item { Layout.fillHeight: true }

        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.alpha(Theme.border, 0.3)
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.margins: Theme.spacing16
            spacing: Theme.spacing6
            Rectangle {
                width: 6
                height: 6
                radius: 3
                color: Theme.success
            }
            Text {
                text: "Connected"
                color: Theme.textMuted
                font: Theme.font("caption2")
            }
            Item { Layout.fillWidth: true }
            Text {
                text: "v" + AppServices.version
                color: Theme.textMuted
                opacity: 0.6
                font: Theme.font("mono", 9)
            }
        }
    }
}
