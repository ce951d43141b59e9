import QtQuick
import QtQuick.Controls.Basic
import Quorvex

/// A menu as all menus of the application look.
Menu {
    id: root

    padding: 5
    overlap: 1
    delegate: AppMenuItem {}
    background: Rectangle {
        implicitWidth: 216
        radius: 8
        color: Theme.panel
        border.width: 1
        border.color: Theme.separator
    }
}
