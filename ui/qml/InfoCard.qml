import QtQuick 2.7

// A grey card with an icon over a short centred text; clickable cards also
// answer Enter and Space once Tab has reached them.
Rectangle {
    id: card
    property alias iconSource: icon.source
    property alias text: caption.text
    property alias textColor: caption.color
    property alias textSize: caption.font.pixelSize
    property alias textBold: caption.font.bold
    property bool clickable: false
    signal clicked()

    width: 294
    height: 255
    color: "#F5F5F5"
    border.color: activeFocus ? "#7030C5" : "#CCCCCC"
    radius: 10
    activeFocusOnTab: clickable
    Keys.onReturnPressed: card.clicked()
    Keys.onEnterPressed: card.clicked()
    Keys.onSpacePressed: card.clicked()

    Image {
        id: icon
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.top: parent.top
        anchors.topMargin: 40
        width: 96
        height: 96
        fillMode: Image.PreserveAspectFit
    }
    Text {
        id: caption
        anchors.top: icon.bottom
        anchors.topMargin: 24
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 20
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        font.family: "Open Sans"
        font.pixelSize: 16
        color: descriptionTextColor
    }
    MouseArea {
        anchors.fill: parent
        enabled: card.clickable
        cursorShape: Qt.PointingHandCursor
        onClicked: card.clicked()
    }
}
