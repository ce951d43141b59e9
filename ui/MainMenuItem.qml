import QtQuick
import Quorvex

/// A line of the main menu; a separator when it has no title.
AppMenuItem {
    id: root

    required property MainMenu mainMenu
    required property int menuIndex
    required property int itemIndex
    /// The item as it was last validated.
    required property var shown
    property bool opened: false
    readonly property bool isSeparator: shown.title === ""

    text: shown.title
    enabled: shown.enabled && !isSeparator

    marked: shown.checked
    shortcut: shown.shortcut
    implicitHeight: isSeparator ? 9 : 26
    onOpenedChanged: if (opened)
        shown = mainMenu.validated(menuIndex, itemIndex)
    onTriggered: mainMenu.trigger(menuIndex, itemIndex)

    Rectangle {
        visible: root.isSeparator
        anchors.verticalCenter: parent.verticalCenter
        x: 8
        width: parent.width - 16
        height: 1
        color: Theme.separator
    }
    Shortcut {
        sequence: root.shown.shortcut
        enabled: !root.isSeparator
        context: Qt.WindowShortcut
        onActivated: root.mainMenu.trigger(root.menuIndex, root.itemIndex)
    }
}
