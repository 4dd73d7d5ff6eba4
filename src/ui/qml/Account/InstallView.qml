import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The Resolve plugin: whether it is installed, and installing, reinstalling or removing it.
ScreenColumn {
    id: root
    readonly property var plugins: AppServices.plugins

    PluginModel { id: vm }
    Component.onCompleted: vm.appear()

    RowLayout {
        spacing: Theme.spacing12
        Rectangle {
            implicitWidth: 48
            implicitHeight: 48
            radius: Theme.radiusMd
            color: Theme.alpha(Theme.accent, 0.12)
            SymbolIcon { anchors.centerIn: parent; symbol: "puzzlepiece.extension.fill"; size: 24; color: Theme.accent }
        }
        ColumnLayout {
            spacing: Theme.spacing2
            Text { text: "Ondrel Plugin"; color: Theme.foreground; font: Theme.font("title2") }
            Text { text: "DaVinci Resolve Workflow Integration"; color: Theme.textMuted; font: Theme.font("subheadline") }
        }
    }

    SolidCard {
        Layout.fillWidth: true
        Text { text: "Installation Status"; color: Theme.foreground; font: Theme.font("headline") }
        RowLayout {
            spacing: Theme.spacing8
            Rectangle {
                width: 8
                height: 8
                radius: 4
                color: root.plugins.isInstalled ? Theme.green : Theme.red
            }
            Text {
                objectName: "installStatus"
                text: root.plugins.isInstalled ? "Installed" : "Not Installed"
                color: Theme.foreground
                font: Theme.font("body", 0, "semibold")
            }
            Item { Layout.fillWidth: true }
            Text {
                visible: root.plugins.installedVersion !== ""
                text: "Version " + root.plugins.installedVersion
                color: Theme.textMuted
                font: Theme.font("mono")
            }
        }
        ErrorCard {
            visible: root.plugins.errorMessage !== ""
            Layout.fillWidth: true
            fillOpacity: 0.05
            message: root.plugins.errorMessage
        }
        Rectangle {
            visible: root.plugins.errorMessage === "" && root.plugins.statusMessage !== ""
            Layout.fillWidth: true
            implicitHeight: statusRow.implicitHeight + 2 * Theme.spacing12
            radius: Theme.radiusSm
            color: Theme.alpha(Theme.accent, 0.05)
            RowLayout {
                id: statusRow
                anchors.fill: parent
                anchors.margins: Theme.spacing12
                spacing: Theme.spacing8
                SymbolIcon { symbol: "info.circle.fill"; size: 14; color: Theme.accent }
                Text {
                    Layout.fillWidth: true
                    text: root.plugins.statusMessage
                    color: Theme.foreground
                    wrapMode: Text.Wrap
                    font: Theme.font("subheadline")
                }
            }
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing12
        visible: root.plugins.isInstalled
        SecondaryButton {
            Layout.fillWidth: true
            text: root.plugins.isLoading ? "Working..." : "Reinstall Plugin"
            symbol: "arrow.triangle.2.circlepath"
            enabled: !root.plugins.isLoading
            onClicked: vm.reinstall()
        }
        DestructiveButton {
            objectName: "uninstallPlugin"
            Layout.fillWidth: true
            text: "Uninstall Plugin"
            symbol: "trash.fill"
            enabled: !root.plugins.isLoading
            onClicked: vm.askUninstall()
        }
    }
    PrimaryButton {
        objectName: "installPlugin"
        visible: !root.plugins.isInstalled
        Layout.fillWidth: true
        text: root.plugins.isLoading ? "Installing..." : "Install Plugin"
        symbol: "square.and.arrow.down.fill"
        busy: root.plugins.isLoading
        enabled: !root.plugins.isLoading
        onClicked: vm.install()
    }

    SolidCard {
        Layout.fillWidth: true
        Text { text: "Requirements"; color: Theme.foreground; font: Theme.font("headline") }
        Repeater {
            model: [["DaVinci Resolve Studio " + vm.minResolveVersion + "+", "Free version not supported"],
                    ["macOS 12 or later", "Monterey, Ventura, Sonoma, Sequoia"],
                    ["Admin privileges", "Required for plugin installation"]]
            RowLayout {
                required property var modelData
                spacing: Theme.spacing12
                SymbolIcon { symbol: "checkmark.circle.fill"; size: 16; color: Theme.green }
                ColumnLayout {
                    spacing: 0
                    Text { text: modelData[0]; color: Theme.foreground; font: Theme.font("body", 0, "semibold") }
                    Text { text: modelData[1]; color: Theme.textMuted; font: Theme.font("caption") }
                }
            }
        }
    }

    ConfirmDialog {
        objectName: "uninstallDialog"
        open: vm.showUninstallConfirm
        title: "Uninstall Ondrel?"
        message: "This will remove the Ondrel plugin from DaVinci Resolve. You can reinstall it at any time."
        confirmText: "Uninstall"
        destructive: true
        onConfirmed: vm.confirmUninstall()
        onCancelled: vm.cancelUninstall()
    }
}
