import QtQuick 2.7

// The line under a page title; the texts carry bold fragments as markup.
Text {
    anchors.horizontalCenter: parent.horizontalCenter
    anchors.topMargin: 10
    horizontalAlignment: Text.AlignHCenter
    font.family: "Open Sans"
    font.pixelSize: 16
    color: subtitleColor
}
