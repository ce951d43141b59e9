import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Quorvex

/// One face of the library.
T.AbstractButton {
    id: root

    required property string faceId
    required property string name
    required property bool active

    signal tap
    signal remove

    objectName: "FaceCard"
    implicitWidth: Theme.tile
    implicitHeight: Theme.tile
    width: Theme.tile
    height: Theme.tile
    hoverEnabled: true
    Accessible.role: Accessible.RadioButton
    Accessible.name: root.name
    Accessible.checked: root.active
    onClicked: root.tap()
    onPressAndHold: menu.popup()
    Keys.onReturnPressed: root.tap()
    Keys.onDeletePressed: root.remove()
    Keys.onMenuPressed: menu.popup(root, 0, root.height)

    ToolTip.text: root.name
    ToolTip.visible: root.hovered
    ToolTip.delay: 700

    contentItem: Item {
        Rectangle {
            objectName: "placeholder"
            anchors.fill: parent
            radius: Theme.tileRadius
            color: Theme.placeholder
            visible: picture.status !== Image.Ready
        }
        Image {
            id: picture

            objectName: "picture"
            anchors.fill: parent
            asynchronous: true
            source: "image://faces/" + encodeURIComponent(root.faceId)
            sourceSize: Qt.size(Theme.tile * Screen.devicePixelRatio, Theme.tile * Screen.devicePixelRatio)
            Accessible.ignored: true
        }
        Rectangle {
            objectName: "border"
            anchors.fill: parent
            radius: Theme.tileRadius
            color: "transparent"
            border.width: root.active ? 2.5 : 1
            border.color: root.active ? Theme.accent : Theme.separator
            antialiasing: true
        }
    }
    background: Item {
        FocusRing {
            control: root
        }
    }
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: menu.popup()
    }
    AppMenu {
        id: menu

        objectName: "faceMenu"
        AppMenuItem {
            text: "Remove"
            onTriggered: root.remove()
        }
    }
}
