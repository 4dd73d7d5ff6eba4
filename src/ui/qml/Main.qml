import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ApplicationWindow {
    id: window
    visible: true
    width: 960
    height: 680
    minimumWidth: 800
    minimumHeight: 600
    title: "Ondrel Manager"
    color: "#0d0b12"

    ColumnLayout {
        anchors.centerIn: parent
        spacing: 12
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "Ondrel Manager"
            color: "#f2ecff"
            font.pixelSize: 28
            font.bold: true
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: "Mine your interviews for a story"
            color: "#9a91ad"
            font.pixelSize: 14
        }
    }
}
