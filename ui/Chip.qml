import QtQuick
import Quorvex

/// A word on the picture that says how things stand.
Rectangle {
    id: root

    required property string text
    property string symbol: ""
    property real textOpacity: 0.9

    width: row.width + 2 * 7
    height: row.height + 2 * 3
    radius: 6

    Row {
        id: row

        anchors.centerIn: parent
        spacing: 5
        Symbol {
            visible: root.symbol !== ""
            name: root.symbol === "" ? "pause.fill" : root.symbol
            tint: "white"
            opacity: root.textOpacity
            size: 8
            anchors.verticalCenter: parent.verticalCenter
        }
        Rectangle {
            visible: root.symbol === ""
            width: 7
            height: 7
            radius: 3.5
            color: Theme.accent
            anchors.verticalCenter: parent.verticalCenter
        }
        Label {
            text: root.text
            size: 9
            weight: Font.DemiBold
            color: Theme.white(root.textOpacity)
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
