import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Quorvex

/// The tile that adds a face.
T.AbstractButton {
    id: root

    required property bool busy

    signal tap

    objectName: "AddFaceCard"
    implicitWidth: Theme.tile
    implicitHeight: Theme.tile
    width: Theme.tile
    height: Theme.tile
    enabled: !root.busy
    hoverEnabled: true
    opacity: root.down ? 0.7 : 1
    Accessible.role: Accessible.Button
    Accessible.name: "Add a face"
    onClicked: root.tap()
    Keys.onReturnPressed: root.tap()

    ToolTip.text: "Add a face"
    ToolTip.visible: root.hovered
    ToolTip.delay: 700

    background: Rectangle {
        objectName: "tile"
        radius: Theme.tileRadius
        color: Theme.panel
        border.width: 1
        border.color: Theme.pillBorder
        FocusRing {
            control: root
        }
    }
    contentItem: Item {
        Symbol {
            objectName: "plus"
            anchors.centerIn: parent
            visible: !root.busy
            name: "plus"
            tint: Theme.secondary
            size: 15
        }
        Spinner {
            objectName: "spinner"
            anchors.centerIn: parent
            visible: root.busy
            tint: Theme.secondary
            scale: 0.6
        }
    }
}
