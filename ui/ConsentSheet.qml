import QtQuick
import Quorvex

/// What the user has to know before the first use. Covers the window until it is understood.
FocusScope {
    id: root

    required property Model model

    objectName: "ConsentSheet"
    focus: true
    Component.onCompleted: takeKeyboard()
    onVisibleChanged: takeKeyboard()

    function takeKeyboard() {
        if (visible)
            button.forceActiveFocus();
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.black(0.5)
    }
    MouseArea {
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.AllButtons
        onWheel: event => event.accepted = true
    }
    Rectangle {
        objectName: "card"
        anchors.centerIn: parent
        width: 420
        height: column.height + 2 * 22
        radius: 14
        color: Theme.window
        border.width: 1
        border.color: Theme.separator
        Accessible.role: Accessible.Dialog
        Accessible.name: title.text

        Column {
            id: column

            x: 22
            y: 22
            width: parent.width - 2 * 22
            spacing: 14
            Label {
                id: title

                text: "Before you go live"
                size: 18
                weight: Font.Bold
            }
            Label {
                width: parent.width
                text: "Quorvex Camera swaps your face in real time using your webcam. Only use faces you have the right to use, and don't use it to deceive, impersonate, or harm anyone. Your camera frames are processed to produce the swap and are not stored."
                color: Theme.secondary
                wrapMode: Text.WordWrap
            }
            PillButton {
                id: button

                objectName: "understand"
                text: "I understand"
                filled: true
                onClicked: root.model.acceptConsent()
            }
        }
    }
}
