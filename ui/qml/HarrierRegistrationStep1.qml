import QtQuick 2.7
import QtQuick.Controls 1.4

// Login form of a cloud account.
Item {
    onVisibleChanged: if (visible) emailField.focusField()

    PageTitle { id: title; text: "Adicionar Certificado" }
    PageSubtitle {
        id: subtitle
        anchors.top: title.bottom
        text: "Dados de login no <b>harrier</b>"
    }
    Column {
        anchors.top: subtitle.bottom
        anchors.topMargin: 30
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 14

        LabelledField {
            id: emailField
            fieldName: "harrierEmail"
            fieldWidth: 400
            label: "E-mail"
            text: harrierRegistration.email
        }
        LabelledField {
            id: subdomainField
            fieldName: "harrierSubdomain"
            fieldWidth: 400
            label: "Subdomínio da Organização (se houver)"
            text: harrierRegistration.organizationSubdomain
        }
        LabelledField {
            id: passwordField
            fieldName: "harrierPassword"
            fieldWidth: 400
            label: "Senha"
            echoMode: TextInput.Password
            text: harrierRegistration.password
            onAccepted: if (authorizeAccessButton.enabled) authorizeAccessButton.clicked()
        }
    }
    Binding { target: harrierRegistration; property: "email"; value: emailField.text }
    Binding { target: harrierRegistration; property: "organizationSubdomain"; value: subdomainField.text }
    Binding { target: harrierRegistration; property: "password"; value: passwordField.text }

    BackButton {
        objectName: "harrierBackButton"
        text: "Voltar"
        onClicked: currentStep = 0
    }
    ForwardButton {
        id: authorizeAccessButton
        objectName: "authorizeAccessButton"
        text: "Autorizar Acesso"
        enabled: harrierRegistration.actionActivated
        onClicked: {
            currentStep = 12
            harrierRegistration.registerUserAtHarrier()
        }
    }
}
