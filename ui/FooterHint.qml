import QtQuick
import Quorvex

/// Where to find the camera in other programs.
Rectangle {
    objectName: "FooterHint"
    implicitHeight: hint.height + 2 * 8
    color: Theme.panel

    Row {
        id: hint

        x: 16
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width - 2 * 16
        spacing: 6
        Symbol {
            id: mark

            name: "checkmark.circle.fill"
            tint: Theme.accent
            size: 11
            anchors.verticalCenter: parent.verticalCenter
        }
        Label {
            width: parent.width - mark.width - parent.spacing
            text: "Quorvex Camera is active — pick it in Zoom › Settings › Video (also Meet, Teams, Discord)."
            size: 11
            color: Theme.secondary
            elide: Text.ElideRight
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
