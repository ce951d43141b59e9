pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Basic
import Qt.labs.qmlmodels
import Quorvex

/// The library of faces, and the tile that adds one.
Rectangle {
    id: root

    required property Model model
    /// The grid's columns: as many as there is room for at this width, and this far apart.
    readonly property var cols: ({
            "minimum": Theme.tile,
            "spacing": Theme.tileSpacing
        })

    objectName: "FacesRail"
    color: Theme.window

    Label {
        id: header

        x: 12
        y: 12
        text: "FACES"
        size: 10
        weight: Font.DemiBold
        color: Theme.secondary
        Accessible.role: Accessible.Heading
    }
    GridView {
        id: grid

        readonly property real inner: root.width - 2 * 12
        readonly property int columns: Math.max(1, Math.floor((inner + root.cols.spacing) / (root.cols.minimum + root.cols.spacing)))

        objectName: "facesGrid"
        anchors.top: header.bottom
        anchors.topMargin: 10
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 12
        x: 12
        width: inner + root.cols.spacing
        cellWidth: Math.floor((inner + root.cols.spacing) / columns)
        cellHeight: Theme.tile + 8
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        cacheBuffer: 4 * cellHeight
        model: root.model.faces
        ScrollBar.vertical: ScrollBar {
            width: 6
            policy: grid.contentHeight > grid.height ? ScrollBar.AsNeeded : ScrollBar.AlwaysOff
        }
        delegate: DelegateChooser {
            role: "isAddTile"
            DelegateChoice {
                roleValue: false
                FaceCard {
                    active: faceId === root.model.activeFaceID
                    onTap: root.model.onSelectFace(faceId)
                    onRemove: root.model.onDeleteFace(faceId)
                }
            }
            DelegateChoice {
                roleValue: true
                AddFaceCard {
                    busy: root.model.busyFace
                    onTap: root.model.onChooseFace()
                }
            }
        }
    }
}
