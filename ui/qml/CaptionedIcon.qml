import QtQuick 2.7

// A small clickable icon with a caption under it.
Item {
    id: captioned
    property alias iconSource: icon.source
    property alias iconWidth: icon.width
    property alias iconHeight: icon.height
    property alias caption: captionText.text
    property alias captionColor: captionText.color
    property alias captionBold: captionText.font.bold
    // A backing keeps a light caption readable on a light band.
    property color captionBackground: "transparent"
    signal clicked()

    implicitWidth: column.implicitWidth
    implicitHeight: column.implicitHeight

    Column {
        id: column
        anchors.horizontalCenter: parent.horizontalCenter
        Image {
            id: icon
            anchors.horizontalCenter: parent.horizontalCenter
            width: 24
            height: 24
        }
        Text {
            id: captionText
            anchors.horizontalCenter: parent.horizontalCenter
            font.family: "Open Sans"
            font.pixelSize: 10
            leftPadding: 4
            rightPadding: 4
            Rectangle {
                anchors.fill: parent
                z: -1
                radius: 3
                color: captioned.captionBackground
            }
        }
    }
    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: captioned.clicked()
    }
}
