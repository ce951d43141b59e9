import QtQuick
import QtQuick.Templates as T
import Quorvex

/// Shows where the keyboard is.
Rectangle {
    required property Item control
    readonly property T.Control button: control as T.Control

    anchors.fill: parent
    anchors.margins: -3
    visible: button ? button.visualFocus : control.activeFocus
    color: "transparent"
    radius: 10
    border.width: 2
    border.color: Theme.pillBorderFilled
}
