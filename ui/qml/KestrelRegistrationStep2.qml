import QtQuick 2.7
import QtQuick.Controls 1.4

// The phones found for the identity, to be ticked for authorisation; or the
// server's error when the search failed.
Item {
    property bool searchFailed: registrationModel.errorMessage.length > 0

    PageTitle {
        id: title
        text: parent.searchFailed ? "O servidor retornou um erro :" : "Adicionar Certificado"
    }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        visible: !parent.searchFailed
        text: "Confirme os dispositivos a serem <b>autorizados</b>"
    }
    DeviceChecklist {
        objectName: "foundDevicesList"
        visible: !parent.searchFailed
        anchors.top: subtitle.bottom
        anchors.bottom: authorizeButton.top
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.margins: 20
        width: parent.width * 0.6
        devices: foundDevicesModel
        disabledSuffix: " - Dispositivo já cadastrado"
    }
    Text {
        objectName: "searchServerError"
        visible: parent.searchFailed
        anchors.top: title.bottom
        anchors.topMargin: 30
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 40
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        text: registrationModel.errorMessage
        color: "red"
        font.family: "Open Sans"
        font.pixelSize: 16
    }
    BackButton {
        objectName: "devicesBackButton"
        text: "Voltar"
        onClicked: currentStep = 1
    }
    ForwardButton {
        id: authorizeButton
        objectName: "authorizeButton"
        visible: !parent.searchFailed
        text: "Enviar autorização"
        enabled: foundDevicesModel.anyDeviceSelected
        onClicked: {
            foundDevicesModel.registerWithDevices()
            currentStep = 3
        }
    }
}
