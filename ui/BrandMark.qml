import QtQuick
import Quorvex

/// The sign of the application: a ring around a dot.
Item {
    id: root

    property real size: 18

    width: root.size
    height: root.size
    implicitWidth: root.size
    implicitHeight: root.size
    Accessible.role: Accessible.Graphic
    Accessible.name: "Quorvex"

    Rectangle {
        objectName: "ring"
        anchors.fill: parent
        radius: width / 2
        color: "transparent"
        border.width: 0.1 * root.size
        border.color: Theme.ink
        antialiasing: true
    }
    Rectangle {
        objectName: "dot"
        anchors.centerIn: parent
        width: 0.367 * root.size
        height: width
        radius: width / 2
        color: Theme.accent
        antialiasing: true
    }
}
