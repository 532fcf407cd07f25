import QtQuick 2.7
import QtQuick.Controls 1.4

// Search of the phones enrolled for an identity, to add their certificates.
IdentitySearch {
    id: step
    title: "Adicionar Certificado"
    subtitle: "Procurar <b>dispositivos</b> registrados usando uma <b>identificação<b>"
    formName: "searchIdentityForm"
    errorName: "searchError"
    buttonText: "Procurar dispositivo"
    buttonName: "searchButton"
    onSearchStarted: registrationModel.requestRegistration()
    backText: "Voltar"
    backName: "searchBackButton"
    onBackClicked: {
        currentStep = 0
        step.reset()
    }

    Connections {
        target: registrationModel
        function onRequestRegistrationFinished() {
            currentStep = 2
            step.button.enabled = true
        }
    }
    Connections {
        target: foundDevicesModel
        function onDevicesRegistered() { step.reset() }
    }
}
