import QtQuick
import Quorvex

/// All of the window's content over the one model.
Rectangle {
    id: root

    required property Model model

    objectName: "MainWindowView"
    color: Theme.window

    Item {
        id: content

        anchors.fill: parent
        enabled: !root.model.needsConsent

        StatusBar {
            id: statusBar

            model: root.model
            width: parent.width
        }
        Rectangle {
            id: upperSeparator

            anchors.top: statusBar.bottom
            width: parent.width
            height: 1
            color: Theme.separator
        }
        Item {
            id: middle

            anchors.top: upperSeparator.bottom
            anchors.bottom: lowerSeparator.top
            width: parent.width

            FacesRail {
                id: facesRail

                model: root.model
                anchors.left: parent.left
                height: parent.height
                width: Theme.facesRailWidth
            }
            Rectangle {
                id: leftSeparator

                anchors.left: facesRail.right
                width: 1
                height: parent.height
                color: Theme.separator
            }
            PreviewStage {
                model: root.model
                anchors.left: leftSeparator.right
                anchors.right: rightSeparator.left
                height: parent.height
            }
            Rectangle {
                id: rightSeparator

                anchors.right: adjustRail.left
                width: 1
                height: parent.height
                color: Theme.separator
            }
            AdjustRail {
                id: adjustRail

                model: root.model
                anchors.right: parent.right
                height: parent.height
                width: Theme.adjustRailWidth
            }
        }
        Rectangle {
            id: lowerSeparator

            anchors.bottom: footer.top
            width: parent.width
            height: 1
            color: Theme.separator
        }
        FooterHint {
            id: footer

            anchors.bottom: parent.bottom
            width: parent.width
        }
    }
    ConsentSheet {
        anchors.fill: parent
        visible: root.model.needsConsent
        model: root.model
    }
}
