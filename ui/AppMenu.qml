import QtQuick
import QtQuick.Controls.Basic
import Quorvex

/// A menu as all menus of the application look.
Menu {
    id: root

    padding: 5
    overlap: 1
    width: {
        let widest = 180;
        for (let i = 0; i < count; ++i)
            widest = Math.max(widest, itemAt(i).implicitWidth + leftPadding + rightPadding);
        return widest;
    }
    delegate: AppMenuItem {}
    background: Rectangle {
        radius: 8
        color: Theme.panel
        border.width: 1
        border.color: Theme.separator
    }
}
