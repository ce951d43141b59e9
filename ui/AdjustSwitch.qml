import QtQuick
import QtQuick.Templates as T
import Quorvex

/// A switch that shows `on` and asks, by `toggle`, for another value; it never changes by itself.
T.AbstractButton {
    id: root

    required property bool on
    property string caption: ""

    signal toggle

    implicitHeight: Math.max(labels.implicitHeight, track.height)
    Accessible.role: Accessible.CheckBox
    Accessible.checkable: true
    Accessible.checked: root.on
    Accessible.name: root.text
    Accessible.description: root.caption
    onClicked: root.toggle()
    Keys.onReturnPressed: root.toggle()

    background: Item {
        FocusRing {
            control: root
        }
    }
    contentItem: Item {
        Column {
            id: labels

            anchors.left: parent.left
            anchors.right: track.left
            anchors.rightMargin: 6
            anchors.verticalCenter: parent.verticalCenter
            spacing: 1
            Label {
                width: parent.width
                text: root.text
                elide: Text.ElideRight
                Accessible.ignored: true
            }
            Label {
                width: parent.width
                visible: root.caption !== ""
                text: root.caption
                size: 9
                color: Theme.secondary
                wrapMode: Text.WordWrap
                Accessible.ignored: true
            }
        }
        Rectangle {
            id: track

            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            width: 30
            height: 18
            radius: 9
            color: root.on ? Theme.accent : Theme.separator
            opacity: root.down ? 0.8 : 1
            Rectangle {
                x: root.on ? track.width - width - 2 : 2
                y: 2
                width: 14
                height: 14
                radius: 7
                color: "white"
                Behavior on x {
                    NumberAnimation {
                        duration: 90
                    }
                }
            }
        }
    }
}
