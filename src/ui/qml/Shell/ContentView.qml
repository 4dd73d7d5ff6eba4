import QtQuick
import QtQuick.Layouts
import Ondrel.Ui

// The gate: only the sign-in screen while signed out; the sidebar and the tabs once signed in.
// The tab chosen last survives a sign-out and a new sign-in.
Rectangle {
    id: root
    color: Theme.background
    implicitWidth: 800
    implicitHeight: 560

    ShellModel { id: shellModel }

    Loader {
        anchors.fill: parent
        sourceComponent: shellModel.showsMainFrame ? mainFrame : signIn
    }

    Component {
        id: signIn
        SignInView {}
    }

    Component {
        id: mainFrame
        RowLayout {
            objectName: "mainFrame"
            spacing: 0
            Sidebar {
                shell: shellModel
                Layout.preferredWidth: 200
                Layout.fillHeight: true
            }
            Rectangle {
                Layout.preferredWidth: 1
                Layout.fillHeight: true
                color: Theme.alpha(Theme.border, 0.5)
            }
            Loader {
                objectName: "tabContent"
                Layout.fillWidth: true
                Layout.fillHeight: true
                sourceComponent: shellModel.page === "account" ? dashboard
                               : shellModel.page === "mine" ? mine
                               : shellModel.page === "updates" ? updates : null
            }
        }
    }

    Component { id: dashboard; DashboardView {} }
    Component { id: mine; MineWizard {} }
    Component { id: updates; UpdateView {} }
}
