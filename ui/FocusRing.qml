import QtQuick
import Quorvex

/// Shows where the keyboard is.
Rectangle {
    required property Item control

    anchors.fill: parent
    anchors.margins: -3
    visible: control.activeFocus && control["visualFocus"] !== false
    color: "transparent"
    radius: 10
    border.width: 2
    border.color: Theme.pillBorderFilled
}
