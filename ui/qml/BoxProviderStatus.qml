import QtQuick 2.7

// Tells of a problem with the cryptographic provider when the certificate
// model reports one.
NoticeBox {
    id: box
    objectName: "boxProviderStatus"
    closeName: "boxProviderStatusClose"
    width: parent.width * 0.7
    height: parent.height * 0.6
    z: 21

    Connections {
        target: certificatesTableModel
        function onProviderChanged() {
            if (certificatesTableModel.providerProblemFound)
                box.state = "shown"
        }
    }
    Text {
        objectName: "providerErrorMessage"
        anchors.top: parent.top
        anchors.topMargin: 100
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 20
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        text: certificatesTableModel.providerErrorMessage
        color: "red"
        font.family: "Open Sans Semibold"
        font.pixelSize: 20
    }
}
