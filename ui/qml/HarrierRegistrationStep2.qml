import QtQuick 2.7
import QtQuick.Controls 1.4

// The wait for the cloud account's registration, and its outcome.
Item {
    id: step
    property bool processing: true

    Connections {
        target: harrierRegistration
        function onRegistrationFinished() { step.processing = false }
        function onErrorOccurred() { step.processing = false }
    }

    PageTitle { id: title; text: "Adicionar Certificado" }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        text: "Registrando-se no <b>harrier</b>"
    }
    WaitingSymbol {
        anchors.top: subtitle.bottom
        anchors.topMargin: 20
        anchors.horizontalCenter: parent.horizontalCenter
        visible: step.processing
    }
    Outcome {
        objectName: "harrierOutcome"
        anchors.centerIn: parent
        visible: !step.processing
        success: !harrierRegistration.hasError
        text: harrierRegistration.hasError ? harrierRegistration.errorMessage
                                           : "Sincronização efetuada com Sucesso"
    }
    ForwardButton {
        objectName: "harrierDone"
        visible: !step.processing
        text: harrierRegistration.hasError ? "Fechar" : "Concluir"
        onClicked: {
            harrierRegistration.cleanModel()
            additionFormFrame.state = "off"
            step.processing = true
        }
    }
}
