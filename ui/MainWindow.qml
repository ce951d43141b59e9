import QtQuick
import QtQuick.Controls.Basic
import Quorvex

/// The main window: the main menu over the view of the model.
ApplicationWindow {
    id: root

    required property Model model
    required property MainMenu mainMenu
    readonly property real contentMinimumWidth: 880
    readonly property real contentMinimumHeight: 560

    title: "Quorvex"
    width: 980
    height: 620 + menuBar.height
    minimumWidth: contentMinimumWidth
    minimumHeight: contentMinimumHeight + menuBar.height
    color: Theme.window
    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true

    menuBar: MainMenuBar {
        mainMenu: root.mainMenu
    }

    MainWindowView {
        anchors.fill: parent
        model: root.model
    }
}
