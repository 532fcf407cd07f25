import QtQuick 2.7
import QtQuick.Controls 1.4

// Choice of the phones to remove, the removal and its outcome.
Item {
    id: page
    // 0 list, 1 failure, 2 working, 3 finished: the model's last report.
    property int statusExecution: 0
    readonly property bool failed: maintenanceDeviceModel.errorMessage.length > 0

    function finish() {
        maintenanceDeviceModel.finishMaintenance()
        maintenanceDevicesStep = 0
        statusExecution = 0
    }

    Connections {
        target: maintenanceDeviceModel
        function onMaintenanceDevices(status) { page.statusExecution = status }
    }

    PageTitle { id: title; text: "Manutenção de Dispositivos" }

    Item {
        objectName: "removalListView"
        anchors.fill: parent
        visible: !page.failed && page.statusExecution === 0
        PageSubtitle {
            id: subtitle
            anchors.top: parent.top
            anchors.topMargin: 60
            text: "Selecione os dispositivos que serão <b>excluídos</b>."
        }
        DeviceChecklist {
            objectName: "removalDevicesList"
            anchors.top: subtitle.bottom
            anchors.bottom: parent.bottom
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.topMargin: 20
            anchors.bottomMargin: 80
            width: parent.width * 0.6
            devices: maintenanceDeviceModel
            disabledSuffix: " - Dispositivo não removível"
        }
        ForwardButton {
            objectName: "confirmRemoval"
            text: "Confirmar"
            enabled: maintenanceDeviceModel.existAnyDeviceMaintenance
            onClicked: {
                maintenanceDeviceModel.maintenanceWithDevices()
                page.statusExecution = 2
                currentStep = 3
            }
        }
    }

    BackButton {
        objectName: "removalBack"
        anchors.leftMargin: 140
        visible: page.statusExecution === 0
        text: "Voltar"
        onClicked: {
            maintenanceDeviceModel.finishMaintenance()
            maintenanceDevicesStep = 0
        }
    }

    Item {
        objectName: "removalFailedView"
        anchors.fill: parent
        visible: page.failed && page.statusExecution === 1
        Outcome {
            anchors.centerIn: parent
            success: false
            text: maintenanceDeviceModel.errorMessage
        }
        ForwardButton {
            objectName: "removalFailedClose"
            text: "Fechar"
            onClicked: page.finish()
        }
    }

    Column {
        objectName: "removalWorkingView"
        anchors.centerIn: parent
        visible: !page.failed && page.statusExecution === 2
        spacing: 8
        WaitingSymbol { anchors.horizontalCenter: parent.horizontalCenter }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: "Aguarde... processo em execução"
            font.family: "Open Sans"
            font.pixelSize: 16
        }
    }

    Item {
        objectName: "removalDoneView"
        anchors.fill: parent
        visible: !page.failed && page.statusExecution === 3
        Outcome {
            anchors.centerIn: parent
            text: "Processo concluido"
        }
        ForwardButton {
            objectName: "removalDone"
            text: "Concluir"
            onClicked: {
                page.finish()
                tabsMaintenanceFrame.state = "off"
                tabsMaintenanceStep = 0
                registrationModel.resetThisModel()
                certificatesTableModel.updateCertificates()
            }
        }
    }
}
