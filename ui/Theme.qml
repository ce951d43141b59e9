pragma Singleton

import QtQuick

/// Colours, fonts and metrics of every view, in one place. Lengths are in device-independent pixels.
QtObject {
    readonly property color window: "#E6F4E6"
    readonly property color panel: "#F1FAF0"
    readonly property color separator: "#BBE0BF"
    readonly property color ink: "#1E2420"
    readonly property color secondary: "#5F6762"
    readonly property color offline: "#A8AEA9"
    readonly property color accent: "#84CC16"
    readonly property color paused: "#D98324"
    readonly property color stage: "#0F1416"
    readonly property color pillBorderFilled: "#65A30D"
    readonly property color pillBorder: "#98D2A0"
    readonly property color pillText: "#2E3430"
    readonly property color placeholder: "#D2EFD5"

    readonly property int tile: 54
    readonly property int tileSpacing: 8
    readonly property int tileRadius: 8
    readonly property int facesRailWidth: 140
    readonly property int adjustRailWidth: 176
    readonly property int stageInset: 14
    readonly property int stageRadius: 12

    /// The system's font at a size.
    function font(size: real, weight: int): font {
        return Qt.font({
            pixelSize: size,
            weight: weight
        });
    }

    /// White as it lies on the picture.
    function white(opacity: real): color {
        return Qt.rgba(1, 1, 1, opacity);
    }

    function black(opacity: real): color {
        return Qt.rgba(0, 0, 0, opacity);
    }
}
