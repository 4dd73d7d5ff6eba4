import QtQuick
import QtQuick.Controls
import QtQuick.Window
import Ondrel.Ui

// The one window: dark whatever the desktop's appearance; closing it quits the application.
ApplicationWindow {
    id: window
    visible: true
    width: 1100
    height: 750
    minimumWidth: 900
    minimumHeight: 600
    x: Math.max(0, (Screen.width - width) / 2)
    y: Math.max(0, (Screen.height - height) / 2)
    title: "Ondrel"
    color: Qt.rgba(0.047, 0.047, 0.055, 1)
    font.family: Theme.fontFamily

    ContentView {
        anchors.fill: parent
    }
}
