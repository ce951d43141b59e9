import QtQuick
import QtQuick.Templates as T
import Quorvex

/// The application's name, whether it is live, its status line, and the account.
Rectangle {
    id: root

    required property Model model

    objectName: "StatusBar"
    implicitHeight: Math.max(brand.height, state.height, account.height) + 2 * 9
    color: Theme.panel

    Row {
        id: brand

        anchors.left: parent.left
        anchors.leftMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        spacing: 7
        BrandMark {
            objectName: "brandMark"
            size: 18
            anchors.verticalCenter: parent.verticalCenter
        }
        Label {
            text: "Quorvex"
            size: 15
            weight: Font.Bold
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    Row {
        id: state

        anchors.left: brand.right
        anchors.leftMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 5
        Rectangle {
            objectName: "liveDot"
            width: 8
            height: 8
            radius: 4
            anchors.verticalCenter: parent.verticalCenter
            color: root.model.isLive ? Theme.accent : Theme.offline
        }
        Label {
            objectName: "liveWord"
            text: root.model.isLive ? "Live" : "Offline"
            size: 11
            color: Theme.secondary
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    Label {
        objectName: "statusText"
        anchors.left: state.right
        anchors.right: account.left
        anchors.leftMargin: 12
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        horizontalAlignment: Text.AlignHCenter
        text: root.model.statusText
        size: 11
        color: Theme.secondary
        elide: Text.ElideRight
        maximumLineCount: 1
    }
    T.AbstractButton {
        id: account

        objectName: "accountButton"
        anchors.right: parent.right
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        implicitWidth: label.implicitWidth
        implicitHeight: label.implicitHeight
        text: root.model.isSignedIn ? "Account" : "Sign In"
        opacity: down ? 0.7 : 1
        Accessible.role: Accessible.ButtonMenu
        Accessible.name: text
        Keys.onReturnPressed: clicked()
        Keys.onDownPressed: clicked()
        onClicked: accountMenu.popup(account, account.width - accountMenu.width, account.height + 6)

        contentItem: Row {
            id: label

            spacing: 5
            Symbol {
                name: "person.crop.circle"
                size: 14
                anchors.verticalCenter: parent.verticalCenter
            }
            Label {
                text: account.text
                anchors.verticalCenter: parent.verticalCenter
                Accessible.ignored: true
            }
        }
        background: Item {
            FocusRing {
                control: account
            }
        }
        AppMenu {
            id: accountMenu

            objectName: "accountMenu"
            AppMenuItem {
                text: root.model.isSigningIn ? "Signing in…" : "Sign In…"
                visible: !root.model.isSignedIn
                height: visible ? implicitHeight : 0
                enabled: !root.model.isSigningIn
                onTriggered: root.model.onSignIn()
            }
            AppMenuItem {
                text: "Manage Account…"
                visible: root.model.isSignedIn
                height: visible ? implicitHeight : 0
                onTriggered: root.model.onManageAccount()
            }
            AppMenuItem {
                text: "Sign Out"
                visible: root.model.isSignedIn
                height: visible ? implicitHeight : 0
                onTriggered: root.model.onSignOut()
            }
            AppMenuSeparator {}
            AppMenuItem {
                text: "Reconnect"
                onTriggered: root.model.onReconnect()
            }
            AppMenuItem {
                text: "Report a Bug…"
                onTriggered: root.model.onReportBug()
            }
        }
    }
}
