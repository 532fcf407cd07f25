import QtQuick 2.7

// A tool button made of an icon and a caption under it.
Column {
    id: button
    property string imageFile
    property string description
    property int iconWidth: 20
    property int iconHeight: 20
    signal clicked()
    signal cursorInside(bool isCursorInside)

    Image {
        anchors.horizontalCenter: parent.horizontalCenter
        width: button.iconWidth
        height: button.iconHeight
        source: button.imageFile
        MouseArea {
            anchors.fill: parent
            hoverEnabled: true
            cursorShape: Qt.PointingHandCursor
            onClicked: button.clicked()
            onEntered: button.cursorInside(true)
            onExited: button.cursorInside(false)
        }
    }
    Text {
        id: caption
        anchors.horizontalCenter: parent.horizontalCenter
        text: button.description
        font.family: "Open Sans Regular"
        font.pixelSize: 14
        color: subtitleTextColor
    }

    // Both states keep the caption fully visible: captions are always shown.
    state: "displayedSubtitles"
    states: [
        State { name: "displayedSubtitles"; PropertyChanges { target: caption; opacity: 1.0 } },
        State { name: "hiddenSubtitles"; PropertyChanges { target: caption; opacity: 1.0 } }
    ]
    transitions: [
        Transition {
            to: "displayedSubtitles"
            NumberAnimation { target: caption; property: "opacity"; duration: 500; easing.type: Easing.OutCirc }
        },
        Transition {
            to: "hiddenSubtitles"
            NumberAnimation { target: caption; property: "opacity"; duration: 12000; easing.type: Easing.InQuint }
        }
    ]
}
