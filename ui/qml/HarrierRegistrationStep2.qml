import QtQuick 2.7
import QtQuick.Controls 1.4

// The wait for the cloud account's registration, and its outcome.
Item {
    id: step
    property bool processing: true
    // Taken at each report: cleanModel() empties the model's message without
    // a report, so its hasError would keep the last failure into the next
    // attempt.
    property bool failed: false

    Connections {
        target: harrierRegistration
        function onRegistrationFinished() { step.processing = false }
        function onErrorOccurred() {
            step.failed = harrierRegistration.hasError
            step.processing = false
        }
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
        success: !step.failed
        text: step.failed ? harrierRegistration.errorMessage : "Sincronização efetuada com Sucesso"
    }
    ForwardButton {
        objectName: "harrierDone"
        visible: !step.processing
        text: step.failed ? "Fechar" : "Concluir"
        onClicked: {
            harrierRegistration.cleanModel()
            additionFormFrame.state = "off"
            step.processing = true
            step.failed = false
        }
    }
}
