import QtQuick 2.7

// The wait for approvals on the phones, with the names of those that have
// already answered.
Item {
    id: wait
    property alias title: title.text
    property string listWaiting
    property alias listName: answered.objectName

    PageTitle { id: title }
    Column {
        anchors.top: title.bottom
        anchors.topMargin: 10
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 8
        WaitingSymbol { anchors.horizontalCenter: parent.horizontalCenter }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Confirme a autorização enviada para seu dispositivo"
            font.family: "Open Sans"
            font.pixelSize: 16
        }
        Text {
            id: answered
            anchors.horizontalCenter: parent.horizontalCenter
            horizontalAlignment: Text.AlignHCenter
            visible: text.length > 0
            text: wait.listWaiting
            color: "green"
            font.family: "Open Sans"
            font.pixelSize: 14
        }
    }
}
