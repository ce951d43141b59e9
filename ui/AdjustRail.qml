import QtQuick
import Quorvex

/// What steers the swap.
Rectangle {
    id: root

    required property Model model

    objectName: "AdjustRail"
    color: Theme.window

    Column {
        anchors.fill: parent
        anchors.margins: 14
        spacing: 14

        Label {
            text: "ADJUST"
            size: 10
            weight: Font.DemiBold
            color: Theme.secondary
            Accessible.role: Accessible.Heading
        }
        AdjustSwitch {
            width: parent.width
            text: "Mouth mask"
            on: root.model.mouthMask
            onToggle: root.model.onToggleMouthMask()
        }
        AdjustSwitch {
            width: parent.width
            text: "HD"
            caption: "higher bitrate"
            on: root.model.hd
            onToggle: root.model.onToggleHD()
        }
        AdjustSwitch {
            width: parent.width
            text: "Enhance"
            caption: "re-applies (~5s)"
            on: root.model.enhance
            onToggle: root.model.onToggleEnhance()
        }
        AdjustSwitch {
            width: parent.width
            text: "Flip camera"
            caption: "mirrors what others see"
            on: root.model.flipped
            onToggle: root.model.onToggleFlip()
        }
        AdjustSwitch {
            width: parent.width
            text: "Self-view"
            caption: "drag the box to move it"
            on: root.model.showSelfView
            onToggle: root.model.showSelfView = !root.model.showSelfView
        }
        PillButton {
            objectName: "calibrate"
            width: parent.width
            text: "Lock onto my face"
            symbol: "scope"
            filled: !root.model.locked
            onClicked: root.model.onCalibrate()
        }
        PillButton {
            objectName: "clearLock"
            visible: root.model.locked
            text: "Clear lock"
            onClicked: root.model.onClearLock()
        }
    }
}
