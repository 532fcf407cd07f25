import QtQuick 2.7
import QtQuick.Controls 1.4
import QtQuick.Controls.Styles 1.4

// Choice of the phone that approves the maintenance.
Item {
    id: page
    readonly property bool serverFailed: registrationModel.errorMessage.length > 0

    PageTitle { id: title; text: "Manutenção de Dispositivos"; visible: !page.serverFailed }

    Outcome {
        objectName: "singleDeviceView"
        anchors.centerIn: parent
        visible: !page.serverFailed && !maintenanceDeviceModel.existDeviceMaintenance
        success: false
        text: "A identidade informada possui somente um dispositivo, logo não será possível remover."
    }

    Item {
        objectName: "chooseDeviceView"
        anchors.fill: parent
        visible: !page.serverFailed && maintenanceDeviceModel.existDeviceMaintenance
        PageSubtitle {
            id: subtitle
            anchors.top: parent.top
            anchors.topMargin: 60
            text: "Autentique-se por um desses dispositivos"
        }
        ComboBox {
            id: deviceCombo
            objectName: "authenticatingDeviceCombo"
            anchors.top: subtitle.bottom
            anchors.topMargin: 30
            anchors.horizontalCenter: parent.horizontalCenter
            width: 600
            model: maintenanceDeviceModel
            textRole: "deviceName"
            onCurrentIndexChanged: maintenanceDeviceModel.configureItemIndexCombo(currentIndex)
            style: ComboBoxStyle {
                background: Rectangle {
                    implicitHeight: 36
                    color: "#004165"
                    radius: 2
                }
                label: Text {
                    leftPadding: 10
                    verticalAlignment: Text.AlignVCenter
                    text: control.currentText
                    color: "white"
                    font.family: "Open Sans"
                    font.bold: true
                    font.pixelSize: 15
                }
            }
        }
        Connections {
            target: maintenanceDeviceModel
            function onConfigureIndexCombo(indice) { deviceCombo.currentIndex = indice }
        }
        ForwardButton {
            objectName: "confirmAuthenticatingDevice"
            text: "Confirmar"
            enabled: maintenanceDeviceModel.existDeviceMaintenance
            onClicked: {
                maintenanceDeviceModel.pushMainteanceAuthenticationDevice()
                maintenanceDevicesStep = 2
            }
        }
    }

    Column {
        objectName: "maintenanceServerErrorView"
        anchors.centerIn: parent
        width: parent.width - 80
        visible: page.serverFailed
        spacing: 12
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "O servidor retornou um erro :"
            font.family: "Open Sans Condensed Bold"
            font.pixelSize: 24
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: registrationModel.errorMessage
            color: "red"
            font.family: "Open Sans"
            font.pixelSize: 16
        }
    }

    BackButton {
        objectName: "chooseDeviceBack"
        anchors.leftMargin: 140
        text: "Voltar"
        onClicked: {
            maintenanceDevicesStep = 0
            maintenanceDeviceModel.resetError()
        }
    }
}
