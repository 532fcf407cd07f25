import QtQuick 2.7
import QtQuick.Controls 1.4

// The wait for the answers on the phones, and its outcome.
Item {
    id: step
    property bool waitingConclusion: true
    readonly property int errorLength: foundDevicesModel.errorMessage.length + registrationModel.errorMessage.length

    Connections {
        target: registrationModel
        function onDevicesRegistered() { step.waitingConclusion = false }
    }
    Connections {
        target: foundDevicesModel
        function onConfirmDevice() { step.waitingConclusion = true }
    }

    Item {
        objectName: "authorizationFailedView"
        anchors.fill: parent
        visible: step.errorLength > 0
        Text {
            anchors.centerIn: parent
            width: parent.width - 80
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: foundDevicesModel.errorMessage + registrationModel.errorMessage
            font.family: "Open Sans"
            font.pixelSize: 16
            color: "red"
        }
        ForwardButton {
            objectName: "authorizationErrorClose"
            text: "Fechar"
            onClicked: {
                registrationModel.resetThisModel()
                foundDevicesModel.resetError()
                additionFormFrame.state = "off"
            }
        }
    }

    AuthorizationWait {
        objectName: "authorizationWaitView"
        anchors.fill: parent
        visible: step.errorLength === 0 && step.waitingConclusion
        title: "Adicionar Certificado"
        listWaiting: foundDevicesModel.listWaiting
        listName: "listWaiting"
    }

    Item {
        objectName: "authorizationOutcomeView"
        anchors.fill: parent
        visible: step.errorLength === 0 && !step.waitingConclusion
        Outcome {
            anchors.centerIn: parent
            success: !foundDevicesModel.isError
            text: foundDevicesModel.errorListDevices
        }
        ForwardButton {
            objectName: "authorizationDone"
            text: "Concluir"
            onClicked: {
                additionFormFrame.state = "off"
                step.waitingConclusion = true
            }
        }
    }

    BackButton {
        objectName: "cancelWaitButton"
        visible: step.waitingConclusion
        text: "Cancelar espera"
        onClicked: foundDevicesModel.cancelWaiting()
    }
}
