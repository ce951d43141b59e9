import QtQuick
import QtQuick.Controls.Basic
import Quorvex

/// The main menu, made from its description. Items are validated whenever their menu is opened, and
/// once more when their shortcut is pressed.
MenuBar {
    id: root

    required property MainMenu mainMenu

    padding: 0
    leftPadding: 8
    background: Rectangle {
        color: Theme.panel
    }
    delegate: MenuBarItem {
        id: head

        leftPadding: 8
        rightPadding: 8
        topPadding: 5
        bottomPadding: 5
        contentItem: Label {
            text: head.text
            size: 12
            weight: head.menu && head.menu["isFirst"] ? Font.DemiBold : Font.Medium
            Accessible.ignored: true
        }
        background: Rectangle {
            color: head.highlighted ? Theme.placeholder : "transparent"
            radius: 5
        }
    }

    Instantiator {
        model: root.mainMenu.menus
        delegate: AppMenu {
            id: menu

            required property int index
            required property var modelData
            readonly property bool isFirst: index === 0

            title: modelData.title

            Instantiator {
                model: menu.modelData.items
                delegate: MainMenuItem {
                    required property int index
                    required property var modelData

                    menuIndex: menu.index
                    itemIndex: index
                    mainMenu: root.mainMenu
                    shown: modelData
                    opened: menu.opened || menu.visible
                }
                onObjectAdded: (index, object) => menu.insertItem(index, object)
                onObjectRemoved: (index, object) => menu.removeItem(object)
            }
        }
        onObjectAdded: (index, object) => root.insertMenu(index, object)
        onObjectRemoved: (index, object) => root.removeMenu(object)
    }
}
