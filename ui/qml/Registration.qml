import QtQuick 2.7
import QtQuick.Controls 1.4

// First-run wizard, shown while no installation exists: what is needed,
// this computer's data, the wait for the registration and its end, and the
// error page. Each failure report of the registration moves one page on.
Item {
    id: registration
    property int windowCounter: 0

    Connections {
        target: installationModel
        function onSetupNewConfigurationFinished() { computerRegistered.waitingMode = false }
        function onErrorChanged() { registration.windowCounter += 1 }
    }

    Item {
        id: requirements
        objectName: "registrationPage0"
        anchors.fill: parent
        visible: registration.windowCounter === 0

        PageTitle { id: requirementsTitle; text: "Instalação do Orvane" }
        PageSubtitle {
            id: requirementsSubtitle
            anchors.top: requirementsTitle.bottom
            text: "Para instalar o <b>Orvane</b>, você vai <b>precisar</b>:"
        }
        Row {
            anchors.top: requirementsSubtitle.bottom
            anchors.topMargin: 20
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 20
            InfoCard {
                iconSource: "images/requisito_senha.png"
                text: "Ter a senha de administrador deste computador"
            }
            InfoCard {
                iconSource: "images/requisito_celular.png"
                text: "Ter acesso ao <b>harrier</b> ou ter o aplicativo <b>kestrel</b> no celular"
            }
            InfoCard {
                iconSource: "images/requisito_certificado.png"
                text: "Ter seu certificado emitido no harrier ou kestrel"
            }
        }
        Button {
            objectName: "continueButton"
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 20
            text: "Continuar"
            style: buttonStyle
            onClicked: registration.windowCounter += 1
        }
    }

    Item {
        id: computerData
        objectName: "registrationPage1"
        anchors.fill: parent
        visible: registration.windowCounter === 1
        onVisibleChanged: if (visible) installationNameField.focusField()

        PageTitle { id: computerDataTitle; text: "Instalação do Orvane" }
        PageSubtitle {
            id: computerDataSubtitle
            anchors.top: computerDataTitle.bottom
            text: "Informações deste computador"
        }
        Column {
            anchors.top: computerDataSubtitle.bottom
            anchors.topMargin: 30
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 14

            LabelledField {
                id: installationNameField
                fieldName: "installationNameField"
                label: "Nome deste Computador"
                text: installationModel.installationName
                onFocusLost: installationModel.installationNameLeftBlank()
            }
            LabelledField {
                id: userNameField
                fieldName: "userNameField"
                label: "Usuário"
                text: installationModel.userName
                onFocusLost: installationModel.userNameLeftBlank()
            }
            LabelledField {
                id: domainNameField
                fieldName: "domainNameField"
                label: "Domínio de Rede"
                text: installationModel.domainName
                onFocusLost: installationModel.domainNameLeftBlank()
                onAccepted: registerButton.clicked()
            }
        }
        Binding { target: installationModel; property: "installationName"; value: installationNameField.text }
        Binding { target: installationModel; property: "userName"; value: userNameField.text }
        Binding { target: installationModel; property: "domainName"; value: domainNameField.text }

        ForwardButton {
            id: registerButton
            objectName: "registerButton"
            text: "Registrar Computador"
            onClicked: {
                computerRegistered.waitingMode = true
                registration.windowCounter += 1
                installationModel.setupNewConfiguration()
            }
        }
    }

    Item {
        id: computerRegistered
        objectName: "registrationPage2"
        property bool waitingMode: true
        anchors.fill: parent
        visible: registration.windowCounter === 2

        PageTitle { id: computerRegisteredTitle; text: "Instalação do Orvane" }
        PageSubtitle {
            anchors.top: computerRegisteredTitle.bottom
            text: "Aguarde o registro"
            visible: computerRegistered.waitingMode
        }
        WaitingSymbol {
            anchors.centerIn: parent
            visible: computerRegistered.waitingMode
        }
        Outcome {
            anchors.centerIn: parent
            visible: !computerRegistered.waitingMode
            text: "Instalação Concluída"
        }
        ForwardButton {
            objectName: "showCertificatesButton"
            visible: !computerRegistered.waitingMode
            text: "Ver Certificados"
            onClicked: installationModel.reloadConfig()
        }
    }

    Item {
        objectName: "registrationPage3"
        anchors.fill: parent
        visible: registration.windowCounter === 3

        Column {
            anchors.fill: parent
            anchors.margins: 30
            spacing: 20
            Text {
                text: "Instalação do desktop"
                font.family: "Open Sans Light"
                font.pixelSize: 32
                color: titleColor
            }
            Text {
                objectName: "registrationError"
                width: parent.width
                wrapMode: Text.Wrap
                text: "Erro ao tentar comunicação com o servidor:\n" + installationModel.errorServer + "\n"
                      + "Verifique sua conexão de rede e tente novamente"
                font.family: "Open Sans"
                font.pixelSize: 16
                color: descriptionTextColor
            }
        }
    }
}
