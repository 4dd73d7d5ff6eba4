import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Shapes
import Ondrel.Ui

// Shown while signed out: the browser sign-in, or a token pasted by hand.
Rectangle {
    id: root
    color: Theme.background

    SignInModel { id: vm }

    // A soft glow of the muted colour behind the column.
    Shape {
        anchors.centerIn: parent
        width: 720
        height: 720
        ShapePath {
            strokeWidth: -1
            fillGradient: RadialGradient {
                centerX: 360; centerY: 360; centerRadius: 360
                focalX: 360; focalY: 360
                GradientStop { position: 0; color: Theme.alpha(Theme.muted, 0.9) }
                GradientStop { position: 1; color: "transparent" }
            }
            PathAngleArc { centerX: 360; centerY: 360; radiusX: 360; radiusY: 360; startAngle: 0; sweepAngle: 360 }
        }
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: 340
        spacing: Theme.spacing16

        RoundedShape {
            Layout.alignment: Qt.AlignHCenter
            Layout.preferredWidth: 96
            Layout.preferredHeight: 96
            radius: Theme.radiusXl
            fillColors: Theme.glassGradient
            fillDirection: "vertical"
            strokeWidth: 1
            strokeColors: [Qt.rgba(1, 1, 1, 0.15), Qt.rgba(1, 1, 1, 0.05)]
            PixelPickaxe { anchors.centerIn: parent; size: 56 }
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "ONDREL"
            color: Theme.accent
            font.family: Theme.fontFamily
            font.pixelSize: 32
            font.weight: Font.Bold
            font.letterSpacing: 4
        }

        ColumnLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.spacing8
            spacing: Theme.spacing4
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: "Welcome to Ondrel"
                color: Theme.foreground
                font: Theme.font("title2")
            }
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: "Sign in to manage your plugin and credits"
                color: Theme.textMuted
                font: Theme.font("callout")
            }
        }

        // Waiting for the browser to call back.
        ColumnLayout {
            visible: vm.isWaitingForCallback
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing12
            spacing: Theme.spacing12
            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: Theme.spacing8
                Spinner { size: 16; color: Theme.textSecondary }
                Text {
                    text: "Waiting for browser sign-in..."
                    color: Theme.textSecondary
                    font: Theme.font("callout")
                }
            }
            SecondaryButton {
                objectName: "cancelWaiting"
                Layout.alignment: Qt.AlignHCenter
                text: "Cancel"
                onClicked: vm.cancelWaiting()
            }
        }

        ColumnLayout {
            visible: !vm.isWaitingForCallback
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing12
            spacing: Theme.spacing12
            PrimaryButton {
                objectName: "signInWithGoogle"
                Layout.fillWidth: true
                text: "Sign in with Google"
                symbol: "globe"
                enabled: vm.canUseBrowser
                onClicked: vm.signInWithBrowser()
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.spacing12
                Rectangle { Layout.fillWidth: true; height: 1; color: Theme.border }
                Text { text: "or"; color: Theme.textMuted; font: Theme.font("caption") }
                Rectangle { Layout.fillWidth: true; height: 1; color: Theme.border }
            }
            SecondaryButton {
                objectName: "signInWithToken"
                Layout.fillWidth: true
                text: "Sign in with token"
                symbol: "key.fill"
                onClicked: vm.toggleTokenField()
            }
        }

        ColumnLayout {
            id: tokenSection
            Layout.fillWidth: true
            spacing: Theme.spacing8
            visible: opacity > 0
            opacity: vm.showTokenField ? 1 : 0
            Behavior on opacity { NumberAnimation { duration: 250; easing.type: Easing.InOutQuad } }
            Text {
                text: "API Token"
                color: Theme.textSecondary
                font: Theme.font("subheadline", 0, "semibold")
            }
            TextField {
                objectName: "tokenField"
                Layout.fillWidth: true
                placeholderText: "ondrel_xxxxxxxxxxxx"
                placeholderTextColor: Theme.textMuted
                text: vm.manualToken
                onTextEdited: vm.manualToken = text
                // Return or Enter sends the token as the button would, and only when it could.
                onAccepted: vm.signInWithToken()
                color: Theme.foreground
                font: Theme.font("mono", 13)
                leftPadding: Theme.spacing12
                rightPadding: Theme.spacing12
                background: Rectangle {
                    implicitHeight: 38
                    radius: Theme.radiusSm
                    color: Theme.muted
                    border.width: 1
                    border.color: Theme.border
                }
            }
            PrimaryButton {
                objectName: "submitToken"
                Layout.fillWidth: true
                text: vm.isVerifying ? "Verifying..." : "Sign In"
                busy: vm.isVerifying
                enabled: vm.canSignIn
                onClicked: vm.signInWithToken()
            }
        }

        RowLayout {
            visible: vm.browserMessage !== ""
            Layout.fillWidth: true
            spacing: Theme.spacing8
            SymbolIcon { symbol: "exclamationmark.triangle.fill"; size: 13; color: Theme.orange }
            Text {
                objectName: "browserMessage"
                Layout.fillWidth: true
                text: vm.browserMessage
                color: Theme.orange
                wrapMode: Text.Wrap
                font: Theme.font("subheadline")
            }
        }

        RowLayout {
            visible: vm.errorMessage !== ""
            Layout.fillWidth: true
            spacing: Theme.spacing8
            SymbolIcon { symbol: "exclamationmark.triangle.fill"; size: 13; color: Theme.error }
            Text {
                objectName: "signInError"
                Layout.fillWidth: true
                text: vm.errorMessage
                color: Theme.error
                wrapMode: Text.Wrap
                font: Theme.font("subheadline")
            }
        }
    }
}
