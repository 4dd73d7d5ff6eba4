import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The account tab: who is signed in, the credits and the plan.
ScreenColumn {
    id: root
    title: "Account"

    DashboardModel { id: vm }
    Component.onCompleted: vm.refresh()

    SolidCard {
        Layout.fillWidth: true
        RowLayout {
            spacing: Theme.spacing12
            RoundedShape {
                Layout.preferredWidth: 44
                Layout.preferredHeight: 44
                radius: 22
                fillColors: Theme.accentGradient
                strokeWidth: 1
                strokeColor: Theme.alpha(Theme.accent, 0.4)
                Text {
                    anchors.centerIn: parent
                    text: vm.initial
                    color: "white"
                    font: Theme.font("title2", 18, "bold")
                }
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: Theme.spacing2
                Text {
                    objectName: "userName"
                    Layout.fillWidth: true
                    text: vm.displayName
                    color: Theme.foreground
                    font: Theme.font("headline")
                    elide: Text.ElideRight
                }
                Text {
                    Layout.fillWidth: true
                    text: vm.email
                    color: Theme.textMuted
                    font: Theme.font("subheadline")
                    elide: Text.ElideRight
                }
            }
            ToolButton {
                objectName: "refreshAccount"
                enabled: !vm.isRefreshing
                onClicked: vm.refresh()
                contentItem: SymbolIcon {
                    symbol: "arrow.clockwise"
                    size: 16
                    color: Theme.textSecondary
                    // A turn a 0.8 s while refreshing; the last turn ends where it started.
                    RotationAnimator on rotation {
                        running: vm.isRefreshing
                        from: 0; to: 360; duration: 800; loops: Animation.Infinite
                        alwaysRunToEnd: true
                    }
                }
                background: Rectangle {
                    implicitWidth: 32
                    implicitHeight: 32
                    radius: 16
                    color: Qt.rgba(1, 1, 1, parent.hovered ? 0.08 : 0.04)
                }
            }
        }
    }

    SolidCard {
        Layout.fillWidth: true
        RowLayout {
            spacing: Theme.spacing6
            SymbolIcon { symbol: "diamond.fill"; size: 14; color: Theme.accent }
            Text { text: "Credits"; color: Theme.textSecondary; font: Theme.font("headline") }
        }
        RowLayout {
            spacing: Theme.spacing8
            Text {
                objectName: "credits"
                text: vm.credits
                color: Theme.accent
                font: Theme.font("largeTitle", 56, "bold")
            }
            Text {
                Layout.alignment: Qt.AlignBaseline
                text: "credits"
                color: Theme.textMuted
                font: Theme.font("callout")
            }
            Item { Layout.fillWidth: true }
            PrimaryButton {
                objectName: "buyCredits"
                text: "Buy Credits"
                symbol: "plus.circle.fill"
                onClicked: vm.openBilling()
            }
        }
    }

    SolidCard {
        Layout.fillWidth: true
        RowLayout {
            ColumnLayout {
                spacing: Theme.spacing2
                Text { text: "Plan"; color: Theme.textSecondary; font: Theme.font("headline") }
                Text {
                    objectName: "planText"
                    text: vm.planText
                    color: Theme.foreground
                    font: Theme.font("title2")
                }
            }
            Item { Layout.fillWidth: true }
            Rectangle {
                objectName: "planBadge"
                property string text: vm.isProPlan ? "PRO" : "FREE"
                implicitWidth: badgeText.implicitWidth + 2 * Theme.spacing12
                implicitHeight: badgeText.implicitHeight + Theme.spacing8
                radius: height / 2
                color: vm.isProPlan ? Theme.alpha(Theme.accent, 0.15) : Theme.muted
                border.width: 1
                border.color: vm.isProPlan ? Theme.alpha(Theme.accent, 0.4) : Theme.border
                Text {
                    id: badgeText
                    anchors.centerIn: parent
                    text: parent.text
                    color: vm.isProPlan ? Theme.accent : Theme.textSecondary
                    font.family: Theme.fontFamily
                    font.pixelSize: 11
                    font.weight: Font.Bold
                    font.letterSpacing: 1
                }
            }
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.spacing12
        SecondaryButton {
            Layout.fillWidth: true
            objectName: "manageBilling"
            text: "Manage Billing"
            symbol: "creditcard.fill"
            onClicked: vm.openBilling()
        }
        DestructiveButton {
            objectName: "signOut"
            Layout.fillWidth: true
            text: "Sign Out"
            symbol: "rectangle.portrait.and.arrow.right"
            onClicked: vm.signOut()
        }
    }

    // No browser opened the billing page: say so, with its address to copy.
    RowLayout {
        Layout.fillWidth: true
        visible: vm.billingMessage !== ""
        spacing: Theme.spacing8
        SymbolIcon {
            Layout.alignment: Qt.AlignTop
            symbol: "exclamationmark.triangle.fill"
            size: 13
            color: Theme.orange
        }
        TextEdit {
            objectName: "billingMessage"
            Layout.fillWidth: true
            text: vm.billingMessage
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.Wrap
            color: Theme.orange
            selectionColor: Theme.alpha(Theme.accent, 0.4)
            font: Theme.font("subheadline")
        }
    }
}
