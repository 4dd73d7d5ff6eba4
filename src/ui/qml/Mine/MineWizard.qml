import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Ondrel.Ui

// The Mine tab: the step indicator over the page of the current step. Leaving the tab destroys
// this item and with it the wizard and all it holds (a run it started goes on unseen).
Item {
    id: root
    property alias wizard: mineView

    MineView { id: mineView }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        StepIndicator {
            Layout.fillWidth: true
            Layout.topMargin: Theme.spacing20
            Layout.bottomMargin: Theme.spacing12
            wizard: mineView
        }

        StackView {
            id: pages
            objectName: "wizardPages"
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true

            property string shown: ""
            property int shownStep: 0

            function pageFor(name) {
                switch (name) {
                case "setup": return setupPage
                case "style": return stylePage
                case "mining": return miningPage
                case "review": return reviewPage
                case "audit": return auditPage
                case "noAudit": return noAuditPage
                case "done": return donePage
                default: return emptyPage
                }
            }
            function show(name) {
                if (name === shown && depth > 0)
                    return
                forward = mineView.currentStep >= shownStep
                shown = name
                shownStep = mineView.currentStep
                if (depth === 0)
                    push(pageFor(name), { wizard: mineView }, StackView.Immediate)
                else
                    replace(null, pageFor(name), { wizard: mineView })
            }
            property bool forward: true
            Component.onCompleted: show(mineView.page)
            Connections {
                target: mineView
                function onPageChanged() { pages.show(mineView.page) }
            }

            // Pages slide in from one edge and out at the other with a fade (0.35 s, ease-in-out);
            // the Done page grows in from 0.8 and leaves by a fade.
            replaceEnter: Transition {
                ParallelAnimation {
                    NumberAnimation {
                        property: "x"
                        from: pages.shown === "done" ? 0 : (pages.forward ? pages.width : -pages.width) * 0.25
                        to: 0; duration: 350; easing.type: Easing.InOutQuad
                    }
                    NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 350; easing.type: Easing.InOutQuad }
                    NumberAnimation {
                        property: "scale"; from: pages.shown === "done" ? 0.8 : 1; to: 1
                        duration: 350; easing.type: Easing.InOutQuad
                    }
                }
            }
            replaceExit: Transition {
                ParallelAnimation {
                    NumberAnimation {
                        property: "x"; from: 0
                        to: pages.shown === "done" ? 0 : (pages.forward ? -pages.width : pages.width) * 0.25
                        duration: 350; easing.type: Easing.InOutQuad
                    }
                    NumberAnimation { property: "opacity"; from: 1; to: 0; duration: 350; easing.type: Easing.InOutQuad }
                }
            }
        }
    }

    Component { id: setupPage; SetupPage {} }
    Component { id: stylePage; StylePage {} }
    Component { id: miningPage; ProcessingPage {} }
    Component { id: reviewPage; ReviewPage {} }
    Component { id: auditPage; AuditPage {} }
    Component { id: donePage; DonePage {} }
    Component {
        id: noAuditPage
        Item {
            property MineView wizard
            Text {
                anchors.centerIn: parent
                text: "No audit report available"
                color: Theme.textMuted
                font: Theme.font("body")
            }
        }
    }
    Component {
        id: emptyPage
        Item { property MineView wizard }
    }
}
