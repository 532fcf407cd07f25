import QtQuick 2.7

// The end of a flow: the success or failure icon over its message.
Column {
    property bool success: true
    property alias text: message.text
    property alias textColor: message.color
    property alias textWidth: message.width
    spacing: 16

    Image {
        anchors.horizontalCenter: parent.horizontalCenter
        width: 96
        height: 96
        source: parent.success ? "images/sucesso.png" : "images/erro.png"
    }
    Text {
        id: message
        objectName: "outcomeText"
        anchors.horizontalCenter: parent.horizontalCenter
        width: 600
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        font.family: "Open Sans"
        font.pixelSize: 16
        color: parent.success ? "#060" : "red"
    }
}
