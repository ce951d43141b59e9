import QtQuick
import Quorvex

/// One of the application's own symbols.
Image {
    id: root

    required property string name
    property color tint: Theme.ink
    property real size: 12

    source: "image://symbols/" + root.name + "/" + root.tint.toString().slice(-6)
    sourceSize: Qt.size(root.size * Screen.devicePixelRatio, root.size * Screen.devicePixelRatio)
    width: root.size
    height: root.size
    fillMode: Image.PreserveAspectFit
    Accessible.ignored: true
}
