import QtQuick
import QtQuick.Templates as T
import Quorvex

/// A button on a rounded rectangle, filled or outlined.
T.Button {
    id: root

    property bool filled: false
    property string symbol: ""
    property real textSize: 12

    topPadding: 7
    bottomPadding: 7
    leftPadding: 10
    rightPadding: 10
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    opacity: root.down ? 0.7 : 1
    hoverEnabled: true
    Accessible.name: root.text
    Keys.onReturnPressed: root.clicked()
    Keys.onEnterPressed: root.clicked()

    contentItem: Item {
        implicitWidth: row.implicitWidth
        implicitHeight: row.implicitHeight
        Row {
            id: row

            anchors.centerIn: parent
            spacing: 5
            Symbol {
                visible: root.symbol !== ""
                name: root.symbol === "" ? "plus" : root.symbol
                tint: label.color
                size: root.textSize
                anchors.verticalCenter: parent.verticalCenter
            }
            Label {
                id: label

                text: root.text
                size: root.textSize
                color: root.filled ? Theme.ink : Theme.pillText
                Accessible.ignored: true
            }
        }
    }
    background: Rectangle {
        radius: 8
        color: root.filled ? Theme.accent : Theme.panel
        border.width: 1
        border.color: root.filled ? Theme.pillBorderFilled : Theme.pillBorder
        FocusRing {
            control: root
        }
    }
}
