import QtQuick 2.7

// Heading of a wizard page, centred at the top.
Text {
    anchors.top: parent.top
    anchors.topMargin: 18
    anchors.horizontalCenter: parent.horizontalCenter
    font.family: "Open Sans Condensed Bold"
    font.pixelSize: 24
    color: titleColor
}
