import QtQuick
import QtQuick.Controls.Basic
import Quorvex

MenuSeparator {
    topPadding: 4
    bottomPadding: 4
    leftPadding: 8
    rightPadding: 8
    contentItem: Rectangle {
        implicitHeight: 1
        color: Theme.separator
    }
}
