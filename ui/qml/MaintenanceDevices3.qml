import QtQuick 2.7
import QtQuick.Controls 1.4

// The wait for the approving phone. A phone that does not answer in time
// leaves the success icon beside the "Atenção !!" text: the model's flag is
// the reverse of the addition flow's, and the look follows it as it is.
Item {
    id: page
    property bool waitingConclusion: true
    readonly property int errorLength: maintenanceDeviceModel.errorMessage.length + registrationModel.errorMessage.length

    Connections {
        target: maintenanceDeviceModel
        function onPushAuthenticationDeviceFinished(isOk) {
            if (isOk)
                maintenanceDevicesStep = 3
            else
                page.waitingConclusion = false
        }
        function onConfirmDevice() { page.waitingConclusion = true }
    }

    Item {
        objectName: "approvalFailedView"
        anchors.fill: parent
        visible: page.errorLength > 0
        Outcome {
            anchors.centerIn: parent
            success: false
            text: maintenanceDeviceModel.errorMessage + registrationModel.errorMessage
        }
        BackButton {
            objectName: "approvalErrorBack"
            anchors.leftMargin: 140
            text: "Voltar"
            onClicked: {
                maintenanceDeviceModel.finishMaintenance()
                maintenanceDevicesStep = 0
            }
        }
    }

    AuthorizationWait {
        objectName: "approvalWaitView"
        anchors.fill: parent
        visible: page.errorLength === 0 && page.waitingConclusion
        title: "Manutenção de Dispositivos"
        listWaiting: maintenanceDeviceModel.listWaiting
        listName: "maintenanceListWaiting"
    }

    Outcome {
        objectName: "approvalOutcome"
        anchors.centerIn: parent
        visible: page.errorLength === 0 && !page.waitingConclusion
        success: !maintenanceDeviceModel.isError
        text: maintenanceDeviceModel.errorListDevices
    }
}
