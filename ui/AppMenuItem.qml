import QtQuick
import QtQuick.Controls.Basic
import Quorvex

/// A line of a menu, with its check mark and its shortcut.
MenuItem {
    id: root

    property string shortcut: ""
    property bool marked: false

    implicitWidth: 26 + label.implicitWidth + 30 + keys.implicitWidth + 12
    implicitHeight: 26
    leftPadding: 26
    rightPadding: 12
    topPadding: 0
    bottomPadding: 0
    arrow: null
    indicator: Label {
        x: 9
        anchors.verticalCenter: parent.verticalCenter
        visible: root.marked
        text: "✓"
        Accessible.ignored: true
    }
    contentItem: Item {
        Label {
            id: label

            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            size: 12
            color: root.enabled ? Theme.ink : Theme.offline
            Accessible.ignored: true
        }
        Label {
            id: keys

            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            text: root.shortcut
            size: 11
            color: Theme.secondary
            Accessible.ignored: true
        }
    }
    background: Rectangle {
        radius: 5
        color: root.highlighted && root.enabled ? Theme.placeholder : "transparent"
    }
}
