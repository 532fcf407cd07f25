import QtQuick 2.7

// Notice of a newer version of the program, looked at once a second after
// the list shows.
NoticeBox {
    id: box
    objectName: "boxNovaVersao"
    closeName: "boxNovaVersaoClose"
    width: parent.width * 0.6
    height: parent.height * 0.5
    z: 20

    Timer {
        interval: 1000
        running: true
        repeat: false
        onTriggered: box.state = versionVerifier.currentlyLastVersion ? "hidden" : "shown"
    }
    Text {
        anchors.fill: parent
        anchors.margins: 20
        anchors.bottomMargin: 80
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
        text: "A versão (" + versionVerifier.recommendedVersion + ") do Orvane já está disponível."
        font.family: "Open Sans Semibold"
        font.pixelSize: 20
    }
}
