import QtQuick
import QtQuick.Templates as T
import Quorvex

/// The picture that others see, the user's own in a box that can be moved and swapped with it, and
/// over them what there is to say and to press.
Item {
    id: root

    required property Model model
    readonly property real boxWidth: Math.max(0.22 * width, 120)
    readonly property real boxHeight: Math.max(0.22 * 9 / 16 * width, 80)

    objectName: "PreviewStage"
    clip: true

    Rectangle {
        id: panel

        objectName: "panel"
        anchors.fill: parent
        anchors.margins: Theme.stageInset
        radius: Theme.stageRadius
        color: Theme.stage

        VideoPreviewView {
            objectName: "mainPicture"
            anchors.fill: parent
            track: root.model.showSelfBig ? root.model.localTrack : root.model.remoteTrack
            mirrored: root.model.flipped
            radius: Theme.stageRadius
            Accessible.role: Accessible.Graphic
            Accessible.name: root.model.showSelfBig ? qsTr("Your camera") : qsTr("What others see")
        }
    }

    Item {
        anchors.fill: parent
        anchors.margins: 22

        Chip {
            id: chip

            objectName: "chip"
            readonly property bool isPaused: root.model.paused && !root.model.isQueued

            anchors.left: parent.left
            visible: isPaused || root.model.isLive
            text: isPaused ? "PAUSED" : "LIVE"
            symbol: isPaused ? "pause.fill" : ""
            textOpacity: isPaused ? 0.95 : 0.9
            color: isPaused ? Qt.rgba(Theme.paused.r, Theme.paused.g, Theme.paused.b, 0.9) : Theme.black(0.45)
        }
        T.AbstractButton {
            id: pause

            objectName: "pauseButton"
            anchors.right: parent.right
            visible: (root.model.isLive || root.model.paused) && !root.model.isQueued
            implicitWidth: pauseLabel.implicitWidth + 2 * 10
            implicitHeight: pauseLabel.implicitHeight + 2 * 5
            text: root.model.paused ? "Resume" : "Pause"
            opacity: down ? 0.7 : 1
            Accessible.role: Accessible.Button
            Accessible.name: text
            onClicked: root.model.onTogglePause()
            Keys.onReturnPressed: clicked()
            background: Rectangle {
                radius: 7
                color: Theme.black(0.5)
                FocusRing {
                    control: pause
                }
            }
            contentItem: Item {
                Row {
                    id: pauseLabel

                    anchors.centerIn: parent
                    spacing: 5
                    Symbol {
                        name: root.model.paused ? "play.fill" : "pause.fill"
                        tint: "white"
                        size: 9
                        anchors.verticalCenter: parent.verticalCenter
                    }
                    Label {
                        text: pause.text
                        size: 11
                        color: "white"
                        anchors.verticalCenter: parent.verticalCenter
                        Accessible.ignored: true
                    }
                }
            }
        }
    }

    Item {
        id: box

        objectName: "selfViewBox"
        visible: root.model.showSelfView
        width: root.boxWidth
        height: root.boxHeight
        x: root.width - 24 - width + root.model.selfPipOffset.width
        y: root.height - 24 - height + root.model.selfPipOffset.height
        activeFocusOnTab: true
        Accessible.role: Accessible.Button
        Accessible.name: root.model.showSelfBig ? qsTr("What others see; press to enlarge") : qsTr("Your camera; press to enlarge")
        Accessible.onPressAction: root.swapPictures()
        Keys.onSpacePressed: root.swapPictures()
        Keys.onReturnPressed: root.swapPictures()
        Keys.onPressed: event => root.moveBoxByKey(event)

        Rectangle {
            anchors.fill: parent
            radius: 8
            color: Theme.stage
        }
        VideoPreviewView {
            objectName: "selfPicture"
            anchors.fill: parent
            track: root.model.showSelfBig ? root.model.remoteTrack : root.model.localTrack
            mirrored: root.model.flipped
            fills: true
            radius: 8
        }
        Rectangle {
            anchors.fill: parent
            radius: 8
            color: "transparent"
            border.width: 1
            border.color: Theme.white(0.5)
            antialiasing: true
        }
        FocusRing {
            control: box
        }
        MouseArea {
            id: pointer

            property point start
            property size __pipDragBase: Qt.size(0, 0)
            property bool drags: false

            anchors.fill: parent
            preventStealing: true
            onPressed: event => {
                start = mapToItem(root, event.x, event.y);
                __pipDragBase = root.model.selfPipOffset;
                drags = false;
            }
            onPositionChanged: event => {
                const now = mapToItem(root, event.x, event.y);
                const across = now.x - start.x;
                const down = now.y - start.y;
                drags = drags || Math.hypot(across, down) >= 10;
                if (drags)
                    root.model.selfPipOffset = Qt.size(__pipDragBase.width + across, __pipDragBase.height + down);
            }
            onReleased: {
                if (!drags)
                    root.swapPictures();
            }
        }
    }

    Column {
        objectName: "queueOverlay"
        anchors.centerIn: parent
        width: root.width - 2 * 44
        spacing: 10
        visible: root.model.isQueued
        Spinner {
            anchors.horizontalCenter: parent.horizontalCenter
            size: 32
        }
        Label {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            elide: Text.ElideRight
            text: root.model.queueLabel
            size: 13
            weight: Font.DemiBold
            color: Theme.white(0.9)
        }
        Label {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: "You'll go live automatically when it's your turn"
            size: 10
            color: Theme.white(0.5)
        }
        Item {
            anchors.horizontalCenter: parent.horizontalCenter
            width: cancel.width
            height: cancel.height + 4
            PillButton {
                id: cancel

                objectName: "cancelQueue"
                y: 4
                text: "Cancel"
                leftPadding: 6 + 10
                rightPadding: 6 + 10
                onClicked: root.model.onCancelQueue()
            }
        }
    }
    Column {
        objectName: "pauseBanner"
        anchors.centerIn: parent
        spacing: 6
        visible: root.model.paused && !root.model.isQueued
        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: "pause.circle.fill"
            tint: "white"
            opacity: 0.9
            size: 34
        }
        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Others see a still of you"
            size: 10
            color: Theme.white(0.5)
        }
    }
    Column {
        objectName: "connectingOverlay"
        anchors.centerIn: parent
        width: root.width - 2 * 44
        spacing: 8
        visible: !root.model.isQueued && !root.model.paused && !root.model.hasRemoteTrack
        Spinner {
            anchors.horizontalCenter: parent.horizontalCenter
        }
        Label {
            objectName: "connectingText"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            maximumLineCount: 4
            elide: Text.ElideRight
            text: root.model.statusText
            color: Theme.white(0.7)
        }
    }

    function swapPictures() {
        root.model.showSelfBig = !root.model.showSelfBig;
    }

    /// The arrow keys do what a drag does.
    function moveBoxByKey(event) {
        const across = event.key === Qt.Key_Left ? -10 : event.key === Qt.Key_Right ? 10 : 0;
        const down = event.key === Qt.Key_Up ? -10 : event.key === Qt.Key_Down ? 10 : 0;
        if (across === 0 && down === 0)
            return;
        const old = root.model.selfPipOffset;
        root.model.selfPipOffset = Qt.size(old.width + across, old.height + down);
        event.accepted = true;
    }
}
