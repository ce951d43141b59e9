import QtQuick
import Quorvex

/// A line of text of the application.
Text {
    property real size: 12
    property int weight: Font.Medium

    font: Theme.font(size, weight)
    color: Theme.ink
    textFormat: Text.PlainText
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
