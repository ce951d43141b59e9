import QtQuick
import QtQuick.Window
import Quorvex

/// Which application this is.
Window {
    id: root

    objectName: "AboutWindow"
    title: "About Quorvex Camera"
    flags: Qt.Dialog
    color: Theme.window
    width: 300
    height: column.height + 2 * 28

    Column {
        id: column

        y: 28
        width: parent.width
        spacing: 8
        focus: true
        Keys.onEscapePressed: root.close()

        BrandMark {
            size: 56
            anchors.horizontalCenter: parent.horizontalCenter
        }
        Label {
            text: "Quorvex Camera"
            size: 16
            weight: Font.Bold
            anchors.horizontalCenter: parent.horizontalCenter
        }
        Label {
            text: qsTr("Version %1").arg(Qt.application.version)
            size: 11
            color: Theme.secondary
            anchors.horizontalCenter: parent.horizontalCenter
        }
        Label {
            text: qsTr("MIT licence")
            size: 11
            color: Theme.secondary
            anchors.horizontalCenter: parent.horizontalCenter
        }
    }
}
