import QtQuick

/// Says that something is under way. Turns in twelve steps a second, and only while it is seen.
Item {
    id: root

    property real size: 20
    property color tint: "white"
    property int step: 0

    implicitWidth: root.size
    implicitHeight: root.size
    Accessible.role: Accessible.Indicator
    Accessible.name: qsTr("In progress")

    Timer {
        interval: 1000 / 12
        repeat: true
        running: root.visible && root.Window.visibility !== Window.Hidden && root.Window.visibility !== Window.Minimized
        onTriggered: root.step = (root.step + 1) % 12
    }
    Repeater {
        model: 12
        Rectangle {
            id: spoke

            required property int index

            x: (root.size - width) / 2
            width: Math.max(1.5, root.size * 0.09)
            height: root.size * 0.28
            radius: width / 2
            color: root.tint
            antialiasing: true
            opacity: 0.15 + 0.85 * ((spoke.index - root.step + 23) % 12) / 11
            transform: Rotation {
                origin.x: spoke.width / 2
                origin.y: root.size / 2
                angle: spoke.index * 30
            }
        }
    }
}
