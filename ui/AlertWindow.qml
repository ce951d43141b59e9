import QtQuick
import QtQuick.Window
import Quorvex

/// A question that has to be answered first. `choice` is the index of the button; that of the last
/// one when the window is closed.
Window {
    id: root

    required property string messageText
    required property string informativeText
    required property list<string> buttons
    property int choice: buttons.length - 1

    objectName: "AlertWindow"
    title: messageText
    flags: Qt.Dialog
    modality: Qt.ApplicationModal
    color: Theme.window
    width: 400
    height: column.height + 2 * 20
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height

    function choose(index: int) {
        root.choice = index;
        root.close();
    }

    Column {
        id: column

        x: 20
        y: 20
        width: parent.width - 2 * 20
        spacing: 12
        Accessible.role: Accessible.AlertMessage
        Accessible.name: root.messageText + " " + root.informativeText
        Keys.onEscapePressed: root.choose(root.buttons.length - 1)

        Label {
            width: parent.width
            text: root.messageText
            size: 14
            weight: Font.Bold
            wrapMode: Text.WordWrap
        }
        Label {
            width: parent.width
            text: root.informativeText
            color: Theme.secondary
            wrapMode: Text.WordWrap
        }
        Row {
            anchors.right: parent.right
            layoutDirection: Qt.RightToLeft
            spacing: 8
            Repeater {
                model: root.buttons
                PillButton {
                    required property int index
                    required property string modelData

                    text: modelData
                    filled: index === 0
                    focus: index === 0
                    Component.onCompleted: if (index === 0)
                        forceActiveFocus()
                    onClicked: root.choose(index)
                }
            }
        }
    }
}
