import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The updates tab: which plugin version is installed, what the service offers, and the update
// itself.
ScreenColumn {
    id: root
    title: "Updates"
    readonly property var updates: AppServices.updates

    UpdatesModel { id: vm }
    Component.onCompleted: vm.appear()

    SolidCard {
        Layout.fillWidth: true
        Text { text: "Version Info"; color: Theme.foreground; font: Theme.font("headline") }
        RowLayout {
            spacing: Theme.spacing32
            ColumnLayout {
                spacing: Theme.spacing2
                SectionLabel { text: "Installed" }
                Text {
                    objectName: "installedVersion"
                    text: vm.installedVersion
                    color: Theme.foreground
                    font: Theme.font("mono", 15)
                }
            }
            ColumnLayout {
                spacing: Theme.spacing2
                SectionLabel { text: "Latest" }
                Text {
                    objectName: "latestVersion"
                    text: vm.latestText
                    color: Theme.foreground
                    font: Theme.font("mono", 15)
                }
            }
        }
    }

    GradientCard {
        visible: root.updates.updateAvailable
        Layout.fillWidth: true
        gradient: [Theme.alpha(Theme.accent, 0.25), Theme.alpha(Theme.accent, 0.08)]
        RowLayout {
            spacing: Theme.spacing8
            SymbolIcon { symbol: "arrow.down.circle.fill"; size: 18; color: Theme.accent }
            Text { text: "Update Available"; color: Theme.foreground; font: Theme.font("headline") }
        }
        Text {
            text: "Version " + root.updates.latestVersion + " is ready to install"
            color: Theme.textSecondary
            font: Theme.font("body")
        }
        PrimaryButton {
            objectName: "downloadAndInstall"
            text: root.updates.isDownloading ? "Installing..." : "Download & Install"
            symbol: "square.and.arrow.down.fill"
            busy: root.updates.isDownloading
            enabled: !root.updates.isDownloading
            onClicked: vm.install()
        }
    }

    // Where an update stands ("Installing update...", "Update installed! Restart ...").
    RowLayout {
        // "Update available!" is the card above; the others ("Installing update...", "Update
        // installed! ...") have no place of their own.
        visible: root.updates.statusMessage !== "" && !root.updates.isChecking
                 && (root.updates.isDownloading || !root.updates.updateAvailable)
        spacing: Theme.spacing8
        SymbolIcon { symbol: "info.circle.fill"; size: 14; color: Theme.accent }
        Text {
            objectName: "updateStatus"
            Layout.fillWidth: true
            text: root.updates.statusMessage
            color: Theme.textSecondary
            wrapMode: Text.Wrap
            font: Theme.font("subheadline")
        }
    }

    SolidCard {
        objectName: "upToDate"
        visible: vm.showUpToDate
        Layout.fillWidth: true
        RowLayout {
            spacing: Theme.spacing12
            SymbolIcon { symbol: "checkmark.circle.fill"; size: 22; color: Theme.success }
            ColumnLayout {
                spacing: Theme.spacing2
                Text { text: "You're up to date!"; color: Theme.foreground; font: Theme.font("headline") }
                Text { text: "The latest version is installed"; color: Theme.textMuted; font: Theme.font("subheadline") }
            }
        }
    }

    SolidCard {
        visible: root.updates.releaseNotes !== ""
        Layout.fillWidth: true
        Text { text: "Release Notes"; color: Theme.foreground; font: Theme.font("headline") }
        Text {
            Layout.fillWidth: true
            text: root.updates.releaseNotes
            color: Theme.textSecondary
            wrapMode: Text.Wrap
            font: Theme.font("body")
        }
    }

    ErrorCard {
        visible: root.updates.errorMessage !== ""
        Layout.fillWidth: true
        message: root.updates.errorMessage
    }

    footer: RowLayout {
        SecondaryButton {
            objectName: "checkForUpdates"
            visible: vm.showCheckButton
            text: root.updates.isChecking ? "Checking..." : "Check for Updates"
            symbol: "arrow.clockwise"
            enabled: vm.canCheck
            onClicked: vm.check()
        }
    }
}
